// What a histogram of half floats measures, in passes over the pixels.
//
// A half has only 65536 values, so medians count how often each occurs: nothing is sorted. A luminance is a float,
// whose bits count in two halves: first the upper ones, then the lower ones where the upper ones are the median's.
#pragma once

#include <cstdint>

#include <half.hpp>

#include "core/row_range.h"

namespace zarn {

// What is measured of a pixel, in this order: its samples, and behind those of a colour pixel its luminance.
constexpr unsigned most_measures = 5;
constexpr unsigned luminance_measure = 4;

template <class Format>
inline constexpr unsigned measures = Format::colours == 3 ? 5 : 2;

// 0.299, 0.587 and 0.114 of red, green and blue.
inline float luminance(float red, float green, float blue) noexcept {
    return 0.299f * red + 0.587f * green + 0.114f * blue;
}

// What the rows of one band add up to.
struct histogram_tally {
    std::uint32_t* bins[most_measures]; // as many as the job says for each measure, zeroed by the caller
    float sums[most_measures];          // of the samples only
};

struct histogram_job {
    const half_float::half* pixels;
    std::uint32_t width;
    std::uint32_t bins;
    histogram_tally* tallies; // one per band
};

template <class Format>
void histogram_rows(const histogram_job& job, row_range rows);

// The sums of (value - mean)^2 over all pixels, in order, one per measure.
template <class Format>
void add_squared_deviations(const half_float::half* pixels, std::uint64_t count, const float* means, float* sums);

constexpr std::uint32_t half_values = 65536;

// Counts the values of every step-th pixel: half_values counters per measure, zeroed by the caller. Those of a sample
// count by its bits, those of the luminance by the upper half of its place in the order of floats.
template <class Format>
void count_values(const half_float::half* pixels, std::uint64_t count, std::uint64_t step, std::uint32_t* counters);

// The value at `rank`, from 0 in ascending order, of a sample's counters. NaN is the lowest value.
float ranked_sample(const std::uint32_t* counters, std::uint64_t rank);

// The same of the luminance of every step-th pixel, whose counters are overwritten.
float ranked_luminance(const half_float::half* pixels, std::uint64_t count, std::uint64_t step, std::uint64_t rank,
                       std::uint32_t* counters);

} // namespace zarn
