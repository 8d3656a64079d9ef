// Samples of other types as reals.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include <half.hpp>

#include "kernels/vector/real_tone.h"

namespace zarn {

// From one real type to the other, with the half type's rounding.
template <class To, class From>
void convert_reals(const From* source, To* destination, std::uint64_t count) noexcept {
    if constexpr (!std::is_same_v<To, From>) {
        if (vector::convert_samples(source, destination, count)) return;
    }
    for (std::uint64_t i = 0; i < count; ++i) destination[i] = static_cast<To>(static_cast<float>(source[i]));
}

// `count` samples: integers as floats times `factor`, then stored as the real type.
template <class Real, class Integer>
void scale_to_reals(const Integer* source, Real* destination, std::uint64_t count, float factor) noexcept {
    if constexpr (std::is_same_v<Real, float>) {
        for (std::uint64_t i = 0; i < count; ++i) destination[i] = static_cast<float>(source[i]) * factor;
    } else {
        constexpr std::uint64_t block = 256;
        float scaled[block];
        for (std::uint64_t at = 0; at < count; at += block) {
            const std::uint64_t length = std::min(block, count - at);
            scale_to_reals(source + at, scaled, length, factor);
            convert_reals(scaled, destination + at, length);
        }
    }
}

// Drops the bits that a half has no room for; what exceeds its range becomes infinite, NaN stays NaN.
void truncate_to_halves(const float* source, half_float::half* destination, std::uint64_t count) noexcept;

} // namespace zarn
