#include <zarn/colour.h>

#include <cstdint>

#include <half.hpp>

#include "core/image_state.h"
#include "kernels/hsl.h"
#include "kernels/low_bits.h"
#include "kernels/pixel_format.h"

namespace {

void put(const zarn::hsl_colour& hsl, float& hue, float& saturation, float& lightness) {
    hue = hsl.hue;
    saturation = hsl.saturation;
    lightness = hsl.lightness;
}

template <class Format, class Pixel>
zarn::hsl_colour integer_to_hsl(const Pixel& rgb) {
    constexpr float unit = Format::to_unit;
    return zarn::rgb_to_hsl(static_cast<float>(rgb.r) * unit, static_cast<float>(rgb.g) * unit,
                            static_cast<float>(rgb.b) * unit);
}

template <class Format, class Pixel>
void hsl_to_integer(const zarn::hsl_colour& hsl, Pixel& pixel) {
    using sample = typename Format::sample;
    constexpr auto full = static_cast<float>(Format::full);
    float rgb[3];
    zarn::hsl_to_rgb(hsl, rgb);
    pixel.r = zarn::low_bits<sample>(rgb[0] * full);
    pixel.g = zarn::low_bits<sample>(rgb[1] * full);
    pixel.b = zarn::low_bits<sample>(rgb[2] * full);
}

template <class Real>
zarn::hsl_colour real_to_hsl(bool is_grayscale, const Real* rgb) {
    return zarn::rgb_to_hsl(static_cast<float>(rgb[0]), static_cast<float>(rgb[is_grayscale ? 0 : 1]),
                            static_cast<float>(rgb[is_grayscale ? 0 : 2]));
}

template <class Real>
void hsl_to_real(bool is_grayscale, const zarn::hsl_colour& hsl, Real* out) {
    float rgb[3];
    zarn::hsl_to_rgb(hsl, rgb);
    for (unsigned c = 0; c < (is_grayscale ? 1u : 3u); ++c) {
        const float above_zero = rgb[c] >= 0.0f ? rgb[c] : 0.0f; // NaN too
        out[c] = static_cast<Real>(above_zero <= 1.0f ? above_zero : 1.0f);
    }
}

std::uint64_t pixel_index(unsigned int x, unsigned int y, unsigned int width, unsigned int height,
                          unsigned int origin) {
    return std::uint64_t{zarn::memory_row(y, height, origin == zarn::origin_lower_left)} * width + x;
}

} // namespace

void rgb_to_hsl_8(const zarn_pixel_8_s& rgb, float& hue, float& saturation, float& lightness) {
    put(integer_to_hsl<zarn::rgba_8>(rgb), hue, saturation, lightness);
}

void rgb_to_hsl_16(const zarn_pixel_16_s& rgb, float& hue, float& saturation, float& lightness) {
    put(integer_to_hsl<zarn::rgba_16>(rgb), hue, saturation, lightness);
}

void hsl_to_rgb_8(float hue, float saturation, float lightness, zarn_pixel_8_s& rgb) {
    hsl_to_integer<zarn::rgba_8>({hue, saturation, lightness}, rgb);
}

void hsl_to_rgb_16(float hue, float saturation, float lightness, zarn_pixel_16_s& rgb) {
    hsl_to_integer<zarn::rgba_16>({hue, saturation, lightness}, rgb);
}

void rgb_to_hsl_r32(unsigned int is_grayscale, const float* rgb, float& hue, float& saturation, float& lightness) {
    put(real_to_hsl(is_grayscale != 0, rgb), hue, saturation, lightness);
}

void rgb_to_hsl_r16(unsigned int is_grayscale, const half_float::half* rgb, float& hue, float& saturation,
                    float& lightness) {
    put(real_to_hsl(is_grayscale != 0, rgb), hue, saturation, lightness);
}

void hsl_to_rgb_r32(unsigned int is_grayscale, float hue, float saturation, float lightness, float* rgb) {
    hsl_to_real(is_grayscale != 0, {hue, saturation, lightness}, rgb);
}

void hsl_to_rgb_r16(unsigned int is_grayscale, float hue, float saturation, float lightness, half_float::half* rgb) {
    hsl_to_real(is_grayscale != 0, {hue, saturation, lightness}, rgb);
}

const zarn_pixel_8_s& array_get_pixel_8(const zarn_pixel_8_s* array, unsigned int x, unsigned int y, unsigned int width,
                                        unsigned int height, unsigned int origin) {
    return array[pixel_index(x, y, width, height, origin)];
}

const zarn_pixel_16_s& array_get_pixel_16(const zarn_pixel_16_s* array, unsigned int x, unsigned int y,
                                          unsigned int width, unsigned int height, unsigned int origin) {
    return array[pixel_index(x, y, width, height, origin)];
}

void array_set_pixel_8(zarn_pixel_8_s* array, unsigned int x, unsigned int y, unsigned int width, unsigned int height,
                       const zarn_pixel_8_s& pixel, unsigned int origin) {
    array[pixel_index(x, y, width, height, origin)] = pixel;
}

void array_set_pixel_16(zarn_pixel_16_s* array, unsigned int x, unsigned int y, unsigned int width, unsigned int height,
                        const zarn_pixel_16_s& pixel, unsigned int origin) {
    array[pixel_index(x, y, width, height, origin)] = pixel;
}
