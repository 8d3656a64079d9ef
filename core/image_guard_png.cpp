// PNG and the animations made of the same chunks. DevIL's reader returns old bytes past the end of the file, so that a
// chunk cut short is read for ever.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

// Walks the chunks from `offset` to the end chunk of the given type; false when one reaches past the end of the file.
template <class Visit>
bool walk_chunks(byte_source& bytes, std::uint64_t offset, const char (&end_type)[5], Visit visit) noexcept {
    for (;;) {
        const std::uint32_t length = bytes.be32(offset);
        if (!bytes.holds(offset, 12) || length > 0x7fffffff || !bytes.holds(offset + 8, length + 4ull)) return false;
        if (!visit(offset + 4, length)) return false;
        if (bytes.starts_with(offset + 4, end_type)) return true;
        offset += 12ull + length;
    }
}

} // namespace

bool is_sound_png_at(byte_source& bytes, std::uint64_t offset) noexcept {
    const std::uint64_t width = bytes.be32(offset + 16);
    const std::uint64_t height = bytes.be32(offset + 20);
    if (!bytes.starts_with(offset, "\x89PNG\r\n\x1a\n") || !bytes.starts_with(offset + 12, "IHDR")) return false;
    // 16 bits of four samples are 8 bytes.
    if (!is_countable(width, height, bytes.u8(offset + 24) == 16 ? 8 : 4)) return false;
    std::uint64_t data = 0;
    const bool whole = walk_chunks(bytes, offset + 8, "IEND", [&](std::uint64_t type, std::uint32_t length) noexcept {
        if (bytes.starts_with(type, "IDAT")) data += length;
        return true;
    });
    return whole && data > 0 && is_plausible_packed(width * height * bytes.u8(offset + 24) / 8, data);
}

bool is_sound_png(byte_source& bytes) noexcept { return is_sound_png_at(bytes, 0); }

bool is_sound_mng(byte_source& bytes) noexcept {
    const bool animation = bytes.starts_with(0, "\x8aMNG\r\n\x1a\n");
    const bool still = bytes.starts_with(0, "\x8bJNG\r\n\x1a\n");
    if (still) return walk_chunks(bytes, 8, "IEND", [](std::uint64_t, std::uint32_t) noexcept { return true; });
    return animation && walk_chunks(bytes, 8, "MEND", [](std::uint64_t, std::uint32_t) noexcept { return true; });
}

} // namespace zarn
