// Stretching of lightness over images of one value a pixel. It goes through 16 bits, and every pixel receives the value
// that belongs to the one before it in memory.
#pragma once

#include <cstdint>

#include "kernels/normalize.h"

namespace zarn {

// Writes the lightness of `count` values.
template <class Format>
void value_lightness(const typename Format::sample* pixels, std::uint32_t count, float* lightness);

void widen_lightness_span(const float* lightness, std::uint32_t count, lightness_span& span);

// Stores `carried`, a 16-bit value, into the first of the pixels and the stretched lightness of each pixel into the
// next one; the last is left in `carried`. The span's ends must differ.
template <class Format>
void store_stretched(const float* lightness, std::uint32_t count, lightness_span span, std::uint16_t& carried,
                     typename Format::sample* pixels);

// A value at 16 bits.
template <class Format>
std::uint16_t widened_value(typename Format::sample value);

} // namespace zarn
