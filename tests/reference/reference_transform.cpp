#include "tests/reference/reference_transform.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace zarn_test {

namespace {

reference_image scale(const reference_image& source, std::uint32_t width, std::uint32_t height, bool mirror_x,
                      bool mirror_y) {
    reference_image result = source.blank(width, height);
    const std::uint64_t step_x = (std::uint64_t{source.width} << 16) / width;
    const std::uint64_t step_y = (std::uint64_t{source.height} << 16) / height;
    std::uint64_t row = mirror_y ? (height - 1) * step_y : 0;
    for (std::uint32_t j = 0; j < height; ++j, row += mirror_y ? -step_y : step_y) {
        std::uint64_t column = mirror_x ? (width - 1) * step_x : 0;
        for (std::uint32_t i = 0; i < width; ++i, column += mirror_x ? -step_x : step_x) {
            result.copy_pixel(result.at(i, j), source.at(column >> 16, row >> 16));
        }
    }
    return result;
}

reference_image turn(const reference_image& source, double angle) {
    const double c = std::cos(angle), s = std::sin(angle), w = source.width, h = source.height;
    const double half_w = w / 2, half_h = h / 2;
    double corners_x[4], corners_y[4];
    for (int i = 0; i < 4; ++i) {
        const double x = i % 2 ? half_w : -half_w, y = i / 2 ? half_h : -half_h;
        corners_x[i] = x * c - y * s;
        corners_y[i] = x * s + y * c;
    }
    const auto extent = [](const double(&along)[4]) {
        const double span = *std::max_element(along, along + 4) - *std::min_element(along, along + 4);
        return static_cast<std::uint32_t>(std::ceil(span));
    };
    reference_image result = source.blank(extent(corners_x), extent(corners_y));
    const double x_offset = std::min({0.0, -h * s, w * c - h * s, w * c});
    const double y_offset = std::min({0.0, h * c, w * s, w * s + h * c});
    for (std::uint32_t y = 0; y < result.height; ++y) {
        for (std::uint32_t x = 0; x < result.width; ++x) {
            const double X = x + x_offset, Y = y + y_offset;
            const auto column = static_cast<std::uint64_t>(static_cast<std::int64_t>(X * c + Y * s));
            const auto row = static_cast<std::uint64_t>(static_cast<std::int64_t>(Y * c - X * s));
            if (column < source.width && row < source.height) {
                result.copy_pixel(result.at(x, y), source.at(column, row));
            }
        }
    }
    return result;
}

} // namespace

reference_image reference_transform(const reference_image& kept, int width, int height, double angle) {
    if (kept.origin == lower_left) angle = -angle;
    const auto new_width = static_cast<std::uint32_t>(std::abs(width));
    const auto new_height = static_cast<std::uint32_t>(std::abs(height));
    const bool is_resized = width < 0 || height < 0 || new_width != kept.width || new_height != kept.height;
    const reference_image scaled = is_resized ? scale(kept, new_width, new_height, width < 0, height < 0) : kept;
    return angle == 0.0 ? scaled : turn(scaled, angle);
}

} // namespace zarn_test
