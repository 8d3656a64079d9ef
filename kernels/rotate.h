// Bilinear rotation, and the feathering of its edges.
#pragma once

#include <cstdint>

#include "core/row_range.h"
#include "kernels/move_pixels.h"

namespace zarn {

struct rotate_job : geometry_job {
    double cosine;
    double sine;
    double x_offset; // where the destination's corner lies in the rotated source's coordinates
    double y_offset;
};

// Rows are rows in memory of the destination. Pixels outside the turned source become 0.
template <class Format>
void rotate_rows(const rotate_job& job, row_range rows);

// Lowers the alpha of opaque pixels at the canvas border and beside fully transparent ones. Draws from std::rand in a
// fixed order; the caller seeds it.
template <class Format>
void feather_edges(typename Format::sample* pixels, std::uint32_t width, std::uint32_t height);

} // namespace zarn
