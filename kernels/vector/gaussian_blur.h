// The true Gaussian of 8-bit RGBA in vectors, bit for bit the plain form of kernels/gaussian_blur.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/blur.h"

namespace zarn::vector {

// False, with nothing done, where the machine has no vectors for it.
bool gaussian_horizontal_rgba_8(const gaussian_job& job, row_range rows);
bool gaussian_vertical_rgba_8(const gaussian_job& job, row_range rows);

} // namespace zarn::vector
