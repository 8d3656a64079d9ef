// Paths made at once.
#include <cmath>

#include <zarn/bezier_path.h>

namespace {

constexpr float circle_tangent = 0.5522848f;   // of four curves that make a circle of radius 1
constexpr unsigned int most_corners = 1 << 24; // floats count no further

// Room for exactly n knots, in use; false without memory.
bool make_room(zarn_list<zarn_bezier_knot_s>& knots, unsigned int n) {
    knots.set_size(n);
    if (knots.size < n) return false;
    knots.set_count_to_size();
    return true;
}

} // namespace

void zarn_bezier_path::create_polygon(const zarn_fpoint_s& centre, unsigned int count, float radius,
                                      float start_angle) {
    const zarn_fpoint_s middle = centre; // which may be one of this path's knots
    free();
    if (!count || count > most_corners || !make_room(___knots, count + 1)) return;
    const float step = 6.2831855f / static_cast<float>(count);
    for (unsigned int i = 0; i < count; ++i) {
        zarn_fpoint_s corner(0.0f, -radius);
        corner.rotate(static_cast<float>(i) * step + start_angle);
        corner = corner + middle;
        ___knots.data[i] = zarn_bezier_knot_s(3, corner, corner, corner);
    }
    ___knots.data[count] = ___knots.data[0];
    ___closed = 1;
}

void zarn_bezier_path::create_ellipse(const zarn_fpoint_s& centre, float width, float height) {
    const zarn_fpoint_s middle = centre;
    free();
    if (!make_room(___knots, 5)) return;
    const float radius_x = width * 0.5f, radius_y = height * 0.5f;
    // Unit vectors of the axes' ends, in order; a quarter turn is (-y, x).
    const float x[] = {1.0f, 0.0f, -1.0f, 0.0f}, y[] = {0.0f, 1.0f, 0.0f, -1.0f};
    for (unsigned int i = 0; i < 4; ++i) {
        const zarn_fpoint_s end = middle + zarn_fpoint_s(x[i] * radius_x, y[i] * radius_y);
        const zarn_fpoint_s along(-y[i] * (radius_x * circle_tangent), x[i] * (radius_y * circle_tangent));
        ___knots.data[i] = zarn_bezier_knot_s(1, end, end - along, end + along);
    }
    ___knots.data[4] = ___knots.data[0];
    ___closed = 1;
}

void zarn_bezier_path::create_rect(const zarn_fpoint_s& centre, float width, float height, float corner_radius) {
    const zarn_fpoint_s middle = centre;
    free();
    const float half_width = std::fabs(width) * 0.5f, half_height = std::fabs(height) * 0.5f;
    const float shorter = half_width < half_height ? half_width : half_height;
    const float radius = corner_radius > shorter ? shorter : corner_radius;
    // Corners in order, and the direction in which the side after each runs.
    const float x[] = {-1.0f, 1.0f, 1.0f, -1.0f}, y[] = {-1.0f, -1.0f, 1.0f, 1.0f};
    const zarn_fpoint_s side[] = {{1.0f, 0.0f}, {0.0f, 1.0f}, {-1.0f, 0.0f}, {0.0f, -1.0f}};
    const bool is_round = radius > 0.0f;
    if (!make_room(___knots, is_round ? 9 : 5)) return;
    for (unsigned int i = 0; i < 4; ++i) {
        const auto corner_at = [&](unsigned int c) {
            return middle + zarn_fpoint_s(x[c] * half_width, y[c] * half_height);
        };
        const zarn_fpoint_s corner = corner_at(i), next = corner_at((i + 1) % 4);
        if (!is_round) {
            ___knots.data[i] = zarn_bezier_knot_s(3, corner, corner, corner);
            continue;
        }
        const zarn_fpoint_s start = corner + side[i] * radius, end = next - side[i] * radius;
        const zarn_fpoint_s tangent = side[i] * (radius * circle_tangent);
        ___knots.data[std::size_t{2} * i] = zarn_bezier_knot_s(4, start, start - tangent, start);
        ___knots.data[std::size_t{2} * i + 1] = zarn_bezier_knot_s(4, end, end, end + tangent);
    }
    ___knots.data[___knots.count - 1] = ___knots.data[0];
    ___closed = 1;
}
