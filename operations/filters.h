// Sharpening and alpha expansion. Results and messages as the image classes document them.
#pragma once

#include <cstdint>

#include <zarn/detail/image_state.h>

namespace zarn {

template <class Format>
void sharpen(image_state& image, float amount) noexcept;

template <class Format>
unsigned int expand_where_alpha(image_state& image, std::uint32_t iterations, typename Format::sample threshold,
                                bool keep_alpha) noexcept;

} // namespace zarn
