// Formats of raw or run-length coded rows: PCX, SGI, Sun raster, WBMP.
#include "core/image_guard_checks.h"

namespace zarn {

namespace {

// True when the run-length coded bytes from `offset` on decode to `size` bytes or more. Where they end early, the
// decoder leaves the rest of the picture as the memory was.
bool holds_pcx_rows(byte_source& bytes, std::uint64_t offset, std::uint64_t size) noexcept {
    for (std::uint64_t done = 0; done < size;) {
        if (!bytes.holds(offset, 1)) return false;
        const std::uint32_t head = bytes.u8(offset++);
        if (head < 0xc0) {
            ++done;
            continue;
        }
        if (!bytes.holds(offset++, 1)) return false;
        done += head & 0x3f;
    }
    return true;
}

} // namespace

bool is_sound_pcx(byte_source& bytes) noexcept {
    const std::uint64_t bits = bytes.u8(3);
    const std::uint64_t planes = bytes.u8(65);
    const std::uint64_t line = bytes.le16(66);
    // Palettes came with version 3: the decoder leaves pixels of older ones undefined.
    if (bits == 8 && planes == 1 && (bytes.u8(1) == 0 || bytes.u8(1) == 2)) return false;
    if (bytes.le16(8) < bytes.le16(4) || bytes.le16(10) < bytes.le16(6)) return false;
    const std::uint64_t width = bytes.le16(8) - bytes.le16(4) + 1u;
    const std::uint64_t height = bytes.le16(10) - bytes.le16(6) + 1u;
    if (bits < 1 || bits > 8 || planes < 1 || planes > 4 || line * 8 < width * bits) return false;
    // Two bytes give at most 63.
    if (!is_countable(width, height, 4) || line * planes * height > bytes.size() * 32) return false;
    return holds_pcx_rows(bytes, 128, line * planes * height);
}

namespace {

// True when the run-length coded row at `offset` decodes to `width` bytes and no more.
bool is_sound_sgi_row(byte_source& bytes, std::uint64_t offset, std::uint64_t length, std::uint64_t width) noexcept {
    std::uint64_t done = 0;
    for (std::uint64_t i = 0; done < width;) {
        if (i >= length || !bytes.holds(offset + i, 1)) return false;
        const std::uint32_t head = bytes.u8(offset + i);
        const std::uint32_t count = head & 0x7f;
        i += 1 + (head & 0x80 ? count : 1);
        done += count;
        if (count == 0 || !bytes.holds(offset, i)) return false;
    }
    return done == width;
}

} // namespace

bool is_sgi_header(byte_source& bytes) noexcept {
    return bytes.starts_with(0, "\x01\xda") && bytes.u8(2) <= 1 && bytes.u8(3) != 0 && bytes.be16(4) != 0 &&
           bytes.be16(6) != 0 && bytes.be16(8) != 0 && bytes.be16(10) != 0;
}

bool is_sound_sgi(byte_source& bytes) noexcept {
    const bool packed = bytes.u8(2) == 1;
    const std::uint64_t width = bytes.be16(6);
    const std::uint64_t height = bytes.be16(8);
    const std::uint64_t channels = bytes.be16(10);
    if (!is_sgi_header(bytes) || channels > 4) return false;
    // The decoder's 16-bit rows overlap: it fails on sound files too.
    if (bytes.u8(3) != 1 || !is_countable(width, height, 4)) return false;
    if (bytes.be32(12) > 0x7fffffff) return false; // what it makes of such samples is undefined
    if (!packed) return bytes.holds(512, width * height * channels);
    const std::uint64_t rows = height * (channels == 2 ? 1 : channels); // the decoder takes the first of two channels
    // Rows may share their bytes.
    if (!bytes.holds(512, rows * 8) || !is_plausible_packed(rows * width, bytes.size())) return false;
    for (std::uint64_t row = 0; row < rows; ++row) {
        const std::uint64_t entry = 512 + row * 4;
        if (!is_sound_sgi_row(bytes, bytes.be32(entry), bytes.be32(entry + rows * 4), width)) return false;
    }
    return true;
}

bool is_sound_sun(byte_source& bytes) noexcept {
    const std::uint64_t width = bytes.be32(4);
    const std::uint64_t height = bytes.be32(8);
    const std::uint64_t bits = bytes.be32(12);
    const std::uint32_t type = bytes.be32(20);
    const std::uint64_t map_length = bytes.be32(28);
    if (bytes.be32(0) != 0x59a66a95 || !is_countable(width, height, 4)) return false;
    if ((bits != 1 && bits != 8 && bits != 24 && bits != 32) || type > 3) return false;
    if (bits == 8 && bytes.be32(24) == 1 && (map_length > 768 || map_length % 3 != 0)) return false;
    if (bits == 32 && type != 2) return false; // of which it leaves pixels undefined
    const std::uint64_t offset = 32 + (bits == 8 && bytes.be32(24) == 0 ? 0 : map_length);
    const std::uint64_t line = (width * bits + 15) / 16 * 2;
    // Three bytes give at most 256.
    if (type == 2) return bytes.holds(offset, 1) && line * height <= (bytes.size() - offset) * 86;
    return bytes.holds(offset, line * (height - 1) + (width * bits + 7) / 8);
}

bool is_sound_wbmp(byte_source& bytes) noexcept {
    std::uint64_t offset = 2;
    std::uint64_t sides[2] = {0, 0};
    for (std::uint64_t& side : sides) {
        for (;;) { // seven bits a byte, the highest bit set on all but the last
            const std::uint32_t part = bytes.u8(offset++);
            side = side << 7 | (part & 0x7f);
            if (side > 0xffffffff || !bytes.holds(offset, 0)) return false;
            if ((part & 0x80) == 0) break;
        }
    }
    if (bytes.be16(0) != 0 || !is_countable(sides[0], sides[1], 4)) return false;
    return bytes.holds(offset, (sides[0] + 7) / 8 * sides[1]);
}

} // namespace zarn
