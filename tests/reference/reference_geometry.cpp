#include "tests/reference/reference_geometry.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace zarn_test {

namespace {

bool is_blank(const reference_image& image, const std::uint32_t* pixel) {
    return image.has_alpha ? !image.visible(pixel) : pixel[0] == 0;
}

void make_empty(reference_image& image) {
    image = image.blank(0, 0);
    image.origin = 0;
}

// The old picture's top-left corner at picture (x0, y0) of a canvas of `fill`.
void place(reference_image& image, std::uint32_t width, std::uint32_t height, std::uint32_t x0, std::uint32_t y0,
           const std::uint32_t* fill) {
    image.rearrange(width, height, [&](std::uint64_t x, std::uint64_t y) {
        const bool inside = x >= x0 && x < std::uint64_t{x0} + image.width && //
                            y >= y0 && y < std::uint64_t{y0} + image.height;
        return inside ? image.at_picture(x - x0, y - y0) : fill;
    });
}

// The source interval [first, last) that a position of the reduced side averages.
void area_interval(std::uint32_t position, std::uint32_t old_side, std::uint32_t new_side, std::int64_t& first,
                   std::int64_t& last) {
    const float scale = static_cast<float>(old_side) / static_cast<float>(new_side);
    const float side = std::max(scale, 3.0f);
    const float centre = std::trunc((static_cast<float>(position) * scale) + scale * 0.5f);
    const float start = std::trunc(centre - side * 0.5f);
    const float end = std::trunc(start + side);
    first = std::max<std::int64_t>(static_cast<std::int64_t>(start), 0);
    last = std::min<std::int64_t>(static_cast<std::int64_t>(end), old_side);
}

double cube_of_positive(double u) { return u > 0.0 ? u * u * u : 0.0; }

double bspline(double t) {
    return (cube_of_positive(t + 2.0) - 4.0 * cube_of_positive(t + 1.0) + 6.0 * cube_of_positive(t) -
            4.0 * cube_of_positive(t - 1.0)) *
           0.16666666666666666;
}

// The row or column a tap reads: edges repeat.
std::uint32_t tap_position(double position, std::uint32_t side) {
    if (position < 0.0) return 0;
    if (position >= static_cast<double>(side - 1)) return side - 1;
    return static_cast<std::uint32_t>(position);
}

void feather(reference_image& image) {
    std::srand(image.width);
    image.each_pixel([&](std::uint32_t* pixel, std::uint32_t x, std::uint32_t row) {
        if (pixel[image.colours] != image.full) return;
        int percent = 0;
        if (x == 0 || row == 0 || x == image.width - 1 || row == image.height - 1) {
            percent = std::rand() % 10 + 75;
        } else if (!image.visible(image.at(x - 1, row)) || !image.visible(image.at(x + 1, row)) ||
                   !image.visible(image.at(x, row - 1)) || !image.visible(image.at(x, row + 1))) {
            percent = std::rand() % 15 + 55;
        } else {
            return;
        }
        const float in_floats = static_cast<float>(percent) * 0.01f * static_cast<float>(image.full);
        const double in_doubles = percent * 0.01 * static_cast<double>(image.full);
        const double alpha = image.full > 65535 ? in_doubles : static_cast<double>(in_floats);
        pixel[image.colours] = to_sample(alpha, image.full);
    });
}

} // namespace

bool reference_crop(reference_image& image, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                    std::uint32_t height) {
    if (width == 0 || height == 0) return false;
    if (std::uint64_t{x} + width > image.width || std::uint64_t{y} + height > image.height) return false;
    image.rearrange(width, height, [&](std::uint32_t c, std::uint32_t r) { return image.at_picture(x + c, y + r); });
    return true;
}

void reference_crop_to_pixels(reference_image& image, std::uint32_t& left, std::uint32_t& top) {
    left = 0;
    top = 0;
    std::uint32_t first_row = image.height, last_row = 0, first_column = image.width, last_column = 0;
    image.each_pixel([&](const std::uint32_t* pixel, std::uint32_t x, std::uint32_t row) {
        if (is_blank(image, pixel)) return;
        first_row = std::min(first_row, row);
        last_row = std::max(last_row, row);
        first_column = std::min(first_column, x);
        last_column = std::max(last_column, x);
    });
    // Deliberate: what lies in the first row or column alone is not seen.
    if (last_row == 0 || last_column == 0) return make_empty(image);
    left = first_column;
    top = image.origin == lower_left ? image.height - 1 - last_row : first_row;
    reference_crop(image, left, top, last_column - first_column + 1, last_row - first_row + 1);
}

bool reference_resize_canvas(reference_image& image, std::uint32_t width, std::uint32_t height, unsigned position,
                             const std::uint32_t* fill) {
    if (width < image.width || height < image.height || width == 0 || height == 0) return false;
    const std::uint32_t spare_x = width - image.width;
    const std::uint32_t spare_y = height - image.height;
    if (position > 4) return false;
    const bool in_middle = position == 4;
    const std::uint32_t x = in_middle ? spare_x / 2 : position % 2 ? spare_x : 0;
    const std::uint32_t y = in_middle ? spare_y / 2 : position < 2 ? spare_y : 0;
    place(image, width, height, x, y, fill);
    return true;
}

void reference_add_margins(reference_image& image, std::uint32_t left, std::uint32_t right, std::uint32_t top,
                           std::uint32_t bottom, const std::uint32_t* fill) {
    place(image, image.width + left + right, image.height + top + bottom, left, top, fill);
}

void reference_flip_horizontal(reference_image& image) {
    image.rearrange(image.width, image.height,
                    [&](std::uint32_t x, std::uint32_t y) { return image.at_picture(image.width - 1 - x, y); });
}

void reference_flip_vertical(reference_image& image) {
    image.rearrange(image.width, image.height,
                    [&](std::uint32_t x, std::uint32_t y) { return image.at_picture(x, image.height - 1 - y); });
}

void reference_resample_area(reference_image& image, std::uint32_t width, std::uint32_t height) {
    reference_image result = image.blank(width, height);
    result.each_pixel([&](std::uint32_t* out, std::uint32_t x, std::uint32_t row) {
        std::int64_t x0 = 0, x1 = 0, y0 = 0, y1 = 0;
        area_interval(x, image.width, width, x0, x1);
        area_interval(static_cast<std::uint32_t>(result.memory_row(row)), image.height, height, y0, y1);
        std::uint64_t sums[4] = {}, visible = 0;
        for (std::int64_t v = y0; v < y1; ++v) {
            for (std::int64_t u = x0; u < x1; ++u) {
                const std::uint32_t* pixel =
                    image.at_picture(static_cast<std::uint64_t>(u), static_cast<std::uint64_t>(v));
                if (!image.visible(pixel)) continue;
                ++visible;
                for (unsigned i = 0; i < image.stride(); ++i) sums[i] += pixel[i];
            }
        }
        const auto all = static_cast<std::uint64_t>((x1 - x0) * (y1 - y0));
        for (unsigned i = 0; i < image.colours && visible; ++i) out[i] = static_cast<std::uint32_t>(sums[i] / visible);
        if (image.has_alpha) out[image.colours] = static_cast<std::uint32_t>(sums[image.colours] / all);
    });
    image = result;
}

void reference_resample_nearest(reference_image& image, std::uint32_t width, std::uint32_t height) {
    reference_image result = image.blank(width, height);
    const std::uint32_t step_x = (image.width << 16) / width, step_y = (image.height << 16) / height;
    result.each_pixel([&](std::uint32_t* out, std::uint32_t x, std::uint32_t row) {
        image.copy_pixel(out, image.at((x * step_x) >> 16, (row * step_y) >> 16));
    });
    image = result;
}

void reference_resample_bspline(reference_image& image, std::uint32_t width, std::uint32_t height) {
    reference_image result = image.blank(width, height);
    result.each_pixel([&](std::uint32_t* out, std::uint32_t x, std::uint32_t y) {
        const double sx = static_cast<double>(static_cast<float>(x * image.width) / static_cast<float>(width));
        const double sy = static_cast<double>(static_cast<float>(y * image.height) / static_cast<float>(height));
        const double fx = sx - std::trunc(sx), fy = sy - std::trunc(sy);
        double weighted[4] = {}, transparent_weight = 0.0;
        std::uint64_t plain[3] = {}, count = 0;
        for (int tap = 0; tap < 16; ++tap) {
            const int k = tap % 4 - 1, m = tap / 4 - 1;
            const std::uint32_t* pixel =
                image.at(tap_position(sx + k, image.width), tap_position(sy + m, image.height));
            const double weight = bspline(m - fy) * bspline(k - fx);
            if (!image.visible(pixel)) {
                transparent_weight += weight;
                continue;
            }
            for (unsigned i = 0; i < image.stride(); ++i) weighted[i] += weight * pixel[i];
            for (unsigned i = 0; i < image.colours; ++i) plain[i] += pixel[i];
            ++count;
        }
        for (unsigned i = 0; i < image.colours; ++i) {
            if (transparent_weight > 0.0 && count > 0)
                weighted[i] = static_cast<double>(plain[i] / count) * transparent_weight + weighted[i];
            out[i] = to_sample(weighted[i] + 0.5, image.full);
        }
        const double alpha = weighted[image.colours];
        if (image.has_alpha && alpha != 0.0) out[image.colours] = to_sample(alpha + 0.5, image.full);
    });
    image = result;
}

void reference_resample(reference_image& image, std::uint32_t width, std::uint32_t height, unsigned mode) {
    if (width == image.width && height == image.height) return;
    if (mode == 0 && width <= image.width && height <= image.height) {
        reference_resample_area(image, width, height);
    } else if (mode == 1) {
        reference_resample_nearest(image, width, height);
    } else {
        reference_resample_bspline(image, width, height);
    }
}

void reference_rotate(reference_image& image, double angle, bool feather_edges) {
    if (!(angle < 0.0) && !(angle > 0.0)) return;
    if (image.origin == lower_left) angle = -angle;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double w = image.width, h = image.height;
    double min_x = 0.0, max_x = 0.0, min_y = 0.0, max_y = 0.0;
    for (const double x : {-w / 2, w / 2}) {
        for (const double y : {-h / 2, h / 2}) {
            min_x = std::min(min_x, x * c - y * s);
            max_x = std::max(max_x, x * c - y * s);
            min_y = std::min(min_y, x * s + y * c);
            max_y = std::max(max_y, x * s + y * c);
        }
    }
    reference_image result = image.blank(static_cast<std::uint32_t>(std::ceil(max_x - min_x)),
                                         static_cast<std::uint32_t>(std::ceil(max_y - min_y)));
    const double offset_x = std::min({0.0, -h * s, w * c - h * s, w * c});
    const double offset_y = std::min({0.0, h * c, w * s, w * s + h * c});

    result.each_pixel([&](std::uint32_t* out, std::uint32_t x, std::uint32_t y) {
        const double turned_x = x + offset_x, turned_y = y + offset_y;
        const double sx = turned_x * c + turned_y * s, sy = turned_y * c - turned_x * s;
        const std::uint32_t x0 = to_sample(sx, 4294967295u), y0 = to_sample(sy, 4294967295u);
        if (x0 >= image.width || y0 >= image.height) return;
        const std::uint32_t* p00 = image.at(x0, y0);
        if (!image.visible(p00)) return result.copy_pixel(out, p00);
        const std::uint32_t x1 = std::min(x0 + 1, image.width - 1), y1 = std::min(y0 + 1, image.height - 1);
        const double fx = sx - x0, fy = sy - y0;
        const double weights[4] = {(1.0 - fx) * (1.0 - fy), fx * (1.0 - fy), (1.0 - fx) * fy, fx * fy};
        const std::uint32_t* pixels[4] = {p00, image.at(x1, y0), image.at(x0, y1), image.at(x1, y1)};
        for (unsigned i = 0; i < image.stride(); ++i) {
            double sum = 0.0;
            for (unsigned tap = 0; tap < 4; ++tap) {
                const bool own = i == image.colours || image.visible(pixels[tap]);
                sum += weights[tap] * (own ? pixels[tap] : p00)[i];
            }
            out[i] = to_sample(sum, image.full);
        }
    });
    image = result;
    if (feather_edges && image.has_alpha) feather(image);
}

} // namespace zarn_test
