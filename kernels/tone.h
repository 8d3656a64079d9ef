// Per-pixel kernels that work in place: clear, and maps of colour samples.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

struct clear_colour_job {
    void* pixels;
    std::uint32_t width;
    const void* colour; // one pixel; its alpha is not used
};

// Writes the colour samples and keeps alpha. (With alpha it is fill_rows of move_pixels.h.)
template <class Format>
void clear_colour_rows(const clear_colour_job& job, row_range rows);

struct map_colour_job {
    void* pixels;
    std::uint32_t width;
    const void* table; // one sample for every value a sample can have
};

// Replaces every colour sample by its entry in the table and keeps alpha.
template <class Format>
void map_colour_rows(const map_colour_job& job, row_range rows);

// Gamma encoding of one sample, clamped and truncated; NaN becomes 0.
template <class Format>
typename Format::sample gamma_sample(typename Format::sample value, float gamma);

} // namespace zarn
