// Polygons and lines as anti-aliased coverage of pixels, by AGG's scanline rasteriser and stroke generator.
#pragma once

#include <cstdint>

#include <zarn/points.h>

namespace zarn {

// Neighbouring pixels of a row that a shape covers.
struct coverage_span {
    std::uint32_t x;
    std::uint32_t y;
    std::uint32_t length;
    const std::uint8_t* covers; // one a pixel, or a single one
    bool is_uniform;            // a single one, for all pixels
};

struct span_painter {
    void (*paint)(const void* context, const coverage_span& span);
    const void* context;
};

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
// pixel at most once. Memory for the shape's outline is bounded: what needs more is converted in parts. False when
// memory is short: nothing is painted of the part at hand and those after it.
bool scan_convert(const polyline_shape& shape, std::uint32_t width, std::uint32_t height,
                  span_painter painter) noexcept;

} // namespace zarn
