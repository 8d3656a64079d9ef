// Normal maps of height fields.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

struct normals_job {
    const std::uint16_t* heights; // grey_16, top row first
    std::uint16_t* normals;       // rgba_16 of the same size and row order
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t left; // the columns that are written
    std::uint32_t right;
    float strength;
    bool wrap;
    std::uint32_t flags; // normal_flag bits
};

enum normal_flag : std::uint32_t {
    normal_invert_x = 0x1,
    normal_invert_y = 0x4,
    normal_white_holes = 0x10, // invisible pixels have full blue, else none
    normal_invert_z = 0x20,
};

constexpr std::uint16_t normal_level = 32767; // the middle of the range, truncated

void normals_rows(const normals_job& job, row_range rows);

} // namespace zarn
