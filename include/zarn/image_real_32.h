// zarn_image_real_32: the image of 32-bit floats.
#pragma once

#include <cstddef>

#include <zarn/real_image.h>

extern template class ZARN_API zarn_real_image<float>;

/// All that it shares with the half class stands in real_image.h.
class ZARN_API zarn_image_real_32 : public zarn_real_image<float> {
public:
    using zarn_real_image<float>::create;

    /// A copy, flags included. Of the image itself: it only clears the messages.
    unsigned int create(const zarn_image_real_32& source);

    /// From halves, always as a copy.
    unsigned int create(unsigned int width, unsigned int height, unsigned int is_grayscale, unsigned int is_rasterized,
                        unsigned int is_sRGB, half_float::half* data, unsigned int copy);
    /// As a null pointer to floats.
    unsigned int create(unsigned int width, unsigned int height, unsigned int is_grayscale, unsigned int is_rasterized,
                        unsigned int is_sRGB, std::nullptr_t data, unsigned int copy);

    /// The least and the greatest colour sample (or value), of invisible pixels too; NaN is passed over. Hosts rely on
    /// the starts, 3.4028235e38 and 1.1754944e-38: without positive values the greatest is the latter.
    void get_min_max(float& min, float& max) const;

    /// `option` is accepted and changes nothing.
    unsigned int resample(unsigned int width, unsigned int height, unsigned int mode, unsigned int option = 0);
    /// Turns clockwise by quarter turns, without resampling; any number counts modulo 4. Fails, after its cause, with
    /// "Failed to zarn_image_real_32::___do_rotate_by_90()."; an empty image: 0 without a message.
    unsigned int rotate_by_90(int quarter_turns);

    /// A Gaussian of radius ceil(3 sigma), edges repeated, colours weighted by alpha. Sigma as in gaussian_blur().
    unsigned int gaussian_blur_2(float sigma, unsigned int blur_colour, unsigned int blur_alpha);

    /// In proportion and not clamped: below 0 times (amount + 1), else towards 1 by amount.
    void brightness_2(float amount);
    /// contrast(factor + 1): 0 is neutral.
    void contrast_2(float factor);

    /// Composites as the RGBA classes do, with real arithmetic (see blend.h) and no clamp beyond the modes' own. Onto a
    /// colour image a grey pixel acts as (v, v, v, a), onto a grey one a colour pixel as its luma, (0.299 r + 0.587 g +
    /// 0.114 b, a).
    unsigned int blit(const zarn_image_real_32& source, unsigned int source_x, unsigned int source_y,
                      unsigned int width, unsigned int height, float opacity, int destination_x, int destination_y,
                      unsigned int blend_mode, unsigned int flags, zarn_blend_callback_r32 callback, void* user_data);
};
