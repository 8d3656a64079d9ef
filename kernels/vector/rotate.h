// Bilinear rotation in vectors, bit for bit the plain form of kernels/rotate.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/pixel_format.h"
#include "kernels/rotate.h"

namespace zarn::vector {

// False, with nothing done, where there is no vector code for the format or the machine, and where the source is too
// large for it.
template <class Format>
bool rotate_rows(const rotate_job&, row_range) {
    return false;
}

#define ZARN_DECLARE(format)                                                                                           \
    template <>                                                                                                        \
    bool rotate_rows<format>(const rotate_job& job, row_range rows);
ZARN_FOR_EACH_TABULABLE_FORMAT(ZARN_DECLARE)
ZARN_FOR_EACH_REAL_FORMAT(ZARN_DECLARE)
#undef ZARN_DECLARE

} // namespace zarn::vector
