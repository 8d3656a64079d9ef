// BMP and the icon files made of the same parts.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

// The bytes of `height` rows that are padded to four bytes each. Width and height are below 2^31, bits at most 32.
std::uint64_t rows_size(std::uint64_t width, std::uint64_t height, std::uint64_t bits) noexcept {
    return (width * bits + 31) / 32 * 4 * height;
}

// The header of OS/2 1.x: sides of 16 bits.
bool is_sound_os2_bmp(byte_source& bytes) noexcept {
    const std::uint64_t width = bytes.le16(18);
    const std::uint64_t height = bytes.le16(20);
    const std::uint64_t bits = bytes.le16(24);
    const std::uint64_t padding = rows_size(width, 1, bits) - (width * bits + 7) / 8;
    return is_countable(width, height, 3) && bytes.holds(bytes.le32(10), rows_size(width, height, bits) - padding);
}

// True when all `count` pixels of an index image at `offset` are below `entries`; rows are padded to four bytes.
bool has_indices_below(byte_source& bytes, std::uint64_t offset, std::uint64_t width, std::uint64_t height,
                       std::uint64_t bits, std::uint32_t entries) noexcept {
    if (entries >= 1u << bits) return true;
    const std::uint64_t line = rows_size(width, 1, bits);
    for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) {
            const std::uint64_t bit = x * bits;
            const std::uint32_t shift = static_cast<std::uint32_t>(8 - bits - bit % 8);
            if ((bytes.u8(offset + y * line + bit / 8) >> shift & ((1u << bits) - 1)) >= entries) return false;
        }
    }
    return true;
}

// One icon of a DIB at `offset`. Adds the bytes of its pixels to `total`.
bool is_sound_dib_icon(byte_source& bytes, std::uint64_t offset, std::uint64_t& total) noexcept {
    const std::uint64_t width = bytes.le32(offset + 4);
    const std::uint64_t height = bytes.le32(offset + 8) / 2; // the mask is counted in
    const std::uint64_t bits = bytes.le16(offset + 14);
    std::uint32_t entries = bytes.le32(offset + 32);
    if (bytes.le32(offset) != 40 || width < 1 || width > 65535 || height < 1 || height > 65535) return false;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) return false;
    // With 8 bits, the decoder always reads 256 entries.
    if (bits == 8 || (bits < 8 && entries == 0)) entries = 1u << bits;
    if (bits > 8) entries = 0;
    if (entries > 256) return false;
    const std::uint64_t pixels = offset + 40 + 4ULL * entries;
    const std::uint64_t size = rows_size(width, height, bits) + rows_size(width, height, 1);
    total += size;
    return bytes.holds(pixels, size) && (bits > 8 || has_indices_below(bytes, pixels, width, height, bits, entries));
}

// One icon of a PNG file. The decoder fails on colours without alpha and on 16 bits, and makes up alpha for palettes.
bool is_sound_png_icon(byte_source& bytes, std::uint64_t offset, std::uint64_t& total) noexcept {
    const std::uint64_t width = bytes.be32(offset + 16);
    const std::uint64_t height = bytes.be32(offset + 20);
    const std::uint32_t colours = bytes.u8(offset + 25);
    if (width > 65535 || height > 65535 || bytes.u8(offset + 24) > 8 || colours == 2 || colours == 3) return false;
    std::uint64_t size = 0;
    const bool sound = is_sound_png_at(bytes, offset, size);
    total += size;
    return sound;
}

// True when run-length coded bytes set every pixel: what they leave out the decoder leaves as the memory was.
bool sets_every_pixel(byte_source& bytes, std::uint64_t offset, std::uint64_t width, std::uint64_t height) noexcept {
    constexpr std::uint32_t end_of_row = 0, end_of_picture = 1, jump = 2;
    std::uint64_t row_end = width;
    for (std::uint64_t done = 0; done < width * height; offset += 2) {
        const std::uint32_t count = bytes.u8(offset);
        const std::uint32_t what = bytes.u8(offset + 1);
        if (!bytes.holds(offset, 2)) return false;
        if (count > 0) {
            done += count;
        } else if (what == end_of_row) {
            if (done < row_end) return false;
            done = row_end;
            row_end += width;
        } else if (what == end_of_picture || what == jump) {
            return false;
        } else {
            done += what;
            offset += what + what % 2;
        }
    }
    return true;
}

} // namespace

bool is_bmp_header(byte_source& bytes) noexcept {
    const std::uint32_t bits = bytes.le16(28);
    const std::uint32_t coding = bytes.le32(30);
    if (!bytes.starts_with(0, "BM") || bytes.le32(14) != 40 || bytes.le16(26) != 1 || coding > 3) return false;
    if (coding == 3) return bits == 16 || bits == 32;
    return bits == 1 || bits == 4 || (bits % 8 == 0 && bits >= 8 && bits <= 32);
}

bool is_os2_bmp_header(byte_source& bytes) noexcept {
    const std::uint32_t bits = bytes.le16(24);
    return bytes.starts_with(0, "BM") && bytes.le32(10) >= 26 && bytes.le32(14) >= 12 && bytes.le16(18) != 0 &&
           bytes.le16(20) != 0 && bytes.le16(22) == 1 && (bits == 1 || bits == 4 || bits == 8 || bits == 24);
}

bool is_sound_bmp(byte_source& bytes) noexcept {
    // Other headers, as those with colour spaces, the decoder does not know.
    if (!is_bmp_header(bytes)) return !is_os2_bmp_header(bytes) || is_sound_os2_bmp(bytes);
    const std::uint64_t width = bytes.le32(18);
    const std::uint32_t signed_height = bytes.le32(22); // negative: rows from the top
    const std::uint64_t height = signed_height > 0x7fffffff ? 0u - signed_height : signed_height;
    const std::uint64_t bits = bytes.le16(28);
    const std::uint32_t coding = bytes.le32(30);
    const std::uint64_t offset = bytes.le32(10);
    if (width > 0x7fffffff || !is_countable(width, height, 4) || offset < 54 || offset > bytes.size()) return false;
    if (bits <= 8 && bytes.le32(46) > 256) return false;
    if (coding == 1 || coding == 2) {
        return is_plausible_packed(width * height, bytes.size()) &&
               (coding == 2 || sets_every_pixel(bytes, offset, width, height));
    }
    const std::uint64_t padding = rows_size(width, 1, bits) - (width * bits + 7) / 8;
    return bytes.holds(offset, rows_size(width, height, bits) - padding);
}

bool is_sound_icon(byte_source& bytes) noexcept {
    const std::uint32_t count = bytes.le16(4);
    std::uint64_t total = 0; // icons do not share pixels
    if (count < 1 || count > 0x7fff || !bytes.holds(6, 16ULL * count)) return false;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint64_t offset = bytes.le32(6 + 16ULL * i + 12);
        const bool png = bytes.starts_with(offset, "\x89PNG");
        if (!(png ? is_sound_png_icon(bytes, offset, total) : is_sound_dib_icon(bytes, offset, total))) return false;
        if (total > bytes.size()) return false;
    }
    return true;
}

} // namespace zarn
