// The conversion of reals to samples, for both precisions.
#pragma once

#include <cstdint>

#include <zarn/pixels.h>

namespace zarn {

// The low bits of a double truncated toward zero; 0 where the value does not fit 64 bits, and for NaN.
template <class Sample>
inline Sample low_bits(double value) noexcept {
    constexpr double limit = 9223372036854775808.0;
    if (!(value >= -limit && value < limit)) return 0;
    return static_cast<Sample>(static_cast<std::int64_t>(value));
}

} // namespace zarn
