// Edits of single knots. The ends of a closed path are one knot that is stored twice.
#include <zarn/bezier_path.h>

#include "path/flattening.h"

namespace {

zarn_bezier_knot_s knot_without_tangents(const zarn_fpoint_s& position, std::uint8_t state) {
    return {state, position, position, position};
}

} // namespace

unsigned int zarn_bezier_path::___twin(unsigned int index) const {
    const unsigned int last = ___knots.count - 1;
    if (!___closed || (index != 0 && index != last)) return index;
    return last - index;
}

void zarn_bezier_path::___close_if_ends_meet() {
    const unsigned int count = ___knots.count;
    if (count > 2 && ___knots.data[0].position == ___knots.data[count - 1].position) ___closed = 1;
}

void zarn_bezier_path::push_knot(zarn_fpoint_s position, int auto_tangents, std::uint8_t state) {
    const unsigned int count = ___knots.count;
    if (count && position == ___knots.data[count - 1].position) return;
    if (!zarn::append(___knots, knot_without_tangents(position, state))) return;
    ___closed = 0;
    ___close_if_ends_meet();
    if (auto_tangents) ___auto_calculate_tangents();
}

void zarn_bezier_path::insert_knot(unsigned int index, zarn_fpoint_s position, int auto_tangents, std::uint8_t state) {
    const unsigned int count = ___knots.count;
    if (!___closed && index >= count) {
        push_knot(position, auto_tangents, state);
        return;
    }
    // On a closed path every knot has two neighbours, before knot 0 the last but one.
    if (___closed && index >= count) index = count - 1;
    const unsigned int before = index ? index - 1 : ___closed ? count - 2 : 0;
    if (position == ___knots.data[before].position || position == ___knots.data[index].position) return;
    ___knots.insert(index, knot_without_tangents(position, state));
    if (___knots.count == count) return;
    if (!___closed) {
        ___close_if_ends_meet();
    } else if (index == 0) {
        ___knots.data[count] = ___knots.data[0];
    }
    if (auto_tangents) ___auto_calculate_tangents();
}

void zarn_bezier_path::delete_knot(unsigned int index) {
    if (index >= ___knots.count) return;
    const bool is_end = ___twin(index) != index;
    ___knots.remove(is_end ? 0 : index);
    if (___closed) {
        const unsigned int last = ___knots.count - 1;
        if (is_end) ___knots.data[last] = ___knots.data[0];
        if (___knots.count < 3) {
            ___knots.pop_back();
            ___closed = 0;
        }
    } else {
        ___close_if_ends_meet();
    }
    ___auto_calculate_tangents();
}

void zarn_bezier_path::modify_knot_position(unsigned int index, const zarn_fpoint_s& position) {
    if (index >= ___knots.count) return;
    zarn_bezier_knot_s& knot = ___knots.data[index];
    const zarn_fpoint_s target = position, step = target - knot.position;
    knot.in_tangent = knot.in_tangent + step;
    knot.out_tangent = knot.out_tangent + step;
    knot.position = target;
    ___knots.data[___twin(index)] = knot;
    ___close_if_ends_meet();
    ___auto_calculate_tangents();
}

void zarn_bezier_path::modify_knot_tangent(unsigned int index, unsigned int which, const zarn_fpoint_s& tangent) {
    if (index >= ___knots.count || which > 1) return;
    zarn_bezier_knot_s& knot = ___knots.data[index];
    const zarn_fpoint_s target = tangent, mirrored = knot.position + (knot.position - target);
    (which ? knot.out_tangent : knot.in_tangent) = target;
    if (knot.state == 1) (which ? knot.in_tangent : knot.out_tangent) = mirrored;
    ___knots.data[___twin(index)] = knot;
}

void zarn_bezier_path::modify_knot_state(unsigned int index, std::uint8_t state) {
    if (index >= ___knots.count) return;
    ___knots.data[index].state = state;
    ___knots.data[___twin(index)] = ___knots.data[index];
    ___auto_calculate_tangents();
}

void zarn_bezier_path::interpolate_segment(unsigned int segment, float t, zarn_fpoint_s& out) const {
    const zarn::cubic_curve curve = zarn::segment_curve(___knots.data[segment], ___knots.data[segment + 1]);
    const float s = 1.0f - t;
    out = s * s * s * curve.start + 3.0f * (s * s) * t * curve.start_control + 3.0f * s * (t * t) * curve.end_control +
          t * t * t * curve.end;
}
