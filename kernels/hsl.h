// Hue, saturation and lightness of a colour whose components lie in 0..1, in single precision.
#pragma once

#include <algorithm>

namespace zarn {

struct hsl_colour {
    float hue; // 1 is a full turn
    float saturation;
    float lightness;
};

inline float lightness_of(float red, float green, float blue) noexcept {
    return (std::max({red, green, blue}) + std::min({red, green, blue})) * 0.5f;
}

// Red wins ties of the greatest component, then green.
inline hsl_colour rgb_to_hsl(float red, float green, float blue) noexcept {
    const float greatest = std::max({red, green, blue});
    const float least = std::min({red, green, blue});
    const float delta = greatest - least;
    hsl_colour hsl{0.0f, 0.0f, (greatest + least) * 0.5f};
    if (delta == 0.0f) return hsl;
    hsl.saturation = hsl.lightness < 0.5f ? delta / (greatest + least) : delta / (2.0f - greatest - least);
    const float inverse = 1.0f / delta;
    const auto distance = [=](float component) {
        return ((greatest - component) * 0.16666667f + delta * 0.5f) * inverse;
    };
    if (red == greatest) {
        hsl.hue = distance(blue) - distance(green);
    } else if (green == greatest) {
        hsl.hue = 0.33333334f + distance(red) - distance(blue);
    } else if (blue == greatest) {
        hsl.hue = 0.6666667f + distance(green) - distance(red);
    }
    if (hsl.hue < 0.0f) hsl.hue += 1.0f;
    if (hsl.hue > 1.0f) hsl.hue -= 1.0f;
    return hsl;
}

// Writes three components, not clamped.
inline void hsl_to_rgb(hsl_colour hsl, float* rgb) noexcept {
    const float lightness = hsl.lightness;
    if (hsl.saturation == 0.0f) {
        rgb[0] = rgb[1] = rgb[2] = lightness;
        return;
    }
    const float q = lightness < 0.5f ? (1.0f + hsl.saturation) * lightness
                                     : lightness + hsl.saturation - hsl.saturation * lightness;
    const float p = 2.0f * lightness - q;
    const auto component = [=](float t) {
        if (t < 0.0f) t += 1.0f;
        if (t > 1.0f) t -= 1.0f;
        if (6.0f * t < 1.0f) return p + (q - p) * 6.0f * t;
        if (2.0f * t < 1.0f) return q;
        if (3.0f * t < 2.0f) return p + (q - p) * (0.6666667f - t) * 6.0f;
        return p;
    };
    rgb[0] = component(hsl.hue + 0.33333334f);
    rgb[1] = component(hsl.hue);
    rgb[2] = component(hsl.hue - 0.33333334f);
}

} // namespace zarn
