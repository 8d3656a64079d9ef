// Nearest-neighbour scaling and rotation in vectors, pixel for pixel the plain forms of kernels/nearest_transform.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/nearest_transform.h"

namespace zarn::vector {

// Both give false, with nothing done, where there is no vector code for the machine. `Bytes` is 1, 2, 4 or 8.

// False too for less than a vector of columns and for fewer than half the source's.
template <unsigned Bytes>
bool scale_nearest_rows(const scale_job& job, row_range rows);

// False too for a source of more than 2^31 - 1 pixels.
template <unsigned Bytes>
bool rotate_nearest_rows(const rotate_job& job, row_range rows);

} // namespace zarn::vector
