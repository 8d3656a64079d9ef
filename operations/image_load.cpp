#include "operations/image_load.h"

#include <cstdint>
#include <cstring>

#include "core/freeimage.h"
#include "core/image_guard.h"
#include "core/image_state.h"
#include "core/native_file.h"
#include "core/platform/files.h"
#include "kernels/import_rows.h"
#include "operations/deep_files.h"
#include "operations/devil_load.h"
#include "operations/frame.h"
#include "operations/image_file_types.h"
#include "operations/lifecycle.h"
#include "operations/tone.h"
#include "operations/value_forms.h"

namespace zarn {

namespace {

enum class outcome : std::uint8_t { failed, succeeded, left_to_devil };

template <class Format>
outcome store_bitmap(image_state& image, const freeimage::bitmap& bitmap, component_choice choice = {}) noexcept {
    const import_row<Format> convert = bitmap ? import_row_for<Format>(bitmap.type()) : nullptr;
    if (!convert) return outcome::left_to_devil;
    const std::uint32_t origin = bitmap.is_top_down() ? origin_upper_left : origin_lower_left;
    if (!allocate_contents(image, bitmap.width(), bitmap.height(), origin, pixel_bytes<Format>)) return outcome::failed;
    sample_of<Format>* pixels = samples<Format>(image);
    for (std::uint32_t y = 0; y < image.height; ++y) {
        convert(bitmap.row(y), pixels, image.width, choice);
        pixels += static_cast<std::uint64_t>(image.width) * channels<Format>;
    }
    return outcome::succeeded;
}

template <class Format>
unsigned int store_and_encode(image_state& image, devil_load& picture, component_choice choice = {}) noexcept {
    if (!picture.store<Format>(image, choice)) return 0;
    if (picture.is_linear()) adjust_tone<Format>(image, tone_curve::gamma, 2.2f);
    return 1;
}

} // namespace

template <class Format>
unsigned int load_image_file(image_state& image, const wchar_t* path) noexcept {
    free_image(image);
    if (const deep_format* format = deep_format_of(path)) {
        const outcome result = store_bitmap<Format>(image, load_bitmap(path, *format));
        if (result != outcome::left_to_devil) return result == outcome::succeeded ? 1 : 0;
    }
    devil_load picture(image, path);
    return picture ? store_and_encode<Format>(image, picture) : 0;
}

template <class Format>
unsigned int load_image_memory(image_state& image, const void* data, unsigned int size) noexcept {
    free_image(image);
    devil_load picture(image, data, size);
    return picture ? picture.store<Format>(image) : 0;
}

// ---- A picture of either depth -------------------------------------------------------------------------------------

namespace {

constexpr std::uint32_t largest_shallow_pixel = 32; // bits

// The bitmap's bytes as they are, whatever they mean.
template <class Format>
unsigned int store_bytes(image_state& image, const freeimage::bitmap& bitmap) noexcept {
    if (!allocate_contents(image, bitmap.width(), bitmap.height(), origin_lower_left, pixel_bytes<Format>)) return 0;
    const auto row_bytes = static_cast<std::size_t>(image.width * pixel_bytes<Format>);
    auto* to = static_cast<unsigned char*>(image.pixels);
    for (std::uint32_t y = 0; y < image.height; ++y, to += row_bytes) std::memcpy(to, bitmap.row(y), row_bytes);
    return 1;
}

} // namespace

unsigned int load_image_file(image_state& as_8, image_state& as_16, const wchar_t* path) noexcept {
    const deep_format* format = deep_format_of(path);
    if (format && format->either_depth) {
        const freeimage::bitmap bitmap =
            is_fit_for_freeimage(path) ? freeimage::bitmap::load(format->format, path) : freeimage::bitmap();
        if (!bitmap) return fail(as_8, L"Failed to load image using FreeImage_LoadU(). File open failed.");
        if (bitmap.bits_per_pixel() == 8 * pixel_bytes<rgba_8>) return store_bytes<rgba_8>(as_8, bitmap);
        if (bitmap.bits_per_pixel() == 8 * pixel_bytes<rgba_16>) return store_bytes<rgba_16>(as_16, bitmap);
    }
    devil_load picture(as_8, path);
    if (!picture) return 0;
    if (picture.bits_per_pixel() > largest_shallow_pixel) return store_and_encode<rgba_16>(as_16, picture);
    return store_and_encode<rgba_8>(as_8, picture);
}

unsigned int load_image_memory(image_state& as_8, image_state& as_16, const void* data, unsigned int size) noexcept {
    devil_load picture(as_8, data, size);
    if (!picture) return 0;
    if (picture.bits_per_pixel() > largest_shallow_pixel) return picture.store<rgba_16>(as_16);
    return picture.store<rgba_8>(as_8);
}

// ---- A picture of one value, or of value and alpha -----------------------------------------------------------------

namespace {

// By the bits of a pixel of four samples. False, with the message pushed, where they are not known.
bool take_form(image_state& image, std::uint32_t bits_per_pixel) noexcept {
    if (bits_per_pixel == 0) {
        fail(image, L"Unknown image format. Bits per channel not accepted.");
        return false;
    }
    image.names = names_at(image, bits_per_pixel <= 32 ? 0 : bits_per_pixel <= 64 ? 1 : 2);
    return true;
}

std::uint32_t image_type_for(bitmap_type type) noexcept {
    switch (type) {
    case bitmap_type::standard:
        return 0;
    case bitmap_type::grey_u16:
    case bitmap_type::grey_i16:
    case bitmap_type::rgb_u16:
    case bitmap_type::rgba_u16:
        return 1;
    default:
        return 2;
    }
}

} // namespace

unsigned int load_value_file(image_state& image, const wchar_t* path, component_choice choice) noexcept {
    free_image(image);
    if (const deep_format* format = deep_format_of(path)) {
        if (const freeimage::bitmap bitmap = load_bitmap(path, *format)) {
            image.names = names_at(image, image_type_for(bitmap.type()));
            const outcome result =
                with_format(image, [&](auto form) { return store_bitmap<decltype(form)>(image, bitmap, choice); });
            if (result != outcome::left_to_devil) return result == outcome::succeeded ? 1 : 0;
        }
    }
    devil_load picture(image, path);
    if (!picture || !take_form(image, picture.bits_per_pixel())) return 0;
    return with_format(image, [&](auto form) { return store_and_encode<decltype(form)>(image, picture, choice); });
}

unsigned int load_value_memory(image_state& image, const void* data, unsigned int size,
                               component_choice choice) noexcept {
    free_image(image);
    devil_load picture(image, data, size);
    if (!picture || !take_form(image, picture.bits_per_pixel())) return 0;
    return with_format(image, [&](auto form) { return picture.store<decltype(form)>(image, choice); });
}

#define ZARN_INSTANTIATE(Format)                                                                                       \
    template unsigned int load_image_file<Format>(image_state&, const wchar_t*) noexcept;                              \
    template unsigned int load_image_memory<Format>(image_state&, const void*, unsigned int) noexcept;
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

} // namespace zarn
