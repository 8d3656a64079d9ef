// Turns a height map that tiles into a normal map, and draws beside it what it holds: the directions of its normals as
// a radar, and the histograms of their x and y.
//
//     normal_map HEIGHTS STRENGTH FOLDER
//
// writes FOLDER/normals.png, 16 bits a sample, and FOLDER/sheet.png with the charts.

#include <cstdlib>

#include <zarn/image_real_16.h>

#include "example.h"

namespace {

using namespace example;

// Heights of 8 bits have steps that a slope shows: smoothed in 16 bits they vanish.
bool make_normals(const std::wstring& path, float strength, zarn_image_16& normals) {
    zarn_owned<zarn_image_8> picture;
    zarn_owned<zarn_image_grayscale> heights;
    if (!tell(picture->load_file(path.c_str()), *picture, "loading")) return false;
    constexpr unsigned red = 0, alpha = 3, bits_16 = 1, tiles = 1;
    return tell(heights->create(*picture, red, alpha, bits_16), *heights, "taking the heights") &&
           tell(heights->gaussian_blur(0.8f, 0, 1, 0), *heights, "smoothing") &&
           tell(heights->convert_to_normals(strength, tiles, 0, nullptr, normals), *heights, "computing normals");
}

// The radar wants directions from -1 to 1, the picture has them from 0 to 1.
bool draw_radar(const zarn_image_real_16& picture, unsigned size, zarn_image_8& drawing) {
    using half_float::half;
    zarn_owned<zarn_image_real_16> directions;
    if (!tell(directions->create(picture), *directions, "copying")) return false;
    for (unsigned y = 0; y < directions->get_height(); ++y) {
        for (unsigned x = 0; x < directions->get_width(); ++x) {
            const half* const p = picture.get_pixel(x, y);
            const half pixel[4] = {half(p[0] * 2.0f - 1.0f), half(p[1] * 2.0f - 1.0f), half(p[2] * 2.0f - 1.0f), p[3]};
            directions->set_pixel(x, y, pixel);
        }
    }
    zarn_nradar_s radar;
    if (!tell(directions->build_normal_map_radar(64, 0, radar), *directions, "counting directions")) return false;
    std::printf("%u normals, %u of them poles\n", radar.total, radar.first_poles + radar.second_poles);
    return tell(zarn_render_normal_map_radar_to_image(radar, 1, 1, 0, {24, 24, 32, 255}, {255, 255, 255, 160}, size / 8,
                                                      size, drawing),
                drawing, "drawing the radar");
}

bool draw_histogram(const zarn_histogram_s& histogram, unsigned channel, unsigned height, zarn_image_8& drawing) {
    const zarn_histogram_channel_s& c = histogram.channel[channel];
    std::printf("channel %u: mean %.3f, deviation %.3f, median %.3f\n", channel, c.mean, c.std_dev, c.median);
    zarn_owned<zarn_image_channel> chart;
    if (!tell(zarn_render_histogram_channel_to_image(histogram, channel, 24, 224, height, 0, *chart), *chart,
              "drawing the histogram"))
        return false;
    if (!drawing.create(chart->get_width(), height, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1)) return false;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < chart->get_width(); ++x) { // red for x, green for y
            const std::uint8_t v = chart->get_pixel_8(x, y);
            const std::uint8_t dim = static_cast<std::uint8_t>(v / 3);
            drawing.set_pixel(x, y, channel == 1 ? zarn_pixel_8_s(v, dim, dim, 255) : zarn_pixel_8_s(dim, v, dim, 255));
        }
    }
    return true;
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 4) {
        std::fprintf(stderr, "usage: normal_map HEIGHTS STRENGTH FOLDER\n");
        return 2;
    }
    const std::filesystem::path folder = std::filesystem::u8path(arguments[3]);
    const session libraries;
    zarn_owned<zarn_image_16> normals;
    if (!make_normals(wide(std::filesystem::u8path(arguments[1])), std::strtof(arguments[2], nullptr), *normals) ||
        !tell(normals->save_file(wide(folder / "normals.png").c_str(), 3, 0), *normals, "saving"))
        return 1;

    constexpr unsigned radar_size = 256, bins = 256, bars = 124, gap = 8;
    zarn_owned<zarn_image_real_16> picture;
    zarn_owned<zarn_image_8_16> shallow;
    zarn_owned<zarn_image_8> radar, chart_x, chart_y, sheet;
    zarn_histogram_s histogram;
    if (!tell(picture->create(*normals), *picture, "taking floats") ||
        !tell(picture->build_histogram(bins, histogram), *picture, "building the histogram") ||
        !draw_radar(*picture, radar_size, *radar) || !draw_histogram(histogram, 1, bars, *chart_x) ||
        !draw_histogram(histogram, 2, bars, *chart_y) || !tell(shallow->create(*normals, 0), *shallow, "taking 8 bits"))
        return 1;

    // The 8-bit pixels are lent to the sheet, which copies them; then its canvas grows for the charts.
    const unsigned width = normals->get_width(), height = std::max(normals->get_height(), radar_size);
    if (!sheet->create(width, normals->get_height(), shallow->get_origin(), shallow->get_pixel_array_8(), 1) ||
        !tell(
            sheet->resize_canvas(0, radar_size + bins + 2 * gap, 0, height - sheet->get_height(), {255, 255, 255, 255}),
            *sheet, "making room"))
        return 1;
    const int at = static_cast<int>(width + gap), right = at + static_cast<int>(radar_size + gap);
    lay(*radar, at, 0, *sheet);
    lay(*chart_x, right, 0, *sheet);
    lay(*chart_y, right, static_cast<int>(bars + gap), *sheet);
    return tell(sheet->save_file(wide(folder / "sheet.png").c_str(), 1, 0), *sheet, "saving") ? 0 : 1;
}
