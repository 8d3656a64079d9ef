// The messages of failed DevIL calls.
#pragma once

#include <zarn/detail/image_state.h>

#include "core/devil.h"

namespace zarn {

enum class devil_call : std::uint8_t { load, convert, texture, save };

// Both return 0. An error that the call has no message for leaves none.
unsigned int fail_devil(image_state& image, devil_call call, devil::error error) noexcept;
unsigned int fail_devil(image_state& image, devil_call call, const wchar_t* reason) noexcept;

} // namespace zarn
