#include "kernels/nradar.h"

#include <cmath>

namespace zarn {

namespace {

void set(float (&normal)[3], float x, float y, float z) noexcept {
    normal[0] = x;
    normal[1] = y;
    normal[2] = z;
}

} // namespace

void count_normals(const normal_count_job& job, hemisphere_tally& below, hemisphere_tally& above) {
    const std::uint32_t last = job.bins - 1;
    const auto scale = static_cast<float>(last);
    const half_float::half* pixel = job.pixels;
    for (std::uint64_t i = 0; i < job.count; ++i, pixel += 4) {
        float x = pixel[0], y = pixel[1];
        const float z = pixel[2], alpha = pixel[3];
        if ((x == 0.0f && y == 0.0f && z == 0.0f) || alpha == 0.0f) continue;
        if (std::isnan(x) || std::isnan(y) || std::isnan(z)) continue;
        if (job.negate_x) x = -x;
        if (job.negate_y) y = -y;
        // NaN beside an infinite x or y: such a normal counts, and is neither a pole nor the most or least tilted one.
        const float nothing = (x + y) * 0.0f;
        const float tilt = z >= 0.0f ? nothing + z : nothing - z;
        hemisphere_tally& half_space = z >= 0.0f ? above : below;
        ++half_space.count;
        if (tilt > 0.9995f) {
            ++half_space.poles;
            continue;
        }
        const float turn = (std::atan2(y, -x) + 3.1415927f) * 0.15915494f;
        const float place = turn * scale + 0.5f;
        zarn_nradar_sample_s& sample = half_space.samples[place < scale ? static_cast<std::uint32_t>(place) : last];
        if (++sample.count > half_space.most) half_space.most = sample.count;
        if (tilt > sample.max_z) {
            set(sample.max_normal, x, y, z);
            sample.max_z = tilt;
        }
        if (tilt < sample.min_z) {
            set(sample.min_normal, x, y, z);
            sample.min_z = tilt;
        }
    }
}

} // namespace zarn
