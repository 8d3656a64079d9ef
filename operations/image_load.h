// Loading of ordinary image files, from a path or from memory.
#pragma once

#include <zarn/detail/image_state.h>

#include "kernels/import_rows.h"

namespace zarn {

template <class Format>
unsigned int load_image_file(image_state& image, const wchar_t* path) noexcept;

// By DevIL alone; float sources are not gamma-encoded.
template <class Format>
unsigned int load_image_memory(image_state& image, const void* data, unsigned int size) noexcept;

// The same for a picture of either depth: into the 8-bit state or into the 16-bit one. The other stays empty; reasons
// of a failure stand in either.
unsigned int load_image_file(image_state& as_8, image_state& as_16, const wchar_t* path) noexcept;
unsigned int load_image_memory(image_state& as_8, image_state& as_16, const void* data, unsigned int size) noexcept;

// The same for a channel or grayscale image, which takes the form that suits the file and the chosen components of its
// pixels.
unsigned int load_value_file(image_state& image, const wchar_t* path, component_choice choice) noexcept;
unsigned int load_value_memory(image_state& image, const void* data, unsigned int size,
                               component_choice choice) noexcept;

} // namespace zarn
