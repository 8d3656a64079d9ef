// Histograms and normal-map radars in their plainest form, and their pictures: what the library's results are compared
// with.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <zarn/histogram.h>
#include <zarn/nradar.h>
#include <zarn/pixels.h>

#include "tests/reference/reference_real.h"

namespace zarn_test {

zarn_histogram_s reference_histogram(const real_picture& picture, std::uint32_t bins, std::uint32_t thread_limit);

// The chart's pixels, row after row from the top.
std::vector<std::uint8_t> reference_chart(const zarn_histogram_channel_s& channel, std::uint32_t pixel_count,
                                          std::uint8_t background, std::uint8_t bar, std::uint32_t height);

zarn_nradar_s reference_radar(const real_picture& picture, std::uint32_t bins, std::uint32_t flags);

// How a radar is drawn.
struct radar_view {
    bool show_first;
    bool show_second;
    bool common_scale;
    std::uint32_t inner_radius;
    std::uint32_t size;
    zarn_pixel_8_s background;
    zarn_pixel_8_s drawing;

    double centre() const { return size * 0.5; }
    double scale(const zarn_nradar_s& radar) const;
};

// The bin whose wedge, drawn with this length, holds the point, -1 for none. Nothing where an edge of it is near.
std::optional<int> reference_wedge_at(const zarn_nradar_s& radar, const radar_view& view,
                                      const std::vector<double>& lengths, double x, double y, double near);

// The colour of a pixel of the picture; nothing where an edge is near, where shapes mix.
struct rgb_reals {
    double r, g, b;
};
std::optional<rgb_reals> reference_radar_pixel(const zarn_nradar_s& radar, const radar_view& view, std::uint32_t column,
                                               std::uint32_t row);

} // namespace zarn_test
