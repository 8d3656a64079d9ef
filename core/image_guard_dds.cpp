// DDS. DevIL reads as many bytes as the header says a level has, then decodes as many as the sides need.
#include "core/image_guard_checks.h"

#include <algorithm>

namespace zarn {
namespace {

constexpr std::uint32_t four_letters(char a, char b, char c, char d) noexcept {
    return static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b) << 8 | static_cast<std::uint32_t>(c) << 16 |
           static_cast<std::uint32_t>(d) << 24;
}

// How a format lies in the file: blocks of 4 x 4 pixels or single pixels.
struct dds_layout {
    bool known;
    bool blocks;
    std::uint64_t unit_bytes;    // of a block or a pixel
    std::uint64_t decoded_bytes; // of a pixel, at most
};

dds_layout find_layout(byte_source& bytes) noexcept {
    const std::uint32_t bits = bytes.le32(88);
    if ((bytes.le32(80) & 4) == 0) return {bits == 8 || bits == 16 || bits == 24 || bits == 32, false, bits / 8, 4};
    switch (bytes.le32(84)) {
    case four_letters('D', 'X', 'T', '1'):
    case four_letters('A', 'T', 'I', '1'):
        return {true, true, 8, 4};
    case four_letters('D', 'X', 'T', '2'):
    case four_letters('D', 'X', 'T', '3'):
    case four_letters('D', 'X', 'T', '4'):
    case four_letters('D', 'X', 'T', '5'):
    case four_letters('A', 'T', 'I', '2'):
    case four_letters('R', 'X', 'G', 'B'):
        return {true, true, 16, 4};
    case 36:
        return {true, false, 8, 8}; // four samples of 16 bits
    case 111:
        return {true, false, 2, 16}; // one, two and four half floats
    case 112:
        return {true, false, 4, 16};
    case 113:
        return {true, false, 8, 16};
    case 114:
        return {true, false, 4, 16}; // one, two and four floats
    case 115:
        return {true, false, 8, 16};
    case 116:
        return {true, false, 16, 16};
    default:
        return {false, false, 0, 0};
    }
}

// Blocks of one and two samples the decoder writes whole into each slice of a volume, whatever its height.
bool writes_past_slices(byte_source& bytes, std::uint64_t height, std::uint64_t depth) noexcept {
    const std::uint32_t code = bytes.le32(84);
    const bool samples = code == four_letters('A', 'T', 'I', '1') || code == four_letters('A', 'T', 'I', '2');
    return (bytes.le32(80) & 4) != 0 && samples && depth > 1 && height % 4 != 0;
}

// Grey by the masks of ten bits a sample is decoded at two bytes into an image of one.
bool is_deep_grey(byte_source& bytes) noexcept {
    return (bytes.le32(80) & 4) == 0 && (bytes.le32(80) & 0x20000) != 0 && bytes.le32(96) == 0x000ffc00 &&
           bytes.le32(104) == 0xc0000000;
}

std::uint64_t level_size(const dds_layout& layout, std::uint64_t width, std::uint64_t height,
                         std::uint64_t depth) noexcept {
    const std::uint64_t units = layout.blocks ? (width + 3) / 4 * ((height + 3) / 4) : width * height;
    return units * depth * layout.unit_bytes;
}

} // namespace

bool is_sound_dds(byte_source& bytes) noexcept {
    constexpr std::uint32_t flag_pitch = 8;
    constexpr std::uint32_t flag_levels = 0x20000;
    constexpr std::uint32_t flag_size = 0x80000;
    const std::uint32_t flags = bytes.le32(8);
    const std::uint64_t height = bytes.le32(12);
    const std::uint64_t width = bytes.le32(16);
    const std::uint32_t levels = flags & flag_levels ? std::max(bytes.le32(28), 1u) : 1;
    const bool cube = (bytes.le32(108) & 8) != 0 && (bytes.le32(112) & 0x200) != 0;
    std::uint64_t depth = std::max(bytes.le32(24), 1u);
    if (!bytes.starts_with(0, "DDS ") || bytes.le32(76) != 32) return false;
    const dds_layout layout = find_layout(bytes);
    if (!layout.known) return (bytes.le32(80) & 4) != 0; // of another four-letter code the decoder itself says no
    const bool volume = depth > 1 && !cube;
    if (volume && (bytes.le32(112) & 0x200000) == 0) depth = 1;
    if (width > 65536 || height > 65536 || depth > 65536 || levels > 32) return false;
    if (!is_countable(width * depth, height, layout.decoded_bytes) || is_deep_grey(bytes)) return false;
    if (writes_past_slices(bytes, height, depth)) return false;

    std::uint64_t first = level_size(layout, width, height, depth);
    std::uint64_t rest = 0;
    for (std::uint32_t level = 1; level < levels; ++level) {
        const std::uint64_t level_height = std::max<std::uint64_t>(height >> level, 1);
        const std::uint64_t level_depth = std::max<std::uint64_t>(depth >> level, 1);
        if (writes_past_slices(bytes, level_height, level_depth)) return false;
        rest += level_size(layout, std::max<std::uint64_t>(width >> level, 1), level_height, level_depth);
    }
    const std::uint64_t given = bytes.le32(20);
    if (!volume && given != 0 && (flags & flag_size) != 0) {
        if (given < first) return false;
        first = given;
    } else if (!volume && given != 0 && (flags & flag_pitch) != 0 &&
               (layout.blocks || bytes.le32(88) != layout.unit_bytes * 8)) {
        return false; // rows of as many bits as the header says, whatever the format needs
    }
    // Of a cube without all its faces the decoder uses one after freeing it.
    if (cube && (bytes.le32(112) & 0xfc00) != 0xfc00) return false;
    return bytes.holds(128, (first + rest) * (cube ? 6 : 1));
}

} // namespace zarn
