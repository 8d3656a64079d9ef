// Which segment of a path lies under a point.
#include <algorithm>
#include <cmath>
#include <limits>

#include <zarn/bezier_path.h>

#include "path/flattening.h"

namespace {

// The distance of a point to a polyline, taken point by point.
class polyline_distance {
public:
    explicit polyline_distance(const zarn_fpoint_s& point)
        : m_x(point.x)
        , m_y(point.y) {}

    void begin() {
        m_has_previous = false;
        m_nearest = std::numeric_limits<double>::infinity();
    }

    bool take(const zarn_fpoint_s& vertex) {
        // From the point, so that the point is (0, 0).
        const double x = vertex.x - m_x, y = vertex.y - m_y;
        if (m_has_previous) m_nearest = std::min(m_nearest, to_piece(m_previous_x, m_previous_y, x, y));
        m_previous_x = x;
        m_previous_y = y;
        m_has_previous = true;
        return true;
    }

    double nearest() const { return m_nearest; }

private:
    static double to_piece(double ax, double ay, double bx, double by) {
        const double dx = bx - ax, dy = by - ay;
        const double square = dx * dx + dy * dy;
        const double t = square > 0.0 ? std::clamp(-(ax * dx + ay * dy) / square, 0.0, 1.0) : 0.0;
        return std::hypot(ax + t * dx, ay + t * dy);
    }

    double m_x, m_y;
    double m_previous_x = 0.0, m_previous_y = 0.0;
    double m_nearest = 0.0;
    bool m_has_previous = false;
};

bool take_vertex(void* distance, const zarn_fpoint_s& vertex) {
    return static_cast<polyline_distance*>(distance)->take(vertex);
}

} // namespace

unsigned int zarn_bezier_path::is_collision(const zarn_fpoint_s& point, float tolerance, unsigned int& segment) const {
    polyline_distance distance(point);
    double nearest = std::numeric_limits<double>::infinity();
    unsigned int found = 0;
    for (unsigned int i = 0; i + 1 < ___knots.count; ++i) {
        const zarn_bezier_knot_s &from = ___knots.data[i], &to = ___knots.data[i + 1];
        distance.begin();
        if (zarn::is_straight(from, to)) {
            distance.take(from.position);
            distance.take(to.position);
        } else if (!zarn::flatten_curve(zarn::segment_curve(from, to), 1.0, {take_vertex, &distance})) {
            return 0;
        }
        if (distance.nearest() < nearest) {
            nearest = distance.nearest();
            found = i;
        }
    }
    if (!(nearest <= tolerance) || std::isinf(nearest)) return 0;
    segment = found;
    return 1;
}
