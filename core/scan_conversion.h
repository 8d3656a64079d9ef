// Polygons and lines as anti-aliased coverage of pixels, by AGG's scanline rasteriser and stroke generator.
#pragma once

#include <cstdint>

#include <zarn/points.h>

#include "core/coverage_span.h"

namespace zarn {

struct polyline_shape {
    const zarn_fpoint_s* points; // finite
    std::uint32_t count;
    double shift_x; // added to every point
    double shift_y;
    bool is_stroked;
    double line_width; // finite; not above 0: no line
    bool even_odd;
};

// Paints the spans of a shape that lie within width x height pixels, rows of a part of them from top to bottom, every
// pixel at most once. Memory beyond a multiple of the points is bounded: what needs more is converted in parts. False
// when memory is short: nothing is painted of the part at hand and those after it.
bool scan_convert(const polyline_shape& shape, std::uint32_t width, std::uint32_t height,
                  span_painter painter) noexcept;

} // namespace zarn
