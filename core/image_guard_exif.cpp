// The camera's notes inside PSD: directories of a TIFF file, which FreeImage follows by hand.
#include "core/image_guard_checks.h"

#include <initializer_list>

namespace zarn {
namespace {

constexpr std::uint32_t most_directories = 32;

class exif_checker {
public:
    exif_checker(byte_source& bytes, std::uint64_t start, std::uint64_t length) noexcept
        : bytes_(bytes)
        , start_(start)
        , length_(length)
        , big_endian_(bytes.u8(start) == 'M') {}

    bool check_all() noexcept {
        const std::uint64_t first = u32(4);
        if (first + 6 > length_) return false;
        const std::uint64_t end = first + 2 + 12 * u16(first);
        if (end + 4 > length_ || !check_directory(first, false)) return false;
        const std::uint64_t second = u32(end); // of the thumbnail
        return second == 0 || second >= length_ || check_thumbnail(second);
    }

private:
    std::uint64_t u16(std::uint64_t at) noexcept {
        return big_endian_ ? bytes_.be16(start_ + at) : bytes_.le16(start_ + at);
    }
    std::uint64_t u32(std::uint64_t at) noexcept {
        return big_endian_ ? bytes_.be32(start_ + at) : bytes_.le32(start_ + at);
    }

    bool check_thumbnail(std::uint64_t directory) noexcept {
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
        if (directory + 2 > length_) return false;
        for (std::uint64_t i = 0; i < u16(directory); ++i) {
            const std::uint64_t entry = directory + 2 + i * 12;
            if (entry + 12 >= length_) return true; // the library stops here
            if (u16(entry) == 0x0201) offset = u32(entry + 8);
            if (u16(entry) == 0x0202) size = u32(entry + 8);
        }
        if (offset == 0 || size == 0 || (offset + size > length_ && offset + size <= 0xffffffff)) return true;
        return offset + size <= length_ && is_sound_thumbnail_jpeg(bytes_, start_ + offset);
    }

    // The library ignores a directory whose entries are too many, but reads their number first.
    bool check_directory(std::uint64_t directory, bool of_canon) noexcept {
        if (directory + 2 > length_ || ++directories_ > most_directories) return false;
        const std::uint64_t count = u16(directory);
        if (directory + 12 * count > length_) return true;
        if (directory + 12 * count + 2 > length_) return false;
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
        if (data > length_ || (size > 4 && size > length_ - data)) return true; // ignored by the library
        const bool state = id == 1 || id == 2 || id == 4 || id == 0x12 || id == 0xa0 || id == 0xe0;
        if (of_canon && state && type < 14 && sizes[type] == 1) return false; // read as numbers of 16 bits
        switch (id) {
        case 0x010f:
            maker_ = data;
            return true;
        case 0x8769:
        case 0x8825:
        case 0xa005:
            return data + 4 > length_ ? false : u32(data) >= length_ || check_directory(u32(data), false);
        case 0x927c:
            return check_maker_note(data);
        default:
            return true;
        }
    }

    // A directory behind a mark of the maker's own length.
    bool check_maker_note(std::uint64_t data) noexcept {
        if (data + 24 > length_) return false;
        const bool fuji = bytes_.starts_with_letters(start_ + data, "fujifilm") ||
                          (maker_ != 0 && bytes_.starts_with_letters(start_ + maker_, "fujifilm"));
        if (fuji && u32(data + 8) < length_ && !check_directory(data + u32(data + 8), false)) return false;
        const bool canon = maker_ != 0 && bytes_.starts_with_letters(start_ + maker_, "canon");
        for (std::uint64_t mark : {0, 6, 8, 10, 12, 18, 22})
            if (!check_directory(data + mark, canon && mark == 0)) return false;
        return true;
    }

    byte_source& bytes_;
    const std::uint64_t start_;
    const std::uint64_t length_;
    const bool big_endian_;
    std::uint32_t directories_ = 0;
    std::uint64_t maker_ = 0; // where the maker's name stands
};

} // namespace

bool is_sound_exif(byte_source& bytes, std::uint64_t offset, std::uint64_t size) noexcept {
    if (size < 8) return false;
    const bool known = bytes.starts_with(offset, "II\x2a\0") || bytes.starts_with(offset, "MM\0\x2a");
    return !known || exif_checker(bytes, offset, size).check_all();
}

} // namespace zarn
