#include "operations/native_rgba.h"

#include "core/error_stack.h"
#include "core/image_state.h"
#include "core/native_file.h"
#include "kernels/pixel_format.h"

namespace zarn {

template <class Format>
unsigned int save_rgba_binary(image_state& image, const wchar_t* path, bool compress) noexcept {
    constexpr std::uint32_t reserved = 1;
    const std::uint32_t words[] = {Format::native_type, image.origin, image.width, image.height, reserved};
    return save_native(image, path, words, 5, pixel_bytes<Format>, compress);
}

namespace {

// Reads what stands behind the type code.
template <class Format>
unsigned int load_rest(image_state& image, native_source& source, bool compressed) noexcept {
    std::uint32_t words[4];
    if (!read_native_words(image, source, words, 4, compressed)) return 0;
    image.origin = words[0];
    image.width = words[1];
    image.height = words[2];
    return load_native_pixels(image, source, pixel_bytes<Format>, compressed);
}

template <class Format>
bool is_type_of(std::uint32_t type) noexcept {
    return type == Format::native_type || type == Format::native_type + native_compressed;
}

} // namespace

template <class Format>
unsigned int load_rgba_binary(image_state& image, const wchar_t* path) noexcept {
    std::uint32_t type = 0;
    native_source source = open_native(image, path, type);
    if (!source) return 0;
    if (is_type_of<Format>(type)) return load_rest<Format>(image, source, type >= native_compressed);
    push_error(image.errors, {L"Unexpected image type: Failed to load ", image.names->image_class, L" from binary."});
    return 0;
}

namespace {

// An image without pixels gets an array without length, by which the holder knows the depth.
template <class Format>
unsigned int load_held(image_state& image, native_source& source, bool compressed) noexcept {
    const unsigned int loaded = load_rest<Format>(image, source, compressed);
    if (loaded && !image.pixels) image.pixels = allocate_pixels(0, pixel_bytes<Format>);
    return loaded;
}

} // namespace

unsigned int load_rgba_binary(image_state& as_8, image_state& as_16, const wchar_t* path) noexcept {
    std::uint32_t type = 0;
    native_source source = open_native(as_8, path, type);
    if (!source) return 0;
    const bool compressed = type >= native_compressed;
    if (is_type_of<rgba_8>(type)) return load_held<rgba_8>(as_8, source, compressed);
    if (is_type_of<rgba_16>(type)) return load_held<rgba_16>(as_16, source, compressed);
    return fail(as_8, L"Unknown file type.");
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template unsigned int save_rgba_binary<format>(image_state&, const wchar_t*, bool) noexcept;                       \
    template unsigned int load_rgba_binary<format>(image_state&, const wchar_t*) noexcept;
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
