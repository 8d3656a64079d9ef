// What only images of floats do: quarter turns.
#pragma once

#include <zarn/detail/image_state.h>

#include "kernels/pixel_format.h"

namespace zarn {

template <class Format>
unsigned int rotate_by_90(image_state& image, int quarter_turns) noexcept;

} // namespace zarn
