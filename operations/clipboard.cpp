#include "operations/clipboard.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

#include "core/devil.h"
#include "core/image_guard.h"
#include "core/image_guard_kinds.h"
#include "core/image_state.h"
#include "kernels/import_rows.h"
#include "operations/devil_messages.h"
#include "operations/frame.h"
#include "operations/image_load.h"
#include "operations/lifecycle.h"

namespace zarn {

namespace {

constexpr std::chrono::seconds patience{5}; // stated in the public header

template <class Format>
void make_opaque(image_state& image) noexcept {
    const std::uint64_t count = pixel_count(image);
    sample_of<Format>* alpha = samples<Format>(image) + Format::colours;
    for (std::uint64_t i = 0; i < count; ++i) alpha[i * channels<Format>] = Format::full;
}

template <class Format>
void put_top_row_first(image_state& image) noexcept {
    if (is_lower_left(image)) {
        const std::uint64_t row = static_cast<std::uint64_t>(image.width) * channels<Format>;
        sample_of<Format>* top = samples<Format>(image);
        sample_of<Format>* bottom = top + row * (image.height - 1);
        for (; top < bottom; top += row, bottom -= row) std::swap_ranges(top, top + row, bottom);
    }
    image.origin = origin_upper_left;
}

// No other type is looked at, whatever the decoders know.
bool is_expected_file(const clipboard_picture& picture) noexcept {
    byte_source bytes(picture.bytes.get(), picture.size);
    const image_kind kind = image_kind_of_content(bytes);
    return kind == image_kind::bmp || kind == image_kind::png;
}

template <class Format>
unsigned int install_file(image_state& image, const clipboard_picture& picture) noexcept {
    if (!is_expected_file(picture)) return fail_devil(image, devil_call::load, L"Damaged file.");
    if (!load_image_memory<Format>(image, picture.bytes.get(), picture.size)) return 0;
    put_top_row_first<Format>(image);
    make_opaque<Format>(image);
    return 1;
}

template <class Format>
unsigned int install_bitmap(image_state& image, const clipboard_picture& picture) noexcept {
    if (!allocate_contents(image, picture.width, picture.height, origin_upper_left, pixel_bytes<Format>)) return 0;
    const std::uint64_t count = pixel_count(image);
    sample_of<Format>* pixel = samples<Format>(image);
    if (picture.bits_per_pixel != 24 && picture.bits_per_pixel != 32) {
        std::fill_n(pixel, count * channels<Format>, sample_of<Format>{0});
        return 1;
    }
    const import_row<Format> convert = import_row_for<Format>(bitmap_type::standard);
    const std::uint8_t* source = picture.bytes.get();
    const std::uint32_t step = picture.bits_per_pixel / 8;
    for (std::uint64_t i = 0; i < count; ++i, source += step, pixel += channels<Format>) {
        const std::uint8_t opaque[] = {source[0], source[1], source[2], 255};
        convert(opaque, pixel, 1, {});
    }
    return 1;
}

} // namespace

template <class Format>
unsigned int install_clipboard_picture(image_state& image, const clipboard_picture& picture) noexcept {
    static_assert(channels<Format> == 4, "pictures are red, green, blue and alpha");
    return picture.bytes_are == clipboard_picture::form::file ? install_file<Format>(image, picture)
                                                              : install_bitmap<Format>(image, picture);
}

template <class Format>
unsigned int load_clipboard(image_state& image, zarn_window_handle window) noexcept {
    free_image(image);
    clipboard_picture picture;
    switch (take_clipboard_picture(window, patience, picture)) {
    case clipboard_result::taken:
        return install_clipboard_picture<Format>(image, picture);
    case clipboard_result::not_opened:
        return fail(image, L"Failed to open clipboard with OpenClipboard().");
    case clipboard_result::without_picture:
        return fail(image, L"No BITMAP found in clipboard.");
    case clipboard_result::no_memory:
        return fail_allocation(image, L"bitmap bytes.");
    case clipboard_result::no_bits:
        return fail(image, L"Failed to get bitmap bits using GetDIBits().");
    }
    return 0;
}

#define ZARN_INSTANTIATE(Format)                                                                                       \
    template unsigned int load_clipboard<Format>(image_state&, zarn_window_handle) noexcept;                           \
    template unsigned int install_clipboard_picture<Format>(image_state&, const clipboard_picture&) noexcept;
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

} // namespace zarn
