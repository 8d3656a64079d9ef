// Draws radars with AGG, whose containers throw where memory is short: nothing of that leaves this file.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>

#include <agg_conv_stroke.h>
#include <agg_pixfmt_rgb.h>
#include <agg_rasterizer_scanline_aa.h>
#include <agg_renderer_base.h>
#include <agg_renderer_scanline.h>
#include <agg_rendering_buffer.h>
#include <agg_scanline_u.h>
#include <agg_span_allocator.h>

#include <zarn/image_8.h>
#include <zarn/nradar.h>

#include "core/owned_array.h"
#include "kernels/low_bits.h"
#include "real/nradar_wedges.h"

namespace {

using zarn::radar_wedge;
using zarn::radar_wedges;

struct rgb_pixel {
    std::uint8_t r, g, b;
};
static_assert(sizeof(rgb_pixel) == 3, "rows are packed");

// The closed polygon whose corners are the edges of the bins, as AGG takes its shapes.
class bin_polygon {
public:
    bin_polygon(const radar_wedges& wedges, std::uint32_t bins, float radius)
        : ___wedges(wedges)
        , ___bins(bins)
        , ___radius(radius) {}

    void rewind(unsigned) { ___next = 0; }
    unsigned vertex(double* x, double* y) {
        *x = *y = 0.0;
        const std::uint64_t at = ___next++;
        if (at > ___bins) return agg::path_cmd_stop;
        if (at == ___bins) return static_cast<unsigned>(agg::path_cmd_end_poly) | agg::path_flags_close;
        const auto bin = static_cast<std::uint32_t>(at);
        const zarn_fpoint_s point = ___wedges.point(___wedges.first_angle(bin), ___radius);
        *x = point.x;
        *y = point.y;
        return at == 0 ? agg::path_cmd_move_to : agg::path_cmd_line_to;
    }

private:
    const radar_wedges& ___wedges;
    std::uint32_t ___bins;
    float ___radius;
    std::uint64_t ___next = 0;
};

// The colours of a wedge's two triangles. Its inner and its outer edge are parallel, so that both triangles, shaded
// between the colours of their corners, have one gradient in common; filled as one shape they show no seam.
class wedge_shading {
public:
    wedge_shading(const radar_wedge& wedge, const agg::rgba8& inner, const agg::rgba8& outer)
        : ___inner(inner)
        , ___outer(outer)
        , ___x(wedge.outer_0.x)
        , ___y(wedge.outer_0.y) {
        const double edge_x = wedge.outer_1.x - ___x, edge_y = wedge.outer_1.y - ___y;
        const double whole = edge_x * (wedge.inner_1.y - ___y) - edge_y * (wedge.inner_1.x - ___x);
        if (whole == 0.0) return; // a wedge without area
        ___inwards_x = -edge_y / whole;
        ___inwards_y = edge_x / whole;
    }

    // As AGG asks for a row of colours.
    void prepare() {}
    void generate(agg::rgba8* span, int x, int y, unsigned length) const {
        const double from_row = ___inwards_y * (y + 0.5 - ___y);
        for (unsigned i = 0; i < length; ++i)
            span[i] = mixed(___inwards_x * (x + static_cast<double>(i) + 0.5 - ___x) + from_row);
    }

private:
    agg::rgba8 mixed(double share_of_inner) const {
        const double t = std::clamp(share_of_inner, 0.0, 1.0); // the centre of a pixel at an edge may lie outside
        const auto mix = [t](unsigned outer, unsigned inner) {
            return static_cast<unsigned>(outer + (static_cast<double>(inner) - outer) * t + 0.5);
        };
        return {mix(___outer.r, ___inner.r), mix(___outer.g, ___inner.g), mix(___outer.b, ___inner.b)};
    }

    agg::rgba8 ___inner;
    agg::rgba8 ___outer;
    double ___x; // of the outer edge
    double ___y;
    double ___inwards_x = 0.0; // how the share of the inner colour grows
    double ___inwards_y = 0.0;
};

bool is_finite(const zarn_fpoint_s& point) { return std::isfinite(point.x) && std::isfinite(point.y); }

agg::rgba8 colour_of_normal(const float (&normal)[3]) {
    const auto byte = [](float c) {
        const float unit = (c + 1.0f) * 0.5f;
        return static_cast<unsigned>(zarn::low_bits<std::uint8_t>(unit * 255.0f + 0.5f));
    };
    return {byte(normal[0]), byte(normal[1]), byte(normal[2])};
}

class radar_canvas {
public:
    radar_canvas(rgb_pixel* pixels, std::uint32_t size)
        : ___buffer(&pixels->r, size, size, static_cast<int>(size * sizeof(rgb_pixel)))
        , ___format(___buffer)
        , ___renderer(___format)
        , ___rasterizer(most_cell_blocks) {
        ___rasterizer.clip_box(0.0, 0.0, size, size);
    }

    void fill(const radar_wedge& wedge, const agg::rgba8& inner, const agg::rgba8& outer) {
        if (!is_finite(wedge.inner_0) || !is_finite(wedge.outer_0) || !is_finite(wedge.inner_1) ||
            !is_finite(wedge.outer_1)) {
            return;
        }
        ___rasterizer.move_to_d(wedge.inner_0.x, wedge.inner_0.y);
        ___rasterizer.line_to_d(wedge.outer_0.x, wedge.outer_0.y);
        ___rasterizer.line_to_d(wedge.outer_1.x, wedge.outer_1.y);
        ___rasterizer.line_to_d(wedge.inner_1.x, wedge.inner_1.y);
        wedge_shading shading(wedge, inner, outer);
        agg::render_scanlines_aa(___rasterizer, ___scanline, ___renderer, ___spans, shading);
        ___rasterizer.reset();
    }
    void fill(bin_polygon polygon, const agg::rgba8& colour) { draw(polygon, colour); }
    void outline(bin_polygon polygon, const agg::rgba8& colour) {
        agg::conv_stroke<bin_polygon> stroke(polygon);
        draw(stroke, colour);
    }

private:
    template <class Shape>
    void draw(Shape& shape, const agg::rgba8& colour) {
        ___rasterizer.add_path(shape);
        agg::renderer_scanline_aa_solid<decltype(___renderer)> renderer(___renderer);
        renderer.color(colour);
        agg::render_scanlines(___rasterizer, ___scanline, renderer);
        ___rasterizer.reset();
    }

    static constexpr unsigned most_cell_blocks = 16384; // of 4096 cells: what needs more would be left out

    agg::rendering_buffer ___buffer;
    agg::pixfmt_rgb24 ___format;
    agg::renderer_base<agg::pixfmt_rgb24> ___renderer;
    // It clips in doubles, which take a coordinate of any size, and the scanline has room for columns from 32768 on.
    agg::rasterizer_scanline_aa<agg::rasterizer_sl_clip_dbl> ___rasterizer;
    agg::scanline32_u8 ___scanline;
    agg::span_allocator<agg::rgba8> ___spans;
};

struct shown_radar {
    const zarn_nradar_s& radar;
    bool first;
    bool second;
    bool common_scale;
};

void draw_hemisphere(radar_canvas& canvas, const shown_radar& shown, const radar_wedges& wedges,
                     const zarn_list<zarn_nradar_sample_s>& samples, std::uint32_t hemisphere_count,
                     std::uint32_t poles) {
    const zarn_nradar_s& radar = shown.radar;
    const std::uint32_t bins = radar.first_samples.count;
    const std::uint32_t scale = zarn::radar_scale(radar, shown.first, shown.second, shown.common_scale);
    for (std::uint32_t bin = 0; bin < bins; ++bin) {
        const std::uint32_t count = zarn::count_of_bin(samples, bin);
        if (count == 0) continue;
        const zarn_nradar_sample_s& sample = samples.data[bin];
        canvas.fill(wedges.counted(bin, count, scale), colour_of_normal(sample.max_normal),
                    colour_of_normal(sample.min_normal));
    }
    const bool of_all = (shown.first && shown.second) || shown.common_scale;
    const std::uint32_t counted = of_all ? radar.total : hemisphere_count;
    const float radius = static_cast<float>(poles) / static_cast<float>(counted) * wedges.inner_radius();
    // Both discs have the colour that the flag gives, whichever hemisphere is z >= 0.
    if (radius > 0.0f && std::isfinite(radius))
        canvas.fill({wedges, bins, radius}, {128, 128, radar.flags & 16 ? 255u : 0u});
}

// Throws where memory is short.
void draw(rgb_pixel* pixels, std::uint32_t size, const shown_radar& shown, std::uint32_t inner_radius,
          const zarn_pixel_8_s& colour) {
    const zarn_nradar_s& radar = shown.radar;
    const std::uint32_t bins = radar.first_samples.count;
    if (bins == 0) return;
    const radar_wedges wedges(bins, inner_radius, size);
    radar_canvas canvas(pixels, size);
    if (shown.second)
        draw_hemisphere(canvas, shown, wedges, radar.second_samples, radar.second_count, radar.second_poles);
    if (shown.first) draw_hemisphere(canvas, shown, wedges, radar.first_samples, radar.first_count, radar.first_poles);
    const agg::rgba8 lines(colour.r, colour.g, colour.b, colour.a);
    canvas.outline({wedges, bins, wedges.centre() - 1.0f}, lines);
    if (inner_radius) canvas.outline({wedges, bins, wedges.inner_radius()}, lines);
}

} // namespace

unsigned int zarn_render_normal_map_radar_to_image(const zarn_nradar_s& radar, unsigned int show_first,
                                                   unsigned int show_second, unsigned int common_scale,
                                                   const zarn_pixel_8_s& background, const zarn_pixel_8_s& drawing,
                                                   unsigned int inner_radius, unsigned int size, zarn_image_8& image) {
    if (size == 0) return 0;
    const std::uint64_t count = static_cast<std::uint64_t>(size) * size;
    const auto pixels = zarn::allocate_array<rgb_pixel>(count);
    if (!pixels) return 0;
    std::fill_n(pixels.get(), count, rgb_pixel{background.r, background.g, background.b});
    try {
        draw(pixels.get(), size, {radar, show_first != 0, show_second != 0, common_scale != 0}, inner_radius, drawing);
    } catch (const std::exception&) {
        return 0;
    }
    if (!image.create(size, size, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1)) return 0;
    std::transform(pixels.get(), pixels.get() + count, image.get_pixel_array(),
                   [](const rgb_pixel& p) { return zarn_pixel_8_s(p.r, p.g, p.b, 255); });
    return 1;
}
