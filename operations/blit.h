// Compositing a rectangle of one image onto another.
#pragma once

#include <zarn/detail/image_state.h>

#include "kernels/blit.h"

namespace zarn {

struct blit_placement {
    std::uint32_t source_x;
    std::uint32_t source_y;
    std::uint32_t width;
    std::uint32_t height;
    std::int32_t destination_x;
    std::int32_t destination_y;
};

struct blit_mixing {
    float opacity;
    std::uint32_t mode;
    bool keep_alpha;
    custom_blend custom; // its host_callback may be null
};

// Of the same format, or real formats of the same sample type.
template <class Format, class Source = Format>
unsigned int blit(image_state& image, const image_state& source, const blit_placement& placement,
                  const blit_mixing& mixing) noexcept;

} // namespace zarn
