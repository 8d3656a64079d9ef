// Blend modes of 8- and 16-bit RGBA in vectors, bit for bit the plain form of kernels/blit.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/blit.h"

namespace zarn::vector {

// Modes are codes in <zarn/blend.h> below that of replacing. False, with nothing done, where the machine has no vectors
// for it, and for an opacity outside 0..1: a result may leave the range then.
bool blend_rgba_8(std::uint32_t mode, const blit_job& job, row_range rows);
bool blend_rgba_16(std::uint32_t mode, const blit_job& job, row_range rows);

} // namespace zarn::vector
