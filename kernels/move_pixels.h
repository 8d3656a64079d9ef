// Kernels that move whole pixels and never look inside them: crop, canvas, flips, nearest neighbour, fill.
//
// A pixel is 1, 2, 4, 8 or 16 bytes; every kernel exists for each of these sizes.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

// The two arrays of an operation that builds a new one.
struct geometry_job {
    const void* source;
    void* destination;
    std::uint32_t source_width;
    std::uint32_t source_height;
    std::uint32_t width;
    std::uint32_t height;
    bool lower_left; // both arrays: picture row 0 is the last row in memory
};

struct crop_job : geometry_job {
    std::uint32_t left;
    std::uint32_t top;
};

struct canvas_job : geometry_job {
    std::uint32_t left; // where the old picture's top-left corner stands
    std::uint32_t top;
    const void* colour; // one pixel
};

// Rows are picture rows of the source, `top` the first.
template <unsigned Bytes>
void crop_rows(const crop_job& job, row_range rows);

// Rows are picture rows of the destination.
template <unsigned Bytes>
void canvas_rows(const canvas_job& job, row_range rows);

// Rows of the next three are rows in memory of the destination.
template <unsigned Bytes>
void flip_horizontal_rows(const geometry_job& job, row_range rows);

template <unsigned Bytes>
void flip_vertical_rows(const geometry_job& job, row_range rows);

template <unsigned Bytes>
void nearest_rows(const geometry_job& job, row_range rows);

struct fill_job {
    void* pixels;
    std::uint32_t width;
    const void* colour; // one pixel
};

template <unsigned Bytes>
void fill_rows(const fill_job& job, row_range rows);

} // namespace zarn
