#include "path/flattening.h"

namespace zarn {

cubic_curve segment_curve(const zarn_bezier_knot_s& from, const zarn_bezier_knot_s& to) noexcept {
    return {from.position, from.out_tangent, to.in_tangent, to.position};
}

namespace {

bool append_vertex(void* list, const zarn_fpoint_s& vertex) {
    return append(*static_cast<zarn_list<zarn_fpoint_s>*>(list), vertex);
}

bool flatten_segments(const zarn_list<zarn_bezier_knot_s>& knots, double scale, zarn_list<zarn_fpoint_s>& vertices) {
    const point_taker taker{append_vertex, &vertices};
    for (unsigned int i = 0; i + 1 < knots.count; ++i) {
        const zarn_bezier_knot_s &from = knots.data[i], &to = knots.data[i + 1];
        if (!is_straight(from, to)) {
            if (!flatten_curve(segment_curve(from, to), scale, taker)) return false;
        } else {
            // The next segment begins where this one ends.
            if (!taker(from.position)) return false;
            if (i + 2 == knots.count && !taker(to.position)) return false;
        }
    }
    return true;
}

} // namespace

} // namespace zarn

void zarn_bezier_path::build_vertex_list(double approximation_scale) {
    ___vertices.clear();
    zarn_list<zarn_fpoint_s> vertices;
    if (zarn::flatten_segments(___knots, approximation_scale, vertices)) {
        zarn::exchange_elements(___vertices, vertices);
    }
}

void zarn_bezier_path::build_linear_vertex_list() {
    ___vertices.clear();
    if (!___knots.count) return;
    ___vertices.set_size(___knots.count);
    if (___vertices.size < ___knots.count) return;
    for (unsigned int i = 0; i < ___knots.count; ++i) ___vertices.data[i] = ___knots.data[i].position;
    ___vertices.set_count_to_size();
}

void zarn_bezier_path::set_vertex_list(zarn_list<zarn_fpoint_s>& vertices, int close) {
    if (&vertices != &___vertices) ___vertices = vertices;
    const unsigned int count = ___vertices.count;
    if (!close || !count || ___vertices.data[0] == ___vertices.data[count - 1]) return;
    if (!zarn::append(___vertices, ___vertices.data[0])) ___vertices.clear();
}

void zarn_bezier_path::get_vertex_list(zarn_fpoint_s* out) const {
    for (unsigned int i = 0; i < ___vertices.count; ++i) out[i] = ___vertices.data[i];
}

void zarn_bezier_path::get_bounding_rect(zarn_fpoint_s& min, zarn_fpoint_s& max) const {
    min = zarn_fpoint_s(3.4028235e38f, 3.4028235e38f);
    // Not the lowest float: hosts rely on what negative paths report.
    max = zarn_fpoint_s(1.1754944e-38f, 1.1754944e-38f);
    for (unsigned int i = 0; i < ___vertices.count; ++i) {
        const zarn_fpoint_s& vertex = ___vertices.data[i];
        if (vertex.x < min.x) min.x = vertex.x;
        if (vertex.y < min.y) min.y = vertex.y;
        if (vertex.x > max.x) max.x = vertex.x;
        if (vertex.y > max.y) max.y = vertex.y;
    }
}
