// Looks at the bytes of an image file before an import library decodes them: both libraries crash, hang or allocate
// without bound on some damaged files. A file that passes is decoded within memory; a sound file passes unless its
// format is refused as a whole. Not checked are the indices of palette images, which would need decoding: compare them
// with the palette after a load, before a conversion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace zarn {

// Random access to the bytes of a file or of a block of memory, which it borrows. Takes no memory for the file's size.
class byte_source {
public:
    explicit byte_source(std::FILE* file) noexcept; // open for reading; its position is left anywhere
    byte_source(const void* data, std::uint64_t size) noexcept;
    byte_source(const byte_source&) = delete;
    byte_source& operator=(const byte_source&) = delete;

    std::uint64_t size() const noexcept { return ___size; }
    // True when all of [offset, offset + count) is there.
    bool holds(std::uint64_t offset, std::uint64_t count) const noexcept {
        return offset <= ___size && count <= ___size - offset;
    }
    // Numbers at an offset, of the named byte order; bytes past the end count as 0.
    std::uint8_t u8(std::uint64_t offset) noexcept {
        return offset - ___view_start < ___view_size ? ___view[offset - ___view_start] : u8_elsewhere(offset);
    }
    std::uint16_t le16(std::uint64_t offset) noexcept;
    std::uint16_t be16(std::uint64_t offset) noexcept;
    std::uint32_t le32(std::uint64_t offset) noexcept;
    std::uint32_t be32(std::uint64_t offset) noexcept;

    // True when the bytes at `offset` are those of `text`, without its end mark.
    template <std::size_t Size>
    bool starts_with(std::uint64_t offset, const char (&text)[Size]) noexcept {
        for (std::size_t i = 0; i + 1 < Size; ++i)
            if (!holds(offset + i, 1) || u8(offset + i) != static_cast<std::uint8_t>(text[i])) return false;
        return true;
    }

    // The same without regard to case; `text` is in lower case.
    template <std::size_t Size>
    bool starts_with_letters(std::uint64_t offset, const char (&text)[Size]) noexcept {
        for (std::size_t i = 0; i + 1 < Size; ++i) {
            const std::uint8_t c = u8(offset + i);
            if ((c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c) != static_cast<std::uint8_t>(text[i])) return false;
        }
        return true;
    }

private:
    std::uint8_t u8_elsewhere(std::uint64_t offset) noexcept;

    std::FILE* ___file = nullptr;
    std::uint64_t ___size = 0;
    const std::uint8_t* ___view; // the block of memory, or the part of the file that `___window` holds
    std::uint64_t ___view_start = 0;
    std::uint64_t ___view_size = 0;
    std::uint8_t ___window[4096];
};

// The library about to decode. FreeImage is handed PSD, HDR, EXR and TIFF by the path's ending.
enum class image_decoder : std::uint8_t { devil, freeimage };

enum class guard_verdict : std::uint8_t {
    accepted,
    refused_type, // a format whose decoder fails on sound files too, or trusts all numbers of an intricate file
    damaged,
};

// Judges `bytes`. The format is the one the decoder will assume: by the ending of `path` (without regard to case) when
// it is a known one, else by content. `path` is null for a block of memory.
guard_verdict guard_image(byte_source& bytes, image_decoder decoder, const wchar_t* path) noexcept;

} // namespace zarn
