// Whole pixels as numbers of their size, whatever the byte order of the machine: what moves and compares pixels without
// looking into them is fastest with these.
#pragma once

#include <cstdint>
#include <cstring>

#include "kernels/pixel_format.h"

namespace zarn {

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
template <>
struct word_of_bytes<16> {
    struct type {
        std::uint64_t halves[2];
    };
};

template <class Format>
using pixel_word = typename word_of_bytes<pixel_bytes<Format>>::type;

// A pixel with the same sample in all colours.
template <class Format>
inline pixel_word<Format> make_word(typename Format::sample colour, typename Format::sample alpha) {
    typename Format::sample samples[channels<Format>];
    for (unsigned c = 0; c < channels<Format>; ++c) samples[c] = c < Format::colours ? colour : alpha;
    pixel_word<Format> word;
    std::memcpy(&word, samples, sizeof(word));
    return word;
}

// All bits of the alpha sample set and no other.
template <class Format>
inline pixel_word<Format> alpha_bits() {
    static_assert(Format::has_alpha);
    return make_word<Format>(0, Format::full);
}

} // namespace zarn
