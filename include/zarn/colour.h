// Colour conversions between RGB and HSL, and single pixels of bare pixel arrays.
//
// Hue, saturation and lightness are floats in 0..1; a hue of 1 is a full turn. All arithmetic is in 32-bit floats.
#pragma once

#include <zarn/export.h>
#include <zarn/pixels.h>

namespace half_float {
class half;
}

/// Hue, saturation and lightness of a pixel; alpha does not count. Grey has hue and saturation 0.
ZARN_API void rgb_to_hsl_8(const zarn_pixel_8_s& rgb, float& hue, float& saturation, float& lightness);
ZARN_API void rgb_to_hsl_16(const zarn_pixel_16_s& rgb, float& hue, float& saturation, float& lightness);

/// Writes red, green and blue: scaled to 255 or 65535, truncated, low bits kept (no clamping). Alpha stays.
ZARN_API void hsl_to_rgb_8(float hue, float saturation, float lightness, zarn_pixel_8_s& rgb);
ZARN_API void hsl_to_rgb_16(float hue, float saturation, float lightness, zarn_pixel_16_s& rgb);

/// The same for float samples, as they are. With is_grayscale not 0, `rgb` is one component that stands for all three,
/// else it is three.
ZARN_API void rgb_to_hsl_r32(unsigned int is_grayscale, const float* rgb, float& hue, float& saturation,
                             float& lightness);
ZARN_API void rgb_to_hsl_r16(unsigned int is_grayscale, const half_float::half* rgb, float& hue, float& saturation,
                             float& lightness);

/// Writes one component (is_grayscale not 0; it is the red one) or three, clamped to 0..1; NaN becomes 0.
ZARN_API void hsl_to_rgb_r32(unsigned int is_grayscale, float hue, float saturation, float lightness, float* rgb);
ZARN_API void hsl_to_rgb_r16(unsigned int is_grayscale, float hue, float saturation, float lightness,
                             half_float::half* rgb);

/// The pixel at picture coordinates (x, y) of a packed array of width x height pixels. Under origin 1537 the first row
/// in memory is the bottom row of the picture, under any other code the top row. Coordinates are not checked.
ZARN_API const zarn_pixel_8_s& array_get_pixel_8(const zarn_pixel_8_s* array, unsigned int x, unsigned int y,
                                                 unsigned int width, unsigned int height, unsigned int origin);
ZARN_API const zarn_pixel_16_s& array_get_pixel_16(const zarn_pixel_16_s* array, unsigned int x, unsigned int y,
                                                   unsigned int width, unsigned int height, unsigned int origin);
ZARN_API void array_set_pixel_8(zarn_pixel_8_s* array, unsigned int x, unsigned int y, unsigned int width,
                                unsigned int height, const zarn_pixel_8_s& pixel, unsigned int origin);
ZARN_API void array_set_pixel_16(zarn_pixel_16_s* array, unsigned int x, unsigned int y, unsigned int width,
                                 unsigned int height, const zarn_pixel_16_s& pixel, unsigned int origin);
