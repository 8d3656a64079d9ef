// Sharpening of 8-bit RGBA in vectors, bit for bit the plain form of kernels/sharpen.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/sharpen.h"

namespace zarn::vector {

// False, with nothing done, where the machine has no vectors for it.
bool sharpen_rgba_8(const sharpen_job& job, row_range rows);

} // namespace zarn::vector
