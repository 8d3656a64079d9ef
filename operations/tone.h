// Clear and the tone operations, in place. Failures show on the error stack only.
#pragma once

#include <zarn/detail/image_state.h>

namespace zarn {

// `colour` is one pixel of the format.
template <class Format>
void clear(image_state& image, const void* colour, bool with_alpha) noexcept;

template <class Format>
void gamma(image_state& image, float gamma) noexcept;

} // namespace zarn
