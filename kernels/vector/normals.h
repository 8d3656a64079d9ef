// Normals in vectors, bit for bit the plain form of kernels/normals.cpp.
#pragma once

#include <cstdint>

#include "kernels/normals.h"

namespace zarn::vector {

// What a row of normals is made of. Pixels are grey_16, the results rgba_16.
struct normals_row {
    const std::uint16_t* above;
    const std::uint16_t* here;
    const std::uint16_t* below;
    std::uint16_t* out; // the result of column 0
};

// Makes the normals of some columns from `start` on, and tells at which it stopped, not beyond `end`. None of them may
// be the picture's first or last.
std::uint32_t normals_columns(const normals_job& job, const normals_row& row, std::uint32_t start, std::uint32_t end);

} // namespace zarn::vector
