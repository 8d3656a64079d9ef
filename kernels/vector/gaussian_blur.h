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

template <>
bool gaussian_horizontal<rgba_8>(const gaussian_pass& pass, row_range rows);
template <>
bool gaussian_vertical<rgba_8>(const gaussian_pass& pass, row_range rows);

} // namespace zarn::vector
