#include "core/scan_conversion.h"

#include <algorithm>
#include <cmath>
#include <exception>

#include <agg_rasterizer_scanline_aa.h>
#include <agg_scanline_p.h>
#include <agg_vcgen_stroke.h>

namespace zarn {

namespace {

// Clipping before coordinates become integers: any finite vertex is welcome.
using rasterizer = agg::rasterizer_scanline_aa<agg::rasterizer_sl_clip_dbl>;

// The rasteriser's cells are counted here, not there: what exceeds its own limit it drops.
constexpr unsigned no_cell_limit = 0xFFFFFFFF;
constexpr double cell_limit = 4194304.0; // 16 bytes each, and a pointer
// Points by the million ask for more of them, or every pixel would become a part that walks all points.
constexpr double cells_per_point = 8.0;
// Fixed-point coordinates have 24 bits before the point; some are left for differences.
constexpr std::uint32_t longest_side = 1u << 20;

struct part {
    std::uint32_t x, y, width, height;
};

// Feeds a part's rasteriser with vertices and bounds the cells that they make.
class part_outline {
public:
    part_outline(rasterizer& target, const part& place)
        : m_target(target)
        , m_left(place.x)
        , m_top(place.y)
        , m_width(place.width)
        , m_height(place.height) {
        m_target.clip_box(0.0, 0.0, m_width, m_height);
    }

    void move_to(double x, double y) {
        close();
        m_start_x = m_x = x - m_left;
        m_start_y = m_y = y - m_top;
        m_target.move_to_d(m_x, m_y);
    }

    void line_to(double x, double y) {
        x -= m_left;
        y -= m_top;
        count_cells(x, y);
        m_target.line_to_d(x, y);
        m_x = x;
        m_y = y;
    }

    void close() {
        count_cells(m_start_x, m_start_y);
        m_target.close_polygon();
        m_x = m_start_x;
        m_y = m_start_y;
    }

    double cells() const { return m_cells; }

private:
    // An edge makes a cell where it enters a row or a column. Where it passes the part at a side it runs along that
    // side, and those within one cell make none of their own.
    void count_cells(double x, double y) {
        const auto [top, bottom] = std::minmax(m_y, y);
        if (bottom < 0.0 || top > m_height) return;
        const double crossed =
            std::abs(cell(y, m_height) - cell(m_y, m_height)) + std::abs(cell(x, m_width) - cell(m_x, m_width));
        const bool comes_from_outside = top < 0.0 || bottom > m_height;
        if (crossed > 0.0 || comes_from_outside) m_cells += crossed + 2.0;
    }

    // The row or column that AGG's fixed-point form of a clipped coordinate lies in.
    static double cell(double coordinate, double side) {
        constexpr double steps = agg::poly_subpixel_scale;
        return std::floor(std::floor(std::min(std::max(0.0, coordinate), side) * steps + 0.5) / steps);
    }

    rasterizer& m_target;
    double m_left, m_top, m_width, m_height;
    double m_start_x = 0.0, m_start_y = 0.0;
    double m_x = 0.0, m_y = 0.0;
    double m_cells = 0.0;
};

class converter {
public:
    converter(const polyline_shape& shape, span_painter painter)
        : m_shape(shape)
        , m_painter(painter)
        , m_cell_limit(std::max(cell_limit, cells_per_point * shape.count))
        , m_rasterizer(no_cell_limit) {
        m_rasterizer.filling_rule(shape.even_odd ? agg::fill_even_odd : agg::fill_non_zero);
        if (shape.is_stroked) set_up_line();
    }

    void convert(const part& place) {
        part_outline outline(m_rasterizer, place);
        const bool complete =
            m_shape.is_stroked ? add_line(outline, can_split(place)) : add_polygon(outline, can_split(place));
        if (!complete) {
            const auto [first, second] = split(place);
            convert(first);
            convert(second);
        } else if (m_rasterizer.rewind_scanlines()) {
            paint(place);
        }
        m_rasterizer.reset();
    }

private:
    static bool can_split(const part& place) { return place.width > 1 || place.height > 1; }

    // Rows first: whole rows make the longest spans.
    static std::pair<part, part> split(const part& place) {
        part first = place, second = place;
        if (place.height > 1) {
            first.height = place.height / 2;
            second.y += first.height;
            second.height -= first.height;
        } else {
            first.width = place.width / 2;
            second.x += first.width;
            second.width -= first.width;
        }
        return {first, second};
    }

    void set_up_line() {
        // A wider line leaves doubles' range on the way; none that wide has an edge near a picture.
        const double width = std::min(m_shape.line_width, 1e40);
        // The steps of round joins grow with the square root of the width, up to some 3000 for a half turn.
        constexpr double finest_radius = 1e6;
        m_line.width(width);
        m_line.line_join(agg::round_join);
        m_line.line_cap(agg::round_cap);
        m_line.inner_miter_limit(1.01);
        m_line.approximation_scale(std::min(1.0, finest_radius / (width / 2.0)));
        const std::uint32_t count = m_shape.count;
        for (std::uint32_t i = 0; i < count; ++i) {
            m_line.add_vertex(m_shape.points[i].x + m_shape.shift_x, m_shape.points[i].y + m_shape.shift_y,
                              i ? agg::path_cmd_line_to : agg::path_cmd_move_to);
        }
        const zarn_fpoint_s &first = m_shape.points[0], &last = m_shape.points[count - 1];
        if (count > 2 && first.x == last.x && first.y == last.y) {
            m_line.add_vertex(0.0, 0.0, unsigned{agg::path_cmd_end_poly} | unsigned{agg::path_flags_close});
        }
    }

    // False when the outline of the line makes too many cells, and the place can be split.
    bool add_line(part_outline& outline, bool bounded) {
        double x = 0.0, y = 0.0;
        m_line.rewind(0);
        for (unsigned command; !agg::is_stop(command = m_line.vertex(&x, &y));) {
            if (agg::is_move_to(command)) {
                outline.move_to(x, y);
            } else if (agg::is_vertex(command)) {
                outline.line_to(x, y);
            }
            if (bounded && outline.cells() > m_cell_limit) return false;
        }
        outline.close();
        return true;
    }

    bool add_polygon(part_outline& outline, bool bounded) {
        for (std::uint32_t i = 0; i < m_shape.count; ++i) {
            const double x = m_shape.points[i].x + m_shape.shift_x, y = m_shape.points[i].y + m_shape.shift_y;
            if (i) {
                outline.line_to(x, y);
            } else {
                outline.move_to(x, y);
            }
            if (bounded && outline.cells() > m_cell_limit) return false;
        }
        outline.close();
        return true;
    }

    void paint(const part& place) {
        m_scanline.reset(m_rasterizer.min_x(), m_rasterizer.max_x());
        while (m_rasterizer.sweep_scanline(m_scanline)) {
            const std::int64_t y = m_scanline.y();
            if (y < 0 || y >= place.height) continue;
            auto span = m_scanline.begin();
            for (unsigned left = m_scanline.num_spans(); left; --left, ++span) paint(place, y, *span);
        }
    }

    // The clipping keeps spans inside, but for the rounding at its edges.
    void paint(const part& place, std::int64_t y, const agg::scanline32_p8::span& span) {
        const bool is_uniform = span.len < 0;
        const std::int64_t start = std::max<std::int64_t>(span.x, 0);
        const std::int64_t end =
            std::min<std::int64_t>(std::int64_t{span.x} + (is_uniform ? -span.len : span.len), place.width);
        if (start >= end) return;
        coverage_span painted{};
        painted.x = place.x + static_cast<std::uint32_t>(start);
        painted.y = place.y + static_cast<std::uint32_t>(y);
        painted.length = static_cast<std::uint32_t>(end - start);
        painted.covers = span.covers + (is_uniform ? 0 : start - span.x);
        painted.is_uniform = is_uniform;
        m_painter.paint(m_painter.context, painted);
    }

    const polyline_shape& m_shape;
    span_painter m_painter;
    double m_cell_limit;
    rasterizer m_rasterizer;
    agg::scanline32_p8 m_scanline;
    agg::vcgen_stroke m_line;
};

} // namespace

bool scan_convert(const polyline_shape& shape, std::uint32_t width, std::uint32_t height, span_painter painter) noexcept
    try {
    if (!shape.count || (shape.is_stroked && !(shape.line_width > 0.0))) return true;
    converter shape_converter(shape, painter);
    for (std::uint32_t y = 0; y < height;) {
        const std::uint32_t rows = std::min(height - y, longest_side);
        for (std::uint32_t x = 0; x < width;) {
            const std::uint32_t columns = std::min(width - x, longest_side);
            shape_converter.convert({x, y, columns, rows});
            x += columns;
        }
        y += rows;
    }
    return true;
} catch (const std::exception&) { // AGG allocates with throwing forms
    return false;
}

} // namespace zarn
