// Moves, scales, turns and mirrors of whole paths.
#include <zarn/bezier_path.h>

template <class Map>
void zarn_bezier_path::___map_knots(Map map) {
    for (unsigned int i = 0; i < ___knots.count; ++i) {
        zarn_bezier_knot_s& knot = ___knots.data[i];
        map(knot.position);
        map(knot.in_tangent);
        map(knot.out_tangent);
    }
}

template <class Map>
void zarn_bezier_path::___map_vertices(Map map) {
    for (unsigned int i = 0; i < ___vertices.count; ++i) map(___vertices.data[i]);
}

// False without vertices.
bool zarn_bezier_path::___box(zarn_fpoint_s& min, zarn_fpoint_s& max) {
    if (!___vertices.count) build_vertex_list(1.0);
    get_bounding_rect(min, max);
    return ___vertices.count > 0;
}

void zarn_bezier_path::translate(const zarn_fpoint_s& to) {
    const zarn_fpoint_s target = to; // which may be one of this path's points
    zarn_fpoint_s min, max;
    if (___box(min, max)) translate_relative(target - min);
}

void zarn_bezier_path::translate_relative(const zarn_fpoint_s& by) {
    const auto move = [step = by](zarn_fpoint_s& p) { p = p + step; };
    ___map_knots(move);
    ___map_vertices(move);
}

void zarn_bezier_path::scale(float sx, float sy) {
    zarn_fpoint_s min, max;
    if (!___box(min, max)) return;
    ___map_knots([=](zarn_fpoint_s& p) {
        p.x = (p.x - min.x) * sx + min.x;
        p.y = (p.y - min.y) * sy + min.y;
    });
}

void zarn_bezier_path::rotate(double angle) {
    zarn_fpoint_s min, max;
    if (angle == 0.0 || !___box(min, max)) return;
    const zarn_fpoint_s centre = (max - min) * 0.5f + min;
    ___map_knots([&centre, angle](zarn_fpoint_s& p) {
        zarn_fpoint_s arm = p - centre;
        arm.rotate(angle);
        p = arm + centre;
    });
}

void zarn_bezier_path::flip_horizontal() {
    zarn_fpoint_s min, max;
    if (!___box(min, max)) return;
    const float centre = (max.x - min.x) * 0.5f + min.x;
    const auto mirror = [centre](zarn_fpoint_s& p) { p.x = centre - (p.x - centre); };
    ___map_knots(mirror);
    ___map_vertices(mirror);
}

void zarn_bezier_path::flip_vertical() {
    zarn_fpoint_s min, max;
    if (!___box(min, max)) return;
    const float centre = (max.y - min.y) * 0.5f + min.y;
    const auto mirror = [centre](zarn_fpoint_s& p) { p.y = centre - (p.y - centre); };
    ___map_knots(mirror);
    ___map_vertices(mirror);
}
