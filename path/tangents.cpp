// Automatic tangents.
#include <initializer_list>

#include <zarn/bezier_path.h>

namespace {

// Not one third: hosts compare positions that were computed with this number.
constexpr float third = 0.33333f;

// before, after: the positions of the neighbours.
void smooth_tangents(zarn_bezier_knot_s& knot, const zarn_fpoint_s& before, const zarn_fpoint_s& after) {
    const zarn_fpoint_s p = knot.position;
    const auto between = [](const zarn_fpoint_s& a, const zarn_fpoint_s& b) { return a - b; };
    zarn_fpoint_s direction = between(before, after);
    direction.normalize();
    float in_length = between(before, p).length(), out_length = between(after, p).length();
    switch (knot.state) {
    case 1:
        in_length = out_length = in_length < out_length ? in_length : out_length;
        [[fallthrough]];
    case 0:
    case 2:
        knot.in_tangent = p + direction * in_length * third;
        knot.out_tangent = p - direction * out_length * third;
        break;
    case 3:
        knot.in_tangent = knot.out_tangent = p;
        break;
    default:
        break; // the host's
    }
}

} // namespace

void zarn_bezier_path::___auto_calculate_tangents() {
    const unsigned int count = ___knots.count;
    if (!count) return;
    zarn_bezier_knot_s* knots = ___knots.data;
    for (unsigned int i = 1; i + 1 < count; ++i) {
        smooth_tangents(knots[i], knots[i - 1].position, knots[i + 1].position);
    }
    zarn_bezier_knot_s &first = knots[0], &last = knots[count - 1];
    if (___closed && count > 2) {
        smooth_tangents(first, knots[count - 2].position, knots[1].position);
        last.in_tangent = first.in_tangent;
        last.out_tangent = first.out_tangent;
        return;
    }
    for (zarn_bezier_knot_s* end : {&first, &last}) {
        if (end->state <= 3) end->in_tangent = end->out_tangent = end->position;
    }
}
