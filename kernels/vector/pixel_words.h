// Pixels of one and two bytes as words too, and words with given samples.
#pragma once

#include <cstdint>
#include <cstring>

#include "kernels/vector/pixel_word.h"

namespace zarn::vector {

template <>
struct word_of_bytes<1> {
    using type = std::uint8_t;
};
template <>
struct word_of_bytes<2> {
    using type = std::uint16_t;
};

// A pixel with the same sample in all colours.
template <class Format>
inline pixel_word<Format> make_word(typename Format::sample colour, typename Format::sample alpha) {
    typename Format::sample samples[channels<Format>];
    for (unsigned c = 0; c < channels<Format>; ++c) samples[c] = c < Format::colours ? colour : alpha;
    pixel_word<Format> word;
    std::memcpy(&word, samples, sizeof(word));
    return word;
}

} // namespace zarn::vector
