// Radiance pictures. DevIL reads the line of the sides into buffers of three letters, and old-style run marks at the
// start of a row for ever.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

// Reads a decimal number of at most nine digits; false when there is none.
bool read_number(byte_source& bytes, std::uint64_t& offset, std::uint64_t& value) noexcept {
    const std::uint64_t start = offset;
    value = 0;
    for (; bytes.u8(offset) >= '0' && bytes.u8(offset) <= '9'; ++offset) value = value * 10 + (bytes.u8(offset) - '0');
    return offset > start && offset - start < 10;
}

// "-Y 17 +X 23\n" and its turned forms.
bool read_sides(byte_source& bytes, std::uint64_t& offset, std::uint64_t& width, std::uint64_t& height) noexcept {
    for (int i = 0; i < 2; ++i) {
        const std::uint8_t axis = bytes.u8(offset + 1);
        if ((bytes.u8(offset) != '-' && bytes.u8(offset) != '+') || (axis != 'X' && axis != 'Y')) return false;
        offset += 2;
        if (bytes.u8(offset) != ' ') return false;
        while (bytes.u8(offset) == ' ') ++offset;
        if (!read_number(bytes, offset, i == 0 ? height : width)) return false;
        while (bytes.u8(offset) == ' ') ++offset;
    }
    return bytes.u8(offset++) == '\n';
}

// Four planes of runs.
bool skip_planes(byte_source& bytes, std::uint64_t& offset, std::uint64_t width) noexcept {
    for (int plane = 0; plane < 4; ++plane) {
        for (std::uint64_t x = 0; x < width;) {
            if (!bytes.holds(offset, 2)) return false;
            const std::uint32_t head = bytes.u8(offset);
            const std::uint32_t count = head > 128 ? head - 128 : head;
            offset += head > 128 ? 2 : 1 + count;
            x += count;
            if (count == 0 || x > width) return false;
        }
    }
    return offset <= bytes.size();
}

// Four bytes a pixel; 1, 1, 1, n repeats the last pixel n times, further such marks shift n by 8 bits each.
bool skip_pixels(byte_source& bytes, std::uint64_t& offset, std::uint64_t width) noexcept {
    std::uint32_t shift = 0;
    for (std::uint64_t x = 0; x < width; offset += 4) {
        if (!bytes.holds(offset, 4)) return false;
        const bool run = bytes.starts_with(offset, "\1\1\1");
        if (run && (x == 0 || shift > 24)) return false;
        x += run ? std::uint64_t(bytes.u8(offset + 3)) << shift : 1;
        shift = run ? shift + 8 : 0;
    }
    return true;
}

} // namespace

bool is_hdr_header(byte_source& bytes) noexcept {
    const bool short_form = bytes.starts_with_letters(0, "#?rgbe");
    return short_form || bytes.starts_with_letters(0, "#?radiance");
}

bool is_sound_hdr(byte_source& bytes) noexcept {
    if (!bytes.starts_with(0, "#?")) return false;
    std::uint64_t offset = 10; // the decoder looks for the empty line behind "#?RADIANCE"
    while (!bytes.starts_with(offset, "\n\n")) {
        if (!bytes.holds(offset++, 2)) return false;
    }
    offset += 2;
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    if (!read_sides(bytes, offset, width, height)) return false;
    if (width > 65535 || height > 65535 || !is_countable(width, height, 12)) return false;
    if (!is_plausible_packed(width * height * 4, bytes.size())) return false;
    for (std::uint64_t y = 0; y < height; ++y) {
        const bool planes = bytes.be16(offset) == 0x0202 && bytes.u8(offset + 2) < 128;
        if (planes && bytes.be16(offset + 2) != width) return false;
        if (planes) offset += 4;
        if (!(planes ? skip_planes(bytes, offset, width) : skip_pixels(bytes, offset, width))) return false;
    }
    return true;
}

} // namespace zarn
