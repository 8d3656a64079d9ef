// The picture on the system's clipboard.
#pragma once

#include <zarn/detail/image_state.h>
#include <zarn/window.h>

#include "core/platform/clipboard.h"

namespace zarn {

template <class Format>
unsigned int load_clipboard(image_state& image, zarn_window_handle window) noexcept;

// Puts a picture that was taken into an empty image: opaque, with the top row first.
template <class Format>
unsigned int install_clipboard_picture(image_state& image, const clipboard_picture& picture) noexcept;

} // namespace zarn
