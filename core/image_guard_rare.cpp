// Formats of one program or one game each, with little more than a header before raw or simply packed pixels.
#include "core/image_guard_checks.h"

#include <algorithm>

namespace zarn {

bool is_sound_ftx(byte_source& bytes) noexcept {
    const std::uint64_t width = bytes.le32(0);
    const std::uint64_t height = bytes.le32(4);
    return is_countable(width, height, 4) && bytes.holds(12, width * height * 4);
}

bool is_sound_lif(byte_source& bytes) noexcept {
    const std::uint64_t width = bytes.le32(16);
    const std::uint64_t height = bytes.le32(20);
    return is_countable(width, height, 4) && bytes.holds(44, width * height + 1024); // with a palette
}

bool is_sound_pxr(byte_source& bytes) noexcept {
    const std::uint64_t width = bytes.le16(418);
    const std::uint64_t height = bytes.le16(416);
    const std::uint32_t kind = bytes.u8(424);
    const std::uint64_t samples = kind == 8 ? 1 : kind == 14 ? 3 : kind == 15 ? 4 : 0;
    return samples != 0 && is_countable(width, height, 4) && bytes.holds(1024, width * height * samples);
}

bool is_sound_pix(byte_source& bytes) noexcept {
    const std::uint64_t width = bytes.be16(0);
    const std::uint64_t height = bytes.be16(2);
    if (bytes.be16(8) != 24 || !is_countable(width, height, 4)) return false;
    // Runs of one colour, which the decoder writes beyond the last pixel.
    std::uint64_t left = width * height;
    for (std::uint64_t offset = 10; left > 0; offset += 4) {
        const std::uint64_t count = bytes.u8(offset);
        if (!bytes.holds(offset, 4) || count > left) return false;
        left -= count;
    }
    return true;
}

bool is_sound_wal(byte_source& bytes) noexcept {
    const std::uint64_t width = bytes.le32(32);
    const std::uint64_t height = bytes.le32(36);
    if (!is_countable(width, height, 4)) return false;
    for (std::uint32_t level = 0; level < 4; ++level) {
        const std::uint64_t size =
            std::max<std::uint64_t>(width >> level, 1) * std::max<std::uint64_t>(height >> level, 1);
        if (!bytes.holds(bytes.le32(40 + 4 * level), size)) return false;
    }
    return true;
}

bool is_sound_dpx(byte_source& bytes) noexcept {
    const bool big_endian = bytes.starts_with(0, "SDPX");
    const auto u32 = [&](std::uint64_t at) noexcept { return big_endian ? bytes.be32(at) : bytes.le32(at); };
    const std::uint64_t width = u32(772);
    const std::uint64_t height = u32(776);
    const std::uint32_t kind = bytes.u8(800);
    const std::uint64_t samples = kind == 6 ? 1 : kind == 50 ? 3 : 4;
    const std::uint32_t bits = bytes.u8(803);
    if (!big_endian && !bytes.starts_with(0, "XPDS")) return false;
    // Ten bits: three samples in four bytes; of one sample two bytes are read, of four eight.
    const std::uint64_t pixel_bytes = bits == 10 ? (samples == 3 ? 4 : samples * 2) : samples;
    return is_countable(width, height, 8) && bytes.holds(u32(808), width * height * pixel_bytes);
}

namespace {

constexpr std::uint64_t fits_block = 2880;

// The number of a line of 80 letters, "NAXIS1  =    23"; 0 when it is none.
std::uint64_t fits_number(byte_source& bytes, std::uint64_t line) noexcept {
    std::uint64_t at = line + 9;
    while (at < line + 30 && (bytes.u8(at) == ' ' || bytes.u8(at) == 0)) ++at;
    if (bytes.u8(at) == '-') ++at;
    std::uint64_t value = 0;
    for (; at < line + 30 && bytes.u8(at) >= '0' && bytes.u8(at) <= '9'; ++at)
        value = value * 10 + (bytes.u8(at) - '0');
    return value;
}

} // namespace

// What the header does not say, the decoder takes from where it finds it.
bool is_sound_fits(byte_source& bytes) noexcept {
    std::uint64_t sides[3] = {0, 0, 0};
    std::uint64_t axes = 0;
    std::uint64_t bits = 0;
    std::uint64_t line = 0;
    for (; !bytes.starts_with(line, "END "); line += 80) {
        if (!bytes.holds(line, 80)) return false;
        if (bytes.starts_with(line, "BITPIX  ")) bits = fits_number(bytes, line);
        if (bytes.starts_with(line, "NAXIS   ")) axes = fits_number(bytes, line);
        for (std::uint32_t i = 0; i < 3; ++i) {
            const bool named = bytes.starts_with(line, "NAXIS") && bytes.u8(line + 5) == '1' + i;
            if (named && axes == 0) return false; // then the decoder keeps what an earlier file left
            if (named) sides[i] = fits_number(bytes, line);
        }
    }
    const std::uint64_t data = (line + 80 + fits_block - 1) / fits_block * fits_block;
    if (axes < 1 || axes > 3 || bits < 8 || bits > 64) return false;
    for (std::uint64_t i = axes; i < 3; ++i) sides[i] = 1;
    if (!is_countable(sides[0], sides[1], 8) || !is_countable(sides[0] * sides[1], sides[2], 8)) return false;
    return bytes.holds(data, sides[0] * sides[1] * sides[2] * bits / 8);
}

bool is_sound_vtf(byte_source& bytes) noexcept {
    constexpr std::uint8_t unit_bytes[26] = {4, 4,  3,  3, 2, 1, 2, 0, 1, 3, 3, 4, 4,
                                             8, 16, 16, 4, 2, 2, 2, 8, 2, 0, 0, 8, 8};
    constexpr std::uint32_t in_blocks = 1u << 13 | 1u << 14 | 1u << 15 | 1u << 20;
    const std::uint32_t format = bytes.le32(52);
    const std::uint64_t width = bytes.le16(16);
    const std::uint64_t height = bytes.le16(18);
    const std::uint64_t frames = bytes.le16(24);
    const std::uint64_t depth = std::max<std::uint64_t>(bytes.le32(12) == 64 ? bytes.u8(63) : bytes.le16(63), 1);
    const std::uint64_t faces = (bytes.u8(21) & 0x40) == 0 ? 1 : bytes.le16(26) != 0xffff ? 7 : 6;
    const std::uint32_t levels = bytes.u8(56);
    const std::uint64_t thumbnail = std::uint64_t(bytes.u8(61)) * bytes.u8(62);
    if (!bytes.starts_with(0, "VTF\0") || format > 25 || unit_bytes[format] == 0) return false;
    if (frames == 0 || levels == 0 || levels > 17 || depth > 4096) return false;
    if (!is_countable(width * depth, height, 16)) return false;
    std::uint64_t size = bytes.le32(12); // of all that is read
    if (bytes.le16(61) != 0) size += thumbnail > 17 ? thumbnail / 2 : 8;
    for (std::uint32_t level = 0; level < levels; ++level) {
        const std::uint64_t w = std::max<std::uint64_t>(width >> level, 1);
        const std::uint64_t h = std::max<std::uint64_t>(height >> level, 1);
        const std::uint64_t d = std::max<std::uint64_t>(depth >> level, 1);
        std::uint64_t bytes_of_level = w * h * d * unit_bytes[format];
        if ((in_blocks >> format & 1) != 0) {
            const std::uint64_t blocks = (w + 3) / 4 * ((h + 3) / 4) * d * unit_bytes[format];
            // The decoder counts pixels, not blocks, and reads past the end of a level a few pixels high.
            bytes_of_level = std::max<std::uint64_t>(w * h * d * unit_bytes[format] / 16, unit_bytes[format]);
            if (blocks > bytes_of_level) return false;
        }
        size += bytes_of_level * frames * faces;
        if (!bytes.holds(0, size)) return false;
    }
    return true;
}

} // namespace zarn
