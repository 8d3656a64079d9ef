// The native image format: little-endian 32-bit header words, then the pixel array, raw or as an LZ4 chunk stream.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

#include <zarn/detail/image_state.h>

namespace zarn {

// Added to the image-type code of a file whose pixels are compressed.
constexpr std::uint32_t native_compressed = 1000;

struct file_closer {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using owned_file = std::unique_ptr<std::FILE, file_closer>;

// Writes `word_count` header words (the first is the type code of the raw form) and the image's pixels.
unsigned int save_native(image_state& image, const wchar_t* path, const std::uint32_t* words, unsigned word_count,
                         std::uint64_t pixel_bytes, bool compress) noexcept;

// Opens a native file and reads its type code into `type`; frees the image first. Null, with a message, when the file
// cannot be opened. A file too short for a code reads as an impossible one.
owned_file open_native(image_state& image, const wchar_t* path, std::uint32_t& type) noexcept;

// Reads the next header words; on a file that ends early pushes the message, empties the image and gives false.
bool read_native_words(image_state& image, std::FILE* file, std::uint32_t* words, unsigned word_count,
                       bool compressed) noexcept;

// Reads the pixels of an image whose size stands in it already. Claims no more memory than the rest of the file can
// stand for. After a failure the image is empty, except after a broken chunk stream: then it holds what was decoded.
unsigned int load_native_pixels(image_state& image, std::FILE* file, std::uint64_t pixel_bytes,
                                bool compressed) noexcept;

} // namespace zarn
