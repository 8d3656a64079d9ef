// 8-bit RGBA pixels as 32-bit words, whatever the byte order of the machine.
#pragma once

#include <cstdint>
#include <cstring>

namespace zarn::vector {

// A word with the same byte in all three colours.
inline std::uint32_t rgba_word(std::uint8_t colour, std::uint8_t alpha) {
    const std::uint8_t bytes[4] = {colour, colour, colour, alpha};
    std::uint32_t word;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

} // namespace zarn::vector
