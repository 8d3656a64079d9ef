// What the passes of a distance transform by dead reckoning share with their vector code.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace zarn {

// Lengths of the steps in a 7 x 7 neighbourhood, by columns and rows either way round: the doubles nearest the roots.
inline constexpr double step_1_0 = 1.0;
inline constexpr double step_1_1 = 0x1.6a09e667f3bcdp+0; // of 2
inline constexpr double step_2_1 = 0x1.1e3779b97f4a8p+1; // of 5
inline constexpr double step_3_1 = 0x1.94c583ada5b53p+1; // of 10
inline constexpr double step_3_2 = 0x1.cd82b446159f3p+1; // of 13

// A neighbour; rows are counted towards those that the pass has done.
struct neighbour {
    int columns, rows;
    double step;
};

// Both passes ask these in this order.
inline constexpr neighbour touching_neighbours[] = {{-1, 1, step_1_1}, {0, 1, step_1_0}, {1, 1, step_1_1}};

struct border_point {
    std::int32_t x, y;
};

// A stretch of a row under way, its first pixel at column x of row y.
struct reckoning_row {
    double* distances;     // to the nearest border pixel found so far
    border_point* nearest; // that border pixel
    std::ptrdiff_t done;   // pixels to the row beside, which the pass has done: minus or plus the width
    std::int32_t x, y;
};

// Lets pixel i take over the border pixel of the neighbour at an offset where the way through it is shorter than
// `distance`, the pixel's own so far. Its new distance is measured, not the way through the neighbour.
inline void ask_neighbour(const reckoning_row& row, std::int32_t i, std::ptrdiff_t offset, double step,
                          double& distance) noexcept {
    if (!(step + row.distances[i + offset] < distance)) return;
    const border_point point = row.nearest[i + offset];
    const double across = point.x - (row.x + i), down = point.y - row.y;
    row.nearest[i] = point;
    distance = std::sqrt(across * across + down * down);
}

} // namespace zarn
