// expand_where_alpha, which has no peer: its cost for each pixel it fills.
#pragma once

#include <cstddef>
#include <vector>

#include "benchmarks/peer/picture.h"
#include "benchmarks/peer/timing.h"

namespace zarn_bench {

struct expansion {
    const char* name;
    unsigned side;
    unsigned threads;
    std::size_t filled; // pixels
    seconds time;
    double peak_memory; // in multiples of the image, which is included
};

// The holes of the picture, and the whole image from one opaque pixel in its corner, ring after ring.
std::vector<expansion> measure_expansion(const picture& source, unsigned threads, const patience& limits);

} // namespace zarn_bench
