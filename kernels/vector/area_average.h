// The area average of 8-bit RGBA in vectors, bit for bit the plain form of kernels/area_average.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/move_pixels.h"

namespace zarn::vector {

// False, with nothing done, where the machine has no vectors for it or boxes are too large for their arithmetic.
bool area_average_rgba_8(const geometry_job& job, row_range rows);

} // namespace zarn::vector
