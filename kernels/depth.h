// Samples from one depth of RGBA images to the other.
#pragma once

#include <cstdint>

#include "core/row_range.h"
#include "kernels/pixel_format.h"

namespace zarn {

// Scaled to 0..1 and to the other full scale in single precision, truncated: 255 and 65535 become each other, 128
// becomes 32896 and comes back as 127.
template <class To, class From>
typename To::sample convert_depth(typename From::sample value) noexcept {
    return static_cast<typename To::sample>(static_cast<float>(value) * From::to_unit * static_cast<float>(To::full));
}

struct depth_job {
    const void* source;
    void* destination;
    std::uint64_t row_samples;
};

template <class To, class From>
void convert_depth_rows(const depth_job& job, row_range rows);

} // namespace zarn
