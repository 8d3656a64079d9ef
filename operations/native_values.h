// The native file of a channel or grayscale image: type code, origin, width, height, pixels.
#pragma once

#include <zarn/detail/image_state.h>

namespace zarn {

unsigned int save_value_binary(image_state& image, const wchar_t* path, bool compress) noexcept;

// The image takes the form of the file.
unsigned int load_value_binary(image_state& image, const wchar_t* path) noexcept;

} // namespace zarn
