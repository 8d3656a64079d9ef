// The cubic B-spline of 8-bit RGBA in vectors, bit for bit the plain form of kernels/bspline.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/move_pixels.h"

namespace zarn::vector {

// False, with nothing done, where the machine has no vectors for it.
bool bspline_rgba_8(const geometry_job& job, row_range rows);

} // namespace zarn::vector
