// The native file of an RGBA integer image: type code, origin, width, height, a reserved word, pixels.
#pragma once

#include <zarn/detail/image_state.h>

namespace zarn {

template <class Format>
unsigned int save_rgba_binary(image_state& image, const wchar_t* path, bool compress) noexcept;

template <class Format>
unsigned int load_rgba_binary(image_state& image, const wchar_t* path) noexcept;

// The same for a file of either depth: into the 8-bit state or into the 16-bit one. The other stays empty; reasons of a
// failure stand in either.
unsigned int load_rgba_binary(image_state& as_8, image_state& as_16, const wchar_t* path) noexcept;

} // namespace zarn
