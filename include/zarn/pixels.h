// Pixel records. The order of the fields is the order in memory of every pixel array.
//
// get_real_colors and set_real_colors convert to and from the unit range. The factors to the unit range are the floats
// nearest 1/255 and 1/65535, and exactly 2^-32. The way back multiplies by 255, 65535 or 2^32, truncates toward zero
// and keeps the low bits: nothing is clamped or rounded, so 1.5 in an 8-bit field stores 126 and 1.0 in a 32-bit field
// stores 0. Callers that need clamping clamp first; a value outside the signed 64-bit range (or NaN) stores 0.
#pragma once

#include <cstdint>

namespace zarn {
/// The low bits of a float truncated toward zero; 0 where the value does not fit 64 bits.
template <class Sample>
inline Sample low_bits(float value) {
    if (!(value > -9.2e18f && value < 9.2e18f)) return 0;
    return static_cast<Sample>(static_cast<std::int64_t>(value));
}
} // namespace zarn

/// Red, green, blue, alpha of 8 bits each.
struct zarn_pixel_8_s {
    std::uint8_t r, g, b, a;

    zarn_pixel_8_s()
        : r(0)
        , g(0)
        , b(0)
        , a(0) {}
    zarn_pixel_8_s(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha)
        : r(red)
        , g(green)
        , b(blue)
        , a(alpha) {}

    void set_colors(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha) {
        *this = zarn_pixel_8_s(red, green, blue, alpha);
    }
    void get_real_colors(float& red, float& green, float& blue, float& alpha) const {
        red = static_cast<float>(r) * 0.003921569f;
        green = static_cast<float>(g) * 0.003921569f;
        blue = static_cast<float>(b) * 0.003921569f;
        alpha = static_cast<float>(a) * 0.003921569f;
    }
    void set_real_colors(float red, float green, float blue, float alpha) {
        r = zarn::low_bits<std::uint8_t>(red * 255.0f);
        g = zarn::low_bits<std::uint8_t>(green * 255.0f);
        b = zarn::low_bits<std::uint8_t>(blue * 255.0f);
        a = zarn::low_bits<std::uint8_t>(alpha * 255.0f);
    }
};

/// Red, green, blue, alpha of 16 bits each.
struct zarn_pixel_16_s {
    std::uint16_t r, g, b, a;

    zarn_pixel_16_s()
        : r(0)
        , g(0)
        , b(0)
        , a(0) {}
    zarn_pixel_16_s(std::uint16_t red, std::uint16_t green, std::uint16_t blue, std::uint16_t alpha)
        : r(red)
        , g(green)
        , b(blue)
        , a(alpha) {}

    void set_colors(std::uint16_t red, std::uint16_t green, std::uint16_t blue, std::uint16_t alpha) {
        *this = zarn_pixel_16_s(red, green, blue, alpha);
    }
    void get_real_colors(float& red, float& green, float& blue, float& alpha) const {
        red = static_cast<float>(r) * 1.5259022e-05f;
        green = static_cast<float>(g) * 1.5259022e-05f;
        blue = static_cast<float>(b) * 1.5259022e-05f;
        alpha = static_cast<float>(a) * 1.5259022e-05f;
    }
    void set_real_colors(float red, float green, float blue, float alpha) {
        r = zarn::low_bits<std::uint16_t>(red * 65535.0f);
        g = zarn::low_bits<std::uint16_t>(green * 65535.0f);
        b = zarn::low_bits<std::uint16_t>(blue * 65535.0f);
        a = zarn::low_bits<std::uint16_t>(alpha * 65535.0f);
    }
};

/// Grey value and alpha of 8 bits each.
struct zarn_grayscale_pixel_8_s {
    std::uint8_t value, alpha;

    zarn_grayscale_pixel_8_s()
        : value(0)
        , alpha(0) {}
    zarn_grayscale_pixel_8_s(std::uint8_t grey, std::uint8_t opacity)
        : value(grey)
        , alpha(opacity) {}

    void set_colors(std::uint8_t grey, std::uint8_t opacity) { *this = zarn_grayscale_pixel_8_s(grey, opacity); }
    void get_real_colors(float& grey, float& opacity) const {
        grey = static_cast<float>(value) * 0.003921569f;
        opacity = static_cast<float>(alpha) * 0.003921569f;
    }
    void set_real_colors(float grey, float opacity) {
        value = zarn::low_bits<std::uint8_t>(grey * 255.0f);
        alpha = zarn::low_bits<std::uint8_t>(opacity * 255.0f);
    }
};

/// Grey value and alpha of 16 bits each.
struct zarn_grayscale_pixel_16_s {
    std::uint16_t value, alpha;

    zarn_grayscale_pixel_16_s()
        : value(0)
        , alpha(0) {}
    zarn_grayscale_pixel_16_s(std::uint16_t grey, std::uint16_t opacity)
        : value(grey)
        , alpha(opacity) {}

    void set_colors(std::uint16_t grey, std::uint16_t opacity) { *this = zarn_grayscale_pixel_16_s(grey, opacity); }
    void get_real_colors(float& grey, float& opacity) const {
        grey = static_cast<float>(value) * 1.5259022e-05f;
        opacity = static_cast<float>(alpha) * 1.5259022e-05f;
    }
    void set_real_colors(float grey, float opacity) {
        value = zarn::low_bits<std::uint16_t>(grey * 65535.0f);
        alpha = zarn::low_bits<std::uint16_t>(opacity * 65535.0f);
    }
};

/// Grey value and alpha of 32 bits each. Their full scale in the real conversions is 2^32, so 1.0 stores 0.
struct zarn_grayscale_pixel_32_s {
    std::uint32_t value, alpha;

    zarn_grayscale_pixel_32_s()
        : value(0)
        , alpha(0) {}
    zarn_grayscale_pixel_32_s(std::uint32_t grey, std::uint32_t opacity)
        : value(grey)
        , alpha(opacity) {}

    void set_colors(std::uint32_t grey, std::uint32_t opacity) { *this = zarn_grayscale_pixel_32_s(grey, opacity); }
    void get_real_colors(float& grey, float& opacity) const {
        grey = static_cast<float>(value) * 2.3283064e-10f;
        opacity = static_cast<float>(alpha) * 2.3283064e-10f;
    }
    void set_real_colors(float grey, float opacity) {
        value = zarn::low_bits<std::uint32_t>(grey * 4294967296.0f);
        alpha = zarn::low_bits<std::uint32_t>(opacity * 4294967296.0f);
    }
};

/// Red, green, blue, alpha as 32-bit floats.
struct zarn_real_32_pixel_128_s {
    float r, g, b, a;

    zarn_real_32_pixel_128_s()
        : r(0.0f)
        , g(0.0f)
        , b(0.0f)
        , a(0.0f) {}
    zarn_real_32_pixel_128_s(float red, float green, float blue, float alpha)
        : r(red)
        , g(green)
        , b(blue)
        , a(alpha) {}
};

/// Grey value and alpha as 32-bit floats.
struct zarn_real_32_pixel_64_s {
    float value, alpha;

    zarn_real_32_pixel_64_s()
        : value(0.0f)
        , alpha(0.0f) {}
    zarn_real_32_pixel_64_s(float grey, float opacity)
        : value(grey)
        , alpha(opacity) {}
};
