// PNM. DevIL's reader of words and numbers is followed step by step: what it takes for a number decides whether it
// reads past the end, writes past the picture or never stops.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

constexpr std::uint32_t longest_word = 180;
constexpr std::uint32_t longest_line = 180;

bool is_word_letter(std::uint32_t c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// One word, as a number (any letters in front make it 0), and the position behind it. After the last word of the header
// exactly one byte is taken: with another mark than a space or a line feed the decoder would take pixels for letters.
bool read_word(byte_source& bytes, std::uint64_t& offset, bool last, std::uint64_t& value) noexcept {
    for (;;) {
        std::uint32_t letters = 0;
        bool number = true;
        std::uint32_t c = 0;
        value = 0;
        for (;; ++offset) {
            if (!bytes.holds(offset, 1)) return false;
            c = bytes.u8(offset);
            if (c == '\n' || c == '#' || c == ' ') break;
            if (letters == longest_word) return false;
            if (!is_word_letter(c)) continue;
            ++letters;
            number = number && c >= '0' && c <= '9';
            if (number && value < 1u << 28) value = value * 10 + (c - '0');
        }
        ++offset;
        if (last) return letters > 0;
        while (c == '#' && bytes.u8(offset) != '\n') {
            if (!bytes.holds(offset++, 1)) return false;
        }
        if (c == '#') ++offset;
        while (bytes.u8(offset) == ' ') ++offset;
        if (!bytes.holds(offset, 1)) return false;
        if (letters > 0) return true;
    }
}

// The numbers of a text file, line by line. The decoder looks at its count only between lines (of at most 180 bytes,
// longer ones are cut), and searches a line for its first number beyond the line's end.
bool has_exact_numbers(byte_source& bytes, std::uint64_t offset, std::uint64_t count) noexcept {
    while (count > 0) {
        if (!bytes.holds(offset, 1)) return false;
        const std::uint32_t first = bytes.u8(offset);
        std::uint64_t numbers = 0;
        bool inside = false;
        for (std::uint32_t length = 0;; ++length, ++offset) {
            const std::uint32_t c = bytes.u8(offset);
            if (c == '\n' || c == 0 || length == longest_line || !bytes.holds(offset, 1)) break;
            if (is_word_letter(c) && !inside) ++numbers;
            inside = is_word_letter(c);
        }
        ++offset; // the byte that ends the line, also where a line is cut
        if (first == '#' || first == '\n' || first == 0) continue;
        if (numbers == 0 || numbers > count) return false;
        count -= numbers;
    }
    return true;
}

} // namespace

bool is_sound_pnm(byte_source& bytes) noexcept {
    std::uint64_t offset = 0;
    std::uint64_t ignored = 0;
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    std::uint64_t largest = 1;
    const std::uint32_t type = bytes.u8(1) - std::uint32_t('0');
    if (bytes.u8(0) != 'P' || type < 1 || type > 6 || !read_word(bytes, offset, false, ignored)) return false;
    if (!read_word(bytes, offset, false, width) || !read_word(bytes, offset, false, height)) return false;
    if (type != 1 && type != 4 && !read_word(bytes, offset, true, largest)) return false;
    // The decoder fails on sound files of 16 bits too.
    if (largest < 1 || largest > 255 || !is_countable(width, height, 4)) return false;
    switch (type) {
    case 1:
    case 2:
        return has_exact_numbers(bytes, offset, width * height);
    case 3:
        return has_exact_numbers(bytes, offset, width * height * 3);
    case 4:
        return (width + 7) / 8 * height <= bytes.size(); // pixels that look like spaces are skipped, not missed
    case 5:
        return bytes.holds(offset, width * height);
    default:
        return bytes.holds(offset, width * height * 3);
    }
}

} // namespace zarn
