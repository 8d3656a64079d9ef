// GIF. DevIL makes an image of the whole screen for each frame and writes a frame wherever it claims to lie.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

// Moves over sub-blocks to behind their end mark; false when they reach past the end of the file.
bool skip_blocks(byte_source& bytes, std::uint64_t& offset) noexcept {
    while (bytes.u8(offset) != 0) offset += 1ull + bytes.u8(offset);
    return bytes.holds(offset++, 1);
}

std::uint64_t palette_size(std::uint32_t flags) noexcept { return flags & 0x80 ? 6ull << (flags & 7) : 0; }

} // namespace

bool is_sound_gif(byte_source& bytes) noexcept {
    const std::uint64_t width = bytes.le16(6);
    const std::uint64_t height = bytes.le16(8);
    std::uint64_t offset = 13 + palette_size(bytes.u8(10));
    std::uint64_t frames = 0;
    if (!bytes.starts_with_letters(0, "gif8") || !is_countable(width, height, 4)) return false;
    for (;;) {
        const std::uint32_t mark = bytes.u8(offset);
        if (mark == '!') { // an extension
            offset += 2;
            if (!skip_blocks(bytes, offset)) return false;
        } else if (mark == ',') { // a frame
            const std::uint32_t right = bytes.le16(offset + 1) + std::uint32_t(bytes.le16(offset + 5));
            const std::uint32_t bottom = bytes.le16(offset + 3) + std::uint32_t(bytes.le16(offset + 7));
            if (right > width || bottom > height || bytes.le16(offset + 5) == 0 || bytes.le16(offset + 7) == 0)
                return false;
            ++frames;
            offset += 11 + palette_size(bytes.u8(offset + 9)); // with the size of the first codes
            if (!skip_blocks(bytes, offset)) return false;
        } else {
            return frames > 0 && is_plausible_packed(frames * width * height, bytes.size());
        }
    }
}

} // namespace zarn
