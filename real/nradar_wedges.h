// The wedges of a normal-map radar in its square picture, in pixels.
#pragma once

#include <cmath>
#include <cstdint>

#include <zarn/nradar.h>

namespace zarn {

struct radar_wedge {
    zarn_fpoint_s inner_0, outer_0, inner_1, outer_1;
};

class radar_wedges {
public:
    radar_wedges(std::uint32_t bins, std::uint32_t inner_radius, std::uint32_t size) noexcept
        : ___centre(static_cast<float>(size) * 0.5f)
        , ___inner(static_cast<float>(inner_radius))
        , ___step(6.2831855f / static_cast<float>(bins)) {}

    float centre() const noexcept { return ___centre; }
    float inner_radius() const noexcept { return ___inner; }

    float first_angle(std::uint32_t bin) const noexcept { return -___step / 2.0f + static_cast<float>(bin) * ___step; }
    zarn_fpoint_s point(float angle, float radius) const noexcept {
        return {___centre - std::sin(angle) * radius, ___centre + std::cos(angle) * radius};
    }

    // As wide as the bin, from the inner radius to the rim.
    radar_wedge whole(std::uint32_t bin) const noexcept {
        const float a0 = first_angle(bin), a1 = a0 + ___step;
        return {point(a0, ___inner), point(a0, ___centre), point(a1, ___inner), point(a1, ___centre)};
    }
    // From the inner radius as far out as `count` is of `scale`.
    radar_wedge counted(std::uint32_t bin, std::uint32_t count, std::uint32_t scale) const noexcept {
        const float length = (___centre - ___inner) * static_cast<float>(count) / static_cast<float>(scale);
        const float a0 = first_angle(bin), a1 = a0 + ___step;
        const zarn_fpoint_s inner_0 = point(a0, ___inner), inner_1 = point(a1, ___inner);
        return {inner_0, extended(inner_0, a0, length), inner_1, extended(inner_1, a1, length)};
    }

private:
    static zarn_fpoint_s extended(const zarn_fpoint_s& from, float angle, float length) noexcept {
        return {from.x - std::sin(angle) * length, from.y + std::cos(angle) * length};
    }

    float ___centre;
    float ___inner;
    float ___step;
};

// The count that reaches the rim.
inline std::uint32_t radar_scale(const zarn_nradar_s& radar, bool show_first, bool show_second,
                                 bool common_scale) noexcept {
    if ((show_first && show_second) || common_scale) return radar.max_count;
    return show_first ? radar.first_max : radar.second_max;
}

// The count of a bin; 0 beyond the last one.
inline std::uint32_t count_of_bin(const zarn_list<zarn_nradar_sample_s>& samples, std::uint32_t bin) noexcept {
    return bin < samples.count ? samples.data[bin].count : 0;
}

} // namespace zarn
