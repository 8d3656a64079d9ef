// Compositing of real images of either layout.
#pragma once

#include <zarn/detail/image_state.h>

#include "operations/blit.h"

namespace zarn {

// A picture of the other layout counts as (v, v, v, a), or as its luma. A callback sees it as it lies.
template <class Sample>
unsigned int blit_reals(image_state& image, bool is_grayscale, const image_state& source, bool source_is_grayscale,
                        const blit_placement& placement, const blit_mixing& mixing) noexcept;

} // namespace zarn
