// The camera's notes inside PSD: directories of a TIFF file, which FreeImage follows by hand.
#include "core/image_guard_checks.h"

#include <initializer_list>

namespace zarn {
namespace {

constexpr std::uint32_t most_directories = 32;

class exif_checker {
public:
    exif_checker(byte_source& bytes, std::uint64_t start, std::uint64_t length) noexcept
        : ___bytes(bytes)
        , ___start(start)
        , ___length(length)
        , ___big_endian(bytes.u8(start) == 'M') {}

    bool check_all() noexcept {
        const std::uint64_t first = u32(4);
        if (first + 6 > ___length) return false;
        const std::uint64_t end = first + 2 + 12 * u16(first);
        if (end + 4 > ___length || !check_directory(first, false)) return false;
        const std::uint64_t second = u32(end); // of the thumbnail
        return second == 0 || second >= ___length || check_thumbnail(second);
    }

private:
    std::uint64_t u16(std::uint64_t at) noexcept {
        return ___big_endian ? ___bytes.be16(___start + at) : ___bytes.le16(___start + at);
    }
    std::uint64_t u32(std::uint64_t at) noexcept {
        return ___big_endian ? ___bytes.be32(___start + at) : ___bytes.le32(___start + at);
    }

    bool check_thumbnail(std::uint64_t directory) noexcept {
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
        if (directory + 2 > ___length) return false;
        for (std::uint64_t i = 0; i < u16(directory); ++i) {
            const std::uint64_t entry = directory + 2 + i * 12;
            if (entry + 12 >= ___length) return true; // the library stops here
            if (u16(entry) == 0x0201) offset = u32(entry + 8);
            if (u16(entry) == 0x0202) size = u32(entry + 8);
        }
        if (offset == 0 || size == 0 || (offset + size > ___length && offset + size <= 0xffffffff)) return true;
        return offset + size <= ___length && is_sound_thumbnail_jpeg(___bytes, ___start + offset, size);
    }

    // The library ignores a directory whose entries are too many, but reads their number first.
    bool check_directory(std::uint64_t directory, bool of_canon) noexcept {
        if (directory + 2 > ___length || ++___directories > most_directories) return false;
        const std::uint64_t count = u16(directory);
        if (directory + 12 * count > ___length) return true;
        if (directory + 12 * count + 2 > ___length) return false;
        for (std::uint64_t i = 0; i < count; ++i)
            if (!check_entry(directory + 2 + i * 12, of_canon)) return false;
        return true;
    }

    bool check_entry(std::uint64_t entry, bool of_canon) noexcept {
        constexpr std::uint8_t sizes[14] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
        const std::uint64_t id = u16(entry);
        const std::uint64_t type = u16(entry + 2);
        const std::uint64_t size = (type < 14 ? sizes[type] : 0) * u32(entry + 4);
        const std::uint64_t data = size <= 4 ? entry + 8 : u32(entry + 8);
        if (data > ___length || (size > 4 && size > ___length - data)) return true; // ignored by the library
        const bool state = id == 1 || id == 2 || id == 4 || id == 0x12 || id == 0xa0 || id == 0xe0;
        if (of_canon && state && type < 14 && sizes[type] < 2) return false; // read as numbers of 16 bits
        switch (id) {
        case 0x010f:
            ___maker = data;
            return true;
        case 0x8769:
        case 0x8825:
        case 0xa005:
            return data + 4 > ___length ? false : u32(data) >= ___length || check_directory(u32(data), false);
        case 0x927c:
            return check_maker_note(data);
        default:
            return true;
        }
    }

    // A directory behind a mark of the maker's own length.
    bool check_maker_note(std::uint64_t data) noexcept {
        if (data + 24 > ___length) return false;
        const bool fuji = ___bytes.starts_with_letters(___start + data, "fujifilm") ||
                          (___maker != 0 && ___bytes.starts_with_letters(___start + ___maker, "fujifilm"));
        if (fuji && u32(data + 8) < ___length && !check_directory(data + u32(data + 8), false)) return false;
        const bool canon = ___maker != 0 && ___bytes.starts_with_letters(___start + ___maker, "canon");
        for (std::uint64_t mark : {0U, 6U, 8U, 10U, 12U, 18U, 22U})
            if (!check_directory(data + mark, canon && mark == 0)) return false;
        return true;
    }

    byte_source& ___bytes;
    const std::uint64_t ___start;
    const std::uint64_t ___length;
    const bool ___big_endian;
    std::uint32_t ___directories = 0;
    std::uint64_t ___maker = 0; // where the maker's name stands
};

} // namespace

bool is_sound_exif(byte_source& bytes, std::uint64_t offset, std::uint64_t size) noexcept {
    if (size < 8) return false;
    const bool known = bytes.starts_with(offset, "II\x2a\0") || bytes.starts_with(offset, "MM\0\x2a");
    return !known || exif_checker(bytes, offset, size).check_all();
}

} // namespace zarn
