// Turning by quarters, whole pixels.
#pragma once

#include <cstdint>

#include "core/row_range.h"
#include "kernels/move_pixels.h"

namespace zarn {

// Clockwise by one quarter, or by three. Rows are rows of the destination, whose sides are the source's exchanged; both
// have the top row first.
template <unsigned Bytes>
void quarter_turn_rows(const geometry_job& job, row_range rows);
template <unsigned Bytes>
void three_quarter_turn_rows(const geometry_job& job, row_range rows);

// By two quarters; the sides stay.
template <unsigned Bytes>
void half_turn_rows(const geometry_job& job, row_range rows);

} // namespace zarn
