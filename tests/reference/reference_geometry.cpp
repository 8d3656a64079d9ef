#include "tests/reference/reference_geometry.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace zarn_test {

namespace {

bool row_is_blank(const reference_image& image, std::uint32_t row) {
    for (std::uint32_t x = 0; x < image.width; ++x) {
        const std::uint32_t* pixel = image.at(x, row);
        if (image.has_alpha ? image.visible(pixel) : pixel[0] != 0) return false;
    }
    return true;
}

bool column_is_blank(const reference_image& image, std::uint32_t x) {
    for (std::uint32_t row = 0; row < image.height; ++row) {
        const std::uint32_t* pixel = image.at(x, row);
        if (image.has_alpha ? image.visible(pixel) : pixel[0] != 0) return false;
    }
    return true;
}

void make_empty(reference_image& image) {
    image = image.blank(0, 0);
    image.origin = 0;
}

// The old picture's top-left corner at picture (x0, y0) of a canvas of `fill`.
void place(reference_image& image, std::uint32_t width, std::uint32_t height, std::uint32_t x0, std::uint32_t y0,
           const std::uint32_t* fill) {
    reference_image canvas = image.blank(width, height);
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) {
            const bool inside = x >= x0 && x < std::uint64_t{x0} + image.width && //
                                y >= y0 && y < std::uint64_t{y0} + image.height;
            canvas.copy_pixel(canvas.at_picture(x, y), inside ? image.at_picture(x - x0, y - y0) : fill);
        }
    }
    image = canvas;
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
    for (std::uint32_t row = 0; row < image.height; ++row) {
        for (std::uint32_t x = 0; x < image.width; ++x) {
            std::uint32_t* pixel = image.at(x, row);
            if (pixel[image.colours] != image.full) continue;
            int percent = 0;
            if (x == 0 || row == 0 || x == image.width - 1 || row == image.height - 1) {
                percent = std::rand() % 10 + 75;
            } else if (!image.visible(image.at(x - 1, row)) || !image.visible(image.at(x + 1, row)) ||
                       !image.visible(image.at(x, row - 1)) || !image.visible(image.at(x, row + 1))) {
                percent = std::rand() % 15 + 55;
            } else {
                continue;
            }
            if (image.full > 65535) {
                pixel[image.colours] = to_sample(percent * 0.01 * static_cast<double>(image.full), image.full);
            } else {
                const float alpha = static_cast<float>(percent) * 0.01f * static_cast<float>(image.full);
                pixel[image.colours] = to_sample(static_cast<double>(alpha), image.full);
            }
        }
    }
}

} // namespace

bool reference_crop(reference_image& image, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                    std::uint32_t height) {
    if (width == 0 || height == 0) return false;
    if (std::uint64_t{x} + width > image.width || std::uint64_t{y} + height > image.height) return false;
    reference_image part = image.blank(width, height);
    for (std::uint32_t r = 0; r < height; ++r) {
        for (std::uint32_t c = 0; c < width; ++c) {
            part.copy_pixel(part.at_picture(c, r), image.at_picture(std::uint64_t{x} + c, std::uint64_t{y} + r));
        }
    }
    image = part;
    return true;
}

void reference_crop_to_pixels(reference_image& image, std::uint32_t& left, std::uint32_t& top) {
    left = 0;
    top = 0;
    std::uint32_t first_rows = 0;
    while (first_rows < image.height && row_is_blank(image, first_rows)) ++first_rows;
    if (first_rows == image.height) return make_empty(image);
    std::uint32_t last_row = image.height - 1;
    while (last_row > 0 && row_is_blank(image, last_row)) --last_row;
    if (last_row == 0) return make_empty(image);
    const std::uint32_t last_rows = image.height - 1 - last_row;

    std::uint32_t left_columns = 0;
    while (left_columns < image.width && column_is_blank(image, left_columns)) ++left_columns;
    std::uint32_t last_column = image.width - 1;
    while (last_column > 0 && column_is_blank(image, last_column)) --last_column;
    if (last_column == 0) return make_empty(image);
    const std::uint32_t right_columns = image.width - 1 - last_column;

    left = left_columns;
    top = image.origin == lower_left ? last_rows : first_rows;
    reference_crop(image, left, top, image.width - left_columns - right_columns, image.height - first_rows - last_rows);
}

bool reference_resize_canvas(reference_image& image, std::uint32_t width, std::uint32_t height, unsigned position,
                             const std::uint32_t* fill) {
    if (width < image.width || height < image.height || width == 0 || height == 0) return false;
    const std::uint32_t spare_x = width - image.width;
    const std::uint32_t spare_y = height - image.height;
    switch (position) {
    case 0:
        place(image, width, height, 0, spare_y, fill);
        return true;
    case 1:
        place(image, width, height, spare_x, spare_y, fill);
        return true;
    case 2:
        place(image, width, height, 0, 0, fill);
        return true;
    case 3:
        place(image, width, height, spare_x, 0, fill);
        return true;
    case 4:
        place(image, width, height, spare_x / 2, spare_y / 2, fill);
        return true;
    default:
        return false;
    }
}

void reference_add_margins(reference_image& image, std::uint32_t left, std::uint32_t right, std::uint32_t top,
                           std::uint32_t bottom, const std::uint32_t* fill) {
    place(image, image.width + left + right, image.height + top + bottom, left, top, fill);
}

void reference_flip_horizontal(reference_image& image) {
    const reference_image source = image;
    for (std::uint32_t row = 0; row < image.height; ++row) {
        for (std::uint32_t x = 0; x < image.width; ++x) {
            image.copy_pixel(image.at(x, row), source.at(image.width - 1 - x, row));
        }
    }
}

void reference_flip_vertical(reference_image& image) {
    const reference_image source = image;
    for (std::uint32_t row = 0; row < image.height; ++row) {
        for (std::uint32_t x = 0; x < image.width; ++x) {
            image.copy_pixel(image.at(x, row), source.at(x, image.height - 1 - row));
        }
    }
}

void reference_resample_area(reference_image& image, std::uint32_t width, std::uint32_t height) {
    reference_image result = image.blank(width, height);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            std::int64_t x0 = 0, x1 = 0, y0 = 0, y1 = 0;
            area_interval(x, image.width, width, x0, x1);
            area_interval(y, image.height, height, y0, y1);
            std::uint64_t sums[4] = {};
            std::uint64_t transparent = 0;
            for (std::int64_t v = y0; v < y1; ++v) {
                for (std::int64_t u = x0; u < x1; ++u) {
                    const std::uint32_t* pixel =
                        image.at_picture(static_cast<std::uint64_t>(u), static_cast<std::uint64_t>(v));
                    if (!image.visible(pixel)) {
                        ++transparent;
                        continue;
                    }
                    for (unsigned i = 0; i < image.stride(); ++i) sums[i] += pixel[i];
                }
            }
            const std::uint64_t all = static_cast<std::uint64_t>((x1 - x0) * (y1 - y0));
            const std::uint64_t visible = all - transparent;
            std::uint32_t* out = result.at_picture(x, y);
            for (unsigned i = 0; i < image.colours; ++i) {
                out[i] = visible > 0 ? static_cast<std::uint32_t>(sums[i] / visible) : 0;
            }
            if (image.has_alpha) out[image.colours] = static_cast<std::uint32_t>(sums[image.colours] / all);
        }
    }
    image = result;
}

void reference_resample_nearest(reference_image& image, std::uint32_t width, std::uint32_t height) {
    reference_image result = image.blank(width, height);
    const std::uint32_t step_x = (image.width << 16) / width;
    const std::uint32_t step_y = (image.height << 16) / height;
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            result.copy_pixel(result.at(x, y), image.at((x * step_x) >> 16, (y * step_y) >> 16));
        }
    }
    image = result;
}

void reference_resample_bspline(reference_image& image, std::uint32_t width, std::uint32_t height) {
    reference_image result = image.blank(width, height);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const double sx = static_cast<double>(static_cast<float>(x * image.width) / static_cast<float>(width));
            const double sy = static_cast<double>(static_cast<float>(y * image.height) / static_cast<float>(height));
            const double fx = sx - std::trunc(sx);
            const double fy = sy - std::trunc(sy);
            double weighted[4] = {};
            std::uint64_t plain[3] = {};
            std::uint64_t count = 0;
            double transparent_weight = 0.0;
            for (int m = -1; m <= 2; ++m) {
                for (int k = -1; k <= 2; ++k) {
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
            }
            std::uint32_t* out = result.at(x, y);
            for (unsigned i = 0; i < image.colours; ++i) {
                if (transparent_weight > 0.0 && count > 0) {
                    const double mean = static_cast<double>(plain[i] / count);
                    out[i] = to_sample(mean * transparent_weight + weighted[i] + 0.5, image.full);
                } else {
                    out[i] = to_sample(weighted[i] + 0.5, image.full);
                }
            }
            if (image.has_alpha) {
                const double alpha = weighted[image.colours];
                out[image.colours] = alpha != 0.0 ? to_sample(alpha + 0.5, image.full) : 0;
            }
        }
    }
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
    const double w = image.width;
    const double h = image.height;

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

    for (std::uint32_t y = 0; y < result.height; ++y) {
        for (std::uint32_t x = 0; x < result.width; ++x) {
            const double turned_x = x + offset_x;
            const double turned_y = y + offset_y;
            const double sx = turned_x * c + turned_y * s;
            const double sy = turned_y * c - turned_x * s;
            const std::uint32_t x0 = to_sample(sx, 4294967295u);
            const std::uint32_t y0 = to_sample(sy, 4294967295u);
            if (x0 >= image.width || y0 >= image.height) continue;
            std::uint32_t* out = result.at(x, y);
            const std::uint32_t* p00 = image.at(x0, y0);
            if (!image.visible(p00)) {
                result.copy_pixel(out, p00);
                continue;
            }
            const std::uint32_t x1 = x0 + 1 < image.width ? x0 + 1 : x0;
            const std::uint32_t y1 = y0 + 1 < image.height ? y0 + 1 : y0;
            const double fx = sx - x0;
            const double fy = sy - y0;
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
        }
    }
    image = result;
    if (feather_edges && image.has_alpha) feather(image);
}

} // namespace zarn_test
