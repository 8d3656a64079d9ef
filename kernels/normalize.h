// Stretching of lightness: the visible pixels' span is mapped onto the whole range.
#pragma once

#include <cstdint>

#include "kernels/hsl.h"

namespace zarn {

// The least and the greatest lightness of visible pixels; without any, the starts stay. Reals, which go beyond 0..1,
// start from beyond all of them, and may be stretched to other ends than 0 and 1.
struct lightness_span {
    float least = 1.0f;
    float greatest = 0.0f;
    float low = 0.0f;
    float high = 1.0f;
};

template <class Format>
void widen_lightness_span(const typename Format::sample* pixels, std::uint64_t count, lightness_span& span);

// Maps the visible pixels' lightness from the span, whose ends must differ, to 0..1; hue, saturation and alpha stay.
// `scratch` holds `count` colours.
template <class Format>
void stretch_lightness(typename Format::sample* pixels, std::uint32_t count, lightness_span span, hsl_colour* scratch);

} // namespace zarn
