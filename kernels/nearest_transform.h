// Nearest-neighbour scaling with mirrors, and rotation by inverse mapping: whole pixels, from one array to another.
// Rows are rows in memory of the destination.
#pragma once

#include "core/row_range.h"
#include "kernels/move_pixels.h"
#include "kernels/rotate.h"

namespace zarn {

struct scale_job : geometry_job {
    bool mirror_x;
    bool mirror_y;
};

// Positions in the source step in 16.16 fixed point.
template <unsigned Bytes>
void scale_nearest_rows(const scale_job& job, row_range rows);

// A pixel takes the source pixel on which its corner falls, coordinates truncated toward zero. Pixels outside the
// turned source become 0.
template <unsigned Bytes>
void rotate_nearest_rows(const rotate_job& job, row_range rows);

} // namespace zarn
