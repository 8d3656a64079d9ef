// Samples from one place and depth to another: a component out of pixels, or a whole array.
#pragma once

#include <cstdint>

namespace zarn {

// Every `step`th sample of an array.
struct sample_run {
    void* samples;
    std::uint64_t step;
    std::uint32_t bytes; // of one sample: 1, 2 or 4
};
struct const_sample_run {
    const void* samples;
    std::uint64_t step;
    std::uint32_t bytes;
};

// Converts `count` samples: scaled by the reciprocal of the one full scale and by the other in double, and truncated.
// Samples of the same depth stay as they are.
void convert_samples(const const_sample_run& source, const sample_run& destination, std::uint64_t count) noexcept;

} // namespace zarn
