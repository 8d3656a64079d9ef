#include <algorithm>
#include <cmath>
#include <type_traits>

#include "kernels/blur.h"
#include "kernels/gaussian_passes.h"
#include "kernels/pixel_format.h"
#include "kernels/store.h"
#include "kernels/vector/gaussian_blur.h"

namespace zarn {

namespace {

// Weights are 32-bit floats between exp(-2) and 1, so products with 8- and 16-bit samples and their sums over any
// kernel are exact in double: the order of the sums is free.
template <class Format>
struct tap_sums {
    using sample = typename Format::sample;

    double sums[channels<Format>] = {};
    double visible = 0.0;

    void add(double weight, const sample* pixel) {
        if constexpr (is_real<Format>) {
            // Not even times 0: an invisible colour need not be finite.
            if (!is_visible<Format>(pixel)) return;
        }
        // The alpha of an invisible pixel is 0, so one weight serves colour and alpha.
        const double visible_weight = is_visible<Format>(pixel) ? weight : 0.0;
        for (unsigned c = 0; c < channels<Format>; ++c) sums[c] += visible_weight * number(pixel[c]);
        visible += visible_weight;
    }

    static sample quotient(double sum, double weight) {
        return static_cast<sample>(static_cast<std::conditional_t<is_real<Format>, float, double>>(sum / weight));
    }

    void write_colour(sample* out) const {
        for (unsigned c = 0; c < Format::colours; ++c) out[c] = quotient(sums[c], visible);
    }

    void write_alpha(double all, sample* out) const {
        if constexpr (Format::has_alpha) out[Format::colours] = quotient(sums[Format::colours], all);
    }
};

constexpr double fixed_scale = 1u << 26;

// The taps [first, last] around a position.
struct tap_range {
    std::uint32_t first;
    std::uint32_t last;
};

tap_range taps_around(std::uint32_t position, std::uint32_t length, std::uint32_t radius) {
    return {position - std::min(position, radius), position + std::min(radius, length - 1 - position)};
}

} // namespace

gaussian_weights make_gaussian_weights(float sigma) {
    const float cut = std::min(sigma, 250.0f);
    const float sigma_squared = cut * cut;
    gaussian_weights weights{};
    weights.radius = static_cast<std::uint32_t>(2.0f * cut);
    for (std::uint32_t d = 0; d <= weights.radius; ++d) {
        const auto distance = static_cast<float>(d);
        // At distance 0 a sigma whose square vanishes would give 0 / 0.
        weights.weight[d] = d ? std::exp(-(distance * distance) / (2.0f * sigma_squared)) : 1.0f;
        const double scaled = weights.weight[d] * fixed_scale;
        const auto whole = static_cast<std::uint32_t>(scaled);
        const std::uint32_t shift = 16 * (d % 2);
        weights.high[d / 2] |= whole >> gaussian_weights::low_bits << shift;
        weights.low[d / 2] |= (whole & ((1u << gaussian_weights::low_bits) - 1)) << shift;
        weights.cumulative[d] = (d ? weights.cumulative[d - 1] : 0.0) + scaled;
    }
    return weights;
}

namespace {

template <class Format>
void blur_along_rows(const gaussian_pass& pass, row_range rows) {
    if (vector::gaussian_horizontal<Format>(pass, rows)) return;
    using sample = typename Format::sample;
    constexpr unsigned n = channels<Format>;

    const gaussian_job& job = *pass.job;
    const gaussian_weights& weights = *job.weights;
    const std::uint64_t line = static_cast<std::uint64_t>(job.width) * n;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        const sample* source = static_cast<const sample*>(job.image) + row * line;
        sample* out = static_cast<sample*>(job.temporary) + pass.ring.place(row) * line;
        for (std::uint32_t x = 0; x < job.width; ++x, out += n) {
            const tap_range taps = taps_around(x, job.width, weights.radius);
            tap_sums<Format> sums;
            for (std::uint32_t at = taps.first; at <= taps.last; ++at) {
                sums.add(weights.weight[at < x ? x - at : at - x], source + at * std::uint64_t{n});
            }
            if (sums.visible != 0.0) {
                sums.write_colour(out);
            } else {
                std::fill(out, out + Format::colours, sample(0));
            }
            sums.write_alpha(weights.sum(x - taps.first, taps.last - x) / fixed_scale, out);
        }
    }
}

template <class Format>
void blur_along_columns(const gaussian_pass& pass, row_range rows) {
    if (vector::gaussian_vertical<Format>(pass, rows)) return;
    using sample = typename Format::sample;
    constexpr unsigned n = channels<Format>;
    constexpr std::uint32_t block = 128;

    const gaussian_job& job = *pass.job;
    const gaussian_weights& weights = *job.weights;
    const std::uint64_t line = static_cast<std::uint64_t>(job.width) * n;
    // Column blocks: the rows under the kernel stay in cache from one output row to the next.
    tap_sums<Format> sums[block];
    for (std::uint64_t left = 0; left < job.width; left += block) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, job.width - left));
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            const tap_range taps = taps_around(row, job.height, weights.radius);
            std::fill(sums, sums + count, tap_sums<Format>{});
            for (std::uint32_t at = taps.first; at <= taps.last; ++at) {
                const double weight = weights.weight[at < row ? row - at : at - row];
                const sample* pixel = static_cast<const sample*>(job.temporary) + pass.ring.place(at) * line + left * n;
                for (std::uint32_t i = 0; i < count; ++i, pixel += n) sums[i].add(weight, pixel);
            }
            const double all = weights.sum(row - taps.first, taps.last - row) / fixed_scale;
            sample* out = static_cast<sample*>(job.image) + row * line + left * n;
            for (std::uint32_t i = 0; i < count; ++i, out += n) {
                if (job.blur_colour && sums[i].visible != 0.0) sums[i].write_colour(out);
                if (job.blur_alpha) sums[i].write_alpha(all, out);
            }
        }
    }
}

// The rows of a band that no other band looks at.
row_range inner_rows(const gaussian_job& job, row_range rows) {
    const std::uint32_t radius = std::min(job.weights->radius, rows.end - rows.start);
    const std::uint32_t start = rows.start ? rows.start + radius : 0;
    return {start, rows.end < job.height ? std::max(start, rows.end - radius) : rows.end};
}

} // namespace

template <class Format>
void gaussian_band_ends(const gaussian_job& job, row_range rows) {
    const row_range inner = inner_rows(job, rows);
    const gaussian_pass pass{&job, {inner.start, inner.start, 1}};
    blur_along_rows<Format>(pass, {rows.start, inner.start});
    blur_along_rows<Format>(pass, {inner.end, rows.end});
}

template <class Format>
void gaussian_band(const gaussian_job& job, row_range rows) {
    const row_range inner = inner_rows(job, rows);
    const std::uint32_t radius = job.weights->radius;
    const std::uint32_t capacity = std::max(1u, std::min(gaussian_strip + 2 * radius, inner.end - inner.start));
    const gaussian_pass pass{&job, {inner.start, inner.end, capacity}};
    std::uint32_t done = inner.start;
    for (std::uint32_t row = rows.start; row < rows.end;) {
        const std::uint32_t end = row + std::min(gaussian_strip, rows.end - row);
        // 64 bits: the sum can pass 32.
        const auto reached =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(inner.end, std::uint64_t{end} + radius));
        if (done < reached) blur_along_rows<Format>(pass, {done, reached});
        done = std::max(done, reached);
        blur_along_columns<Format>(pass, {row, end});
        row = end;
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void gaussian_band_ends<format>(const gaussian_job&, row_range);                                          \
    template void gaussian_band<format>(const gaussian_job&, row_range);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
