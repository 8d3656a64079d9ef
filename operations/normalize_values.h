// Stretching of lightness over images of one value a pixel, on the calling thread. Failures show on the error stack
// only.
#pragma once

#include <zarn/detail/image_state.h>

namespace zarn {

template <class Format>
void normalize_values(image_state& image) noexcept;

} // namespace zarn
