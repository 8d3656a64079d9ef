// Saving of ordinary image files.
#pragma once

#include <zarn/detail/image_state.h>

namespace zarn {

template <class Format>
unsigned int save_image_file(image_state& image, const wchar_t* path, unsigned int format,
                             unsigned int compression) noexcept;

} // namespace zarn
