// Clear and the tone operations, in place. Failures show on the error stack only.
#pragma once

#include <zarn/detail/image_state.h>

#include "kernels/tone.h"

namespace zarn {

// `colour` is one pixel of the format.
template <class Format>
void clear(image_state& image, const void* colour, bool with_alpha) noexcept;

template <class Format>
void adjust_tone(image_state& image, tone_curve curve, float amount) noexcept;

template <class Format>
void grayscale(image_state& image, float red_weight, float green_weight, float blue_weight) noexcept;

template <class Format>
void negative(image_state& image, bool invert_colour, bool invert_alpha) noexcept;

// Stretches the lightness of the visible pixels over the whole range, on the calling thread. Reals are stretched onto
// low..high.
template <class Format>
void normalize(image_state& image, float low = 0.0f, float high = 1.0f) noexcept;

// Raises every sample, alpha too, to a power; false, with the message, when memory is short. Reals only.
template <class Format>
bool raise_to_power(image_state& image, float exponent) noexcept;

// Reals only.
template <class Format>
void clear_alpha(image_state& image, typename Format::sample alpha) noexcept;

} // namespace zarn
