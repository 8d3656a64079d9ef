// The blurs. Results and messages as the image classes document them.
#pragma once

#include <cstdint>

#include <zarn/detail/image_state.h>

namespace zarn {

struct blur_switches {
    bool colour;
    bool alpha;
};

template <class Format>
unsigned int gaussian_blur(image_state& image, float sigma, bool fast, blur_switches blur) noexcept;

template <class Format>
unsigned int box_blur(image_state& image, std::uint32_t radius, blur_switches blur) noexcept;

} // namespace zarn
