#include "kernels/normalize.h"

#include <algorithm>

#include "kernels/low_bits.h"
#include "kernels/pixel_format.h"
#include "kernels/vector/normalize.h"

namespace zarn {

namespace {

template <class Format>
float unit(typename Format::sample value) {
    return static_cast<float>(value) * Format::to_unit;
}

} // namespace

template <class Format>
void widen_lightness_span(const typename Format::sample* pixels, std::uint64_t count, lightness_span& span) {
    if (vector::widen_span(pixels, count, span)) return;
    for (const auto* end = pixels + count * channels<Format>; pixels != end; pixels += channels<Format>) {
        if (!is_visible<Format>(pixels)) continue;
        const float lightness = lightness_of(unit<Format>(pixels[0]), unit<Format>(pixels[1]), unit<Format>(pixels[2]));
        span.least = std::min(span.least, lightness);
        span.greatest = std::max(span.greatest, lightness);
    }
}

template <class Format>
void stretch_lightness(typename Format::sample* pixels, std::uint32_t count, lightness_span span, hsl_colour* scratch) {
    if (vector::stretch(pixels, count, span)) return;
    using sample = typename Format::sample;
    constexpr auto full = static_cast<float>(Format::full);
    constexpr std::uint64_t n = channels<Format>;
    for (std::uint32_t i = 0; i < count; ++i) {
        const sample* pixel = pixels + i * n;
        scratch[i] = rgb_to_hsl(unit<Format>(pixel[0]), unit<Format>(pixel[1]), unit<Format>(pixel[2]));
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        sample* pixel = pixels + i * n;
        if (!is_visible<Format>(pixel)) continue;
        scratch[i].lightness = (scratch[i].lightness - span.least) / (span.greatest - span.least);
        float rgb[3];
        hsl_to_rgb(scratch[i], rgb);
        for (unsigned c = 0; c < 3; ++c) pixel[c] = low_bits<sample>(rgb[c] * full);
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void widen_lightness_span<format>(const format::sample*, std::uint64_t, lightness_span&);                 \
    template void stretch_lightness<format>(format::sample*, std::uint32_t, lightness_span, hsl_colour*);
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
