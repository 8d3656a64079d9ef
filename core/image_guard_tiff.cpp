// TIFF. Its own library is safe on damage, but DevIL reads a block of memory at any offset, FreeImage follows
// directories inside directories without end, both take the memory that a small file asks for, and there are kinds of
// sound pictures that they end the process or never end with.
#include "core/image_guard_checks.h"

namespace zarn {
namespace {

constexpr std::uint32_t most_pages = 0xffff;
constexpr std::uint64_t largest_freed_profile = 1u << 16;
constexpr std::uint32_t deepest_directory = 4; // a reduced picture inside a picture
constexpr std::uint64_t colours_cmyk = 5;
constexpr std::uint64_t planes_apart = 2;
constexpr std::uint64_t integer_samples = 1;

enum tag : std::uint16_t {
    tag_width = 256,
    tag_height = 257,
    tag_bits = 258,
    tag_coding = 259,
    tag_colours = 262,
    tag_strip_offsets = 273,
    tag_samples = 277,
    tag_strip_rows = 278,
    tag_strip_bytes = 279,
    tag_planes = 284,
    tag_tile_width = 322,
    tag_tile_offsets = 324,
    tag_directories = 330,
    tag_sample_format = 339,
    tag_jpeg_offset = 513,
    tag_jpeg_quantisation = 519,
    tag_jpeg_dc = 520,
    tag_jpeg_ac = 521,
    tag_iptc = 33723,
    tag_resources = 34377, // as in PSD
    tag_exif = 34665,
    tag_profile = 34675,
};

// Codings that keep next to nothing of a blank page: those of fax machines and the strongest general ones.
bool is_dense(std::uint64_t coding) noexcept {
    return (coding >= 2 && coding <= 4) || coding == 34661 || coding == 34887 || coding == 34925 || coding == 50000 ||
           coding == 50001;
}

// A value of a directory: its first entry counts, as for the TIFF library.
class field {
public:
    explicit field(std::uint64_t standard) noexcept
        : ___value(standard) {}
    operator std::uint64_t() const noexcept { return ___value; }
    void set(std::uint64_t value) noexcept {
        if (!___is_set) ___value = value;
        ___is_set = true;
    }

private:
    std::uint64_t ___value;
    bool ___is_set = false;
};

// What the directory of a picture says of it.
struct picture_fields {
    field width{0};
    field height{0};
    field bits{1};
    field samples{1};
    field coding{1};
    field colours{0};
    field planes{1};
    field strip_rows{0};
    field strip_bytes{0};
    field tile_width{0};
    field sample_format{integer_samples};

    std::uint64_t row_bytes() const noexcept { return (width * bits * samples + 7) / 8; }
};

struct picture_tag {
    field picture_fields::*place;
    tag id;
    bool holds_one_number = false;
};

constexpr picture_tag picture_tags[] = {
    {&picture_fields::width, tag_width},
    {&picture_fields::height, tag_height},
    {&picture_fields::bits, tag_bits},
    {&picture_fields::coding, tag_coding},
    {&picture_fields::colours, tag_colours},
    {&picture_fields::samples, tag_samples},
    {&picture_fields::strip_rows, tag_strip_rows, true},
    {&picture_fields::strip_bytes, tag_strip_bytes},
    {&picture_fields::planes, tag_planes},
    {&picture_fields::tile_width, tag_tile_width, true},
    {&picture_fields::sample_format, tag_sample_format},
};

// FreeImage has no form for these and stops the process, or writes past the end of another.
bool is_fatal_to_freeimage(const picture_fields& picture) noexcept {
    return (picture.planes == planes_apart && picture.bits % 8 != 0) || (picture.bits < 8 && picture.samples > 1) ||
           (picture.colours == colours_cmyk && (picture.bits > 16 || picture.sample_format != integer_samples));
}

// DevIL steps through values and colours by the rows of a strip, for ever where the file leaves them out, as it may.
// For a plain picture in one strip the TIFF library puts them in, and whatever is rarer DevIL leaves to that library.
bool is_endless_to_devil(const picture_fields& picture) noexcept {
    if (picture.strip_rows != 0 || picture.tile_width != 0) return false;
    const bool steps = picture.bits == 1 || picture.bits == 8 || picture.bits == 16;
    const bool apart = picture.planes == planes_apart;
    if (!steps || !(picture.samples == 1 || (picture.samples == 3 && !apart))) return false;
    const std::uint64_t surplus = picture.strip_bytes - picture.row_bytes() * picture.height;
    return picture.coding != 1 || apart || surplus >= picture.row_bytes();
}

class tiff_checker {
public:
    tiff_checker(byte_source& bytes, image_decoder decoder, bool big_endian, bool large) noexcept
        : ___bytes(bytes)
        , ___decoder(decoder)
        , ___big_endian(big_endian)
        , ___large(large) {}

    bool check_all() noexcept {
        std::uint64_t directory = ___large ? u64(8) : u32(4);
        if (directory == 0) return false;
        for (std::uint32_t page = 0; directory != 0; ++page) {
            if (page > most_pages || !check_directory(directory, 0)) return false;
            const std::uint64_t next = entries_start(directory) + entry_count(directory) * entry_size();
            directory = ___bytes.holds(next, ___large ? 8 : 4) ? offset_at(next) : 0;
        }
        return true;
    }

private:
    // Numbers in the file's byte order; the large form of the format has offsets and counts of 64 bits.
    std::uint64_t u16(std::uint64_t at) noexcept { return ___big_endian ? ___bytes.be16(at) : ___bytes.le16(at); }
    std::uint64_t u32(std::uint64_t at) noexcept { return ___big_endian ? ___bytes.be32(at) : ___bytes.le32(at); }
    std::uint64_t u64(std::uint64_t at) noexcept {
        return ___big_endian ? u32(at) << 32 | u32(at + 4) : u32(at + 4) << 32 | u32(at);
    }
    std::uint64_t offset_at(std::uint64_t at) noexcept { return ___large ? u64(at) : u32(at); }
    std::uint64_t entry_size() const noexcept { return ___large ? 20 : 12; }
    std::uint64_t entries_start(std::uint64_t directory) const noexcept { return directory + (___large ? 8 : 2); }
    std::uint64_t entry_count(std::uint64_t directory) noexcept { return ___large ? u64(directory) : u16(directory); }

    // One value of a directory's entry; ___data is where its values lie.
    std::uint64_t value(std::uint64_t index) noexcept {
        const std::uint64_t at = ___data + index * ___value_size;
        return ___value_size == 1   ? ___bytes.u8(at)
               : ___value_size == 2 ? u16(at)
               : ___value_size == 4 ? u32(at)
                                    : u64(at);
    }

    // Sets ___data, ___value_size and ___value_count; false when the values lie outside of the file.
    bool find_values(std::uint64_t entry) noexcept {
        constexpr std::uint8_t sizes[19] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
        const std::uint64_t type = u16(entry + 2);
        const std::uint64_t room = ___large ? 8 : 4;
        ___value_size = type < 19 ? sizes[type] : 0;
        ___value_count = offset_at(entry + 4);
        ___data = entry + (___large ? 12 : 8);
        if (___value_size == 0 || ___value_count <= room / ___value_size)
            return true; // of an unknown type nothing is read
        ___data = offset_at(___data);
        return ___value_count <= ___bytes.size() / ___value_size &&
               ___bytes.holds(___data, ___value_count * ___value_size);
    }

    // An entry that holds one integer; of others the TIFF library reads nothing.
    bool is_one_number(std::uint64_t entry) noexcept {
        const std::uint64_t type = u16(entry + 2);
        return ___value_count == 1 && (type == 3 || type == 4);
    }

    bool has_sound_offsets() noexcept {
        if (!is_within_file(___value_count, ___value_size)) return false;
        for (std::uint64_t i = 0; i < ___value_count && ___value_size != 0; ++i)
            if (value(i) > ___bytes.size()) return false;
        return true;
    }

    // The captions of press agencies. FreeImage takes them for four times as long as they are: they must end by
    // themselves, and in the other byte order it writes all over that length.
    bool has_sound_captions() noexcept {
        const std::uint64_t end = ___data + ___value_count * ___value_size;
        if (___big_endian || !is_within_file(___value_count, ___value_size)) return false;
        std::uint64_t at = ___data;
        while (at + 1 < end && ___bytes.be16(at) != 0x1c02) ++at;
        if (at + 1 >= end) return false;
        while (at < end && ___bytes.u8(at) == 0x1c) {
            if (at + 5 > end) return false;
            at += 5 + ___bytes.be16(at + 3);
        }
        return at <= end;
    }

    bool has_sound_resources() noexcept {
        return is_within_file(___value_count, ___value_size) &&
               has_sound_psd_resources(___bytes, ___data, ___data + ___value_count * ___value_size, ___decoder);
    }

    // Counts what is looked at: directories and lists do not overlap, so that more than the file holds means a circle.
    bool is_within_file(std::uint64_t count, std::uint64_t size) noexcept {
        ___looked_at += count * size;
        return ___looked_at <= ___bytes.size() * 2;
    }

    bool check_directory(std::uint64_t directory, std::uint32_t depth) noexcept {
        if (depth > deepest_directory || !___bytes.holds(directory, ___large ? 8 : 2)) return false;
        const std::uint64_t count = entry_count(directory);
        if (count > 0xffff || !___bytes.holds(entries_start(directory), count * entry_size())) return false;
        if (!is_within_file(count, entry_size())) return false;
        const bool freeimage = ___decoder == image_decoder::freeimage;
        picture_fields picture;
        std::uint64_t inner = 0;
        std::uint64_t profile_size = 0;
        bool has_exif = false;
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint64_t entry = entries_start(directory) + i * entry_size();
            if (!find_values(entry)) return false;
            const std::uint64_t first = ___value_count > 0 && ___value_size > 0 ? value(0) : 0;
            for (const picture_tag& known : picture_tags) {
                if (known.id != u16(entry)) continue;
                (picture.*known.place).set(known.holds_one_number && !is_one_number(entry) ? 0 : first);
            }
            switch (u16(entry)) {
            case tag_directories:
                inner = first;
                break;
            case tag_exif:
                has_exif = true;
                break;
            case tag_profile:
                profile_size = ___value_count;
                break;
            case tag_iptc:
                if (freeimage && !has_sound_captions()) return false;
                break;
            case tag_resources:
                if (freeimage && !has_sound_resources()) return false;
                break;
            case tag_strip_offsets:
            case tag_tile_offsets:
            case tag_jpeg_offset:
            case tag_jpeg_quantisation:
            case tag_jpeg_dc:
            case tag_jpeg_ac:
                if (!has_sound_offsets()) return false;
                break;
            default:
                break;
            }
        }
        // FreeImage copies the colour profile after it has been freed for the camera's notes. The memory of a small one
        // stays.
        if (freeimage && has_exif && profile_size > largest_freed_profile) return false;
        const std::uint64_t bits = picture.bits, samples = picture.samples;
        if (bits > 128 || samples > 64) return false;
        if (!is_countable(picture.width, picture.height, (bits * samples + 7) / 8)) return false;
        if (freeimage ? is_fatal_to_freeimage(picture) : is_endless_to_devil(picture)) return false;
        ___total += picture.row_bytes() * picture.height / (is_dense(picture.coding) ? 16 : 1);
        return is_plausible_packed(___total, ___bytes.size()) &&
               (inner == 0 || !freeimage || check_directory(inner, depth + 1));
    }

    byte_source& ___bytes;
    const image_decoder ___decoder;
    const bool ___big_endian;
    const bool ___large;
    std::uint64_t ___total = 0; // the bytes of all pages
    std::uint64_t ___looked_at = 0;
    std::uint64_t ___data = 0;
    std::uint64_t ___value_size = 0;
    std::uint64_t ___value_count = 0;
};

} // namespace

bool is_tiff_header(byte_source& bytes) noexcept {
    return bytes.starts_with(0, "II\x2a\0") || bytes.starts_with(0, "MM\0\x2a") || bytes.starts_with(0, "II\x2b\0") ||
           bytes.starts_with(0, "MM\0\x2b");
}

bool is_sound_tiff(byte_source& bytes, image_decoder decoder) noexcept {
    const bool big_endian = bytes.u8(0) == 'M';
    return is_tiff_header(bytes) &&
           tiff_checker(bytes, decoder, big_endian, bytes.u8(big_endian ? 3 : 2) == 43).check_all();
}

} // namespace zarn
