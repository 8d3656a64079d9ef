// Box passes over 8-bit RGBA in vectors, bit for bit the plain form of kernels/box_blur.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/blur.h"

namespace zarn::vector {

// False, with nothing done, where the machine has no vectors for them or a span is too long for their arithmetic.
bool box_pass_horizontal_rgba_8(const box_pass_job& job, row_range rows);
bool box_pass_vertical_rgba_8(const box_pass_job& job, row_range columns);

} // namespace zarn::vector
