// Colour conversion in its plainest form, in 32-bit floats with every operation in its defined order.
#pragma once

#include <algorithm>

namespace zarn_test {

struct reference_hsl {
    float hue;
    float saturation;
    float lightness;
};

// Components are real numbers, full scale 1.
inline reference_hsl reference_rgb_to_hsl(float red, float green, float blue) {
    const float most = std::max({red, green, blue});
    const float least = std::min({red, green, blue});
    reference_hsl colour = {0.0f, 0.0f, (most + least) * 0.5f};
    const float delta = most - least;
    if (delta == 0.0f) return colour;
    colour.saturation = colour.lightness < 0.5f ? delta / (most + least) : delta / (2.0f - most - least);
    const float inverse = 1.0f / delta;
    const auto distance = [&](float c) { return ((most - c) * 0.16666667f + delta * 0.5f) * inverse; };
    const float r = distance(red), g = distance(green), b = distance(blue);
    if (red == most) {
        colour.hue = b - g;
    } else if (green == most) {
        colour.hue = 0.33333334f + r - b;
    } else {
        colour.hue = 0.6666667f + g - r;
    }
    if (colour.hue < 0.0f) colour.hue += 1.0f;
    if (colour.hue > 1.0f) colour.hue -= 1.0f;
    return colour;
}

inline float reference_channel(float p, float q, float t) {
    if (t < 0.0f) t += 1.0f;
    if (t > 1.0f) t -= 1.0f;
    if (6.0f * t < 1.0f) return p + (q - p) * 6.0f * t;
    if (2.0f * t < 1.0f) return q;
    if (3.0f * t < 2.0f) return p + (q - p) * (0.6666667f - t) * 6.0f;
    return p;
}

// Writes three components as they come out, neither scaled nor clamped.
inline void reference_hsl_to_rgb(const reference_hsl& colour, float* rgb) {
    const float h = colour.hue, s = colour.saturation, l = colour.lightness;
    if (s == 0.0f) {
        rgb[0] = rgb[1] = rgb[2] = l;
        return;
    }
    const float q = l < 0.5f ? (1.0f + s) * l : l + s - s * l;
    const float p = 2.0f * l - q;
    rgb[0] = reference_channel(p, q, h + 0.33333334f);
    rgb[1] = reference_channel(p, q, h);
    rgb[2] = reference_channel(p, q, h - 0.33333334f);
}

} // namespace zarn_test
