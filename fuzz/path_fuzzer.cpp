// libFuzzer target: paths of any knots and shapes, edited, flattened, asked and drawn. The numbers are whatever the
// bytes spell: huge, negative, not finite.

#include <cstdint>

#include <zarn/zarn.h>

#include "fuzz/fuzzer_input.h"

namespace {

using zarn_fuzz::input;

// Plain numbers about the picture, or any.
float coordinate(input& in) {
    if (in.take<std::uint8_t>() < 40) return in.take<float>();
    return static_cast<float>(in.below(4000)) / 16.0f - 60.0f;
}

zarn_fpoint_s point(input& in) {
    const float x = coordinate(in);
    return {x, coordinate(in)};
}

void edit(zarn_bezier_path& path, input& in) {
    const unsigned knots = path.get_knot_count();
    const unsigned index = in.below(knots + 2);
    const std::uint8_t state = in.take<std::uint8_t>() % 6;
    switch (in.below(16)) {
    case 0:
    case 1:
    case 2:
    case 3:
        return path.push_knot(point(in), state % 2, state);
    case 4:
        return path.insert_knot(index, point(in), state % 2, state);
    case 5:
        return path.delete_knot(index);
    case 6:
        return path.modify_knot_position(index, point(in));
    case 7:
        return path.modify_knot_tangent(index, state % 3, point(in));
    case 8:
        return path.modify_knot_state(index, state);
    case 9:
        return path.create_ellipse(point(in), coordinate(in), coordinate(in));
    case 10:
        return path.create_rect(point(in), coordinate(in), coordinate(in), coordinate(in));
    case 11:
        return path.create_polygon(point(in), in.below(300), coordinate(in), coordinate(in));
    case 12:
        return path.translate(point(in));
    case 13:
        return path.scale(coordinate(in), coordinate(in));
    case 14:
        return path.rotate(static_cast<double>(coordinate(in)));
    default:
        return path.flip_horizontal();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    input in(data, size);
    zarn_owned<zarn_bezier_path> path;
    for (unsigned edits = in.below(40); edits && in.left(); --edits) edit(*path, in);
    if (in.take<std::uint8_t>() % 4)
        path->build_vertex_list(static_cast<double>(in.take<std::uint8_t>() < 20 ? in.take<float>() : 1.0f));
    else
        path->build_linear_vertex_list();
    unsigned segment = 0;
    path->is_collision(point(in), coordinate(in), segment);
    zarn_fpoint_s min, max;
    path->get_bounding_rect(min, max);

    const auto stroke = static_cast<std::uint8_t>(in.below(2));
    const double width = static_cast<double>(coordinate(in));
    const int even_odd = static_cast<int>(in.below(2));
    zarn_owned<zarn_image_8> picture;
    picture->create(64, 48, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    picture->clear({0, 0, 0, 0}, 1);
    path->rasterize_to_image_existing(stroke, width, zarn_pixel_8_s(200, 100, 50, 180), even_odd, *picture);
    // A picture of the path's own size, where it is one that a fuzzer has the memory for.
    if (max.x - min.x < 2000.0f && max.y - min.y < 2000.0f && width < 500.0) {
        zarn_owned<zarn_image_channel> mask;
        zarn_point_s offset;
        path->rasterize_to_image(stroke, width, 255, in.below(3), even_odd, *mask, offset);
    }
    return 0;
}
