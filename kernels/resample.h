// Resampling kernels that look at the samples: area average and cubic B-spline. Alpha-aware: invisible pixels lend no
// colour. See move_pixels.h for nearest neighbour.
#pragma once

#include "core/row_range.h"
#include "kernels/move_pixels.h"

namespace zarn {

// Rows are picture rows of the destination.
template <class Format>
void area_average_rows(const geometry_job& job, row_range rows);

// Rows are rows in memory of the destination.
template <class Format>
void bspline_rows(const geometry_job& job, row_range rows);

} // namespace zarn
