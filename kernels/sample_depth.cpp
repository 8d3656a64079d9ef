#include "kernels/sample_depth.h"

#include <cstring>
#include <limits>
#include <type_traits>

namespace zarn {

namespace {

template <class To, class From>
To convert(From value) noexcept {
    if constexpr (std::is_same_v<To, From>) {
        return value;
    } else {
        constexpr double unit = 1.0 / static_cast<double>(std::numeric_limits<From>::max());
        constexpr double full = std::numeric_limits<To>::max();
        return static_cast<To>(value * unit * full);
    }
}

template <class To, class From>
void convert_run(const const_sample_run& source, const sample_run& destination, std::uint64_t count) noexcept {
    const auto* from = static_cast<const From*>(source.samples);
    auto* to = static_cast<To*>(destination.samples);
    const std::uint64_t step = source.step, out_step = destination.step; // bytes written might be theirs
    if (std::is_same_v<To, From> && step == 1 && out_step == 1) {
        std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof(To));
        return;
    }
    for (std::uint64_t i = 0; i < count; ++i) to[i * out_step] = convert<To>(from[i * step]);
}

template <class To>
void convert_into(const const_sample_run& source, const sample_run& destination, std::uint64_t count) noexcept {
    switch (source.bytes) {
    case 1:
        return convert_run<To, std::uint8_t>(source, destination, count);
    case 2:
        return convert_run<To, std::uint16_t>(source, destination, count);
    default:
        return convert_run<To, std::uint32_t>(source, destination, count);
    }
}

} // namespace

void convert_samples(const const_sample_run& source, const sample_run& destination, std::uint64_t count) noexcept {
    switch (destination.bytes) {
    case 1:
        return convert_into<std::uint8_t>(source, destination, count);
    case 2:
        return convert_into<std::uint16_t>(source, destination, count);
    default:
        return convert_into<std::uint32_t>(source, destination, count);
    }
}

} // namespace zarn
