// The part of a distance transform's passes that looks at the rows beside a row only, in vectors.
#pragma once

#include <cstdint>

#include "kernels/dead_reckoning.h"

namespace zarn::vector {

// For each of `count` pixels the least of distance plus step: in `far` over the twelve neighbours in three rows that do
// not touch it, in `least` over these and the three that do. Reads three columns more on both sides. No distance is
// NaN.
void least_steps(const reckoning_row& row, std::int32_t count, double* least, double* far);

// The same for `far`; and asks the touching neighbours. Each distance of the row must be 0 or `unreached` on entry:
// above 2^104, and alike for the rows beside where nothing was reached.
void ask_touching(const reckoning_row& row, std::int32_t count, double* far);

} // namespace zarn::vector
