// The native file of an RGBA integer image: type code, origin, width, height, a reserved word, pixels.
#pragma once

#include <zarn/detail/image_state.h>

namespace zarn {

template <class Format>
unsigned int save_rgba_binary(image_state& image, const wchar_t* path, bool compress) noexcept;

template <class Format>
unsigned int load_rgba_binary(image_state& image, const wchar_t* path) noexcept;

} // namespace zarn
