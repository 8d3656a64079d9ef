#include <zarn/nradar.h>

#include "real/nradar_wedges.h"

namespace {

// On which side of the line through a and b the point lies.
bool is_left_of(const zarn_fpoint_s& point, const zarn_fpoint_s& a, const zarn_fpoint_s& b) {
    return (point.x - b.x) * (a.y - b.y) - (a.x - b.x) * (point.y - b.y) > 0.0f;
}

bool is_in_triangle(const zarn_fpoint_s& point, const zarn_fpoint_s& a, const zarn_fpoint_s& b,
                    const zarn_fpoint_s& c) {
    const bool side = is_left_of(point, a, b);
    return side == is_left_of(point, b, c) && side == is_left_of(point, c, a);
}

} // namespace

void zarn_build_nradar_quad_list(const zarn_nradar_s& radar, unsigned int show_first, unsigned int show_second,
                                 unsigned int common_scale, unsigned int inner_radius, unsigned int size,
                                 zarn_list<zarn_fpoint_s>& quads) {
    quads.clear();
    const std::uint32_t bins = radar.first_samples.count;
    if (bins == 0 || bins > UINT32_MAX / 4) return;
    quads.set_size(bins * 4);
    quads.set_count_to_size();
    if (quads.count != bins * 4) return;

    const zarn::radar_wedges wedges(bins, inner_radius, size);
    const std::uint32_t scale = zarn::radar_scale(radar, show_first != 0, show_second != 0, common_scale != 0);
    for (std::uint32_t bin = 0; bin < bins; ++bin) {
        const std::uint32_t first = show_first ? radar.first_samples.data[bin].count : 0;
        const std::uint32_t second = show_second ? zarn::count_of_bin(radar.second_samples, bin) : 0;
        const std::uint32_t count = first > second ? first : second;
        if (count == 0) continue; // new points are (0, 0)
        const zarn::radar_wedge wedge = wedges.counted(bin, count, scale);
        zarn_fpoint_s* const quad = quads.data + static_cast<std::uint64_t>(bin) * 4;
        quad[0] = wedge.inner_0;
        quad[1] = wedge.outer_0;
        quad[2] = wedge.inner_1;
        quad[3] = wedge.outer_1;
    }
}

unsigned int zarn_is_intersect_nradar_image(const zarn_nradar_s& radar, unsigned int inner_radius, unsigned int size,
                                            zarn_point_s& point, int& bin) {
    bin = -2;
    const std::uint32_t bins = radar.first_samples.count;
    const zarn::radar_wedges wedges(bins, inner_radius, size);
    const zarn_fpoint_s place(point);
    const float distance = (place - zarn_fpoint_s(wedges.centre(), wedges.centre())).length();
    if (distance > wedges.centre()) return 0;
    if (distance <= wedges.inner_radius()) {
        bin = -1;
        return 1;
    }
    for (std::uint32_t i = 0; i < bins; ++i) {
        const zarn::radar_wedge wedge = wedges.whole(i);
        if (is_in_triangle(place, wedge.inner_0, wedge.outer_0, wedge.inner_1) ||
            is_in_triangle(place, wedge.inner_1, wedge.outer_0, wedge.outer_1)) {
            bin = static_cast<int>(i);
            return 1;
        }
    }
    return 0;
}
