// The two passes of a Gaussian over a few rows of a band.
#pragma once

#include <cstdint>

#include "kernels/blur.h"
#include "kernels/row_ring.h"

namespace zarn {

struct gaussian_pass {
    const gaussian_job* job;
    row_ring ring; // of the rows in the temporary array
};

// Rows that the vertical pass makes of one state of the ring.
constexpr std::uint32_t gaussian_strip = 32;

} // namespace zarn
