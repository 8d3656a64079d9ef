// Tone operations in their plainest form, one sample at a time: what the library's results are compared with.
//
// 8 and 16 bits compute in 32-bit floats, 32 bits in doubles.
#pragma once

#include "tests/reference/reference_image.h"

namespace zarn_test {

void reference_exposure(reference_image& image, float factor);
void reference_brightness(reference_image& image, float amount);
void reference_contrast(reference_image& image, float factor);
void reference_gamma(reference_image& image, float gamma);
void reference_negative(reference_image& image, bool invert_colour, bool invert_alpha);

// For three colours of 8 or 16 bits.
void reference_grayscale(reference_image& image, float red_weight, float green_weight, float blue_weight);

// Images of one value stretch all pixels, through 16 bits, and shift the results by one pixel.
void reference_normalize(reference_image& image);

} // namespace zarn_test
