// GIF. DevIL makes an image of the whole screen for each frame and writes a frame wherever it claims to lie. It reads
// whatever string a code names, and palettes of later frames behind those before them.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

// Moves over sub-blocks to behind their end mark; false when they reach past the end of the file.
bool skip_blocks(byte_source& bytes, std::uint64_t& offset) noexcept {
    while (bytes.u8(offset) != 0) offset += 1ull + bytes.u8(offset);
    return bytes.holds(offset++, 1);
}

std::uint64_t palette_size(std::uint32_t flags) noexcept { return flags & 0x80 ? 6ull << (flags & 7) : 0; }

// The codes in the sub-blocks of a frame.
class code_reader {
public:
    code_reader(byte_source& bytes, std::uint64_t offset) noexcept
        : ___bytes(bytes)
        , ___offset(offset) {}

    // False at the end of the data.
    bool read(std::uint32_t size, std::uint32_t& code) noexcept {
        for (; ___bits < size; ___bits += 8) {
            if (___left == 0) ___left = ___bytes.u8(___offset++);
            if (___left == 0) return false;
            ___pending |= std::uint32_t(___bytes.u8(___offset++)) << ___bits;
            --___left;
        }
        code = ___pending & ((1u << size) - 1);
        ___pending >>= size;
        ___bits -= size;
        return true;
    }

private:
    byte_source& ___bytes;
    std::uint64_t ___offset;
    std::uint32_t ___left = 0; // of the sub-block
    std::uint32_t ___pending = 0;
    std::uint32_t ___bits = 0;
};

// True when the codes from `offset` on, their first size before them, name `pixels` pixels or end by themselves, and no
// code comes before its string.
bool has_sound_codes(byte_source& bytes, std::uint64_t offset, std::uint64_t pixels) noexcept {
    constexpr std::uint32_t most_codes = 4096;
    const std::uint32_t first_size = bytes.u8(offset);
    if (first_size < 2 || first_size > 9) return false;
    const std::uint32_t clear = 1u << first_size;
    code_reader reader(bytes, offset + 1);
    std::uint16_t lengths[most_codes]; // of the strings from the first free code on
    std::uint32_t size = first_size + 1;
    std::uint32_t next = clear + 2;
    std::uint32_t last_length = 0; // 0: a code that is its own colour must come
    for (std::uint64_t done = 0; done < pixels;) {
        std::uint32_t code = 0;
        if (!reader.read(size, code)) return false;
        if (code == clear) {
            size = first_size + 1;
            next = clear + 2;
            last_length = 0;
        } else if (code == clear + 1) {
            return true;
        } else if (last_length == 0) {
            if (code > clear) return false;
            last_length = 1;
            ++done;
        } else {
            if (code > next || code == most_codes) return false;
            const std::uint32_t length = code < clear ? 1 : code < next ? lengths[code] : last_length + 1;
            if (next < most_codes) lengths[next++] = static_cast<std::uint16_t>(last_length + 1);
            if (next >= 1u << size && size < 12) ++size;
            last_length = length;
            done += length;
        }
    }
    return true;
}

} // namespace

bool is_sound_gif(byte_source& bytes) noexcept {
    const std::uint64_t width = bytes.le16(6);
    const std::uint64_t height = bytes.le16(8);
    std::uint64_t offset = 13 + palette_size(bytes.u8(10));
    std::uint64_t frames = 0;
    bool stays = true; // the next frame, under the one after it; unless an extension says otherwise
    if (!bytes.starts_with_letters(0, "gif8") || !is_countable(width, height, 4)) return false;
    for (;;) {
        const std::uint32_t mark = bytes.u8(offset);
        if (mark == '!') { // an extension
            if (bytes.u8(offset + 1) == 0xf9) stays = (bytes.u8(offset + 3) >> 2 & 7) == 1;
            offset += 2;
            if (!skip_blocks(bytes, offset)) return false;
        } else if (mark == ',') { // a frame
            const std::uint32_t right = bytes.le16(offset + 1) + std::uint32_t(bytes.le16(offset + 5));
            const std::uint32_t bottom = bytes.le16(offset + 3) + std::uint32_t(bytes.le16(offset + 7));
            if (right > width || bottom > height || bytes.le16(offset + 5) == 0 || bytes.le16(offset + 7) == 0)
                return false;
            const std::uint64_t own_palette = palette_size(bytes.u8(offset + 9));
            if (frames > 0 && stays && own_palette != 0) return false; // it is read behind the one before
            const std::uint64_t pixels = std::uint64_t(bytes.le16(offset + 5)) * bytes.le16(offset + 7);
            offset += 10 + own_palette;
            if (!has_sound_codes(bytes, offset, pixels) || !skip_blocks(bytes, ++offset)) return false;
            ++frames;
            stays = true;
        } else {
            return frames > 0 && is_plausible_packed(frames * width * height, bytes.size());
        }
    }
}

} // namespace zarn
