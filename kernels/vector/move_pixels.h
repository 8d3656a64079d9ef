// Rows of whole pixels turned round, halved and doubled, in vectors.
#pragma once

#include <cstdint>

namespace zarn::vector {

// Each writes some of the first of `count` pixels and tells how many; 0 where the machine has no vectors for it. Pixels
// are 1, 2, 4 or 8 bytes.

// to[x] = from[count - 1 - x]
std::uint64_t reverse_pixels(const void* from, void* to, std::uint64_t count, unsigned pixel_bytes);

// to[x] = from[2 x]; there must be 2 `count` pixels to read.
std::uint64_t every_second_pixel(const void* from, void* to, std::uint64_t count, unsigned pixel_bytes);

// to[x] = from[x / 2]
std::uint64_t every_pixel_twice(const void* from, void* to, std::uint64_t count, unsigned pixel_bytes);

} // namespace zarn::vector
