// The alpha of uncompressed PSD files, which DevIL decodes wrongly: it mixes memory that it never wrote into it.
#pragma once

#include <cstdint>

#include "core/image_guard.h"

namespace zarn {

// A plane of samples of 1 or 2 bytes (big-endian), top row first, without padding.
struct psd_plane {
    std::uint64_t offset;
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t sample_bytes;
};

// Finds the alpha plane of an uncompressed RGB picture with alpha. False for every other file.
bool find_raw_psd_alpha(byte_source& bytes, psd_plane& plane) noexcept;

} // namespace zarn
