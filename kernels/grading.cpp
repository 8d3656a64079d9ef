#include "kernels/grading.h"

#include <algorithm>
#include <cmath>

#include "kernels/pixel_format.h"
#include "kernels/vector/real_tone.h"

namespace zarn {

namespace {

// NaN becomes 0.
float clamp_unit(float value) { return !(value > 0.0f) ? 0.0f : value >= 1.0f ? 1.0f : value; }

// ---- Stages on one pixel -------------------------------------------------------------------------------------------

class levels_stage {
public:
    explicit levels_stage(const level_mapping& levels)
        : ___in(levels.in)
        , ___scale(1.0f / (levels.in.high - levels.in.low))
        , ___range(levels.out.high - levels.out.low)
        , ___low(levels.out.low) {}

    float operator()(float value) const {
        if (!(value > ___in.low)) value = ___in.low;
        if (value >= ___in.high) value = ___in.high;
        return (value - ___in.low) * ___scale * ___range + ___low;
    }

    vector::levels_curve curve() const { return {___in.low, ___in.high, ___scale, ___range, ___low}; }

private:
    level_pair ___in;
    float ___scale;
    float ___range;
    float ___low;
};

bool is_grey(const float* rgb) { return rgb[0] == rgb[1] && rgb[1] == rgb[2]; }

// What a sector of negative weight takes besides its own colours.
enum class sector_use : std::uint8_t {
    grey_mix, // all three alike
    selective // the others are lowered to the least dominant one
};

// The sector of one channel, or of the two channels other than `third`.
template <sector_use Use>
void turn_sector(float* rgb, float amount, float weight, const unsigned (&dominant)[2], const unsigned (&others)[2]) {
    if (!(amount > 0.0001f)) return;
    // A sector of one channel names it twice.
    const bool single = dominant[0] == dominant[1];
    const auto add = [&](float change) {
        rgb[dominant[0]] += change;
        if (!single) rgb[dominant[1]] += change;
    };
    if (weight >= 1.0f) {
        add((weight - 1.0f) * amount);
    } else if (weight >= 0.0f) {
        add(-((1.0f - weight) * amount));
    } else if (weight < 0.0f) {
        const float less = (1.0f - weight) * amount;
        add(-less);
        const float bound = std::min(rgb[dominant[0]], rgb[dominant[1]]);
        for (unsigned i = 0; i < (others[0] == others[1] ? 1u : 2u); ++i) {
            float& other = rgb[others[i]];
            other = Use == sector_use::grey_mix ? other - less : std::min(other, bound);
        }
    }
}

template <sector_use Use>
void turn_sectors(float* rgb, const sector_weights& weights) {
    constexpr unsigned r = 0, g = 1, b = 2;
    turn_sector<Use>(rgb, rgb[r] - std::max(rgb[g], rgb[b]), weights.red, {r, r}, {g, b});
    turn_sector<Use>(rgb, std::min(rgb[r], rgb[g]) - rgb[b], weights.yellow, {r, g}, {b, b});
    turn_sector<Use>(rgb, rgb[g] - std::max(rgb[r], rgb[b]), weights.green, {g, g}, {r, b});
    turn_sector<Use>(rgb, std::min(rgb[g], rgb[b]) - rgb[r], weights.cyan, {g, b}, {r, r});
    turn_sector<Use>(rgb, rgb[b] - std::max(rgb[r], rgb[g]), weights.blue, {b, b}, {r, g});
    turn_sector<Use>(rgb, std::min(rgb[r], rgb[b]) - rgb[g], weights.magenta, {r, b}, {g, g});
}

void turn_hue(float* rgb, const hue_matrix& matrix) {
    const float old[3] = {rgb[0], rgb[1], rgb[2]};
    for (unsigned c = 0; c < 3; ++c) {
        const float* const row = matrix.row[c];
        rgb[c] = clamp_unit(row[0] * old[0] + row[1] * old[1] + row[2] * old[2]);
    }
}

void clamp_units(float* rgb) {
    for (unsigned c = 0; c < 3; ++c) rgb[c] = clamp_unit(rgb[c]);
}

template <class Format>
float sector_grey(float* rgb, const sector_weights& weights) {
    if (is_grey(rgb)) return rgb[0];
    turn_sectors<sector_use::grey_mix>(rgb, weights);
    return clamp_unit(std::max({rgb[0], rgb[1], rgb[2]}));
}

// ---- All pixels of a band ------------------------------------------------------------------------------------------

// The band's pixels as vector code takes them.
template <class Format>
vector::sample_run<typename Format::sample> band_samples(const grading_job& job, row_range rows) {
    const std::uint64_t row_samples = std::uint64_t{job.width} * channels<Format>;
    return {static_cast<typename Format::sample*>(job.pixels) + rows.start * row_samples,
            (rows.end - rows.start) * row_samples, channels<Format>, true};
}

// Calls work(colours) with every pixel's colours as floats and stores what it leaves in them.
template <class Format, class Work>
void grade(const grading_job& job, row_range rows, Work work) {
    using sample = typename Format::sample;
    auto* pixel = static_cast<sample*>(job.pixels) + std::uint64_t{rows.start} * job.width * channels<Format>;
    const std::uint64_t count = std::uint64_t{rows.end - rows.start} * job.width;
    for (std::uint64_t i = 0; i < count; ++i, pixel += channels<Format>) {
        float colours[Format::colours];
        for (unsigned c = 0; c < Format::colours; ++c) colours[c] = static_cast<float>(pixel[c]);
        work(colours);
        for (unsigned c = 0; c < Format::colours; ++c) pixel[c] = static_cast<sample>(colours[c]);
    }
}

// Stores value(colours) and the alpha of every pixel.
template <class Format, class Value>
void mix_grey(const grey_mix_job& job, row_range rows, Value value) {
    using sample = typename Format::sample;
    const std::uint64_t first = std::uint64_t{rows.start} * job.width;
    const auto* pixel = static_cast<const sample*>(job.pixels) + first * channels<Format>;
    auto* grey = static_cast<sample*>(job.greys) + first * 2;
    const std::uint64_t count = std::uint64_t{rows.end - rows.start} * job.width;
    for (std::uint64_t i = 0; i < count; ++i, pixel += channels<Format>, grey += 2) {
        float rgb[3] = {static_cast<float>(pixel[0]), static_cast<float>(pixel[1]), static_cast<float>(pixel[2])};
        grey[0] = static_cast<sample>(value(rgb));
        grey[1] = pixel[3];
    }
}

} // namespace

hue_matrix make_hue_matrix(float hue, float saturation) noexcept {
    const float c = std::cos(hue) * saturation;
    const float w = std::sin(hue) * saturation;
    return {{{0.299f + 0.701f * c + 0.168f * w, 0.587f - 0.587f * c + 0.330f * w, 0.114f - 0.114f * c - 0.497f * w},
             {0.299f - 0.299f * c - 0.328f * w, 0.587f + 0.413f * c + 0.035f * w, 0.114f - 0.114f * c + 0.292f * w},
             {0.299f - 0.300f * c + 1.250f * w, 0.587f - 0.588f * c - 1.050f * w, 0.114f + 0.886f * c - 0.203f * w}}};
}

template <class Format>
void levels_rows(const grading_job& job, row_range rows) {
    const levels_stage levels(job.levels);
    if (vector::map_levels(band_samples<Format>(job, rows), levels.curve())) return;
    grade<Format>(job, rows, [&levels](float* colours) {
        for (unsigned c = 0; c < Format::colours; ++c) colours[c] = levels(colours[c]);
    });
}

template <class Format>
void factors_rows(const grading_job& job, row_range rows) {
    if (vector::map_factors(band_samples<Format>(job, rows), job.factors)) return;
    grade<Format>(job, rows, [&job](float* rgb) {
        for (unsigned c = 0; c < 3; ++c) rgb[c] = clamp_unit(rgb[c] * job.factors[c]);
    });
}

template <class Format>
void hue_rows(const grading_job& job, row_range rows) {
    if (vector::map_hue(band_samples<Format>(job, rows), job.hue)) return;
    grade<Format>(job, rows, [&job](float* rgb) { turn_hue(rgb, job.hue); });
}

template <class Format>
void sectors_rows(const grading_job& job, row_range rows) {
    grade<Format>(job, rows, [&job](float* rgb) {
        if (is_grey(rgb)) return;
        turn_sectors<sector_use::selective>(rgb, job.sectors);
        clamp_units(rgb);
    });
}

template <class Format>
void levels_sectors_hue_rows(const grading_job& job, row_range rows) {
    const levels_stage levels(job.levels);
    grade<Format>(job, rows, [&](float* rgb) {
        for (unsigned c = 0; c < 3; ++c) rgb[c] = levels(rgb[c]);
        if (is_grey(rgb)) return;
        turn_sectors<sector_use::selective>(rgb, job.sectors);
        turn_hue(rgb, job.hue);
    });
}

template <class Format>
void weighted_grey_rows(const grey_mix_job& job, row_range rows) {
    using sample = typename Format::sample;
    const float* const w = job.weights;
    const std::uint64_t first = std::uint64_t{rows.start} * job.width;
    const std::uint64_t count = std::uint64_t{rows.end - rows.start} * job.width;
    const vector::sample_run<const sample> colours{static_cast<const sample*>(job.pixels) + first * 4, count * 4, 4,
                                                   true};
    const vector::sample_run<sample> greys{static_cast<sample*>(job.greys) + first * 2, count * 2, 2, true};
    if (vector::mix_greys(colours, greys, job.weights)) return;
    mix_grey<Format>(job, rows, [w](const float* rgb) { return w[0] * rgb[0] + w[1] * rgb[1] + w[2] * rgb[2]; });
}

template <class Format>
void sector_grey_rows(const grey_mix_job& job, row_range rows) {
    mix_grey<Format>(job, rows, [&job](float* rgb) { return sector_grey<Format>(rgb, job.sectors); });
}

template <class Format>
void levels_sector_grey_rows(const grey_mix_job& job, row_range rows) {
    const levels_stage levels(job.levels);
    mix_grey<Format>(job, rows, [&](float* rgb) {
        for (unsigned c = 0; c < 3; ++c) rgb[c] = levels(rgb[c]);
        return sector_grey<Format>(rgb, job.sectors);
    });
}

#define ZARN_INSTANTIATE(format) template void levels_rows<format>(const grading_job&, row_range);
ZARN_FOR_EACH_REAL_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void factors_rows<format>(const grading_job&, row_range);                                                 \
    template void hue_rows<format>(const grading_job&, row_range);                                                     \
    template void sectors_rows<format>(const grading_job&, row_range);                                                 \
    template void levels_sectors_hue_rows<format>(const grading_job&, row_range);                                      \
    template void weighted_grey_rows<format>(const grey_mix_job&, row_range);                                          \
    template void sector_grey_rows<format>(const grey_mix_job&, row_range);                                            \
    template void levels_sector_grey_rows<format>(const grey_mix_job&, row_range);
ZARN_FOR_EACH_REAL_COLOUR_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
