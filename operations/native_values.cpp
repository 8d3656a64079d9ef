#include "operations/native_values.h"

#include "core/image_state.h"
#include "core/native_file.h"
#include "operations/value_forms.h"

namespace zarn {

unsigned int save_value_binary(image_state& image, const wchar_t* path, bool compress) noexcept {
    const std::uint32_t words[] = {image_type_of(image), image.origin, image.width, image.height};
    return save_native(image, path, words, 4, value_pixel_bytes(image), compress);
}

unsigned int load_value_binary(image_state& image, const wchar_t* path) noexcept {
    std::uint32_t type = 0;
    native_source source = open_native(image, path, type);
    if (!source) return 0;
    const bool compressed = type >= native_compressed;
    const std::uint32_t image_type = compressed ? type - native_compressed : type;
    if (image_type >= image_type_count) return fail(image, L"Unknown file type.");
    image.names = names_at(image, image_type);
    std::uint32_t words[3];
    if (!read_native_words(image, source, words, 3, compressed)) return 0;
    image.origin = words[0];
    image.width = words[1];
    image.height = words[2];
    return load_native_pixels(image, source, value_pixel_bytes(image), compressed);
}

} // namespace zarn
