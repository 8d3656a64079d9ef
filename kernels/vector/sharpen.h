// Sharpening in vectors, bit for bit the plain form of kernels/sharpen.cpp.
#pragma once

#include "core/row_range.h"
#include "kernels/pixel_format.h"
#include "kernels/sharpen.h"

namespace zarn::vector {

// False, with nothing done, where there is no vector code for the format or the machine.
template <class Format>
bool sharpen_rows(const sharpen_job&, row_range) {
    return false;
}
#define ZARN_DECLARE(format)                                                                                           \
    template <>                                                                                                        \
    bool sharpen_rows<format>(const sharpen_job& job, row_range rows);
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_DECLARE)
ZARN_FOR_EACH_REAL_COLOUR_FORMAT(ZARN_DECLARE)
#undef ZARN_DECLARE

// Pixels of one value of up to 16 bits.
#define ZARN_FOR_EACH_NARROW_FORMAT(apply) apply(value_8) apply(value_16) apply(grey_8) apply(grey_16)

#define ZARN_DECLARE(format)                                                                                           \
    template <>                                                                                                        \
    bool sharpen_rows<format>(const sharpen_job& job, row_range rows);
ZARN_FOR_EACH_NARROW_FORMAT(ZARN_DECLARE)
#undef ZARN_DECLARE

} // namespace zarn::vector
