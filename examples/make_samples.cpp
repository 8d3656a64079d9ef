// Draws the pictures that the examples work on.
//
//     make_samples FOLDER
//
// writes into FOLDER
//   sample.png  a ringed planet on transparent ground, with soft alpha at every edge
//   atlas.png   four islands of a texture atlas, nothing between them
//   height.png  a height map that tiles: cobbles, 8 bits, one value a pixel
//   labels.png  a label image: each region one value, 0 between them
//   sunset.exr  a sky with its sun: linear halves, far brighter than 1

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "example.h"
#include "noise.h"
#include "planet.h"

namespace {

using namespace example;
namespace fs = std::filesystem;

bool draw_planet(const fs::path& file) {
    constexpr unsigned width = 800, height = 520;
    constexpr double pixel = 1.0 / 190.0;
    zarn_owned<zarn_image_8> picture;
    picture->create(width, height, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const colour c = planet_at((x + 0.5 - width / 2.0) * pixel, (y + 0.5 - height / 2.0) * pixel, pixel);
            picture->set_pixel(x, y, {to_byte(c.r), to_byte(c.g), to_byte(c.b), to_byte(c.a)});
        }
    }
    return tell(picture->save_file(wide(file).c_str(), 2, 0), *picture, "saving the planet");
}

struct island {
    double x, y, radius_x, radius_y, power; // the outline is a superellipse
};

constexpr island islands[] = {
    {132, 128, 98, 92, 5.0}, {372, 140, 104, 112, 2.0}, {126, 372, 92, 108, 2.0}, {372, 384, 112, 88, 8.0}};

bool draw_atlas(const fs::path& file) {
    zarn_owned<zarn_image_8> picture;
    picture->create(512, 512, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    for (unsigned y = 0; y < 512; ++y) {
        for (unsigned x = 0; x < 512; ++x) {
            for (int i = 0; i < 4; ++i) {
                const island& o = islands[i];
                const double dx = std::fabs(x + 0.5 - o.x) / o.radius_x, dy = std::fabs(y + 0.5 - o.y) / o.radius_y;
                if (std::pow(dx, o.power) + std::pow(dy, o.power) > 1.0) continue;
                const double grain = layered_noise(x * 0.02 + 40.0 * i, y * (i % 2 ? 0.02 : 0.15));
                const double weave = 0.5 + 0.5 * std::sin(x * 0.25) * std::sin(y * 0.25);
                const double tone = 0.25 + 0.55 * grain + 0.2 * (i > 1 ? weave : grain);
                constexpr double tints[4][3] = {
                    {0.85, 0.55, 0.32}, {0.35, 0.62, 0.44}, {0.42, 0.55, 0.85}, {0.9, 0.8, 0.6}};
                picture->set_pixel(x, y,
                                   {to_byte(tints[i][0] * tone * 1.3), to_byte(tints[i][1] * tone * 1.3),
                                    to_byte(tints[i][2] * tone * 1.3), 255});
            }
        }
    }
    return tell(picture->save_file(wide(file).c_str(), 2, 0), *picture, "saving the atlas");
}

// Height of cobbles at a place of a tile of 8 x 8 of them, by the distance to the nearest two.
double cobble(double x, double y) {
    const int column = static_cast<int>(std::floor(x)), row = static_cast<int>(std::floor(y));
    double nearest = 9.0, second = 9.0, lift = 0.0;
    for (int j = row - 1; j <= row + 1; ++j) {
        for (int i = column - 1; i <= column + 1; ++i) {
            const int wi = (i + 8) % 8, wj = (j + 8) % 8;
            const double dx = i + 0.2 + 0.6 * scatter(wi, wj) - x, dy = j + 0.2 + 0.6 * scatter(wi + 50, wj) - y;
            const double distance = std::hypot(dx, dy);
            if (distance < nearest) {
                second = nearest;
                nearest = distance;
                lift = scatter(wi, wj + 70);
            } else {
                second = std::min(second, distance);
            }
        }
    }
    return smooth_step(0.0, 0.35, second - nearest) * (0.62 + 0.2 * lift) + 0.15 * (1.0 - nearest);
}

bool draw_heights(const fs::path& file) {
    zarn_owned<zarn_image_channel> heights;
    heights->create(256, 256, ZARN_ORIGIN_UPPER_LEFT, 0, nullptr, 1);
    for (unsigned y = 0; y < 256; ++y) {
        for (unsigned x = 0; x < 256; ++x) heights->set_pixel_8(x, y, to_byte(cobble(x / 32.0, y / 32.0)));
    }
    return tell(heights->save_file(wide(file).c_str(), 0, 0), *heights, "saving the height map");
}

bool draw_labels(const fs::path& file) {
    zarn_owned<zarn_image_channel> labels;
    labels->create(512, 512, ZARN_ORIGIN_UPPER_LEFT, 0, nullptr, 1);
    for (unsigned y = 0; y < 512; ++y) {
        for (unsigned x = 0; x < 512; ++x) {
            for (unsigned i = 0; i < 4; ++i) {
                const island& o = islands[i];
                const double dx = (x + 0.5 - o.x) / o.radius_x, dy = (y + 0.5 - o.y) / o.radius_y;
                const double wave = 1.0 + 0.18 * std::sin((4.0 + i) * std::atan2(dy, dx));
                if (std::hypot(dx, dy) < wave) labels->set_pixel_8(x, y, static_cast<std::uint8_t>(60 * (i + 1)));
            }
        }
    }
    return tell(labels->save_file(wide(file).c_str(), 0, 0), *labels, "saving the labels");
}

bool draw_sunset(const fs::path& file) {
    constexpr unsigned width = 384, height = 240;
    zarn_owned<zarn_image_real_32> sky;
    sky->create(width, height, 0, 0, 0, nullptr, 1);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const double u = x / 240.0, v = y / 240.0, ground = 0.64 + 0.2 * layered_noise(u * 3.0, 1.0);
            const double from_sun = std::hypot(u - 1.1, v - 0.58);
            const double glow = 0.05 / (from_sun * from_sun + 0.012), sun = from_sun < 0.05 ? 60.0 : 0.0;
            const double cloud =
                smooth_step(0.45, 0.75, layered_noise(u * 3.0, v * 9.0 + 3.0)) * smooth_step(0.7, 0.2, v);
            const double day = mix(0.08, 0.34, clamp01(v / 0.7));
            float pixel[4] = {static_cast<float>(day * 0.45 + glow * 1.7 + sun + cloud * (0.15 + glow)),
                              static_cast<float>(day * 0.55 + glow * 0.65 + sun * 0.8 + cloud * (0.10 + glow * 0.5)),
                              static_cast<float>(day * 1.1 + glow * 0.12 + sun * 0.5 + cloud * (0.14 + glow * 0.3)),
                              1.0f};
            if (v > ground) {
                const double grass = (0.01 + 0.03 * layered_noise(u * 30.0, v * 30.0)) * (0.6 + 0.5 * glow);
                pixel[0] = static_cast<float>(grass * 1.1);
                pixel[1] = static_cast<float>(grass);
                pixel[2] = static_cast<float>(grass * 0.5);
            }
            sky->set_pixel(x, y, pixel);
        }
    }
    return tell(sky->save_file(wide(file).c_str(), 7, 0), *sky, "saving the sky");
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 2) {
        std::fprintf(stderr, "usage: make_samples FOLDER\n");
        return 2;
    }
    const fs::path folder = fs::u8path(arguments[1]);
    const session libraries;
    const bool drawn = draw_planet(folder / "sample.png") && draw_atlas(folder / "atlas.png") &&
                       draw_heights(folder / "height.png") && draw_labels(folder / "labels.png") &&
                       draw_sunset(folder / "sunset.exr");
    return drawn ? 0 : 1;
}
