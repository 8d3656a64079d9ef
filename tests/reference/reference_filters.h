// Filters in their plainest form, one pixel at a time: what the library's results are compared with.
#pragma once

#include "tests/reference/reference_image.h"

namespace zarn_test {

void reference_gaussian(reference_image& image, float sigma, bool blur_colour, bool blur_alpha);

// The image with p pixels of its nearest edge pixel on every side.
reference_image reference_pad_edges(const reference_image& image, std::uint32_t p);

// A horizontal pass, then a vertical one, over spans clipped to the image.
void reference_box_passes(reference_image& image, std::uint32_t radius, bool blur_colour, bool blur_alpha);

void reference_box_blur(reference_image& image, std::uint32_t radius, bool blur_colour, bool blur_alpha);

// Three box blurs in place of a Gaussian; `iterations` tells how many of the three are done.
void reference_box_gaussian(reference_image& image, float sigma, bool blur_colour, bool blur_alpha,
                            unsigned iterations = 3);

// The thread limit decides where bands meet, and with it the result.
void reference_sharpen(reference_image& image, float amount, std::uint32_t thread_limit);

void reference_expand_where_alpha(reference_image& image, std::uint32_t iterations, std::uint64_t threshold,
                                  bool keep_alpha);

} // namespace zarn_test
