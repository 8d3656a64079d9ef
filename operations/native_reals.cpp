#include "operations/native_reals.h"

#include <type_traits>

#include "core/error_stack.h"
#include "core/image_state.h"
#include "core/native_file.h"
#include "kernels/reals.h"
#include "operations/real_forms.h"

namespace zarn {

namespace {

constexpr std::uint32_t float_type = colour_real_32::native_type;

std::uint64_t real_channels(const real_flags& flags) noexcept { return flags.is_grayscale ? 2 : 4; }

// The pixels of a file of floats, truncated into a half image of the size that stands in it.
unsigned int load_truncated(image_state& image, native_source& source, std::uint64_t channels,
                            bool compressed) noexcept {
    image_names names = *image.names;
    names.pixel_member = L"temp_array.";
    image_state floats(names);
    floats.width = image.width;
    floats.height = image.height;
    const unsigned int loaded = load_native_pixels(floats, source, channels * sizeof(float), compressed);
    append_errors(image.errors, floats.errors);
    clear_errors(floats.errors);
    const owned_pixels array(floats.pixels);
    if (!array) {
        if (!loaded) release_pixels(image);
        return loaded; // 1 for an image of no pixels
    }
    image.pixels = allocate_pixels(pixel_count(image), channels * sizeof(half_float::half));
    if (!image.pixels) {
        release_pixels(image);
        return fail_allocation(image, image.names->pixel_member);
    }
    truncate_to_halves(static_cast<const float*>(array.get()), static_cast<half_float::half*>(image.pixels),
                       pixel_count(image) * channels);
    return loaded;
}

template <class Sample>
unsigned int load_rest(image_state& image, real_flags& flags, native_source& source, std::uint32_t type) noexcept {
    constexpr std::uint32_t own_type = colour_real<Sample>::native_type;
    const bool compressed = type >= native_compressed;
    const std::uint32_t stored_type = compressed ? type - native_compressed : type;
    if (stored_type != own_type && (own_type == float_type || stored_type != float_type)) {
        push_error(image.errors,
                   {L"Unexpected image type: Failed to load ", image.names->image_class, L" from binary."});
        return 0;
    }
    std::uint32_t words[5];
    if (!read_native_words(image, source, words, 5, compressed)) return 0;
    image.width = words[0];
    image.height = words[1];
    flags = {words[2], words[3], words[4]};
    unsigned int loaded = 0;
    if constexpr (!std::is_same_v<Sample, float>) {
        if (stored_type == float_type) loaded = load_truncated(image, source, real_channels(flags), compressed);
    }
    if (stored_type == own_type) {
        loaded = load_native_pixels(image, source, real_channels(flags) * sizeof(Sample), compressed);
    }
    if (!loaded && !image.pixels) flags = {};
    return loaded;
}

} // namespace

template <class Sample>
unsigned int save_real_binary(image_state& image, const real_flags& flags, const wchar_t* path,
                              bool compress) noexcept {
    const std::uint32_t words[] = {colour_real<Sample>::native_type,
                                   image.width,
                                   image.height,
                                   flags.is_grayscale,
                                   flags.is_rasterized,
                                   flags.is_sRGB};
    return save_native(image, path, words, 6, real_channels(flags) * sizeof(Sample), compress);
}

template <class Sample>
unsigned int load_real_binary(image_state& image, real_flags& flags, const wchar_t* path) noexcept {
    std::uint32_t type = 0;
    native_source source = open_native(image, path, type);
    return source ? load_rest<Sample>(image, flags, source, type) : 0;
}

template <class Sample>
unsigned int load_real_binary(image_state& image, real_flags& flags, const unsigned char* data,
                              std::uint32_t size) noexcept {
    if (!data) {
        free_image(image);
        return fail(image, L"Failed to read pixels from file. Unexpected end of file.");
    }
    std::uint32_t type = 0;
    native_source source = open_native(image, data, size, type);
    return load_rest<Sample>(image, flags, source, type);
}

#define ZARN_INSTANTIATE(sample)                                                                                       \
    template unsigned int save_real_binary<sample>(image_state&, const real_flags&, const wchar_t*, bool) noexcept;    \
    template unsigned int load_real_binary<sample>(image_state&, real_flags&, const wchar_t*) noexcept;                \
    template unsigned int load_real_binary<sample>(image_state&, real_flags&, const unsigned char*,                    \
                                                   std::uint32_t) noexcept;
ZARN_INSTANTIATE(float)
ZARN_INSTANTIATE(half_float::half)

} // namespace zarn
