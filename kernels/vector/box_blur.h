// Box passes in vectors, bit for bit the plain form of kernels/box_blur.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/box_passes.h"
#include "kernels/pixel_format.h"

namespace zarn::vector {

// False where the format or the machine has no vectors for them, a span is too long for their arithmetic, or a number
// too great: the destination is to be written by the plain form then, all of it.
template <class Format>
bool box_pass_horizontal(const box_pass_job&, row_range) {
    return false;
}
template <class Format>
bool box_pass_vertical(const box_pass_job&) {
    return false;
}

// Integers of up to 16 bits a sample, with alpha; those without and reals have sources of their own.
#define ZARN_FOR_EACH_VECTOR_BOX_FORMAT(apply) apply(rgba_8) apply(rgba_16) apply(grey_8) apply(grey_16)

#define ZARN_DECLARE(format)                                                                                           \
    template <>                                                                                                        \
    bool box_pass_horizontal<format>(const box_pass_job& job, row_range rows);                                         \
    template <>                                                                                                        \
    bool box_pass_vertical<format>(const box_pass_job& job);
ZARN_FOR_EACH_VECTOR_BOX_FORMAT(ZARN_DECLARE)
ZARN_DECLARE(value_8)
ZARN_DECLARE(value_16)
ZARN_FOR_EACH_REAL_FORMAT(ZARN_DECLARE)
#undef ZARN_DECLARE

} // namespace zarn::vector
