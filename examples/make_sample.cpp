// Draws the sample picture that the examples work on: a ringed planet with cloud bands on transparent ground, with soft
// alpha at every edge.
//
//     make_sample PICTURE.png

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include <zarn/zarn.h>

namespace {

struct colour {
    double r, g, b, a;
};

double clamp01(double v) { return v < 0.0 ? 0.0 : v > 1.0 ? 1.0 : v; }

double mix(double a, double b, double t) { return a + (b - a) * t; }

double smooth_step(double low, double high, double v) {
    const double t = clamp01((v - low) / (high - low));
    return t * t * (3.0 - 2.0 * t);
}

// A number in 0..1 that only looks random.
double scatter(int x, int y) {
    auto h = static_cast<std::uint32_t>(x) * 0x9E3779B1u ^ static_cast<std::uint32_t>(y) * 0x85EBCA77u;
    h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
    h = (h ^ (h >> 12)) * 0x297A2D39u;
    return (h ^ (h >> 15)) / 4294967295.0;
}

double value_noise(double x, double y) {
    const double fx = std::floor(x), fy = std::floor(y);
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const double tx = smooth_step(0.0, 1.0, x - fx), ty = smooth_step(0.0, 1.0, y - fy);
    return mix(mix(scatter(ix, iy), scatter(ix + 1, iy), tx), mix(scatter(ix, iy + 1), scatter(ix + 1, iy + 1), tx),
               ty);
}

double layered_noise(double x, double y) {
    double sum = 0.0, weight = 0.5;
    for (int layer = 0; layer < 6; ++layer, x *= 2.03, y *= 2.03, weight *= 0.5) sum += weight * value_noise(x, y);
    return sum;
}

colour over(const colour& top, const colour& ground) {
    const double a = top.a + ground.a * (1.0 - top.a);
    if (a <= 0.0) return {0, 0, 0, 0};
    const auto blend = [&](double t, double g) { return (t * top.a + g * ground.a * (1.0 - top.a)) / a; };
    return {blend(top.r, ground.r), blend(top.g, ground.g), blend(top.b, ground.b), a};
}

// Coordinates: the planet's centre is (0, 0) and its radius 1; `pixel` is the width of a pixel.
colour planet(double x, double y, double pixel) {
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

colour ring(double x, double y, double pixel) {
    const double along = x * 0.966 + y * 0.259, across = (y * 0.966 - x * 0.259) / 0.28;
    const double distance = std::sqrt(along * along + across * across);
    const double inside = clamp01((distance - 1.28) / pixel + 0.5) * clamp01((1.95 - distance) / pixel + 0.5);
    const double gap = 1.0 - smooth_step(0.03, 0.0, std::fabs(distance - 1.66)) * 0.95;
    const double groove = 0.55 + 0.45 * value_noise(distance * 42.0, 3.0);
    return {0.93 * groove, 0.86 * groove, 0.74 * groove, inside * gap * mix(0.35, 0.95, groove)};
}

colour picture_at(double x, double y, double pixel) {
    const bool in_front = y * 0.966 - x * 0.259 > 0.0;
    const colour body = planet(x, y, pixel), disc = ring(x, y, pixel);
    return in_front ? over(disc, body) : over(body, disc);
}

std::uint8_t to_byte(double v) { return static_cast<std::uint8_t>(clamp01(v) * 255.0 + 0.5); }

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 2) {
        std::fprintf(stderr, "usage: make_sample PICTURE.png\n");
        return 2;
    }
    const std::string path = arguments[1];
    constexpr unsigned width = 800, height = 520;
    constexpr double pixel = 1.0 / 190.0;

    zarn_initialize();
    zarn_owned<zarn_image_8> picture;
    picture->create(width, height, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const colour c = picture_at((x + 0.5 - width / 2.0) * pixel, (y + 0.5 - height / 2.0) * pixel, pixel);
            picture->set_pixel(x, y, {to_byte(c.r), to_byte(c.g), to_byte(c.b), to_byte(c.a)});
        }
    }
    const bool saved = picture->save_file(std::wstring(path.begin(), path.end()).c_str(), 2, 0) != 0;
    zarn_shutdown();
    return saved ? 0 : 1;
}
