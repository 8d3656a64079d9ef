// The native image format: little-endian 32-bit header words, then the pixel array, raw or as an LZ4 chunk stream.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>

#include <zarn/detail/image_state.h>

namespace zarn {

// Added to the image-type code of a file whose pixels are compressed.
constexpr std::uint32_t native_compressed = 1000;

struct file_closer {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using owned_file = std::unique_ptr<std::FILE, file_closer>;

// A native file that is being read, or its bytes in memory, which it borrows.
class native_source {
public:
    native_source() = default; // tests false
    explicit native_source(owned_file file) noexcept
        : ___file(std::move(file)) {}
    // A size of 0 is not known, and bounds nothing.
    native_source(const unsigned char* data, std::uint32_t size) noexcept
        : ___data(data)
        , ___left(size ? size : UINT64_MAX) {}

    explicit operator bool() const noexcept { return ___file || ___data; }
    // Bytes to the end.
    std::uint64_t left() const noexcept;
    // False when there are fewer; then some may have been read.
    bool read(void* bytes, std::uint64_t count) noexcept;
    bool read_lz4(void* destination, std::uint64_t capacity, std::uint64_t& produced) noexcept;

private:
    owned_file ___file;
    const unsigned char* ___data = nullptr;
    std::uint64_t ___left = 0;
};

// Writes `word_count` header words (the first is the type code of the raw form) and the image's pixels.
unsigned int save_native(image_state& image, const wchar_t* path, const std::uint32_t* words, unsigned word_count,
                         std::uint64_t pixel_bytes, bool compress) noexcept;

// Opens a native file and reads its type code into `type`; frees the image first. Null, with a message, when the file
// cannot be opened. A file too short for a code reads as an impossible one.
native_source open_native(image_state& image, const wchar_t* path, std::uint32_t& type) noexcept;

// The same for a block of memory, which must not be null.
native_source open_native(image_state& image, const unsigned char* data, std::uint32_t size,
                          std::uint32_t& type) noexcept;

// Reads the next header words; on a file that ends early pushes the message, empties the image and gives false.
bool read_native_words(image_state& image, native_source& source, std::uint32_t* words, unsigned word_count,
                       bool compressed) noexcept;

// Reads the pixels of an image whose size stands in it already. Claims no more memory than the rest of the file can
// stand for. After a failure the image is empty, except after a broken chunk stream: then it holds what was decoded.
unsigned int load_native_pixels(image_state& image, native_source& source, std::uint64_t pixel_bytes,
                                bool compressed) noexcept;

} // namespace zarn
