// The planet of the sample picture: a ringed ball with cloud bands on transparent ground, with soft alpha at every
// edge.
#pragma once

#include <cmath>

#include "noise.h"

namespace example {

struct colour {
    double r, g, b, a;
};

inline colour over(const colour& top, const colour& ground) {
    const double a = top.a + ground.a * (1.0 - top.a);
    if (a <= 0.0) return {0, 0, 0, 0};
    const auto blend = [&](double t, double g) { return (t * top.a + g * ground.a * (1.0 - top.a)) / a; };
    return {blend(top.r, ground.r), blend(top.g, ground.g), blend(top.b, ground.b), a};
}

// Coordinates: the planet's centre is (0, 0) and its radius 1; `pixel` is the width of a pixel.
inline colour planet(double x, double y, double pixel) {
    const double distance = std::sqrt(x * x + y * y);
    const double z = std::sqrt(std::fmax(0.0, 1.0 - distance * distance));
    const double swirl = layered_noise(x * 2.0 + 9.0, y * 3.0 + 4.0);
    const double band = 0.5 + 0.5 * std::sin(y * 11.0 + swirl * 7.0 + 0.4 * x);
    const double grain = layered_noise(x * 14.0, y * 40.0 + swirl * 6.0);
    const double light = 0.10 + 1.05 * clamp01(-0.55 * x - 0.50 * y + 0.67 * z);
    const double tone = clamp01(0.75 * band + 0.5 * (grain - 0.5));
    const double rim = std::pow(1.0 - z, 3.0) * 0.35;
    return {clamp01(mix(0.62, 0.98, tone) * light + rim * 0.5), clamp01(mix(0.30, 0.84, tone) * light + rim * 0.6),
            clamp01(mix(0.20, 0.62, tone) * light + rim), clamp01((1.0 - distance) / pixel + 0.5)};
}

inline colour ring(double x, double y, double pixel) {
    const double along = x * 0.966 + y * 0.259, across = (y * 0.966 - x * 0.259) / 0.28;
    const double distance = std::sqrt(along * along + across * across);
    const double inside = clamp01((distance - 1.28) / pixel + 0.5) * clamp01((1.95 - distance) / pixel + 0.5);
    const double gap = 1.0 - smooth_step(0.03, 0.0, std::fabs(distance - 1.66)) * 0.95;
    const double groove = 0.55 + 0.45 * value_noise(distance * 42.0, 3.0);
    return {0.93 * groove, 0.86 * groove, 0.74 * groove, inside * gap * mix(0.35, 0.95, groove)};
}

inline colour planet_at(double x, double y, double pixel) {
    const bool in_front = y * 0.966 - x * 0.259 > 0.0;
    const colour body = planet(x, y, pixel), disc = ring(x, y, pixel);
    return in_front ? over(disc, body) : over(body, disc);
}

} // namespace example
