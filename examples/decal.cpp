// Cuts a decal out of a picture along a bezier path and composites it onto a ground with a blend mode.
//
//     decal PICTURE GROUND MODE RESULT.png
//
// MODE is the code of a blend mode, as zarn/blend.h counts them: 13 is overlay.

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "example.h"

namespace {

using namespace example;

// A badge with scalloped edge within a square.
zarn_bezier_path badge(float side) {
    zarn_bezier_path path;
    constexpr int scallops = 12;
    for (int i = 0; i <= 2 * scallops; ++i) {
        const double angle = i % (2 * scallops) * 3.14159265358979 / scallops, reach = side * (i % 2 ? 0.42 : 0.5);
        path.push_knot({static_cast<float>(side * 0.5 + reach * std::sin(angle)),
                        static_cast<float>(side * 0.5 - reach * std::cos(angle))},
                       1, 1);
    }
    path.build_vertex_list(2.0);
    return path;
}

// Keeps of the picture's middle what the path covers.
bool cut_out(zarn_image_8& picture, zarn_bezier_path& path, unsigned side) {
    const unsigned x = (picture.get_width() - side) / 2, y = (picture.get_height() - side) / 2;
    if (!tell(picture.crop(x, y, side, side), picture, "cropping")) return false;
    zarn_owned<zarn_image_channel> mask;
    if (!mask->create(side, side, ZARN_ORIGIN_UPPER_LEFT, 0, nullptr, 1)) return false;
    if (!path.rasterize_to_image_existing(0, 0.0, 255u, 0, 0, *mask)) return false;
    for (unsigned row = 0; row < side; ++row) {
        for (unsigned column = 0; column < side; ++column) {
            zarn_pixel_8_s pixel = picture.get_pixel(column, row);
            pixel.a = static_cast<std::uint8_t>(pixel.a * mask->get_pixel_8(column, row) / 255);
            picture.set_pixel(column, row, pixel);
        }
    }
    return true;
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 5) {
        std::fprintf(stderr, "usage: decal PICTURE GROUND MODE RESULT.png\n");
        return 2;
    }
    const session libraries;
    zarn_owned<zarn_image_8> decal, ground;
    if (!tell(decal->load_file(wide(std::filesystem::u8path(arguments[1])).c_str()), *decal, "loading the picture") ||
        !tell(ground->load_file(wide(std::filesystem::u8path(arguments[2])).c_str()), *ground, "loading the ground"))
        return 1;

    const unsigned side =
        std::min({decal->get_width(), decal->get_height(), ground->get_width(), ground->get_height()});
    zarn_bezier_path path = badge(static_cast<float>(side));
    const unsigned mode = static_cast<unsigned>(std::strtoul(arguments[3], nullptr, 10));
    const int x = static_cast<int>((ground->get_width() - side) / 2),
              y = static_cast<int>((ground->get_height() - side) / 2);
    const bool done =
        cut_out(*decal, path, side) &&
        tell(ground->blit(*decal, 0, 0, side, side, 1.0f, x, y, mode, 0, nullptr, nullptr), *ground, "compositing");
    if (!done) return 1;

    // The path drawn once more as an outline, where the decal lies.
    path.translate_relative({static_cast<float>(x), static_cast<float>(y)});
    path.rasterize_to_image_existing(1, 3.0, zarn_pixel_8_s(255, 255, 255, 160), 0, *ground);
    return tell(ground->save_file(wide(std::filesystem::u8path(arguments[4])).c_str(), 2, 0), *ground, "saving") ? 0
                                                                                                                 : 1;
}
