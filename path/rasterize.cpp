// Drawing of paths into images.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include <zarn/bezier_path.h>

#include "core/scan_conversion.h"
#include "kernels/coverage.h"
#include "kernels/low_bits.h"
#include "kernels/move_pixels.h"

namespace {

using namespace zarn;

// What is drawn, whatever it is drawn into.
struct drawing {
    polyline_shape shape{};
    double width = 0.0; // of an image of its own
    double height = 0.0;
    double left = 0.0; // where the path has its top left corner
    double top = 0.0;
};

bool is_finite(const zarn_fpoint_s& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// False when there is nothing to draw, or something that cannot be drawn.
bool prepare(drawing& target, const zarn_bezier_path& path, std::uint8_t stroke, double line_width, int even_odd) {
    const zarn_list<zarn_fpoint_s>& vertices = *path.get_vertex_list();
    if (!vertices.count || (stroke && !std::isfinite(line_width))) return false;
    for (unsigned int i = 0; i < vertices.count; ++i) {
        if (!is_finite(vertices.data[i])) return false;
    }
    target.shape.points = vertices.data;
    target.shape.count = vertices.count;
    target.shape.is_stroked = stroke != 0;
    target.shape.line_width = line_width;
    target.shape.even_odd = even_odd != 0;
    return true;
}

// Sizes the image that the drawing gets for itself; false when it would be too large.
bool make_place(drawing& target, const zarn_bezier_path& path) {
    zarn_fpoint_s min, max;
    path.get_bounding_rect(min, max);
    const double line_width = target.shape.is_stroked && target.shape.line_width > 0.0 ? target.shape.line_width : 0.0;
    target.width = std::trunc(max.x - min.x + line_width + 6.0);
    target.height = std::trunc(max.y - min.y + line_width + 6.0);
    constexpr double longest = 2147483647.0;
    if (!(target.width <= longest && target.height <= longest)) return false;
    const double margin = line_width / 2.0 + 3.0;
    target.left = min.x - margin;
    target.top = min.y - margin;
    target.shape.shift_x = -target.left;
    target.shape.shift_y = -target.top;
    return true;
}

// Draws into a picture of the format: composites onto what it shows, or gives a fresh, black one the colour and the
// coverage.
template <class Format, bool Existing>
bool draw(const drawing& target, void* pixels, const blit_picture& picture, const typename Format::sample* colour) {
    const coverage_paint<Format> paint = make_coverage_paint<Format>(pixels, picture, colour);
    if constexpr (!Existing && Format::has_alpha) {
        typename Format::sample ground[channels<Format>] = {};
        std::copy(colour, colour + Format::colours, ground);
        fill_rows<pixel_bytes<Format>>({pixels, picture.width, ground}, {0, picture.height, 0});
    }
    const auto paint_span = Existing ? composite_coverage<Format> : store_coverage<Format>;
    return scan_convert(target.shape, picture.width, picture.height, {paint_span, &paint});
}

template <class Image>
blit_picture picture_of(const Image& image) {
    return {image.get_width(), image.get_height(), image.get_origin() == ZARN_ORIGIN_LOWER_LEFT};
}

// How each class is made and reached. A colour knows how to do these for its class, so that the two drawings
// below are written once.

template <class Format, class Image, class Pixel>
struct rgba_ink {
    Pixel pixel; // a copy: the host's may lie in the image that is made anew

    bool can_create() const { return true; }
    bool create(Image& image, std::uint32_t width, std::uint32_t height) const {
        return image.create(width, height, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1) != 0;
    }
    template <bool Existing>
    bool draw_into(Image& image, const drawing& target) const {
        const typename Format::sample colour[] = {pixel.r, pixel.g, pixel.b, pixel.a};
        return draw<Format, Existing>(target, image.get_pixel_array(), picture_of(image), colour);
    }
};

using ink_8 = rgba_ink<rgba_8, zarn_image_8, zarn_pixel_8_s>;
using ink_16 = rgba_ink<rgba_16, zarn_image_16, zarn_pixel_16_s>;

// Colours of the classes whose depth is known at run time: `samples` are 32 bits, cut to the depth's.
template <class Format, bool Existing, class Image>
bool draw_values(Image& image, void* pixels, const drawing& target, const std::uint32_t (&samples)[2]) {
    typename Format::sample colour[channels<Format>];
    for (unsigned i = 0; i < channels<Format>; ++i) colour[i] = static_cast<typename Format::sample>(samples[i]);
    return draw<Format, Existing>(target, pixels, picture_of(image), colour);
}

template <class Image, class Format_8, class Format_16, class Format_32>
struct value_ink {
    std::uint32_t samples[2]; // value, alpha
    std::uint32_t image_type;

    bool can_create() const { return image_type <= 2; }
    bool create(Image& image, std::uint32_t width, std::uint32_t height) const {
        return image.create(width, height, ZARN_ORIGIN_UPPER_LEFT, image_type, nullptr, 1) != 0;
    }
    template <bool Existing>
    bool draw_into(Image& image, const drawing& target) const {
        switch (image.get_image_type()) {
        case 0:
            return draw_values<Format_8, Existing>(image, image.get_pixel_array_8(), target, samples);
        case 1:
            return draw_values<Format_16, Existing>(image, image.get_pixel_array_16(), target, samples);
        default:
            return draw_values<Format_32, Existing>(image, image.get_pixel_array_32(), target, samples);
        }
    }
};

using ink_channel = value_ink<zarn_image_channel, value_8, value_16, value_32>;
using ink_grey = value_ink<zarn_image_grayscale, grey_8, grey_16, grey_32>;

struct line {
    std::uint8_t stroke;
    double width;
};

template <class Image, class Ink>
unsigned int draw_new(const zarn_bezier_path& path, const line& pen, int even_odd, const Ink& ink, Image& image,
                      zarn_point_s& offset) {
    drawing target;
    if (!ink.can_create() || !prepare(target, path, pen.stroke, pen.width, even_odd)) return 0;
    if (!make_place(target, path)) return 0;
    if (!ink.create(image, static_cast<std::uint32_t>(target.width), static_cast<std::uint32_t>(target.height))) {
        return 0;
    }
    if (!ink.template draw_into<false>(image, target)) {
        image.free();
        return 0;
    }
    offset = zarn_point_s(low_bits<std::uint32_t>(target.left), low_bits<std::uint32_t>(target.top));
    return 1;
}

template <class Image, class Ink>
unsigned int draw_onto(const zarn_bezier_path& path, const line& pen, int even_odd, const Ink& ink, Image& image) {
    drawing target;
    if (!image.is_valid() || !prepare(target, path, pen.stroke, pen.width, even_odd)) return 0;
    return ink.template draw_into<true>(image, target) ? 1 : 0;
}

} // namespace

unsigned int zarn_bezier_path::rasterize_to_image(std::uint8_t stroke, double line_width, const zarn_pixel_8_s& colour,
                                                  int even_odd, zarn_image_8& image, zarn_point_s& offset) {
    return draw_new(*this, {stroke, line_width}, even_odd, ink_8{colour}, image, offset);
}

unsigned int zarn_bezier_path::rasterize_to_image(std::uint8_t stroke, double line_width, const zarn_pixel_16_s& colour,
                                                  int even_odd, zarn_image_16& image, zarn_point_s& offset) {
    return draw_new(*this, {stroke, line_width}, even_odd, ink_16{colour}, image, offset);
}

unsigned int zarn_bezier_path::rasterize_to_image(std::uint8_t stroke, double line_width, unsigned int value,
                                                  unsigned int image_type, int even_odd, zarn_image_channel& image,
                                                  zarn_point_s& offset) {
    return draw_new(*this, {stroke, line_width}, even_odd, ink_channel{{value, 0}, image_type}, image, offset);
}

unsigned int zarn_bezier_path::rasterize_to_image(std::uint8_t stroke, double line_width, unsigned int value,
                                                  unsigned int alpha, unsigned int image_type, int even_odd,
                                                  zarn_image_grayscale& image, zarn_point_s& offset) {
    return draw_new(*this, {stroke, line_width}, even_odd, ink_grey{{value, alpha}, image_type}, image, offset);
}

unsigned int zarn_bezier_path::rasterize_to_image_existing(std::uint8_t stroke, double line_width,
                                                           const zarn_pixel_8_s& colour, int even_odd,
                                                           zarn_image_8& image) {
    return draw_onto(*this, {stroke, line_width}, even_odd, ink_8{colour}, image);
}

unsigned int zarn_bezier_path::rasterize_to_image_existing(std::uint8_t stroke, double line_width,
                                                           const zarn_pixel_16_s& colour, int even_odd,
                                                           zarn_image_16& image) {
    return draw_onto(*this, {stroke, line_width}, even_odd, ink_16{colour}, image);
}

unsigned int zarn_bezier_path::rasterize_to_image_existing(std::uint8_t stroke, double line_width, unsigned int value,
                                                           unsigned int image_type, int even_odd,
                                                           zarn_image_channel& image) {
    return draw_onto(*this, {stroke, line_width}, even_odd, ink_channel{{value, 0}, image_type}, image);
}

unsigned int zarn_bezier_path::rasterize_to_image_existing(std::uint8_t stroke, double line_width, unsigned int value,
                                                           unsigned int alpha, unsigned int image_type, int even_odd,
                                                           zarn_image_grayscale& image) {
    return draw_onto(*this, {stroke, line_width}, even_odd, ink_grey{{value, alpha}, image_type}, image);
}
