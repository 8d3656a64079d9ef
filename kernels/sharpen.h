// 3 x 3 sharpening in place, each pixel seeing its already sharpened left and upper neighbours.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

struct sharpen_job {
    void* pixels;
    std::uint32_t width;
    std::uint32_t height;
    bool lower_left;
    float amount;
    // For every band two rows as they were before the operation: the one above its first and the one below its last.
    // Bands run at the same time, so neither may be read from the image.
    const void* border_rows;
};

// Rows are picture rows within [1, height - 1).
template <class Format>
void sharpen_rows(const sharpen_job& job, row_range rows);

} // namespace zarn
