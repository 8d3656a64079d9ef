// Bilinear rotation of 8-bit RGBA in vectors, bit for bit the plain form of kernels/rotate.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/rotate.h"

namespace zarn::vector {

// False, with nothing done, where the machine has no vectors for it or the source is too large for them.
bool rotate_rgba_8(const rotate_job& job, row_range rows);

} // namespace zarn::vector
