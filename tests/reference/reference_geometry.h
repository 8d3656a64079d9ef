// Geometry operations in their plainest form, one pixel at a time: what the library's results are compared with.
//
// Operations that can be refused return false and then leave the image as it was.
#pragma once

#include "tests/reference/reference_image.h"

namespace zarn_test {

bool reference_crop(reference_image& image, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                    std::uint32_t height);

// Empties an image without visible pixels (samples, size and origin).
void reference_crop_to_pixels(reference_image& image, std::uint32_t& left, std::uint32_t& top);

// `fill` holds one pixel.
bool reference_resize_canvas(reference_image& image, std::uint32_t width, std::uint32_t height, unsigned position,
                             const std::uint32_t* fill);
void reference_add_margins(reference_image& image, std::uint32_t left, std::uint32_t right, std::uint32_t top,
                           std::uint32_t bottom, const std::uint32_t* fill);

void reference_flip_horizontal(reference_image& image);
void reference_flip_vertical(reference_image& image);

void reference_resample_area(reference_image& image, std::uint32_t width, std::uint32_t height);
void reference_resample_nearest(reference_image& image, std::uint32_t width, std::uint32_t height);
void reference_resample_bspline(reference_image& image, std::uint32_t width, std::uint32_t height);
// Chooses among the three as the library's modes 0 to 2 do.
void reference_resample(reference_image& image, std::uint32_t width, std::uint32_t height, unsigned mode);

void reference_rotate(reference_image& image, double angle, bool feather_edges);

} // namespace zarn_test
