// The normal map of a grayscale image.
#pragma once

#include <zarn/detail/image_state.h>
#include <zarn/pixels.h>
#include <zarn/points.h>

namespace zarn {

// `image` is grey_16, upper left; `output` has its size. The rectangle may be null, else it is cut to the image; 1
// where nothing is left of it.
unsigned int write_normals(image_state& image, float strength, bool wrap, std::uint32_t flags, zarn_irect_s* rectangle,
                           zarn_pixel_16_s* output) noexcept;

} // namespace zarn
