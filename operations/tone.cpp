#include "operations/tone.h"

#include <cstring>

#include "kernels/tone.h"
#include "operations/frame.h"

namespace zarn {

namespace {

template <class Job>
void adjust(image_state& image, const Job& job, void (*kernel)(const Job&, row_range)) noexcept {
    if (!has_pixels(image)) return;
    operation_bands bands(image, L"adjust", 0, image.height, at_most_one_band_per_row(image, image.height));
    if (bands) bands.run(job, kernel);
}

} // namespace

template <class Format>
void clear(image_state& image, const void* colour, bool with_alpha) noexcept {
    // The caller's pixel may be one of the image's own.
    sample_of<Format> copy[channels<Format>];
    std::memcpy(copy, colour, sizeof(copy));
    if (with_alpha) {
        adjust(image, fill_job{image.pixels, image.width, copy}, fill_rows<pixel_bytes<Format>>);
    } else {
        adjust(image, clear_colour_job{image.pixels, image.width, copy}, clear_colour_rows<Format>);
    }
}

template <class Format>
void gamma(image_state& image, float gamma) noexcept {
    using sample = sample_of<Format>;
    static_assert(sizeof(sample) == 1, "a table of every sample value fits the stack for 8 bits only");
    sample table[256];
    for (unsigned value = 0; value < 256; ++value)
        table[value] = gamma_sample<Format>(static_cast<sample>(value), gamma);
    adjust(image, map_colour_job{image.pixels, image.width, table}, map_colour_rows<Format>);
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void clear<format>(image_state&, const void*, bool) noexcept;                                             \
    template void gamma<format>(image_state&, float) noexcept;
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
