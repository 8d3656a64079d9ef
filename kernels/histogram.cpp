#include "kernels/histogram.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "kernels/pixel_format.h"
#include "kernels/reals.h"

namespace zarn {

namespace {

using half_float::half;

class bin_finder {
public:
    explicit bin_finder(std::uint32_t bins) noexcept
        : ___last(bins - 1)
        , ___scale(static_cast<float>(___last)) {}

    std::uint32_t operator()(float value) const noexcept {
        const float place = ___scale * value + 0.5f;
        const float from_first = place > 0.0f ? place : 0.0f; // NaN too
        return from_first < ___scale ? static_cast<std::uint32_t>(from_first) : ___last;
    }

private:
    std::uint32_t ___last;
    float ___scale;
};

// Calls work(pixel, floats) with every step-th pixel and its samples as floats, which are made of many at a time.
template <class Format, class Work>
void for_each_pixel(const half* pixels, std::uint64_t count, std::uint64_t step, Work work) {
    constexpr unsigned n = channels<Format>;
    constexpr std::uint64_t block = 256; // pixels
    half gathered[block * n];
    float floats[block * n];
    const std::uint64_t looked_at = (count + step - 1) / step;
    for (std::uint64_t start = 0; start < looked_at; start += block) {
        const std::uint64_t length = std::min(block, looked_at - start);
        const half* halves = pixels + start * step * n;
        if (step > 1) {
            for (std::uint64_t i = 0; i < length; ++i) std::copy_n(halves + i * step * n, n, gathered + i * n);
            halves = gathered;
        }
        convert_reals(halves, floats, length * n);
        for (std::uint64_t i = 0; i < length; ++i) work(halves + i * n, floats + i * n);
    }
}

// All that is measured of a pixel.
template <class Format>
struct measured {
    float values[measures<Format>];

    explicit measured(const float* pixel) noexcept {
        std::copy_n(pixel, channels<Format>, values);
        if constexpr (Format::colours == 3) values[luminance_measure] = luminance(values[0], values[1], values[2]);
    }
};

// Numbers in the order of the values, NaN first; and the way back.
std::uint32_t place_in_order(float value) noexcept {
    if (value != value) return 0;
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits >> 31 ? ~bits : bits | 0x80000000u;
}
float value_in_place(std::uint32_t place) noexcept {
    const std::uint32_t bits = place >> 31 ? place & 0x7FFFFFFFu : ~place; // of place 0, a NaN
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::uint32_t place_of_luminance(const float* pixel) noexcept {
    return place_in_order(luminance(pixel[0], pixel[1], pixel[2]));
}

// The bits of the half that follows in ascending order.
std::uint16_t following(std::uint16_t bits) noexcept {
    if (bits == 0x8000) return 0;
    return static_cast<std::uint16_t>(bits & 0x8000 ? bits - 1 : bits + 1);
}

} // namespace

template <class Format>
void histogram_rows(const histogram_job& job, row_range rows) {
    const bin_finder bin_of(job.bins);
    histogram_tally& tally = job.tallies[rows.band];
    std::uint32_t* bins[measures<Format>];
    std::copy_n(tally.bins, measures<Format>, bins);
    float sums[channels<Format>] = {};
    const std::uint64_t row_samples = static_cast<std::uint64_t>(job.width) * channels<Format>;
    const std::uint64_t count = std::uint64_t{rows.end - rows.start} * job.width;
    for_each_pixel<Format>(job.pixels + rows.start * row_samples, count, 1, [&](const half*, const float* pixel) {
        const measured<Format> all(pixel);
        for (unsigned i = 0; i < measures<Format>; ++i) ++bins[i][bin_of(all.values[i])];
        for (unsigned i = 0; i < channels<Format>; ++i) sums[i] += all.values[i];
    });
    std::copy_n(sums, channels<Format>, tally.sums);
}

template <class Format>
void add_squared_deviations(const half* pixels, std::uint64_t count, const float* means, float* sums) {
    float totals[measures<Format>] = {};
    for_each_pixel<Format>(pixels, count, 1, [&](const half*, const float* pixel) {
        const measured<Format> all(pixel);
        for (unsigned i = 0; i < measures<Format>; ++i) {
            const float deviation = all.values[i] - means[i];
            totals[i] += deviation * deviation;
        }
    });
    std::copy_n(totals, measures<Format>, sums);
}

template <class Format>
void count_values(const half* pixels, std::uint64_t count, std::uint64_t step, std::uint32_t* counters) {
    for_each_pixel<Format>(pixels, count, step, [counters](const half* pixel, const float* floats) {
        std::uint16_t bits[channels<Format>];
        std::memcpy(bits, pixel, sizeof bits);
        for (unsigned c = 0; c < channels<Format>; ++c) ++counters[c * half_values + bits[c]];
        if constexpr (Format::colours == 3)
            ++counters[luminance_measure * half_values + (place_of_luminance(floats) >> 16)];
    });
}

float ranked_sample(const std::uint32_t* counters, std::uint64_t rank) {
    constexpr std::uint16_t sign = 0x8000, infinity = 0x7C00;
    std::uint64_t below = 0; // the NaNs, to begin with
    for (std::uint32_t nan = infinity + 1; nan < sign; ++nan) below += counters[nan] + counters[nan | sign];
    if (rank < below) return std::numeric_limits<float>::quiet_NaN();
    // Down from minus infinity to -0, from there up from 0.
    std::uint16_t bits = sign | infinity;
    for (; bits != infinity && below + counters[bits] <= rank; bits = following(bits)) below += counters[bits];
    half value;
    std::memcpy(static_cast<void*>(&value), &bits, sizeof bits);
    return value;
}

float ranked_luminance(const half* pixels, std::uint64_t count, std::uint64_t step, std::uint64_t rank,
                       std::uint32_t* counters) {
    const auto skip_to_rank = [&] {
        std::uint32_t at = 0;
        while (at < half_values - 1 && counters[at] <= rank) rank -= counters[at++];
        return at;
    };
    const std::uint32_t upper = skip_to_rank();
    std::fill_n(counters, half_values, 0u);
    for_each_pixel<colour_real_16>(pixels, count, step, [counters, upper](const half*, const float* pixel) {
        const std::uint32_t place = place_of_luminance(pixel);
        if (place >> 16 == upper) ++counters[place & 0xFFFFu];
    });
    return value_in_place(upper << 16 | skip_to_rank());
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void histogram_rows<format>(const histogram_job&, row_range);                                             \
    template void add_squared_deviations<format>(const half*, std::uint64_t, const float*, float*);                    \
    template void count_values<format>(const half*, std::uint64_t, std::uint64_t, std::uint32_t*);
ZARN_INSTANTIATE(colour_real_16)
ZARN_INSTANTIATE(grey_real_16)
#undef ZARN_INSTANTIATE

} // namespace zarn
