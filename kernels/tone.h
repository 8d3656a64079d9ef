// Per-pixel kernels that work in place on the colour samples and keep alpha: clear, and the tone curves.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

struct clear_colour_job {
    void* pixels;
    std::uint32_t width;
    const void* colour; // one pixel; its alpha is not used
};

// (With alpha it is fill_rows of move_pixels.h.)
template <class Format>
void clear_colour_rows(const clear_colour_job& job, row_range rows);

// What becomes of a colour sample, whatever its neighbours are. The amount of a curve is a factor for exposure and
// contrast, a share of full scale for brightness, and the exponent's inverse for gamma.
// Reals take gamma's amount for the exponent itself, and alone have a brightness in proportion: below 0 times
// (amount + 1), else towards full scale by the amount, not clamped.
enum class tone_curve : std::uint8_t { exposure, brightness, contrast, gamma, proportional_brightness };

// Writes the curve's result for every value a sample can have: in the format's real type, clamped to its range and
// truncated. NaN becomes 0; under exposure, which is clamped above only, full scale. Tabulable formats only.
template <class Format>
void tabulate_tone(tone_curve curve, float amount, typename Format::sample* table);

struct map_colour_job {
    void* pixels;
    std::uint32_t width;
    const void* table; // one sample for every value a sample can have
};

// Replaces every colour sample by its entry in the table.
template <class Format>
void map_colour_rows(const map_colour_job& job, row_range rows);

struct tone_job {
    void* pixels;
    std::uint32_t width;
    tone_curve curve;
    float amount;
};

// The same without a table.
template <class Format>
void tone_rows(const tone_job& job, row_range rows);

struct grayscale_job {
    void* pixels;
    std::uint32_t width;
    float red_weight;
    float green_weight;
    float blue_weight;
};

// All colour samples become their weighted sum, not clamped.
template <class Format>
void grayscale_rows(const grayscale_job& job, row_range rows);

struct negative_job {
    void* pixels;
    std::uint32_t width;
    bool invert_colour;
    bool invert_alpha;
};

template <class Format>
void negative_rows(const negative_job& job, row_range rows);

struct power_job {
    void* pixels;
    std::uint32_t width;
    float exponent;
};

// Every sample, alpha too. Reals only.
template <class Format>
void power_rows(const power_job& job, row_range rows);

struct clear_alpha_job {
    void* pixels;
    std::uint32_t width;
    const void* alpha; // one sample
};

// Reals only.
template <class Format>
void clear_alpha_rows(const clear_alpha_job& job, row_range rows);

} // namespace zarn
