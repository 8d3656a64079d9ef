#include "core/curve_flattening.h"

#include <algorithm>
#include <cmath>
#include <exception>

#include <agg_curves.h>

namespace zarn {

namespace {

bool is_finite(const zarn_fpoint_s& p) noexcept { return std::isfinite(p.x) && std::isfinite(p.y); }

double reach(const zarn_fpoint_s& p) noexcept { return std::max(std::fabs(double{p.x}), std::fabs(double{p.y})); }

// The subdivision goes on until it is close enough, up to 2^32 points. At 2^28 over the largest coordinate its
// tolerance is a fraction of the distance of neighbouring floats and far above the rounding of its doubles.
double bounded_scale(const cubic_curve& curve, double scale) noexcept {
    if (std::isnan(scale)) return 0.0;
    const double largest = std::max(std::max(reach(curve.start), reach(curve.start_control)),
                                    std::max(reach(curve.end_control), reach(curve.end)));
    constexpr double finest = 1e15; // for curves in and around (0, 0)
    return std::min({std::fabs(scale), 268435456.0 / largest, finest});
}

} // namespace

bool flatten_curve(const cubic_curve& curve, double scale, point_taker take) noexcept try {
    if (!is_finite(curve.start) || !is_finite(curve.start_control) || !is_finite(curve.end_control) ||
        !is_finite(curve.end)) {
        return take(curve.start) && take(curve.end);
    }
    agg::curve4_div points;
    points.approximation_scale(bounded_scale(curve, scale));
    points.init(curve.start.x, curve.start.y, curve.start_control.x, curve.start_control.y, curve.end_control.x,
                curve.end_control.y, curve.end.x, curve.end.y);
    double x = 0.0, y = 0.0;
    while (!agg::is_stop(points.vertex(&x, &y))) {
        if (!take({static_cast<float>(x), static_cast<float>(y)})) return false;
    }
    return true;
} catch (const std::exception&) { // AGG allocates with throwing forms
    return false;
}

} // namespace zarn
