// Where the taps of the cubic B-spline lie along one axis, and what they weigh.
#pragma once

#include <cmath>
#include <cstdint>

namespace zarn {

constexpr unsigned bspline_tap_count = 4;

// Source positions and weights of one destination position.
struct bspline_taps {
    std::uint32_t position[bspline_tap_count];
    double weight[bspline_tap_count];
};

inline double bspline_cube(double u) { return u > 0.0 ? u * u * u : 0.0; }

inline double bspline_weight(double t) {
    return (bspline_cube(t + 2.0) - 4.0 * bspline_cube(t + 1.0) + 6.0 * bspline_cube(t) - 4.0 * bspline_cube(t - 1.0)) *
           0.16666666666666666;
}

// The product wraps at 32 bits and the quotient is a 32-bit float; both set the result.
inline bspline_taps place_bspline_taps(std::uint32_t position, std::uint32_t source_length, std::uint32_t length) {
    const double source =
        static_cast<double>(static_cast<float>(position * source_length) / static_cast<float>(length));
    const double fraction = source - std::trunc(source);
    bspline_taps taps;
    for (unsigned i = 0; i < bspline_tap_count; ++i) {
        const double offset = static_cast<double>(i) - 1.0;
        const double at = source + offset;
        taps.position[i] = at < 0.0                                   ? 0
                           : at >= static_cast<double>(source_length) ? source_length - 1
                                                                      : static_cast<std::uint32_t>(at);
        taps.weight[i] = bspline_weight(offset - fraction);
    }
    return taps;
}

} // namespace zarn
