// JPEG. The decoder is safe on damage; what is bounded here is the memory and the time a small file can ask for.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

constexpr std::uint64_t largest_thumbnail = 1u << 22;
constexpr std::uint32_t most_scans = 200; // a progressive file has about ten, each decoded over the whole picture

bool is_frame_header(std::uint32_t marker) noexcept {
    return marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
}

enum class jpeg_place : std::uint8_t { file, thumbnail };

bool is_sound(byte_source& bytes, std::uint64_t offset, std::uint64_t end, jpeg_place place) noexcept {
    const bool thumbnail = place == jpeg_place::thumbnail;
    if (!bytes.starts_with(offset, "\xff\xd8")) return false;
    bool framed = false;
    std::uint32_t scans = 0;
    for (offset += 2; offset + 2 <= end;) {
        const std::uint32_t marker = bytes.u8(offset + 1);
        // Coded data and filling bytes lie between the markers; 0xff 0x00 and the restart marks belong to the data.
        if (bytes.u8(offset) != 0xff || marker == 0xff || marker == 0) {
            ++offset;
        } else if ((marker >= 0xd0 && marker <= 0xd8) || marker == 1) {
            offset += 2;
        } else if (marker == 0xd9) {
            return scans > 0;
        } else {
            if (is_frame_header(marker)) {
                const std::uint64_t height = bytes.be16(offset + 5);
                const std::uint64_t width = bytes.be16(offset + 7);
                if (!is_countable(width, height, 4) || (thumbnail && width * height > largest_thumbnail)) return false;
                if (!is_plausible_packed(width * height * bytes.u8(offset + 9), bytes.size())) return false;
                framed = true;
            }
            if (marker == 0xe1 && thumbnail) return false;
            if (marker == 0xda && (!framed || ++scans > most_scans)) return false;
            offset += 2ULL + bytes.be16(offset + 2);
        }
    }
    return scans > 0 && !thumbnail; // a file may end early, the decoder fills up the rest
}

} // namespace

// Contents of another kind are left to the decoder, which refuses them at once.
bool is_sound_jpeg(byte_source& bytes) noexcept {
    return !bytes.starts_with(0, "\xff\xd8") || is_sound(bytes, 0, bytes.size(), jpeg_place::file);
}

bool is_sound_thumbnail_jpeg(byte_source& bytes, std::uint64_t offset, std::uint64_t size) noexcept {
    return bytes.holds(offset, size) && is_sound(bytes, offset, offset + size, jpeg_place::thumbnail);
}

} // namespace zarn
