#include "core/psd_alpha.h"

namespace zarn {

bool find_raw_psd_alpha(byte_source& bytes, psd_plane& plane) noexcept {
    constexpr std::uint32_t rgb = 3;
    const std::uint32_t channels = bytes.be16(12);
    const std::uint32_t depth = bytes.be16(22);
    const bool has_alpha = bytes.starts_with(0, "8BPS") && bytes.be16(4) == 1 && bytes.be16(24) == rgb && channels >= 4;
    if (!has_alpha || (depth != 8 && depth != 16)) return false;
    plane.height = bytes.be32(14);
    plane.width = bytes.be32(18);
    plane.sample_bytes = depth / 8;

    std::uint64_t offset = 26; // the palette, the resources, the layers
    for (unsigned section = 0; section < 3; ++section) offset += std::uint64_t{4} + bytes.be32(offset);
    if (bytes.be16(offset) != 0) return false; // packed
    const std::uint64_t plane_bytes = std::uint64_t{plane.width} * plane.height * plane.sample_bytes;
    plane.offset = offset + 2 + 3 * plane_bytes;
    return bytes.holds(plane.offset, plane_bytes);
}

} // namespace zarn
