// The canvas of a turned picture.
#pragma once

#include <algorithm>
#include <cmath>

namespace zarn {

struct canvas_size {
    double width;
    double height;
};

// The smallest canvas, in whole pixels, around a rectangle turned about its centre. No size above 0 comes of a NaN.
inline canvas_size turned_canvas(double width, double height, double cosine, double sine) noexcept {
    const double half_width = width / 2.0;
    const double half_height = height / 2.0;
    const double corner_x[] = {-half_width, half_width, -half_width, half_width};
    const double corner_y[] = {-half_height, -half_height, half_height, half_height};
    double low_x = INFINITY, high_x = -INFINITY, low_y = INFINITY, high_y = -INFINITY;
    for (unsigned i = 0; i < 4; ++i) {
        const double x = corner_x[i] * cosine - corner_y[i] * sine;
        const double y = corner_x[i] * sine + corner_y[i] * cosine;
        low_x = std::min(low_x, x);
        high_x = std::max(high_x, x);
        low_y = std::min(low_y, y);
        high_y = std::max(high_y, y);
    }
    return {std::ceil(high_x - low_x), std::ceil(high_y - low_y)};
}

struct canvas_offset {
    double x;
    double y;
};

// Where the canvas's corner lies from the rectangle's first corner, about which the rectangle is turned.
inline canvas_offset turned_offset(double width, double height, double cosine, double sine) noexcept {
    return {std::min({0.0, -height * sine, width * cosine - height * sine, width * cosine}),
            std::min({0.0, height * cosine, width * sine, width * sine + height * cosine})};
}

} // namespace zarn
