#include "kernels/premultiplied_blur.h"

#include <algorithm>
#include <cmath>

#include "kernels/pixel_format.h"

namespace zarn {

namespace {

std::uint32_t tap_position(std::uint32_t centre, std::int64_t offset, std::uint32_t length) {
    return static_cast<std::uint32_t>(
        std::min<std::int64_t>(std::max<std::int64_t>(centre + offset, 0), std::int64_t{length} - 1));
}

// Calls tap(position, weight) from the first tap to the last.
template <class Tap>
void for_each_tap(const premultiplied_weights& weights, std::uint32_t centre, std::uint32_t length, Tap tap) {
    const std::int64_t radius = weights.radius;
    for (std::int64_t offset = -radius; offset <= radius; ++offset) {
        tap(tap_position(centre, offset, length), weights.weight[offset < 0 ? -offset : offset]);
    }
}

} // namespace

premultiplied_weights make_premultiplied_weights(float sigma) noexcept {
    const float cut = std::min(sigma, 250.0f);
    premultiplied_weights weights{};
    weights.radius = static_cast<std::uint32_t>(std::ceil(3.0f * cut));
    double sum = 0.0;
    for (std::uint32_t d = 0; d <= weights.radius; ++d) {
        const double distance = d;
        // At distance 0 a sigma whose square vanishes would give 0 / 0.
        const double weight = d ? std::exp(-(distance * distance) / (2.0 * cut * cut)) : 1.0;
        weights.weight[d] = static_cast<float>(weight);
        sum += d ? 2.0 * weight : weight;
    }
    for (std::uint32_t d = 0; d <= weights.radius; ++d) {
        weights.weight[d] = static_cast<float>(weights.weight[d] / sum);
    }
    return weights;
}

template <class Format>
void premultiplied_horizontal(const premultiplied_blur_job& job, row_range rows) {
    constexpr unsigned n = channels<Format>;
    constexpr unsigned a = Format::colours;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        const std::uint64_t line = std::uint64_t{row} * job.width * n;
        const auto* const source = static_cast<const float*>(job.image) + line;
        auto* out = static_cast<float*>(job.across) + line;
        for (std::uint32_t x = 0; x < job.width; ++x, out += n) {
            double sums[n] = {};
            for_each_tap(*job.weights, x, job.width, [&](std::uint32_t at, float weight) {
                const float* const pixel = source + at * std::uint64_t{n};
                const double share = static_cast<double>(weight) * pixel[a];
                sums[a] += share;
                // An invisible pixel's colour counts for nothing, not even where it is not finite.
                for (unsigned c = 0; c < Format::colours && pixel[a] != 0.0f; ++c) sums[c] += share * pixel[c];
            });
            for (unsigned c = 0; c < n; ++c) out[c] = static_cast<float>(sums[c]);
        }
    }
}

template <class Format>
void premultiplied_vertical(const premultiplied_blur_job& job, row_range rows) {
    constexpr unsigned n = channels<Format>;
    constexpr unsigned a = Format::colours;
    constexpr std::uint32_t block = 64;
    const std::uint64_t line = std::uint64_t{job.width} * n;
    // Column blocks: the rows under the kernel stay in cache from one output row to the next.
    double sums[block * n];
    for (std::uint64_t left = 0; left < job.width; left += block) {
        const std::uint64_t samples = std::min<std::uint64_t>(block, job.width - left) * n;
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            std::fill(sums, sums + samples, 0.0);
            for_each_tap(*job.weights, row, job.height, [&](std::uint32_t at, float weight) {
                const float* const source = static_cast<const float*>(job.across) + at * line + left * n;
                for (std::uint64_t i = 0; i < samples; ++i) sums[i] += static_cast<double>(weight) * source[i];
            });
            const float* const kept = static_cast<const float*>(job.image) + row * line + left * n;
            float* const out = static_cast<float*>(job.blurred) + row * line + left * n;
            for (std::uint64_t i = 0; i < samples; i += n) {
                const double alpha = sums[i + a];
                for (unsigned c = 0; c < Format::colours; ++c) {
                    const bool blurs = job.blur_colour && alpha != 0.0;
                    out[i + c] = blurs ? static_cast<float>(sums[i + c] / alpha) : kept[i + c];
                }
                out[i + a] = job.blur_alpha ? static_cast<float>(alpha) : kept[i + a];
            }
        }
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void premultiplied_horizontal<format>(const premultiplied_blur_job&, row_range);                          \
    template void premultiplied_vertical<format>(const premultiplied_blur_job&, row_range);
ZARN_INSTANTIATE(colour_real_32)
ZARN_INSTANTIATE(grey_real_32)

} // namespace zarn
