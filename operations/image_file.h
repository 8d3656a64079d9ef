// Ordinary image files: loading from a path or from memory, and saving.
#pragma once

#include <zarn/detail/image_state.h>

namespace zarn {

template <class Format>
unsigned int load_image_file(image_state& image, const wchar_t* path) noexcept;

// By DevIL alone; float sources are not gamma-encoded.
template <class Format>
unsigned int load_image_memory(image_state& image, const void* data, unsigned int size) noexcept;

template <class Format>
unsigned int save_image_file(image_state& image, const wchar_t* path, unsigned int format,
                             unsigned int compression) noexcept;

} // namespace zarn
