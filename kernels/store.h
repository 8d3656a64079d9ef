// From the numbers that kernels compute with to samples. Integer formats truncate, real ones round to their type.
#pragma once

#include <type_traits>

#include "kernels/low_bits.h"
#include "kernels/pixel_format.h"

namespace zarn {

// Sums of samples: exact for integers.
template <class Format>
using sum_of = std::conditional_t<is_real<Format>, double, std::uint64_t>;

// A sample as arithmetic takes it: halves as floats, others as they are.
template <class Sample>
auto number(Sample sample) noexcept {
    if constexpr (std::is_arithmetic_v<Sample>) {
        return sample;
    } else {
        return static_cast<float>(sample);
    }
}

// The low bits of an integer sample, as low_bits() has them.
template <class Format, class Real>
typename Format::sample stored(Real value) noexcept {
    using sample = typename Format::sample;
    if constexpr (is_real<Format>) {
        return static_cast<sample>(static_cast<float>(value));
    } else {
        return low_bits<sample>(value);
    }
}

// The mean of `count` samples, above 0.
template <class Format>
sum_of<Format> mean_of(sum_of<Format> sum, std::uint64_t count) noexcept {
    return sum / static_cast<sum_of<Format>>(count);
}
template <class Format>
typename Format::sample stored_mean(sum_of<Format> sum, std::uint64_t count) noexcept {
    return static_cast<typename Format::sample>(
        static_cast<std::conditional_t<is_real<Format>, float, std::uint64_t>>(mean_of<Format>(sum, count)));
}

} // namespace zarn
