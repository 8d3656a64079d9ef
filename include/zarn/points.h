// Geometric value types: integer and float points, inclusive bounds, and a signed rectangle.
#pragma once

#include <cmath>

#include <zarn/export.h>

/// An integer point.
struct zarn_point_s {
    unsigned int x, y;

    zarn_point_s()
        : x(0)
        , y(0) {}
    zarn_point_s(unsigned int point_x, unsigned int point_y)
        : x(point_x)
        , y(point_y) {}

    bool operator==(const zarn_point_s& o) const { return x == o.x && y == o.y; }

    /// Distance from (0, 0). The sum of squares wraps at 32 bits, so it holds for coordinates up to 46340 or so.
    float length() const { return std::fabs(std::sqrt(static_cast<float>(x * x + y * y))); }
};

/// A float point or 2-D vector. The arithmetic members are not const, so that they never compete with the free forms.
struct zarn_fpoint_s {
    float x, y;

    zarn_fpoint_s()
        : x(0.0f)
        , y(0.0f) {}
    zarn_fpoint_s(float point_x, float point_y)
        : x(point_x)
        , y(point_y) {}
    zarn_fpoint_s(const zarn_point_s& p)
        : x(static_cast<float>(p.x))
        , y(static_cast<float>(p.y)) {}

    /// Equal when no field is less or greater than the other's; a NaN field compares equal to anything.
    bool operator==(const zarn_fpoint_s& o) const { return !(x < o.x) && !(x > o.x) && !(y < o.y) && !(y > o.y); }

    zarn_fpoint_s operator-(const zarn_fpoint_s& o) { return {x - o.x, y - o.y}; }
    zarn_fpoint_s operator+(const zarn_fpoint_s& o) { return {x + o.x, y + o.y}; }
    zarn_fpoint_s operator*(float f) { return {x * f, y * f}; }

    /// Scales to length 1; a vector whose length is 0 or NaN becomes (0, 0).
    void normalize() {
        const float len = std::sqrt(x * x + y * y);
        if (!(len > 0.0f)) {
            x = y = 0.0f;
            return;
        }
        const float inverse = 1.0f / len;
        x = x * inverse;
        y = y * inverse;
    }

    float length() const { return std::fabs(std::sqrt(x * x + y * y)); }
    float dot_product(const zarn_fpoint_s& o) const { return x * o.x + y * o.y; }

    /// Writes the perpendicular (y, -x) of this vector into `out`.
    void cross_product(zarn_fpoint_s& out) const { out = zarn_fpoint_s(y, -x); }

    /// Turns by an angle in radians, counter-clockwise for a positive one (x right, y up), in single precision.
    void rotate(float angle) {
        const float c = std::cos(angle), s = std::sin(angle);
        *this = zarn_fpoint_s(x * c - y * s, x * s + y * c);
    }

    /// The same in double precision, the results narrowed to float.
    void rotate(double angle) {
        const double c = std::cos(angle), s = std::sin(angle);
        *this = zarn_fpoint_s(static_cast<float>(x * c - y * s), static_cast<float>(x * s + y * c));
    }
};

ZARN_API zarn_fpoint_s operator-(const zarn_fpoint_s& a, const zarn_fpoint_s& b);
ZARN_API zarn_fpoint_s operator+(const zarn_fpoint_s& a, const zarn_fpoint_s& b);
ZARN_API zarn_fpoint_s operator*(const zarn_fpoint_s& p, float f);
ZARN_API zarn_fpoint_s operator*(float f, const zarn_fpoint_s& p);
ZARN_API bool operator==(const zarn_point_s& a, const zarn_fpoint_s& b);

/// Inclusive pixel bounds.
struct zarn_rect_s {
    unsigned int min_x, max_x, min_y, max_y;

    /// Empty bounds, ready to be grown.
    zarn_rect_s()
        : min_x(4294967295u)
        , max_x(0)
        , min_y(4294967295u)
        , max_y(0) {}

    /// Mind the order of the arguments: it is not the order of the fields.
    zarn_rect_s(unsigned int low_y, unsigned int low_x, unsigned int high_y, unsigned int high_x)
        : min_x(low_x)
        , max_x(high_x)
        , min_y(low_y)
        , max_y(high_y) {}

    bool operator==(const zarn_rect_s& o) const {
        return min_x == o.min_x && max_x == o.max_x && min_y == o.min_y && max_y == o.max_y;
    }
};

/// A signed pixel rectangle; right and bottom are exclusive.
struct zarn_irect_s {
    int left, top, right, bottom;
};
