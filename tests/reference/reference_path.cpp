#include "tests/reference/reference_path.h"

#include <algorithm>
#include <cmath>

namespace zarn_test {

namespace {

point middle(const point& a, const point& b, double t) { return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; }
point at(const zarn_fpoint_s& p) { return {p.x, p.y}; }

// Keeps the side of the line x = bound (or y = bound) that `inside` tells.
template <class Inside>
polygon cut(const polygon& outline, double bound, double point::*axis, Inside inside) {
    polygon kept;
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const point &a = outline[i], &b = outline[(i + 1) % outline.size()];
        if (inside(a.*axis, bound)) kept.push_back(a);
        if (inside(a.*axis, bound) != inside(b.*axis, bound)) {
            kept.push_back(middle(a, b, (bound - a.*axis) / (b.*axis - a.*axis)));
        }
    }
    return kept;
}

} // namespace

polygon to_polygon(const zarn_list<zarn_fpoint_s>& vertices) {
    polygon outline;
    for (unsigned int i = 0; i < vertices.count; ++i) outline.push_back(at(vertices.data[i]));
    return outline;
}

std::vector<zarn_bezier_knot_s> reference_tangents(std::vector<zarn_bezier_knot_s> knots, bool closed) {
    const std::size_t count = knots.size();
    for (std::size_t i = 0; i < count; ++i) {
        const bool is_end = i == 0 || i + 1 == count;
        const std::uint8_t state = closed && is_end ? knots[0].state : knots[i].state;
        if (state > 3) continue;
        knots[i].in_tangent = knots[i].out_tangent = knots[i].position;
        if (state == 3 || (is_end && !closed)) continue;
        const point before = at(knots[is_end ? count - 2 : i - 1].position),
                    after = at(knots[is_end ? 1 : i + 1].position);
        const point p = at(knots[i].position);
        const double length = std::hypot(before.x - after.x, before.y - after.y);
        if (length == 0.0) continue;
        double in = std::hypot(before.x - p.x, before.y - p.y), out = std::hypot(after.x - p.x, after.y - p.y);
        if (state == 1) in = out = std::min(in, out);
        const auto towards = [&](double distance) {
            const double share = distance * 0.33333 / length;
            return zarn_fpoint_s(static_cast<float>(p.x + (before.x - after.x) * share),
                                 static_cast<float>(p.y + (before.y - after.y) * share));
        };
        knots[i].in_tangent = towards(in);
        knots[i].out_tangent = towards(-out);
    }
    return knots;
}

point reference_curve_point(const zarn_bezier_knot_s& from, const zarn_bezier_knot_s& to, double t) {
    point p[] = {at(from.position), at(from.out_tangent), at(to.in_tangent), at(to.position)};
    for (int left = 3; left > 0; --left) {
        for (int i = 0; i < left; ++i) p[i] = middle(p[i], p[i + 1], t);
    }
    return p[0];
}

double distance_to_polyline(const point& from, const polygon& line) {
    double nearest = 1e300;
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
        const double dx = line[i + 1].x - line[i].x, dy = line[i + 1].y - line[i].y, square = dx * dx + dy * dy;
        const double along = (from.x - line[i].x) * dx + (from.y - line[i].y) * dy;
        const point foot = middle(line[i], line[i + 1], square > 0 ? std::clamp(along / square, 0.0, 1.0) : 0.0);
        nearest = std::min(nearest, std::hypot(from.x - foot.x, from.y - foot.y));
    }
    return nearest;
}

double signed_area(const polygon& outline) {
    double twice = 0.0;
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const point &a = outline[i], &b = outline[(i + 1) % outline.size()];
        twice += a.x * b.y - b.x * a.y;
    }
    return twice / 2.0;
}

double reference_coverage(const polygon& outline, std::int64_t x, std::int64_t y) {
    const auto above = [](double value, double bound) { return value >= bound; };
    const auto below = [](double value, double bound) { return value <= bound; };
    const auto left = static_cast<double>(x), top = static_cast<double>(y);
    polygon kept = cut(outline, left, &point::x, above);
    kept = cut(kept, left + 1.0, &point::x, below);
    kept = cut(kept, top, &point::y, above);
    return std::fabs(signed_area(cut(kept, top + 1.0, &point::y, below)));
}

} // namespace zarn_test
