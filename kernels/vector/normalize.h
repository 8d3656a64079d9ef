// Stretching of lightness in vectors, bit for bit the plain form of kernels/normalize.cpp.
#pragma once

#include <cstdint>

#include "kernels/normalize.h"

namespace zarn::vector {

// False, with nothing done, where the machine has no vectors for it.
bool widen_span(const std::uint8_t* rgba, std::uint64_t pixels, lightness_span& span);
bool widen_span(const std::uint16_t* rgba, std::uint64_t pixels, lightness_span& span);
bool stretch(std::uint8_t* rgba, std::uint64_t pixels, lightness_span span);
bool stretch(std::uint16_t* rgba, std::uint64_t pixels, lightness_span span);

} // namespace zarn::vector
