// EXR. The decoder reads a header that ends early for ever, and counts rows from the top of the window in 32 bits.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

struct exr_part {
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    std::uint64_t first_row = 0;
    std::uint64_t pixel_bytes = 0;
    std::uint64_t tile_width = 0; // 0: rows
    std::uint64_t tile_height = 0;
    std::uint64_t chunks = 0; // as given by a file of several parts
    std::uint32_t coding = 0xff;
};

constexpr std::uint32_t longest_name = 255;

// Moves behind the end mark of a name; its length may be 0.
bool skip_name(byte_source& bytes, std::uint64_t& offset) noexcept {
    for (std::uint32_t length = 0; length <= longest_name; ++length) {
        if (!bytes.holds(offset, 1)) return false;
        if (bytes.u8(offset++) == 0) return true;
    }
    return false;
}

// The bytes of one pixel over all channels; 0 when the list is damaged.
std::uint64_t read_channels(byte_source& bytes, std::uint64_t offset, std::uint64_t end) noexcept {
    std::uint64_t pixel_bytes = 0;
    while (offset < end && bytes.u8(offset) != 0) {
        if (!skip_name(bytes, offset) || offset + 16 > end) return 0;
        const std::uint32_t type = bytes.le32(offset);
        if (type > 2 || bytes.le32(offset + 8) == 0 || bytes.le32(offset + 12) == 0) return 0;
        pixel_bytes += type == 1 ? 2 : 4;
        offset += 16;
    }
    return offset + 1 == end ? pixel_bytes : 0;
}

struct fixed_size {
    const char* type;
    std::uint32_t size;
};

// The decoder reads these types as they are, whatever size the file gives, and goes on behind them.
constexpr fixed_size fixed_sizes[] = {
    {"box2f", 16},
    {"box2i", 16},
    {"chromaticities", 32},
    {"compression", 1},
    {"deepImageState", 1},
    {"double", 8},
    {"envmap", 1},
    {"float", 4},
    {"int", 4},
    {"keycode", 28},
    {"lineOrder", 1},
    {"m33d", 72},
    {"m33f", 36},
    {"m44d", 128},
    {"m44f", 64},
    {"rational", 8},
    {"tiledesc", 9},
    {"timecode", 8},
    {"v2d", 16},
    {"v2f", 8},
    {"v2i", 8},
    {"v3d", 24},
    {"v3f", 12},
    {"v3i", 12},
};

bool is_name(byte_source& bytes, std::uint64_t offset, const char* name) noexcept {
    for (; *name; ++name, ++offset)
        if (bytes.u8(offset) != static_cast<std::uint8_t>(*name)) return false;
    return bytes.u8(offset) == 0;
}

bool is_sound_value(byte_source& bytes, std::uint64_t type, std::uint64_t offset, std::uint64_t size) noexcept {
    for (const fixed_size& entry : fixed_sizes)
        if (is_name(bytes, type, entry.type)) return size == entry.size;
    if (is_name(bytes, type, "chlist")) return read_channels(bytes, offset, offset + size) != 0;
    if (is_name(bytes, type, "floatvector")) return size % 4 == 0;
    if (is_name(bytes, type, "preview"))
        return size >= 8 && std::uint64_t(bytes.le32(offset)) * bytes.le32(offset + 4) == (size - 8) / 4 &&
               size % 4 == 0;
    if (is_name(bytes, type, "stringvector")) {
        std::uint64_t done = 0;
        while (done + 4 <= size) done += 4 + std::uint64_t(bytes.le32(offset + done));
        return done == size;
    }
    return true;
}

// The attributes of one part, up to behind their end mark.
bool read_part(byte_source& bytes, std::uint64_t& offset, exr_part& part) noexcept {
    for (;;) {
        if (!bytes.holds(offset, 1)) return false;
        if (bytes.u8(offset) == 0) break;
        const std::uint64_t name = offset;
        if (!skip_name(bytes, offset)) return false;
        const std::uint64_t type = offset;
        if (!skip_name(bytes, offset) || !bytes.holds(offset, 4)) return false;
        const std::uint64_t size = bytes.le32(offset);
        offset += 4;
        if (size > 0x7fffffff || !bytes.holds(offset, size) || !is_sound_value(bytes, type, offset, size)) return false;
        if (is_name(bytes, name, "dataWindow") && is_name(bytes, type, "box2i")) {
            part.width = std::uint64_t(bytes.le32(offset + 8) - bytes.le32(offset)) + 1;
            part.height = std::uint64_t(bytes.le32(offset + 12) - bytes.le32(offset + 4)) + 1;
            part.first_row = bytes.le32(offset + 4);
        } else if (is_name(bytes, name, "channels") && is_name(bytes, type, "chlist")) {
            part.pixel_bytes = read_channels(bytes, offset, offset + size);
        } else if (is_name(bytes, name, "compression") && is_name(bytes, type, "compression")) {
            part.coding = bytes.u8(offset);
        } else if (is_name(bytes, name, "tiles") && is_name(bytes, type, "tiledesc")) {
            part.tile_width = bytes.le32(offset);
            part.tile_height = bytes.le32(offset + 4);
        } else if (is_name(bytes, name, "chunkCount") && is_name(bytes, type, "int")) {
            part.chunks = bytes.le32(offset);
        }
        offset += size;
    }
    ++offset;
    return true;
}

bool is_sound_part(const exr_part& part, std::uint64_t file_size) noexcept {
    if (part.width < 1 || part.width > 65536 || part.height < 1 || part.height > 65536) return false;
    // A negative row, or one that is this far down, takes it outside of the bitmap; a pixel there has 16 bytes at most.
    if (part.first_row > 0x7fffffff || part.first_row * part.width * 16 > 0xffffffff) return false;
    if (part.coding > 9 || part.pixel_bytes == 0 || part.pixel_bytes > 4096) return false;
    // The last two codings keep little more than a note of a part of one colour.
    const std::uint64_t pixel_bytes = part.coding > 7 ? (part.pixel_bytes + 15) / 16 : part.pixel_bytes;
    return is_countable(part.width, part.height, 16) &&
           is_plausible_packed(part.width * part.height * pixel_bytes, file_size);
}

// The entries of the table of offsets: of a tiled picture at least those of the full size.
std::uint64_t chunks_of(const exr_part& part, bool tiled) noexcept {
    constexpr std::uint32_t rows[10] = {1, 1, 1, 16, 32, 16, 32, 32, 32, 256}; // of a chunk, by coding
    if (part.chunks != 0 || part.coding > 9) return part.chunks;
    if (!tiled) return (part.height + rows[part.coding] - 1) / rows[part.coding];
    return (part.width + part.tile_width - 1) / part.tile_width *
           ((part.height + part.tile_height - 1) / part.tile_height);
}

} // namespace

bool is_sound_exr(byte_source& bytes) noexcept {
    constexpr std::uint32_t flag_tiled = 0x200;
    constexpr std::uint32_t flag_parts = 0x1000;
    const std::uint32_t version = bytes.le32(4);
    if (bytes.le32(0) != 0x01312f76 || (version & 0xff) != 2) return false;
    std::uint64_t offset = 8;
    std::uint64_t chunks = 0;
    do {
        exr_part part;
        if (!read_part(bytes, offset, part) || !is_sound_part(part, bytes.size())) return false;
        const bool tiled = part.tile_width != 0 && ((version & flag_tiled) != 0 || (version & flag_parts) != 0);
        if ((version & flag_tiled) != 0 && !tiled) return false;
        if (tiled && (part.tile_height == 0 || part.tile_width > 65536 || part.tile_height > 65536)) return false;
        chunks += chunks_of(part, tiled);
    } while ((version & flag_parts) != 0 && bytes.u8(offset) != 0);
    if ((version & flag_parts) != 0) ++offset;
    if (!bytes.holds(offset, chunks * 8)) return false;
    // A chunk that was never written leaves its rows as the memory was.
    for (std::uint64_t i = 0; i < chunks; ++i) {
        const std::uint64_t at = bytes.le32(offset + i * 8) | std::uint64_t(bytes.le32(offset + i * 8 + 4)) << 32;
        if (at < offset + chunks * 8 || at >= bytes.size()) return false;
    }
    return true;
}

} // namespace zarn
