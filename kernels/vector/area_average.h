// The area average in vectors, bit for bit the plain form of kernels/area_average.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/move_pixels.h"
#include "kernels/pixel_format.h"

namespace zarn::vector {

// False, with nothing done, where there is no vector code for the format or the machine, and where boxes are too large
// for its arithmetic.
template <class Format>
bool area_average_rows(const geometry_job&, row_range) {
    return false;
}

#define ZARN_DECLARE(format)                                                                                           \
    template <>                                                                                                        \
    bool area_average_rows<format>(const geometry_job& job, row_range rows);
ZARN_FOR_EACH_TABULABLE_FORMAT(ZARN_DECLARE)
#undef ZARN_DECLARE

} // namespace zarn::vector
