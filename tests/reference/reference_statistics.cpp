#include "tests/reference/reference_statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zarn_test {

namespace {

float luminance_of(float r, float g, float b) { return 0.299f * r + 0.587f * g + 0.114f * b; }

std::uint32_t bin_of(float v, std::uint32_t bins) {
    if (!(v > 0.0f)) return 0;
    if (v >= 1.0f) return bins - 1;
    return static_cast<std::uint32_t>(static_cast<float>(bins - 1) * v + 0.5f);
}

float deviation_sum(const std::vector<float>& values, float mean) {
    float sum = 0.0f;
    for (const float v : values) sum += (v - mean) * (v - mean);
    return sum;
}

float median_of(std::vector<float> values) {
    const auto below = [](float a, float b) { return std::isnan(a) ? !std::isnan(b) : a < b; };
    std::sort(values.begin(), values.end(), below);
    return values[values.size() / 2];
}

std::vector<float> every(const std::vector<float>& values, std::uint64_t step) {
    std::vector<float> taken;
    for (std::uint64_t i = 0; i < values.size(); i += step) taken.push_back(values[i]);
    return taken;
}

// Bins, their maximum, and the median of the samples.
void fill(zarn_histogram_channel_s& channel, const std::vector<float>& values, std::uint32_t bins,
          const std::vector<float>& samples) {
    channel.bins.set_size(bins);
    channel.bins.set_count_to_size();
    for (const float v : values) ++channel.bins[bin_of(v, bins)];
    for (std::uint32_t i = 0; i < bins; ++i) channel.max_count = std::max(channel.max_count, channel.bins[i]);
    channel.median = median_of(samples);
}

} // namespace

zarn_histogram_s reference_histogram(const real_picture& picture, std::uint32_t bins, std::uint32_t thread_limit) {
    zarn_histogram_s histogram;
    const std::uint64_t count = std::uint64_t{picture.width} * picture.height;
    const auto step = count <= 1048576 ? 1 : static_cast<std::uint64_t>(static_cast<double>(count) / 1048576.0 + 0.5);
    const float n = static_cast<float>(count);
    const std::uint32_t threads = std::min(thread_limit, picture.height), band = picture.height / threads;
    std::vector<float> planes[6], all_colours;
    for (std::uint64_t i = 0; i < count; ++i) {
        const float* const p = &picture.samples[i * picture.stride()];
        if (picture.is_grey) {
            planes[0].push_back(p[0]);
            planes[4].push_back(p[1]);
        } else {
            for (unsigned c = 0; c < 4; ++c) planes[c + 1].push_back(p[c]);
            planes[5].push_back(luminance_of(p[0], p[1], p[2]));
            planes[0].insert(planes[0].end(), p, p + 3);
            if (i % step == 0) all_colours.insert(all_colours.end(), p, p + 3);
        }
    }
    for (unsigned c = 0; c < 6; ++c) {
        if (planes[c].empty()) continue;
        zarn_histogram_channel_s& channel = histogram.channel[c];
        const bool is_pooled = c == 0 && !picture.is_grey;
        fill(channel, planes[c], bins, is_pooled ? all_colours : every(planes[c], step));
        if (is_pooled) continue;
        float sum = 0.0f;
        for (std::uint32_t t = 0; t < threads; ++t) {
            const std::uint64_t first = std::uint64_t{t} * band * picture.width;
            const std::uint64_t last = t + 1 == threads ? count : first + std::uint64_t{band} * picture.width;
            float band_sum = 0.0f;
            for (std::uint64_t i = first; i < last; ++i) band_sum += planes[c][i];
            sum += band_sum;
        }
        channel.mean =
            c == 5 ? luminance_of(histogram.channel[1].mean, histogram.channel[2].mean, histogram.channel[3].mean)
                   : sum * (1.0f / n);
        const float squares = deviation_sum(planes[c], channel.mean);
        channel.std_dev = std::sqrt(c == 5 ? squares / n : (1.0f / n) * squares);
    }
    if (!picture.is_grey) {
        const zarn_histogram_channel_s &r = histogram.channel[1], &g = histogram.channel[2], &b = histogram.channel[3];
        histogram.channel[0].mean = (r.mean + g.mean + b.mean) * 0.33333334f;
        const float variance = (r.std_dev * r.std_dev + g.std_dev * g.std_dev + b.std_dev * b.std_dev) * 0.33333334f +
                               (r.mean * r.mean + g.mean * g.mean + b.mean * b.mean) * 0.22222222f -
                               ((b.mean + g.mean) * r.mean + b.mean * g.mean) * 0.22222222f;
        histogram.channel[0].std_dev = variance < 0.0f ? 0.0f : std::sqrt(variance);
    }
    histogram.pixel_count = static_cast<std::uint32_t>(count);
    return histogram;
}

std::vector<std::uint8_t> reference_chart(const zarn_histogram_channel_s& channel, std::uint32_t pixel_count,
                                          std::uint8_t background, std::uint8_t bar, std::uint32_t height) {
    const std::uint32_t bins = channel.bins.count;
    std::vector<std::uint8_t> chart(std::size_t{bins} * height, background);
    std::vector<float> f;
    for (std::uint32_t i = 0; i < bins; ++i)
        f.push_back(static_cast<float>(channel.bins[i]) / static_cast<float>(pixel_count));
    std::vector<float> sorted = f;
    std::sort(sorted.begin(), sorted.end());
    if (sorted.back() == 0.0f) return chart;
    const float inverse = 1.0f / sorted.back();
    while (sorted.size() > 1 && sorted[0] == 0.0f && sorted[1] == 0.0f) sorted.erase(sorted.begin());
    const auto place = static_cast<std::size_t>(static_cast<float>(sorted.size() - 1) * 0.7f + 0.5f);
    const float p = sorted[place] * inverse;
    const float gain = p < 0.05f ? 0.05f / p : 1.0f;
    for (std::uint32_t i = 0; i < bins; ++i) {
        if (channel.bins[i] == 0) continue;
        const float h = std::min(gain * (f[i] * inverse), 1.0f);
        const auto top = height - static_cast<std::uint32_t>(std::round(static_cast<float>(height - 1) * h)) - 1;
        for (std::uint32_t y = top; y < height; ++y) chart[std::size_t{y} * bins + i] = bar;
    }
    return chart;
}

zarn_nradar_s reference_radar(const real_picture& picture, std::uint32_t bins, std::uint32_t flags) {
    zarn_nradar_s radar;
    radar.flags = flags;
    for (auto* samples : {&radar.first_samples, &radar.second_samples}) {
        samples->set_size(bins);
        samples->set_count_to_size();
    }
    for (std::size_t i = 0; i + 3 < picture.samples.size(); i += 4) {
        float x = picture.samples[i], y = picture.samples[i + 1];
        const float z = picture.samples[i + 2], alpha = picture.samples[i + 3];
        if ((x == 0 && y == 0 && z == 0) || alpha == 0) continue;
        if (std::isnan(x) || std::isnan(y) || std::isnan(z)) continue;
        if (flags & 1) x = -x;
        if (flags & 4) y = -y;
        const float d = z >= 0 ? (x + y) * 0.0f + z : (x + y) * 0.0f - z;
        const bool first = (z < 0) != ((flags & 16) != 0);
        (first ? radar.first_count : radar.second_count)++;
        (first ? radar.first_used : radar.second_used) = 1;
        if (d > 0.9995f) {
            (first ? radar.first_poles : radar.second_poles)++;
            continue;
        }
        const float turn = (std::atan2(y, -x) + 3.1415927f) * 0.15915494f;
        const auto bin = static_cast<std::uint32_t>(turn * static_cast<float>(bins - 1) + 0.5f);
        zarn_nradar_sample_s& s = (first ? radar.first_samples : radar.second_samples)[bin];
        unsigned int& most = first ? radar.first_max : radar.second_max;
        most = std::max(most, ++s.count);
        const float normal[3] = {x, y, z};
        if (d > s.max_z) {
            std::copy_n(normal, 3, s.max_normal);
            s.max_z = d;
        }
        if (d < s.min_z) {
            std::copy_n(normal, 3, s.min_normal);
            s.min_z = d;
        }
    }
    radar.total = radar.first_count + radar.second_count;
    radar.max_count = std::max(radar.first_max, radar.second_max);
    return radar;
}

double radar_view::scale(const zarn_nradar_s& radar) const {
    if ((show_first && show_second) || common_scale) return radar.max_count;
    return show_first ? radar.first_max : radar.second_max;
}

namespace {

constexpr double pi = 3.14159265358979323846;

// A point seen from its wedge: how far it lies outwards along the wedge's middle, and from its straight sides.
struct place_in_wedge {
    std::uint32_t bin;
    double outwards;
    double from_sides;
};
place_in_wedge place_of(std::uint32_t bins, const radar_view& view, double x, double y) {
    const double step = 2 * pi / bins;
    const double dx = x - view.centre(), dy = y - view.centre(), radius = std::hypot(dx, dy);
    double turn = std::atan2(-dx, dy) / step + 0.5;
    if (turn < 0) turn += bins;
    const double off_middle = (turn - std::floor(turn) - 0.5) * step;
    return {static_cast<std::uint32_t>(turn) % bins, radius * std::cos(off_middle),
            radius * std::sin(step / 2 - std::fabs(off_middle))};
}

} // namespace

std::optional<int> reference_wedge_at(const zarn_nradar_s& radar, const radar_view& view,
                                      const std::vector<double>& lengths, double x, double y, double near) {
    const std::uint32_t bins = radar.first_samples.count;
    const place_in_wedge place = place_of(bins, view, x, y);
    const double flat = std::cos(pi / bins); // of the outer and the inner edge
    const double from = view.inner_radius * flat, to = (view.inner_radius + lengths[place.bin]) * flat;
    if (place.from_sides < near || std::fabs(place.outwards - from) < near || std::fabs(place.outwards - to) < near)
        return std::nullopt;
    const bool inside = (place.outwards - from) * (place.outwards - to) < 0;
    return inside ? static_cast<int>(place.bin) : -1;
}

std::optional<rgb_reals> reference_radar_pixel(const zarn_nradar_s& radar, const radar_view& view, std::uint32_t column,
                                               std::uint32_t row) {
    constexpr double near = 2.0;
    const std::uint32_t bins = radar.first_samples.count;
    const double x = column + 0.5, y = row + 0.5, flat = std::cos(pi / bins);
    const double outwards = place_of(bins, view, x, y).outwards;
    for (const double line : {view.centre() - 1, static_cast<double>(view.inner_radius)}) {
        if (std::fabs(outwards - line * flat) < near) return std::nullopt;
    }
    rgb_reals colour{static_cast<double>(view.background.r), static_cast<double>(view.background.g),
                     static_cast<double>(view.background.b)};
    for (const bool first : {false, true}) {
        if (!(first ? view.show_first : view.show_second)) continue;
        const auto& samples = first ? radar.first_samples : radar.second_samples;
        std::vector<double> lengths;
        for (std::uint32_t i = 0; i < bins; ++i)
            lengths.push_back((view.centre() - view.inner_radius) * samples[i].count / view.scale(radar));
        const std::optional<int> bin = reference_wedge_at(radar, view, lengths, x, y, near);
        if (!bin) return std::nullopt;
        if (*bin >= 0) {
            const zarn_nradar_sample_s& s = samples[static_cast<std::uint32_t>(*bin)];
            const auto place = static_cast<std::size_t>(*bin);
            const double share = (outwards / flat - view.inner_radius) / lengths[place];
            const auto mixed = [&](unsigned i) {
                const double inner = (s.max_normal[i] + 1) * 127.5, outer = (s.min_normal[i] + 1) * 127.5;
                return inner + (outer - inner) * share;
            };
            colour = {mixed(0), mixed(1), mixed(2)};
        }
        const bool of_all = (view.show_first && view.show_second) || view.common_scale;
        const double counted = of_all ? radar.total : first ? radar.first_count : radar.second_count;
        const double disc = (first ? radar.first_poles : radar.second_poles) / counted * view.inner_radius * flat;
        if (disc > 0 && std::fabs(outwards - disc) < near) return std::nullopt;
        if (outwards < disc) colour = {128, 128, radar.flags & 16 ? 255.0 : 0.0};
    }
    return colour;
}

} // namespace zarn_test
