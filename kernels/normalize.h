// Stretching of lightness: the visible pixels' span is mapped onto the whole range.
#pragma once

#include <cstdint>

#include "kernels/hsl.h"

namespace zarn {

// The least and the greatest lightness of visible pixels; without any, `least` stays 1 and `greatest` 0.
struct lightness_span {
    float least = 1.0f;
    float greatest = 0.0f;
};

template <class Format>
void widen_lightness_span(const typename Format::sample* pixels, std::uint64_t count, lightness_span& span);

// Maps the visible pixels' lightness from the span, whose ends must differ, to 0..1; hue, saturation and alpha stay.
// `scratch` holds `count` colours.
template <class Format>
void stretch_lightness(typename Format::sample* pixels, std::uint32_t count, lightness_span span, hsl_colour* scratch);

} // namespace zarn
