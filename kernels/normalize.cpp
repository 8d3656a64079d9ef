#include "kernels/normalize.h"

#include <algorithm>

#include "kernels/pixel_format.h"
#include "kernels/store.h"
#include "kernels/vector/normalize.h"

namespace zarn {

namespace {

template <class Format>
float unit(typename Format::sample value) {
    return static_cast<float>(value) * Format::to_unit;
}

// A single value stands for all three colours.
template <class Format>
constexpr unsigned green = Format::colours == 3 ? 1 : 0;
template <class Format>
constexpr unsigned blue = Format::colours == 3 ? 2 : 0;

float clamped(float value) {
    const float above_zero = value >= 0.0f ? value : 0.0f; // NaN too
    return above_zero <= 1.0f ? above_zero : 1.0f;
}

} // namespace

template <class Format>
void widen_lightness_span(const typename Format::sample* pixels, std::uint64_t count, lightness_span& span) {
    if constexpr (!is_real<Format>) {
        if (vector::widen_span(pixels, count, span)) return;
    }
    for (const auto* end = pixels + count * channels<Format>; pixels != end; pixels += channels<Format>) {
        if (!is_visible<Format>(pixels)) continue;
        const float lightness = lightness_of(unit<Format>(pixels[0]), unit<Format>(pixels[green<Format>]),
                                             unit<Format>(pixels[blue<Format>]));
        span.least = std::min(span.least, lightness);
        span.greatest = std::max(span.greatest, lightness);
    }
}

template <class Format>
void stretch_lightness(typename Format::sample* pixels, std::uint32_t count, lightness_span span, hsl_colour* scratch) {
    if constexpr (!is_real<Format>) {
        if (vector::stretch(pixels, count, span)) return;
    }
    using sample = typename Format::sample;
    constexpr auto full = static_cast<float>(Format::full);
    constexpr std::uint64_t n = channels<Format>;
    for (std::uint32_t i = 0; i < count; ++i) {
        const sample* pixel = pixels + i * n;
        scratch[i] =
            rgb_to_hsl(unit<Format>(pixel[0]), unit<Format>(pixel[green<Format>]), unit<Format>(pixel[blue<Format>]));
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        sample* pixel = pixels + i * n;
        if (!is_visible<Format>(pixel)) continue;
        float& lightness = scratch[i].lightness;
        lightness = (lightness - span.least) / (span.greatest - span.least);
        if constexpr (is_real<Format>) lightness = lightness * (span.high - span.low) + span.low;
        float rgb[3];
        hsl_to_rgb(scratch[i], rgb);
        for (unsigned c = 0; c < Format::colours; ++c)
            pixel[c] = stored<Format>(is_real<Format> ? clamped(rgb[c]) : rgb[c] * full);
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void widen_lightness_span<format>(const format::sample*, std::uint64_t, lightness_span&);                 \
    template void stretch_lightness<format>(format::sample*, std::uint32_t, lightness_span, hsl_colour*);
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)
ZARN_FOR_EACH_REAL_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
