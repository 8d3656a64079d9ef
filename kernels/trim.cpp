#include "kernels/trim.h"

#include <algorithm>

#include "kernels/pixel_format.h"

namespace zarn {

namespace {

// Where a sample of 0 is invisible: alpha, or the only sample of a format without alpha.
template <class Format>
constexpr unsigned visibility = Format::has_alpha ? Format::colours : 0;

// The first visible pixel of a row at or after `from`, or `width`.
template <class Format>
std::uint32_t first_visible(const typename Format::sample* row, std::uint32_t from, std::uint32_t width) {
    const auto blank = typename Format::sample(0);
    while (from < width && row[from * std::uint64_t{channels<Format>} + visibility<Format>] == blank) ++from;
    return from;
}

// One more than the last visible pixel of a row at or after `from`, or `from`.
template <class Format>
std::uint32_t last_visible(const typename Format::sample* row, std::uint32_t from, std::uint32_t width) {
    const auto blank = typename Format::sample(0);
    while (width > from && row[(width - 1) * std::uint64_t{channels<Format>} + visibility<Format>] == blank) --width;
    return width;
}

} // namespace

template <class Format>
bool find_visible_area(const typename Format::sample* pixels, std::uint32_t width, std::uint32_t height,
                       invisible_margins& margins) {
    const auto row = [=](std::uint32_t y) { return pixels + static_cast<std::uint64_t>(y) * width * channels<Format>; };
    const auto is_empty = [&](std::uint32_t y) { return first_visible<Format>(row(y), 0, width) == width; };

    std::uint32_t top = 0;
    while (top < height && is_empty(top)) ++top;
    std::uint32_t bottom = height;
    while (bottom > 1 && is_empty(bottom - 1)) --bottom;
    if (top == height || bottom <= 1) return false;

    // Each row narrows the search of the next: only columns outside what is known are looked at.
    std::uint32_t left = width;
    std::uint32_t right = 1;
    for (std::uint32_t y = top; y < bottom; ++y) {
        left = std::min(left, first_visible<Format>(row(y), 0, left));
        right = last_visible<Format>(row(y), right, width);
    }
    if (right <= 1) return false;
    margins = {top, height - bottom, left, width - right};
    return true;
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template bool find_visible_area<format>(const format::sample*, std::uint32_t, std::uint32_t, invisible_margins&);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
