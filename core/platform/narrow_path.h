// Wide paths for the calls of a POSIX system, which take bytes.
#pragma once

#include "core/owned_array.h"

namespace zarn {

// The path as UTF-8, ended by a 0 byte; empty when `path` is null or memory is short. Surrogate pairs, as hosts with
// 16-bit text make them, count as one character.
owned_array<char> narrow_path(const wchar_t* path) noexcept;

} // namespace zarn
