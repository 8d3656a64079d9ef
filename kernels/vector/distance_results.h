// The results of a distance transform in vectors. Magnitudes from `limit` on count as 0; no distance is NaN.
#pragma once

#include <cstdint>

namespace zarn::vector {

// The largest magnitude.
double largest_distance(const double* distances, std::uint64_t count, double limit);

// Magnitudes divided by `largest`, times `full`, cut off. No magnitude exceeds `largest`, which is not 0; `full` fits
// 31 bits.
void scale_distances(const double* distances, std::uint32_t count, double limit, double largest, double full,
                     std::int32_t* scaled);

} // namespace zarn::vector
