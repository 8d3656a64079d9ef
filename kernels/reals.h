// Samples of other types as reals.
#pragma once

#include <cstdint>

#include <half.hpp>

namespace zarn {

// `count` samples: integers as floats times `factor`, then stored as the real type.
template <class Real, class Integer>
void scale_to_reals(const Integer* source, Real* destination, std::uint64_t count, float factor) noexcept {
    for (std::uint64_t i = 0; i < count; ++i) {
        destination[i] = static_cast<Real>(static_cast<float>(source[i]) * factor);
    }
}

// From one real type to the other, with the half type's rounding.
template <class To, class From>
void convert_reals(const From* source, To* destination, std::uint64_t count) noexcept {
    for (std::uint64_t i = 0; i < count; ++i) destination[i] = static_cast<To>(static_cast<float>(source[i]));
}

// Drops the bits that a half has no room for; what exceeds its range becomes infinite, NaN stays NaN.
void truncate_to_halves(const float* source, half_float::half* destination, std::uint64_t count) noexcept;

} // namespace zarn
