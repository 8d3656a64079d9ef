// Draws a picture with bezier paths alone: a landscape of filled curves, and over it a texture cut out by a path, with
// its shadow beneath and a stroked outline around. Smaller ones are scattered by the transform engine, which scales and
// turns the texture and the path that cuts it out alike.
//
//     path_composition RESULT.png

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include <zarn/zarn.h>

namespace {

constexpr unsigned int width = 960, height = 600;
constexpr double pi = 3.14159265358979;

std::uint8_t to_byte(double v) { return static_cast<std::uint8_t>(std::clamp(v, 0.0, 1.0) * 255.0 + 0.5); }

// Rows from one colour to another.
void paint_sky(zarn_image_8& picture) {
    for (unsigned int y = 0; y < height; ++y) {
        const double t = static_cast<double>(y) / height;
        const zarn_pixel_8_s colour(to_byte(0.16 + 0.80 * t), to_byte(0.20 + 0.48 * t), to_byte(0.42 + 0.10 * t), 255);
        for (unsigned int x = 0; x < width; ++x) picture.set_pixel(x, y, colour);
    }
}

// A smooth line through the crests, closed below the picture.
zarn_bezier_path hill(double base, double swing, double frequency, double phase) {
    zarn_bezier_path path;
    const auto bottom = static_cast<float>(height + 20);
    path.push_knot(zarn_fpoint_s(-20.0f, bottom), 0, 3);
    for (int i = 0; i <= 10; ++i) {
        const double y = base + swing * std::sin(i * frequency + phase) + 0.4 * swing * std::sin(i * 2.7 + phase);
        path.push_knot(zarn_fpoint_s(static_cast<float>(i) * 100.0f - 20.0f, static_cast<float>(y)), 1, 0);
    }
    path.push_knot(zarn_fpoint_s(static_cast<float>(width + 20), bottom), 1, 3);
    path.build_vertex_list(2.0);
    return path;
}

void paint_landscape(zarn_image_8& picture) {
    zarn_bezier_path sun;
    sun.create_ellipse(zarn_fpoint_s(735.0f, 330.0f), 190.0f, 190.0f);
    sun.build_vertex_list(4.0);
    for (const double glow : {180.0, 110.0, 50.0}) { // a line around the disc, as wide as its light reaches
        sun.rasterize_to_image_existing(1, glow, zarn_pixel_8_s(255, 214, 150, 36), 0, picture);
    }
    sun.rasterize_to_image_existing(0, 0.0, zarn_pixel_8_s(255, 236, 190, 255), 0, picture);

    const zarn_pixel_8_s colours[] = {zarn_pixel_8_s(120, 92, 122, 255), zarn_pixel_8_s(82, 66, 102, 255),
                                      zarn_pixel_8_s(44, 40, 72, 255)};
    for (int i = 0; i < 3; ++i) {
        hill(380.0 + 60.0 * i, 34.0 - 6.0 * i, 0.9 + 0.3 * i, 1.3 * i)
            .rasterize_to_image_existing(0, 0.0, colours[i], 0, picture);
    }
}

// A closed curve whose knots lie in turn on two circles.
zarn_bezier_path blossom(int petals, double outer, double inner) {
    zarn_bezier_path path;
    for (int i = 0; i <= 2 * petals; ++i) {
        const double radius = i % 2 ? inner : outer, angle = i % (2 * petals) * pi / petals;
        path.push_knot(
            zarn_fpoint_s(static_cast<float>(radius * std::sin(angle)), static_cast<float>(-radius * std::cos(angle))),
            1, static_cast<std::uint8_t>(i % 2 ? 3 : 1));
    }
    path.build_vertex_list(4.0);
    path.rotate(0.2);
    path.build_vertex_list(4.0);
    return path;
}

// What shines through the blossom, at a place of it.
zarn_pixel_8_s texture(double x, double y) {
    const double distance = std::hypot(x, y), angle = std::atan2(y, x);
    const double veins = 0.5 + 0.5 * std::sin(distance * 0.16 + 2.2 * std::sin(7.0 * angle));
    const double heart = std::exp(-distance * distance / 3000.0);
    return zarn_pixel_8_s(to_byte(0.78 + 0.20 * veins), to_byte(0.22 + 0.36 * veins + 0.5 * heart),
                          to_byte(0.42 + 0.25 * veins - 0.2 * heart), 255);
}

// Lays an image drawn from a path where the path has it.
void lay(const zarn_image_8& piece, const zarn_point_s& offset, int right, int down, float opacity,
         zarn_image_8& picture) {
    // Offsets left of and above the picture come as large numbers.
    const int x = static_cast<int>(offset.x) + right, y = static_cast<int>(offset.y) + down;
    picture.blit(piece, 0, 0, piece.get_width(), piece.get_height(), opacity, x, y, ZARN_BLEND_NORMAL, 0, nullptr,
                 nullptr);
}

bool paint_blossom(zarn_image_8& picture) {
    zarn_bezier_path path = blossom(7, 190.0, 92.0);
    // On a whole pixel, so that images drawn from the path and drawings into the picture meet exactly.
    path.translate(zarn_fpoint_s(110.0f, 70.0f));
    zarn_fpoint_s min, max;
    path.get_bounding_rect(min, max);

    zarn_owned<zarn_image_8> mask, shadow;
    zarn_point_s offset;
    if (!path.rasterize_to_image(1, 30.0, zarn_pixel_8_s(12, 8, 30, 255), 0, *shadow, offset)) return false;
    zarn_bezier_path inside = path; // the shadow's coordinates start at its image's corner
    inside.translate_relative(zarn_fpoint_s(-static_cast<float>(offset.x), -static_cast<float>(offset.y)));
    inside.rasterize_to_image_existing(0, 0.0, zarn_pixel_8_s(12, 8, 30, 255), 0, *shadow);
    constexpr unsigned int reach = 40; // the blur needs room to fade
    if (!shadow->resize_canvas(reach, reach, reach, reach, zarn_pixel_8_s(12, 8, 30, 0))) return false;
    if (!shadow->gaussian_blur(9.0f, 1, 0, 1)) return false;
    lay(*shadow, offset, 14 - static_cast<int>(reach), 22 - static_cast<int>(reach), 0.6f, picture);

    if (!path.rasterize_to_image(0, 0.0, zarn_pixel_8_s(255, 255, 255, 255), 0, *mask, offset)) return false;
    for (unsigned int y = 0; y < mask->get_height(); ++y) {
        for (unsigned int x = 0; x < mask->get_width(); ++x) {
            zarn_pixel_8_s pixel = texture(offset.x + x - (min.x + max.x) * 0.5, offset.y + y - (min.y + max.y) * 0.5);
            pixel.a = mask->get_pixel(x, y).a;
            mask->set_pixel(x, y, pixel);
        }
    }
    lay(*mask, offset, 0, 0, 1.0f, picture);
    path.rasterize_to_image_existing(1, 5.0, zarn_pixel_8_s(255, 246, 236, 255), 0, picture);

    // A pentagram on the sun, its middle left out.
    zarn_bezier_path star;
    for (int i = 0; i <= 5; ++i) {
        const double angle = i % 5 * 0.8 * pi;
        star.push_knot(zarn_fpoint_s(static_cast<float>(735.0 + 64.0 * std::sin(angle)),
                                     static_cast<float>(330.0 - 64.0 * std::cos(angle))),
                       1, 3);
    }
    star.build_linear_vertex_list();
    star.rasterize_to_image_existing(0, 0.0, zarn_pixel_8_s(214, 120, 92, 200), 1, picture);
    return true;
}

// One blossom, drawn once, in several sizes and directions: each comes from the copy that the engines keep.
bool scatter_blossoms(zarn_image_8& picture) {
    constexpr unsigned int side = 192;
    zarn_owned<zarn_image_8> cloth, mask;
    if (!cloth->create(side, side, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1)) return false;
    for (unsigned int y = 0; y < side; ++y) {
        for (unsigned int x = 0; x < side; ++x) cloth->set_pixel(x, y, texture(x - 95.5, y - 95.5));
    }
    zarn_bezier_path path = blossom(8, 30.0, 15.0);
    zarn_rt_transform cloth_engine, path_engine;
    if (!cloth_engine.checkin_image(*cloth) || !path_engine.checkin_image(path)) return false;

    struct {
        float x, y;
        int times;
        double angle;
    } const places[] = {
        {500, 90, 1, 0.2}, {590, 170, 2, 0.9}, {560, 500, 3, -0.5}, {800, 110, 2, 2.4}, {860, 470, 1, -1.3}};
    for (const auto& place : places) {
        const int size = 64 * place.times;
        if (!cloth_engine.transform(size, size, place.angle)) return false;
        if (!path_engine.transform(place.times, place.times, place.angle)) return false;
        zarn_bezier_path placed = path;
        zarn_fpoint_s min, max;
        placed.get_bounding_rect(min, max);
        placed.translate_relative(zarn_fpoint_s(place.x, place.y) - (min + max) * 0.5f);
        zarn_point_s offset;
        if (!placed.rasterize_to_image(0, 0.0, zarn_pixel_8_s(255, 255, 255, 255), 0, *mask, offset)) return false;
        const auto left = static_cast<unsigned int>(place.x) - cloth->get_width() / 2;
        const auto top = static_cast<unsigned int>(place.y) - cloth->get_height() / 2;
        for (unsigned int y = 0; y < mask->get_height(); ++y) {
            for (unsigned int x = 0; x < mask->get_width(); ++x) {
                const unsigned int cloth_x = offset.x + x - left, cloth_y = offset.y + y - top;
                if (cloth_x >= cloth->get_width() || cloth_y >= cloth->get_height()) continue; // also left of, above
                zarn_pixel_8_s pixel = cloth->get_pixel(cloth_x, cloth_y);
                pixel.a = mask->get_pixel(x, y).a;
                mask->set_pixel(x, y, pixel);
            }
        }
        lay(*mask, offset, 0, 0, 1.0f, picture);
        placed.rasterize_to_image_existing(1, 2.0, zarn_pixel_8_s(255, 246, 236, 255), 0, picture);
    }
    return cloth_engine.checkout_image() && path_engine.checkout_image();
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 2) {
        std::fprintf(stderr, "usage: %s RESULT.png\n", arguments[0]);
        return 2;
    }
    zarn_initialize();
    bool done = false;
    {
        zarn_owned<zarn_image_8> picture;
        if (picture->create(width, height, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1)) {
            paint_sky(*picture);
            paint_landscape(*picture);
            const std::string name = arguments[1];
            done = paint_blossom(*picture) && scatter_blossoms(*picture) &&
                   picture->save_file(std::wstring(name.begin(), name.end()).c_str(), 2, 0);
        }
        const zarn_list<wchar_t*>& messages = *picture->get_error_stack();
        for (unsigned int i = 0; i < messages.count; ++i) std::fprintf(stderr, "%ls\n", messages[i]);
    }
    zarn_shutdown();
    return done ? 0 : 1;
}
