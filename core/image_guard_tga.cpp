// TGA. DevIL ignores its own read errors here and hands out an image without a palette or with undefined pixels.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

// True when the packets at `offset` hold `pixels` pixels of `pixel_bytes` each.
bool has_packed_pixels(byte_source& bytes, std::uint64_t offset, std::uint64_t pixels,
                       std::uint64_t pixel_bytes) noexcept {
    while (pixels > 0) {
        if (!bytes.holds(offset, 1)) return false;
        const std::uint32_t head = bytes.u8(offset);
        const std::uint64_t count = (head & 0x7f) + 1 < pixels ? (head & 0x7f) + 1 : pixels;
        offset += 1 + (head & 0x80 ? pixel_bytes : count * pixel_bytes);
        pixels -= count;
    }
    return offset <= bytes.size();
}

} // namespace

bool is_sound_tga(byte_source& bytes) noexcept {
    const std::uint32_t type = bytes.u8(2);
    const std::uint64_t width = bytes.le16(12);
    const std::uint64_t height = bytes.le16(14);
    const std::uint64_t pixel_bytes = (bytes.u8(16) + 7u) / 8;
    const bool packed = type > 8;
    std::uint64_t offset = 18ull + bytes.u8(0);
    switch (type & 7) {
    case 1: { // palette
        const std::uint32_t entry_bits = bytes.u8(7);
        const std::uint32_t entries = bytes.le16(5);
        if (pixel_bytes != 1 || entries < 1 || entries > 0x7fff) return false;
        if (entry_bits != 24 && entry_bits != 32) return false; // of 16 bits the decoder converts the first alone
        offset += std::uint64_t(entries) * entry_bits / 8;
        break;
    }
    case 2: // colours
        if (pixel_bytes < 2 || pixel_bytes > 4) return false;
        break;
    case 3: // grey
        if (pixel_bytes != 1) return false;
        break;
    default:
        return false;
    }
    if (type > 11 || (type > 3 && type < 9) || !is_countable(width, height, 4)) return false;
    return packed ? has_packed_pixels(bytes, offset, width * height, pixel_bytes)
                  : bytes.holds(offset, width * height * pixel_bytes);
}

} // namespace zarn
