// Colour grading of real images, and their conversion to one value. Failures of the former show on the error stack
// only.
#pragma once

#include <zarn/detail/image_state.h>

#include "kernels/grading.h"

namespace zarn {

// From the levels that a host hands in: each low end is clamped to 0..1, each high end raised to the given low one.
level_pair sanitised_levels(float low, float high) noexcept;

// Sectors in percent to weights.
sector_weights weights_of_percents(float red, float yellow, float green, float cyan, float blue,
                                   float magenta) noexcept;

// The hue in degrees, the saturation in -100..100.
hue_matrix hue_matrix_of(float hue, float saturation) noexcept;

using grading_kernel = void (*)(const grading_job& job, row_range rows);

// Runs a kernel of grading.h; the job's pixels and width are filled in.
void grade(image_state& image, grading_job job, grading_kernel kernel) noexcept;

using grey_mix_kernel = void (*)(const grey_mix_job& job, row_range rows);

// Replaces the pixels by pairs of value and alpha, `sample_bytes` each.
unsigned int mix_to_grey(image_state& image, grey_mix_job job, grey_mix_kernel kernel,
                         std::uint64_t sample_bytes) noexcept;

// The way back: (v, v, v, a).
template <class Format>
unsigned int spread_grey(image_state& image) noexcept;

} // namespace zarn
