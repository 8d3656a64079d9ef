// The normal-map radar of an image of half floats.
#pragma once

#include <zarn/detail/image_state.h>
#include <zarn/nradar.h>

namespace zarn {

// `image` is of the format colour_real_16, unless it is grayscale; it may be empty. What is refused or short of memory
// leaves the radar freed.
unsigned int build_normal_map_radar(image_state& image, bool is_grayscale, std::uint32_t bins, std::uint32_t flags,
                                    zarn_nradar_s& radar) noexcept;

} // namespace zarn
