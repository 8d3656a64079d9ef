#include "core/native_file.h"

#include <algorithm>
#include <cstring>

#include <zarn/binary.h>

#include "core/image_state.h"
#include "core/lz4_stream.h"
#include "core/platform/files.h"

namespace zarn {

namespace {

constexpr std::uint32_t impossible_type = 0xFFFFFFFF;

bool write_words(std::FILE* file, const std::uint32_t* words, unsigned count) noexcept {
    for (unsigned i = 0; i < count; ++i) {
        unsigned char bytes[4];
        for (unsigned b = 0; b < 4; ++b) bytes[b] = static_cast<unsigned char>(words[i] >> (8 * b));
        if (std::fwrite(bytes, 1, sizeof(bytes), file) != sizeof(bytes)) return false;
    }
    return true;
}

bool read_words(native_source& source, std::uint32_t* words, unsigned count) noexcept {
    for (unsigned i = 0; i < count; ++i) {
        unsigned char bytes[4];
        if (!source.read(bytes, sizeof(bytes))) return false;
        words[i] = 0;
        for (unsigned b = 0; b < 4; ++b) words[i] |= static_cast<std::uint32_t>(bytes[b]) << (8 * b);
    }
    return true;
}

unsigned int fail_decompression(image_state& image) noexcept {
    return fail(image, L"Compression Error: Failed to decompress pixels from file.");
}

// The file ends before what its header stands for.
unsigned int fail_short_file(image_state& image, bool compressed) noexcept {
    release_pixels(image);
    if (compressed) return fail_decompression(image);
    return fail(image, L"Failed to read pixels from file. Unexpected end of file.");
}

std::uint64_t bytes_left(std::FILE* file) noexcept {
    std::uint64_t size = 0;
    std::uint64_t position = 0;
    if (!file_size(file, size) || !tell_file(file, position)) return 0;
    return size - std::min(size, position);
}

// Whether the rest of the file can hold an array of this size, so that a false header claims no memory.
bool is_plausible(std::uint64_t bytes, std::uint64_t left, bool compressed) noexcept {
    return (compressed ? (bytes + lz4_largest_ratio - 1) / lz4_largest_ratio : bytes) <= left;
}

} // namespace

unsigned int save_native(image_state& image, const wchar_t* path, const std::uint32_t* words, unsigned word_count,
                         std::uint64_t pixel_bytes, bool compress) noexcept {
    owned_file file(open_file(path, file_access::write));
    if (!file) return fail(image, L"Failed to open file for binary write.");

    const std::uint64_t bytes = has_pixels(image) ? pixel_count(image) * pixel_bytes : 0;
    const std::uint32_t type = words[0] + (compress ? native_compressed : 0);
    bool written = write_words(file.get(), &type, 1) && write_words(file.get(), words + 1, word_count - 1);
    if (compress) {
        if (!zarn_compress_bytes_to_file_lz4(image.pixels, bytes, file.get())) {
            return fail(image, L"Compression Error: Failed to compress pixels to file.");
        }
    } else if (bytes) {
        written = written && std::fwrite(image.pixels, 1, static_cast<std::size_t>(bytes), file.get()) == bytes;
    }
    // A full disk may show only when the last bytes leave the buffer.
    written = std::fclose(file.release()) == 0 && written;
    return written ? 1 : fail(image, L"Failed to write image to file.");
}

std::uint64_t native_source::left() const noexcept { return ___file ? bytes_left(___file.get()) : ___left; }

bool native_source::read(void* bytes, std::uint64_t count) noexcept {
    const auto size = static_cast<std::size_t>(count);
    if (___file) return std::fread(bytes, 1, size, ___file.get()) == size;
    if (count > ___left) return false;
    if (size) std::memcpy(bytes, ___data, size);
    ___data += size;
    ___left -= count;
    return true;
}

bool native_source::read_lz4(void* destination, std::uint64_t capacity, std::uint64_t& produced) noexcept {
    return ___file ? read_lz4_stream(destination, capacity, ___file.get(), produced)
                   : read_lz4_stream(destination, capacity, ___data, ___left, produced);
}

native_source open_native(image_state& image, const wchar_t* path, std::uint32_t& type) noexcept {
    free_image(image);
    native_source source(owned_file(open_file(path, file_access::read)));
    if (!source) {
        fail(image, L"Failed to open file for binary read.");
    } else if (!read_words(source, &type, 1)) {
        type = impossible_type;
    }
    return source;
}

native_source open_native(image_state& image, const unsigned char* data, std::uint32_t size,
                          std::uint32_t& type) noexcept {
    free_image(image);
    native_source source(data, size);
    if (!read_words(source, &type, 1)) type = impossible_type;
    return source;
}

bool read_native_words(image_state& image, native_source& source, std::uint32_t* words, unsigned word_count,
                       bool compressed) noexcept {
    if (read_words(source, words, word_count)) return true;
    fail_short_file(image, compressed);
    return false;
}

unsigned int load_native_pixels(image_state& image, native_source& source, std::uint64_t pixel_bytes,
                                bool compressed) noexcept {
    const std::uint64_t count = pixel_count(image);
    if (count > UINT64_MAX / pixel_bytes || !is_plausible(count * pixel_bytes, source.left(), compressed)) {
        return fail_short_file(image, compressed);
    }
    // Nothing to hold; a stream of nothing does not decode.
    if (count == 0) return compressed ? fail_decompression(image) : 1;
    image.pixels = allocate_pixels(count, pixel_bytes);
    if (!image.pixels) {
        release_pixels(image);
        return fail_allocation(image, image.names->pixel_member);
    }

    const std::uint64_t bytes = count * pixel_bytes;
    if (!compressed) {
        return source.read(image.pixels, bytes) ? 1 : fail_short_file(image, false);
    }
    std::uint64_t produced = 0;
    if (source.read_lz4(image.pixels, bytes, produced) && produced == bytes) return 1;
    std::memset(static_cast<char*>(image.pixels) + produced, 0, static_cast<std::size_t>(bytes - produced));
    return fail_decompression(image);
}

} // namespace zarn
