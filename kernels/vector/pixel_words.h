// Whole pixels as words: formats whose pixels fill 8, 16, 32 or 64 bits.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kernels/pixel_format.h"

namespace zarn::vector {

template <std::uint64_t Bytes>
struct word_of_bytes;
template <>
struct word_of_bytes<1> {
    using type = std::uint8_t;
};
template <>
struct word_of_bytes<2> {
    using type = std::uint16_t;
};
template <>
struct word_of_bytes<4> {
    using type = std::uint32_t;
};
template <>
struct word_of_bytes<8> {
    using type = std::uint64_t;
};

template <class Format>
using pixel_word = typename word_of_bytes<pixel_bytes<Format>>::type;

// A pixel with the same sample in all colours, whatever the byte order of the machine.
template <class Format>
inline pixel_word<Format> make_word(typename Format::sample colour, typename Format::sample alpha) {
    typename Format::sample samples[channels<Format>];
    for (unsigned c = 0; c < channels<Format>; ++c) samples[c] = c < Format::colours ? colour : alpha;
    pixel_word<Format> word;
    std::memcpy(&word, samples, sizeof(word));
    return word;
}

} // namespace zarn::vector
