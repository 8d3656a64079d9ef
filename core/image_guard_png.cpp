// PNG and the animations made of the same chunks. DevIL's reader returns old bytes past the end of the file, so that a
// chunk cut short is read for ever.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

// Walks the chunks from `offset` to the end chunk of the given type; false when one reaches past the end of the file.
template <class Visit>
bool walk_chunks(byte_source& bytes, std::uint64_t offset, const char (&end_type)[5], Visit visit) noexcept {
    for (;;) {
        const std::uint32_t length = bytes.be32(offset);
        if (!bytes.holds(offset, 12) || length > 0x7fffffff || !bytes.holds(offset + 8, length + 4ull)) return false;
        if (!visit(offset + 4, length)) return false;
        if (bytes.starts_with(offset + 4, end_type)) return true;
        offset += 12ull + length;
    }
}

} // namespace

bool is_sound_png_at(byte_source& bytes, std::uint64_t offset, std::uint64_t& size) noexcept {
    const std::uint64_t width = bytes.be32(offset + 16);
    const std::uint64_t height = bytes.be32(offset + 20);
    if (!bytes.starts_with(offset, "\x89PNG\r\n\x1a\n") || !bytes.starts_with(offset + 12, "IHDR")) return false;
    // 16 bits of four samples are 8 bytes.
    if (!is_countable(width, height, bytes.u8(offset + 24) == 16 ? 8 : 4)) return false;
    std::uint64_t data = 0;
    const bool whole = walk_chunks(bytes, offset + 8, "IEND", [&](std::uint64_t type, std::uint32_t length) noexcept {
        size = type + 8 + length - offset;
        if (bytes.starts_with(type, "IDAT")) data += length;
        return true;
    });
    return whole && data > 0 && is_plausible_packed(width * height * bytes.u8(offset + 24) / 8, data);
}

bool is_sound_png(byte_source& bytes) noexcept {
    std::uint64_t size = 0;
    return is_sound_png_at(bytes, 0, size);
}

namespace {

// What repeats for ever must show a picture with a delay each time: the decoder returns at the first delay.
class mng_checker {
public:
    explicit mng_checker(byte_source& bytes) noexcept
        : ___bytes(bytes) {}

    bool visit(std::uint64_t type, std::uint32_t length) noexcept {
        constexpr std::uint32_t most_repeats = 1000;
        const std::uint64_t data = type + 4;
        const bool picture = is(type, "IHDR") || is(type, "JHDR");
        if (picture || is(type, "MHDR") || is(type, "BASI")) {
            const std::uint64_t width = ___bytes.be32(data);
            const std::uint64_t height = ___bytes.be32(data + 4);
            if (!is_countable(width, height, 8)) return false;
            ___total += width * height * 4;
        }
        if (is(type, "FRAM") || is(type, "DEFI") || is(type, "CLON")) ___special = true;
        if (is(type, "TERM") && length >= 10 && ___bytes.be32(data + 6) > most_repeats) ___endless = true;
        if (is(type, "LOOP") && ___bytes.be32(data + 1) > most_repeats) ___endless = ___empty = true;
        if (picture) ___empty = false;
        return !(___endless && ___special) && !(is(type, "ENDL") && ___empty);
    }

    bool is_plausible() const noexcept { return is_plausible_packed(___total, ___bytes.size()); }

private:
    bool is(std::uint64_t type, const char (&name)[5]) noexcept { return ___bytes.starts_with(type, name); }

    byte_source& ___bytes;
    std::uint64_t ___total = 0;
    bool ___endless = false;
    bool ___special = false; // a delay of its own, or pictures that are not shown
    bool ___empty = false;   // an endless loop without a picture
};

} // namespace

bool is_sound_mng(byte_source& bytes) noexcept {
    mng_checker checker(bytes);
    const auto visit = [&checker](std::uint64_t type, std::uint32_t length) noexcept {
        return checker.visit(type, length);
    };
    // Of still pictures in JPEG the decoder hands out undefined pixels.
    const bool animation = bytes.starts_with(0, "\x8aMNG\r\n\x1a\n");
    return animation && walk_chunks(bytes, 8, "MEND", visit) && checker.is_plausible();
}

} // namespace zarn
