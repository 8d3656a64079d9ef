// Ordinary image files of real images. Loads, and saves, of one class run one at a time.
#pragma once

#include <zarn/detail/image_state.h>

#include "operations/native_reals.h"

namespace zarn {

// Frees the image first.
template <class Sample>
unsigned int load_real_file(image_state& image, real_flags& flags, const wchar_t* path, bool force_grayscale,
                            bool force_colour) noexcept;

// bytes: in the 8-bit layouts of format 1 and 2.
template <class Sample>
unsigned int save_real_file(image_state& image, const real_flags& flags, const wchar_t* path, unsigned int format,
                            unsigned int compression, bool bytes) noexcept;

} // namespace zarn
