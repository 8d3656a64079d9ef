#include "core/platform/narrow_path.h"

#include <cstdint>
#include <cwchar>

namespace zarn {

namespace {

std::uint32_t next_character(const wchar_t*& text) noexcept {
    const auto first = static_cast<std::uint32_t>(*text++);
    const auto second = static_cast<std::uint32_t>(*text);
    const bool is_pair = first >= 0xD800 && first <= 0xDBFF && second >= 0xDC00 && second <= 0xDFFF;
    if (!is_pair) return first;
    ++text;
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

char* put_utf8(char* out, std::uint32_t c) noexcept {
    const auto tail = [c](unsigned shift) { return static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80) {
        *out++ = static_cast<char>(c);
    } else if (c < 0x800) {
        *out++ = static_cast<char>(0xC0 | (c >> 6));
        *out++ = tail(0);
    } else if (c < 0x10000) {
        *out++ = static_cast<char>(0xE0 | (c >> 12));
        *out++ = tail(6);
        *out++ = tail(0);
    } else {
        *out++ = static_cast<char>(0xF0 | ((c >> 18) & 0x07));
        *out++ = tail(12);
        *out++ = tail(6);
        *out++ = tail(0);
    }
    return out;
}

} // namespace

owned_array<char> narrow_path(const wchar_t* path) noexcept {
    if (!path) return {};
    owned_array<char> narrow = allocate_array<char>(4 * static_cast<std::uint64_t>(std::wcslen(path)) + 1);
    if (!narrow) return {};
    char* out = narrow.get();
    while (*path) out = put_utf8(out, next_character(path));
    *out = 0;
    return narrow;
}

} // namespace zarn
