// The fixed blend modes beside one another: none may take much longer than the plainest.
#pragma once

#include <vector>

#include "benchmarks/peer/picture.h"
#include "benchmarks/peer/timing.h"

namespace zarn_bench {

constexpr unsigned blend_mode_count = 25;
constexpr double blend_mode_limit = 2.0; // times mode 0

// Every mode on one picture, with 2 threads, timed in turn.
struct blend_times {
    unsigned bits;
    unsigned side;
    std::vector<seconds> modes; // by code

    double nanoseconds_per_pixel(unsigned mode) const { return modes[mode].count() * 1e9 / side / side; }
    double against_plainest(unsigned mode) const { return modes[mode] / modes[0]; }
};

blend_times measure_blend_modes(const picture& source, const patience& limits);

const char* blend_mode_name(unsigned mode);

} // namespace zarn_bench
