// Blend modes and the callbacks that take their place.
#pragma once

#include <zarn/pixels.h>

namespace half_float {
class half;
}

/// How blit() mixes a source sample S into a destination sample D. The blended value B of each colour sample is given
/// on the range 0..255; "/" truncates. Deeper images scale the numbers to their range, float images to 0..1 with real
/// division.
enum : unsigned int {
    ZARN_BLEND_NORMAL,       ///< S
    ZARN_BLEND_LIGHTEN,      ///< max(D, S)
    ZARN_BLEND_DARKEN,       ///< min(D, S)
    ZARN_BLEND_MULTIPLY,     ///< S D / 255
    ZARN_BLEND_AVERAGE,      ///< (S + D) / 2
    ZARN_BLEND_ADD,          ///< min(S + D, 255)
    ZARN_BLEND_SUBTRACT,     ///< max(S + D - 255, 0)
    ZARN_BLEND_DIFFERENCE,   ///< |D - S|
    ZARN_BLEND_NEGATION,     ///< 255 - |255 - S - D|
    ZARN_BLEND_SCREEN,       ///< 255 - (255 - S) (255 - D) / 256; float images divide by 1
    ZARN_BLEND_EXCLUSION,    ///< S + D - 2 S D / 255
    ZARN_BLEND_HARD_LIGHT,   ///< S < 128: 2 S D / 255, else 255 - 2 (255 - S) (255 - D) / 255
    ZARN_BLEND_SOFT_LIGHT,   ///< S < 128: 0 (float images: 2 (D / 2 + 64) S / 255),
                             ///< else 255 - 2 (255 - (D / 2 + 64)) (255 - S) / 255
    ZARN_BLEND_OVERLAY,      ///< ZARN_BLEND_HARD_LIGHT with D and S exchanged
    ZARN_BLEND_COLOR_DODGE,  ///< min(256 S / (255 - D), 255); 255 where D is 255
    ZARN_BLEND_COLOR_BURN,   ///< max(255 - 256 (255 - S) / D, 0); 0 where D is 0
    ZARN_BLEND_LINEAR_DODGE, ///< ZARN_BLEND_ADD
    ZARN_BLEND_LINEAR_BURN,  ///< ZARN_BLEND_SUBTRACT
    ZARN_BLEND_LINEAR_LIGHT, ///< D < 128: max(S + 2 D - 255, 0), else min(S + 2 (D - 128), 255)
    ZARN_BLEND_VIVID_LIGHT,  ///< D < 128: max(255 - 256 (255 - S) / 2 D, 0), else min(256 S / (511 - 2 D), 255)
    ZARN_BLEND_PIN_LIGHT,    ///< D < 128: min(S, 2 D), else max(S, 2 D - 256)
    ZARN_BLEND_HARD_MIX,     ///< 0 where ZARN_BLEND_VIVID_LIGHT is below 128, else 255
    ZARN_BLEND_REFLECT,      ///< min(D D / (255 - S), 255); 255 where S is 255
    ZARN_BLEND_GLOW,         ///< min(S S / (255 - D), 255); 255 where D is 255
    ZARN_BLEND_PHOENIX,      ///< 255 - |D - S|
    ZARN_BLEND_REPLACE,      ///< the whole source pixel; opacity, alpha and flags do not count
    ZARN_BLEND_CUSTOM        ///< the whole pixel that the callback writes
};

/// The callback of ZARN_BLEND_CUSTOM: `alpha` is the source pixel's alpha in 0..1 times the opacity, `destination` the
/// pixel after the alpha rule; `result` is to be written whole. It runs on several threads at once.
typedef void (*zarn_blend_callback_8)(float alpha, const zarn_pixel_8_s& destination, const zarn_pixel_8_s& source,
                                      zarn_pixel_8_s& result, void* user_data);
typedef void (*zarn_blend_callback_16)(float alpha, const zarn_pixel_16_s& destination, const zarn_pixel_16_s& source,
                                       zarn_pixel_16_s& result, void* user_data);

/// For float images: pixels are arrays of 2 samples (value, alpha) where the image is grayscale, else 4, and
/// `destination` is overwritten with the result.
typedef void (*zarn_blend_callback_r32)(float alpha, float* destination, const float* source,
                                        unsigned int destination_is_grayscale, unsigned int source_is_grayscale,
                                        void* user_data);
typedef void (*zarn_blend_callback_r16)(half_float::half alpha, half_float::half* destination,
                                        const half_float::half* source, unsigned int destination_is_grayscale,
                                        unsigned int source_is_grayscale, void* user_data);
