// Geometry of paths in its plainest form: what the library's curves, tangents and coverage are compared with.
#pragma once

#include <cstdint>
#include <vector>

#include <zarn/bezier_path.h>

namespace zarn_test {

struct point {
    double x, y;
};

using polygon = std::vector<point>;

polygon to_polygon(const zarn_list<zarn_fpoint_s>& vertices);

// The knots with the tangents that their states ask for, computed in doubles.
std::vector<zarn_bezier_knot_s> reference_tangents(std::vector<zarn_bezier_knot_s> knots, bool closed);

// By repeated halving between the control points.
point reference_curve_point(const zarn_bezier_knot_s& from, const zarn_bezier_knot_s& to, double t);

double distance_to_polyline(const point& from, const polygon& line);

// Positive when the polygon runs from the x axis towards the y axis.
double signed_area(const polygon& outline);

// The part of the pixel (x, y) to (x + 1, y + 1) that a polygon covers which does not overlap itself: exact.
double reference_coverage(const polygon& outline, std::int64_t x, std::int64_t y);

} // namespace zarn_test
