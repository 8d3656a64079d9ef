#include "kernels/reals.h"

#include <cstring>

namespace zarn {

namespace {

// Of the bits of a float, sign aside.
std::uint16_t truncated_bits(std::uint32_t bits) noexcept {
    constexpr std::uint32_t exponent_offset = 112; // between the biases
    constexpr std::uint16_t infinity = 0x7C00;
    const std::uint32_t exponent = bits >> 23;
    const std::uint32_t mantissa = bits & 0x7FFFFF;
    if (exponent == 255) {
        // The quiet bit keeps a NaN from becoming infinite.
        return static_cast<std::uint16_t>(infinity | (mantissa ? 0x200 | (mantissa >> 13) : 0));
    }
    if (exponent > exponent_offset + 30) return infinity;
    if (exponent > exponent_offset) {
        return static_cast<std::uint16_t>(((exponent - exponent_offset) << 10) | (mantissa >> 13));
    }
    // Below the normal halves, down to half the least of all.
    if (exponent + 10 > exponent_offset) {
        return static_cast<std::uint16_t>((mantissa | 0x800000) >> (exponent_offset + 14 - exponent));
    }
    return 0;
}

} // namespace

void truncate_to_halves(const float* source, half_float::half* destination, std::uint64_t count) noexcept {
    for (std::uint64_t i = 0; i < count; ++i) {
        std::uint32_t bits;
        std::memcpy(&bits, source + i, sizeof(bits));
        const auto half_bits = static_cast<std::uint16_t>(truncated_bits(bits & 0x7FFFFFFF) | ((bits >> 16) & 0x8000));
        std::memcpy(static_cast<void*>(destination + i), &half_bits, sizeof(half_bits));
    }
}

} // namespace zarn
