// Box passes in vectors, bit for bit the plain form of kernels/box_blur.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/box_passes.h"
#include "kernels/pixel_format.h"

namespace zarn::vector {

// False, with nothing done, where the format or the machine has no vectors for them or a span is too long for their
// arithmetic.
template <class Format>
bool box_pass_horizontal(const box_pass_job&, row_range) {
    return false;
}
template <class Format>
bool box_pass_vertical(const box_pass_job&) {
    return false;
}

template <>
bool box_pass_horizontal<rgba_8>(const box_pass_job& job, row_range rows);
template <>
bool box_pass_vertical<rgba_8>(const box_pass_job& job);

} // namespace zarn::vector
