// The cubic B-spline in vectors, bit for bit the plain form of kernels/bspline.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/move_pixels.h"
#include "kernels/pixel_format.h"

namespace zarn::vector {

// False, with nothing done, where there is no vector code for the format or the machine.
template <class Format>
bool bspline_rows(const geometry_job&, row_range) {
    return false;
}

#define ZARN_DECLARE(format)                                                                                           \
    template <>                                                                                                        \
    bool bspline_rows<format>(const geometry_job& job, row_range rows);
ZARN_FOR_EACH_TABULABLE_FORMAT(ZARN_DECLARE)
ZARN_FOR_EACH_REAL_FORMAT(ZARN_DECLARE)
#undef ZARN_DECLARE

} // namespace zarn::vector
