// Numbers between 0 and 1 that look random and are the same everywhere.
#pragma once

#include <cmath>
#include <cstdint>

namespace example {

inline double clamp01(double v) { return v < 0.0 ? 0.0 : v > 1.0 ? 1.0 : v; }

inline std::uint8_t to_byte(double v) { return static_cast<std::uint8_t>(clamp01(v) * 255.0 + 0.5); }

inline double mix(double a, double b, double t) { return a + (b - a) * t; }

inline double smooth_step(double low, double high, double v) {
    const double t = clamp01((v - low) / (high - low));
    return t * t * (3.0 - 2.0 * t);
}

inline double scatter(int x, int y) {
    auto h = static_cast<std::uint32_t>(x) * 0x9E3779B1u ^ static_cast<std::uint32_t>(y) * 0x85EBCA77u;
    h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
    h = (h ^ (h >> 12)) * 0x297A2D39u;
    return (h ^ (h >> 15)) / 4294967295.0;
}

inline double value_noise(double x, double y) {
    const double fx = std::floor(x), fy = std::floor(y);
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const double tx = smooth_step(0.0, 1.0, x - fx), ty = smooth_step(0.0, 1.0, y - fy);
    return mix(mix(scatter(ix, iy), scatter(ix + 1, iy), tx), mix(scatter(ix, iy + 1), scatter(ix + 1, iy + 1), tx),
               ty);
}

inline double layered_noise(double x, double y) {
    double sum = 0.0, weight = 0.5;
    for (int layer = 0; layer < 6; ++layer, x *= 2.03, y *= 2.03, weight *= 0.5) sum += weight * value_noise(x, y);
    return sum;
}

} // namespace example
