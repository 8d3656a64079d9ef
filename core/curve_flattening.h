// Cubic curves as polylines, by the recursive subdivision of AGG.
#pragma once

#include <zarn/points.h>

namespace zarn {

struct cubic_curve {
    zarn_fpoint_s start;
    zarn_fpoint_s start_control;
    zarn_fpoint_s end_control;
    zarn_fpoint_s end;
};

// Takes a point; false ends the flattening.
struct point_taker {
    bool (*take)(void* context, const zarn_fpoint_s& point);
    void* context;

    bool operator()(const zarn_fpoint_s& point) const { return take(context, point); }
};

// Hands over the points of a polyline that strays from the curve by about 0.5 / scale, both ends included. The scale is
// reduced where floats of the size of the coordinates could not tell the points apart, so that their number stays in
// bounds for any arguments. A curve with a coordinate that is not finite is handed over as its two ends. False when a
// point was refused or memory is short.
bool flatten_curve(const cubic_curve& curve, double scale, point_taker take) noexcept;

} // namespace zarn
