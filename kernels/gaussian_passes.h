// The two passes of a Gaussian over a few rows of a band.
#pragma once

#include <cstdint>

#include "kernels/blur.h"

namespace zarn {

// Where rows blurred along themselves lie in the temporary array: those from `first` up to `end` by turns in `capacity`
// rows from `first` on, all others in their own place.
struct gaussian_ring {
    std::uint32_t first;
    std::uint32_t end;
    std::uint32_t capacity;

    std::uint64_t place(std::uint32_t row) const {
        return row < first || row >= end ? row : first + (row - first) % capacity;
    }
};

struct gaussian_pass {
    const gaussian_job* job;
    gaussian_ring ring;
};

// Rows that the vertical pass makes of one state of the ring.
constexpr std::uint32_t gaussian_strip = 32;

} // namespace zarn
