// Whole pixels as words of their size, whatever the byte order of the machine.
#pragma once

#include <cstdint>
#include <cstring>

#include "kernels/pixel_format.h"

namespace zarn::vector {

template <std::uint64_t Bytes>
struct word_of_bytes;
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

// A word with all bits of the alpha sample set and no other.
template <class Format>
pixel_word<Format> alpha_bits() {
    static_assert(Format::has_alpha);
    typename Format::sample samples[channels<Format>] = {};
    samples[Format::colours] = Format::full;
    pixel_word<Format> word;
    std::memcpy(&word, samples, sizeof(word));
    return word;
}

} // namespace zarn::vector
