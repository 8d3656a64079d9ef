// Colour grading of real images: exact single-precision arithmetic in the order that is written. Halves are read into
// floats and rounded back when they are stored. Alpha stays.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

struct level_pair {
    float low;
    float high;
};

// A mapping of the input pair onto the output pair; values outside the input pair count as its ends. With equal inputs
// every result is NaN.
struct level_mapping {
    level_pair in;
    level_pair out;
};

// The wheel's six sectors, 1 being neutral.
struct sector_weights {
    float red, yellow, green, cyan, blue, magenta;
};

// A turn of the hue, in radians, and a factor of the saturation, as a matrix of rows for red, green and blue.
struct hue_matrix {
    float row[3][3];
};
hue_matrix make_hue_matrix(float hue, float saturation) noexcept;

struct grading_job {
    void* pixels;
    std::uint32_t width;
    level_mapping levels;
    sector_weights sectors;
    hue_matrix hue;
    float factors[3];
};

// In place. Formats with one colour have levels only.
template <class Format>
void levels_rows(const grading_job& job, row_range rows);
template <class Format>
void factors_rows(const grading_job& job, row_range rows); // clamped to 0..1
template <class Format>
void hue_rows(const grading_job& job, row_range rows); // clamped to 0..1
// Grey pixels stay; others are clamped to 0..1.
template <class Format>
void sectors_rows(const grading_job& job, row_range rows);
// Levels, then, but for pixels that are grey by then, sectors and hue.
template <class Format>
void levels_sectors_hue_rows(const grading_job& job, row_range rows);

struct grey_mix_job {
    const void* pixels;
    void* greys; // value and alpha
    std::uint32_t width;
    level_mapping levels;
    sector_weights sectors;
    float weights[3];
};

// From a format of three colours into its twin of one.
template <class Format>
void weighted_grey_rows(const grey_mix_job& job, row_range rows);
template <class Format>
void sector_grey_rows(const grey_mix_job& job, row_range rows);
template <class Format>
void levels_sector_grey_rows(const grey_mix_job& job, row_range rows);

} // namespace zarn
