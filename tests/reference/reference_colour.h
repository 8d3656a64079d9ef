// Colour conversion in its plainest form, in 32-bit floats with every operation in its defined order.
#pragma once

namespace zarn_test {

struct reference_hsl {
    float hue;
    float saturation;
    float lightness;
};

// Components are real numbers, full scale 1.
reference_hsl reference_rgb_to_hsl(float red, float green, float blue);

// Writes three components as they come out, neither scaled nor clamped.
void reference_hsl_to_rgb(const reference_hsl& colour, float* rgb);

} // namespace zarn_test
