#include "kernels/normalize_values.h"

#include <algorithm>

#include "kernels/low_bits.h"
#include "kernels/pixel_format.h"

namespace zarn {

namespace {

using deep = depth_constants<std::uint16_t>;
constexpr std::uint16_t deep_full = 65535;

template <class Format>
typename Format::sample narrowed_value(std::uint16_t value) {
    using sample = typename Format::sample;
    if constexpr (sizeof(sample) == 2) {
        return value;
    } else if constexpr (sizeof(sample) == 1) {
        return low_bits<sample>(static_cast<float>(value) * deep::to_unit * static_cast<float>(Format::full));
    } else {
        return low_bits<sample>(value * (1.0 / deep_full) * static_cast<double>(Format::full));
    }
}

} // namespace

template <class Format>
std::uint16_t widened_value(typename Format::sample value) {
    using real = typename Format::real;
    if constexpr (sizeof(value) == 2) return value;
    return low_bits<std::uint16_t>(static_cast<real>(value) * Format::to_unit * static_cast<real>(deep_full));
}

template <class Format>
void value_lightness(const typename Format::sample* pixels, std::uint32_t count, float* lightness) {
    for (std::uint32_t i = 0; i < count; ++i, pixels += channels<Format>) {
        const float component = static_cast<float>(widened_value<Format>(*pixels)) * deep::to_unit;
        lightness[i] = lightness_of(component, component, component);
    }
}

void widen_lightness_span(const float* lightness, std::uint32_t count, lightness_span& span) {
    for (std::uint32_t i = 0; i < count; ++i) {
        span.least = std::min(span.least, lightness[i]);
        span.greatest = std::max(span.greatest, lightness[i]);
    }
}

template <class Format>
void store_stretched(const float* lightness, std::uint32_t count, lightness_span span, std::uint16_t& carried,
                     typename Format::sample* pixels) {
    for (std::uint32_t i = 0; i < count; ++i, pixels += channels<Format>) {
        *pixels = narrowed_value<Format>(carried);
        // Without saturation every component is the lightness.
        const float stretched = (lightness[i] - span.least) / (span.greatest - span.least);
        carried = low_bits<std::uint16_t>(stretched * static_cast<float>(deep_full));
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template std::uint16_t widened_value<format>(format::sample);                                                      \
    template void value_lightness<format>(const format::sample*, std::uint32_t, float*);                               \
    template void store_stretched<format>(const float*, std::uint32_t, lightness_span, std::uint16_t&, format::sample*);
ZARN_FOR_EACH_VALUE_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
