// What loading and saving of image files share.
#pragma once

#include <cwchar>
#include <type_traits>

#include "core/devil.h"
#include "operations/frame.h"

namespace zarn {

inline bool ends_with(const wchar_t* path, const wchar_t* ending) noexcept {
    if (!path) return false;
    const std::size_t length = std::wcslen(path);
    const std::size_t ending_length = std::wcslen(ending);
    return length >= ending_length && std::wcscmp(path + length - ending_length, ending) == 0;
}

// The sample type in which DevIL hands over or takes an image of a format.
template <class Format>
constexpr devil::sample_type devil_type() noexcept {
    using sample = sample_of<Format>;
    if (std::is_floating_point_v<sample>) return devil::sample_type::f32;
    if (sizeof(sample) == 1) return devil::sample_type::u8;
    return sizeof(sample) == 2 ? devil::sample_type::u16 : devil::sample_type::u32;
}

} // namespace zarn
