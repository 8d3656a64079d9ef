// Nearest-neighbour scaling and rotation in vectors, pixel for pixel the plain forms of kernels/nearest_transform.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/nearest_transform.h"

namespace zarn::vector {

// All give false, with nothing done, where there is no vector code for the machine.

// For pixels of 4 and 8 bytes and columns of up to twice the destination's number; false for others.
template <unsigned Bytes>
bool scale_nearest_rows(const scale_job&, row_range) {
    return false;
}
template <>
bool scale_nearest_rows<4>(const scale_job& job, row_range rows);
template <>
bool scale_nearest_rows<8>(const scale_job& job, row_range rows);

// False too for a source of more than 2^31 - 1 pixels. `Bytes` is 1, 2, 4 or 8.
template <unsigned Bytes>
bool rotate_nearest_rows(const rotate_job& job, row_range rows);

} // namespace zarn::vector
