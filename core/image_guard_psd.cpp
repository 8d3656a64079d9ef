// PSD and its large form PSB. FreeImage decodes packed rows and thumbnails beyond their buffers, DevIL copies resources
// of any size.
#include "core/image_guard_checks.h"

#include <algorithm>

namespace zarn {
namespace {

constexpr std::uint32_t mode_palette = 2;
constexpr std::uint32_t mode_cmyk = 4;

// What FreeImage reads of a resource of fixed size, whatever size it is given; 0 for the others.
std::uint32_t fixed_size_of(std::uint32_t id) noexcept {
    switch (id) {
    case 0x03e8:
        return 10;
    case 0x03ed:
        return 16;
    case 0x03ef:
        return 14;
    case 0x040d:
        return 4;
    case 0x040a:
    case 0x0416:
    case 0x0417:
        return 2;
    default:
        return 0;
    }
}

// Only thumbnails in JPEG: a raw one may claim any sides.
bool is_sound_thumbnail(byte_source& bytes, std::uint64_t offset, std::uint64_t size) noexcept {
    return size >= 28 && bytes.be32(offset) == 1 && is_sound_thumbnail_jpeg(bytes, offset + 28, size - 28);
}

bool is_sound_resource(byte_source& bytes, std::uint32_t id, std::uint64_t offset, std::uint64_t size,
                       image_decoder decoder) noexcept {
    switch (id) {
    case 0x0409:
    case 0x040c:
        return is_sound_thumbnail(bytes, offset, size);
    case 0x0423: // FreeImage stops the process at it
        return decoder == image_decoder::devil;
    case 0x0422:
        return is_sound_exif(bytes, offset, size);
    default:
        return fixed_size_of(id) == 0 || size == fixed_size_of(id);
    }
}

// True when the packed row at `offset` decodes to exactly `size` bytes.
bool is_sound_row(byte_source& bytes, std::uint64_t offset, std::uint64_t packed_size, std::uint64_t size) noexcept {
    std::uint64_t done = 0;
    for (std::uint64_t i = 0; i < packed_size;) {
        const std::uint32_t head = bytes.u8(offset + i);
        if (head == 128) {
            ++i;
        } else if (head < 128) {
            i += head + 2;
            done += head + 1;
        } else {
            i += 2;
            done += 257 - head;
        }
        if (i > packed_size || done > size) return false;
    }
    return done == size;
}

} // namespace

bool has_sound_psd_resources(byte_source& bytes, std::uint64_t offset, std::uint64_t end,
                             image_decoder decoder) noexcept {
    while (offset + 4 <= end) {
        if (!bytes.starts_with(offset, "8BIM")) { // the libraries go on with the next four bytes, or stop
            offset += 4;
            continue;
        }
        const std::uint32_t id = bytes.be16(offset + 4);
        offset += 6 + (bytes.u8(offset + 6) + 2u) / 2 * 2; // the name
        const std::uint64_t size = (bytes.be32(offset) + 1ull) / 2 * 2;
        offset += 4;
        if (offset > end || size > end - offset) return false;
        if (size > 0 && !is_sound_resource(bytes, id, offset, size, decoder)) return false;
        offset += size;
    }
    return offset == end;
}

bool is_sound_psd(byte_source& bytes, image_decoder decoder) noexcept {
    const bool large = bytes.be16(4) == 2;
    const std::uint64_t channels = bytes.be16(12);
    const std::uint64_t height = bytes.be32(14);
    const std::uint64_t width = bytes.be32(18);
    const std::uint64_t depth = bytes.be16(22);
    const std::uint32_t mode = bytes.be16(24);
    const std::uint64_t most = large ? 300000 : 30000;
    if (!bytes.starts_with(0, "8BPS") || (!large && bytes.be16(4) != 1) || channels < 1 || channels > 56) return false;
    if (width > most || height > most || (depth != 1 && depth != 8 && depth != 16 && depth != 32)) return false;
    if (mode == mode_palette && depth != 8) return false; // FreeImage writes the palette behind one of two colours
    if (!is_countable(width, height, std::min<std::uint64_t>(channels, 4) * (depth + 7) / 8)) return false;

    std::uint64_t offset = 26; // the palette, the resources, the layers
    const std::uint64_t palette = bytes.be32(offset);
    if (!bytes.holds(offset + 4, palette + 4)) return false;
    offset += 4 + palette;
    const std::uint64_t resources = bytes.be32(offset);
    if (!bytes.holds(offset + 4, resources + 4)) return false;
    if (!has_sound_psd_resources(bytes, offset + 4, offset + 4 + resources, decoder)) return false;
    offset += 4 + resources;
    if (large && (bytes.be32(offset) != 0 || !bytes.holds(offset, 8))) return false;
    if (large) offset += 4;
    const std::uint64_t layers = bytes.be32(offset);
    if (!bytes.holds(offset + 4, layers + 2)) return false;
    offset += 4 + layers;

    const std::uint32_t coding = bytes.be16(offset);
    const std::uint64_t line = (width * depth + 7) / 8;
    const std::uint64_t rows = height * channels;
    offset += 2;
    // The alpha of raw inks DevIL takes from anywhere.
    if (decoder == image_decoder::devil && mode == mode_cmyk && channels == 5 && coding == 0) return false;
    if (coding == 0) return bytes.holds(offset, line * rows);
    const std::uint64_t entry_size = large ? 4 : 2;
    if (coding != 1 || !bytes.holds(offset, rows * entry_size)) return false;
    std::uint64_t data = offset + rows * entry_size;
    for (std::uint64_t row = 0; row < rows; ++row, offset += entry_size) {
        const std::uint64_t size = large ? bytes.be32(offset) : bytes.be16(offset);
        if (!bytes.holds(data, size) || !is_sound_row(bytes, data, size, line)) return false;
        data += size;
    }
    return true;
}

} // namespace zarn
