// The count of a normal map's directions.
#pragma once

#include <cstdint>

#include <half.hpp>
#include <zarn/nradar.h>

namespace zarn {

// What one hemisphere adds up to.
struct hemisphere_tally {
    zarn_nradar_sample_s* samples; // as many as the job has bins
    std::uint32_t count;           // poles included
    std::uint32_t poles;
    std::uint32_t most; // the largest count of a bin
};

struct normal_count_job {
    const half_float::half* pixels; // x, y, z, alpha
    std::uint64_t count;
    std::uint32_t bins;
    bool negate_x;
    bool negate_y;
};

// Pixels of alpha 0, zero vectors and those with NaN do not count.
void count_normals(const normal_count_job& job, hemisphere_tally& below, hemisphere_tally& above);

} // namespace zarn
