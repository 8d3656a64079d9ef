// Measures a made-up normal map of studs and draws what it finds: the histogram of each channel as a bar
// chart, and the radar of its directions, of both hemispheres and of the upper one alone.
//
//     analysis FOLDER
//
// writes FOLDER/normals.png, FOLDER/histogram_0.png to FOLDER/histogram_5.png, FOLDER/radar.png,
// FOLDER/radar_upper.png.

#include <cmath>
#include <cstdio>
#include <string>

#include <zarn/zarn.h>

#include <zarn/image_channel.h>
#include <zarn/image_real_16.h>

namespace {

constexpr unsigned side = 512;

struct vector {
    float x, y, z;
};

// Round studs in rows, every other row seen from below.
vector normal_at(unsigned column, unsigned row) {
    constexpr float cell = 64.0f, radius = 26.0f;
    const auto x = static_cast<float>(column), y = static_cast<float>(row);
    const float cell_row = std::floor(y / cell);
    const float dx = x - (std::floor(x / cell) + 0.5f) * cell, dy = y - (cell_row + 0.5f) * cell;
    const float distance = std::sqrt(dx * dx + dy * dy);
    if (distance >= radius) return {0.0f, 0.0f, 1.0f};
    const bool from_below = static_cast<int>(cell_row) % 2 != 0;
    const float stretch = 1.0f + 0.5f * std::sin(x / 80.0f), z = std::sqrt(1.0f - distance / radius * 0.98f);
    const vector v{dx / radius * stretch, dy / radius, from_below ? -z : z};
    const float length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    return {v.x / length, v.y / length, v.z / length};
}

void set_pixel(zarn_image_real_16& image, unsigned x, unsigned y, float r, float g, float b) {
    using half_float::half;
    const half pixel[4] = {half(r), half(g), half(b), half(1.0f)};
    image.set_pixel(x, y, pixel);
}

template <class Image>
bool save(Image& image, const std::wstring& path) {
    return image.save_file(path.c_str(), 2, 0) != 0;
}

bool draw_charts(const zarn_histogram_s& histogram, const std::wstring& folder) {
    bool saved = true;
    for (unsigned channel = 0; channel < 6; ++channel) {
        const zarn_histogram_channel_s& c = histogram.channel[channel];
        std::printf("channel %u: mean %.3f, deviation %.3f, median %.3f, most in a bin %u\n", channel, c.mean,
                    c.std_dev, c.median, c.max_count);
        zarn_owned<zarn_image_channel> chart;
        saved = zarn_render_histogram_channel_to_image(histogram, channel, 24, 224, 160, 0, *chart) != 0 &&
                save(*chart, folder + L"/histogram_" + std::to_wstring(channel) + L".png") && saved;
    }
    return saved;
}

bool draw_radar(const zarn_nradar_s& radar, unsigned show_first, const std::wstring& path) {
    zarn_owned<zarn_image_8> picture;
    return zarn_render_normal_map_radar_to_image(radar, show_first, 1, 0, {24, 24, 32, 255}, {255, 255, 255, 160}, 60,
                                                 480, *picture) != 0 &&
           save(*picture, path);
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 2) {
        std::fprintf(stderr, "usage: analysis FOLDER\n");
        return 2;
    }
    const std::string name = arguments[1];
    const std::wstring folder(name.begin(), name.end());

    zarn_initialize();
    // The directions run from -1 to 1; the picture of them, from 0 to 1, is what the histogram measures.
    zarn_owned<zarn_image_real_16> normals, picture;
    for (auto* const image : {&normals, &picture})
        (*image)->create(side, side, 0, 0, 0, static_cast<half_float::half*>(nullptr), 1);
    for (unsigned y = 0; y < side; ++y) {
        for (unsigned x = 0; x < side; ++x) {
            const vector v = normal_at(x, y);
            set_pixel(*normals, x, y, v.x, v.y, v.z);
            set_pixel(*picture, x, y, v.x * 0.5f + 0.5f, v.y * 0.5f + 0.5f, v.z * 0.5f + 0.5f);
        }
    }
    // Saved as bytes, as it is.
    picture->set_if_is_u8_max_256(1);
    picture->set_if_is_sRGB(1);
    zarn_histogram_s histogram;
    zarn_nradar_s radar;
    const bool done = picture->build_histogram(256, histogram) != 0 &&
                      normals->build_normal_map_radar(36, 0, radar) != 0 && draw_charts(histogram, folder) &&
                      draw_radar(radar, 1, folder + L"/radar.png") &&
                      draw_radar(radar, 0, folder + L"/radar_upper.png") && save(*picture, folder + L"/normals.png");
    zarn_shutdown();
    return done ? 0 : 1;
}
