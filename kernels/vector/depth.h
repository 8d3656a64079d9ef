// Samples from one depth to the other in vectors, bit for bit the plain form of kernels/depth.h.
#pragma once

#include <cstdint>

namespace zarn::vector {

// False, with nothing done, where the machine has no vectors for it.
bool convert_depth(const std::uint8_t* from, std::uint16_t* to, std::uint64_t count);
bool convert_depth(const std::uint16_t* from, std::uint8_t* to, std::uint64_t count);

} // namespace zarn::vector
