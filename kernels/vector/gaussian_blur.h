// The passes of the true Gaussian in vectors, bit for bit the plain forms of kernels/gaussian_blur.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/gaussian_passes.h"
#include "kernels/pixel_format.h"

namespace zarn::vector {

// False, with nothing done, where the format or the machine has no vectors for it.
template <class Format>
bool gaussian_horizontal(const gaussian_pass&, row_range) {
    return false;
}
template <class Format>
bool gaussian_vertical(const gaussian_pass&, row_range) {
    return false;
}

// Integer sums for 8-bit RGBA and values, sums of doubles for the others; reals have their own.
#define ZARN_FOR_EACH_DOUBLE_GAUSSIAN_FORMAT(apply) apply(rgba_16) apply(value_16) apply(grey_8) apply(grey_16)

#define ZARN_DECLARE(format)                                                                                           \
    template <>                                                                                                        \
    bool gaussian_horizontal<format>(const gaussian_pass& pass, row_range rows);                                       \
    template <>                                                                                                        \
    bool gaussian_vertical<format>(const gaussian_pass& pass, row_range rows);
ZARN_DECLARE(rgba_8)
ZARN_DECLARE(value_8)
ZARN_FOR_EACH_DOUBLE_GAUSSIAN_FORMAT(ZARN_DECLARE)
ZARN_FOR_EACH_REAL_FORMAT(ZARN_DECLARE)
#undef ZARN_DECLARE

} // namespace zarn::vector
