// Pixel records of half-precision floats, apart from the others so that only hosts of the half-float class need the
// half-precision header.
#pragma once

#include <half.hpp>

/// Red, green, blue, alpha as half-precision floats.
struct zarn_real_16_pixel_64_s {
    half_float::half r, g, b, a;

    zarn_real_16_pixel_64_s()
        : r(0.0f)
        , g(0.0f)
        , b(0.0f)
        , a(0.0f) {}
    zarn_real_16_pixel_64_s(half_float::half red, half_float::half green, half_float::half blue, half_float::half alpha)
        : r(red)
        , g(green)
        , b(blue)
        , a(alpha) {}
};

/// Grey value and alpha as half-precision floats.
struct zarn_real_16_pixel_32_s {
    half_float::half value, alpha;

    zarn_real_16_pixel_32_s()
        : value(0.0f)
        , alpha(0.0f) {}
    zarn_real_16_pixel_32_s(half_float::half grey, half_float::half opacity)
        : value(grey)
        , alpha(opacity) {}
};
