// Blur kernels. Colour is averaged over visible pixels, alpha over all.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

// One pass of a box blur from one array to another of the same size.
struct box_pass_job {
    const void* source;
    void* destination;
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t radius; // the span of position i is [i - radius, i + radius], cut at the ends of its line
    bool blur_colour;
    bool blur_alpha;
};

// `rows` are rows.
template <class Format>
void box_pass_horizontal(const box_pass_job& job, row_range rows);

// `rows` are columns.
template <class Format>
void box_pass_vertical(const box_pass_job& job, row_range columns);

constexpr std::uint32_t largest_gaussian_radius = 500;

// A weight times 2^26, a whole number, in two halves of 13 bits.
struct fixed_weight {
    std::uint32_t high;
    std::uint32_t low;
};

// The weights of a Gaussian cut at its radius.
struct gaussian_weights {
    std::uint32_t radius;
    float weight[largest_gaussian_radius + 1];           // by distance
    fixed_weight fixed[2 * largest_gaussian_radius + 1]; // by place, the centre in the middle
    double cumulative[largest_gaussian_radius + 1];      // 2^26 times the sum of the weights up to a distance

    // 2^26 times the weights of the centre, `before` taps before it and `after` taps behind it; exact.
    double sum(std::uint32_t before, std::uint32_t after) const {
        return cumulative[before] + cumulative[after] - cumulative[0];
    }
};

// sigma above 0; beyond 250 it counts as 250.
gaussian_weights make_gaussian_weights(float sigma);

struct gaussian_job {
    void* image;
    void* temporary; // an array of the same size
    std::uint32_t width;
    std::uint32_t height;
    const gaussian_weights* weights;
    bool blur_colour;
    bool blur_alpha;
};

// From the image to the temporary array, colour and alpha alike whatever the switches.
template <class Format>
void gaussian_horizontal(const gaussian_job& job, row_range rows);

// From the temporary array to the image; the switches choose what is replaced. Every row of the horizontal pass must
// be there.
template <class Format>
void gaussian_vertical(const gaussian_job& job, row_range rows);

} // namespace zarn
