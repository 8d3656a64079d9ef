// Blur kernels. Colour is averaged over visible pixels, alpha over all.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

// A part of the padded picture and the array that holds it, row after row.
struct box_area {
    void* pixels;
    std::uint32_t left;
    std::uint32_t top;
    std::uint32_t width;
    std::uint32_t height;
};

// One iteration of a box blur over the padded picture, along rows and then along columns. Beyond the area of the source
// its nearest pixels stand; beyond that of the destination nothing is written. They may be the same array.
struct box_job {
    box_area source;
    box_area destination;
    void* scratch;       // room for as many rows as the source has, as wide as the destination
    std::uint32_t width; // of the padded picture
    std::uint32_t height;
    std::uint32_t radius; // the span of position i is [i - radius, i + radius], cut at the ends of the padded picture
    bool blur_colour;
    bool blur_alpha;
};

// The blur of a band of rows of the padded picture, in two steps, each of which must have ended on every band before
// the next. The first leaves the rows that neighbours look at, blurred along themselves, in the scratch array. The
// second makes the result: some rows at a time are blurred along themselves and, still in cache, along columns.
template <class Format>
void box_band_ends(const box_job& job, row_range rows);
template <class Format>
void box_band(const box_job& job, row_range rows);

constexpr std::uint32_t largest_gaussian_radius = 500;

// The weights of a Gaussian cut at its radius.
struct gaussian_weights {
    // A weight times 2^26 is a whole number. Cut into 13 bits below and the rest above, two neighbouring distances side
    // by side: [i] holds distance 2i in its lower 16 bits and 2i + 1 in its upper ones. 0 beyond the radius.
    static constexpr std::uint32_t low_bits = 13;
    static constexpr std::uint32_t pairs = largest_gaussian_radius / 2 + 1;

    std::uint32_t radius;
    double weight[largest_gaussian_radius + 1]; // by distance; each is a 32-bit float
    std::uint32_t high[pairs];
    std::uint32_t low[pairs];
    double cumulative[largest_gaussian_radius + 1]; // 2^26 times the sum of the weights up to a distance

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

// The Gaussian of a band, in place, in two steps as those of the box blur. The switches choose what is replaced.
template <class Format>
void gaussian_band_ends(const gaussian_job& job, row_range rows);
template <class Format>
void gaussian_band(const gaussian_job& job, row_range rows);

} // namespace zarn
