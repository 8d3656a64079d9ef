// A separable Gaussian over reals with colour weighted by alpha: half-transparent pixels count half. Edges are
// repeated.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

constexpr std::uint32_t largest_premultiplied_radius = 750;

// Weights by distance; those of all taps sum to 1.
struct premultiplied_weights {
    std::uint32_t radius; // ceil(3 sigma)
    float weight[largest_premultiplied_radius + 1];
};

// sigma above 0; beyond 250 it counts as 250.
premultiplied_weights make_premultiplied_weights(float sigma) noexcept;

struct premultiplied_blur_job {
    const void* image;
    void* across;  // the first pass's result: colours times alpha, and alpha
    void* blurred; // the second pass's
    std::uint32_t width;
    std::uint32_t height;
    const premultiplied_weights* weights;
    bool blur_colour;
    bool blur_alpha;
};

// From the image.
template <class Format>
void premultiplied_horizontal(const premultiplied_blur_job& job, row_range rows);

// From the first pass, every row of which must be there. What is not blurred, and the colour where nothing is visible,
// is the image's.
template <class Format>
void premultiplied_vertical(const premultiplied_blur_job& job, row_range rows);

} // namespace zarn
