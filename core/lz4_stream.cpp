#include "core/lz4_stream.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include <lz4.h>

#include <zarn/binary.h>

#include "core/owned_array.h"

namespace zarn {

namespace {

constexpr std::uint64_t largest_chunk = LZ4_COMPRESSBOUND(lz4_chunk_bytes);

void store_u64(std::uint64_t value, unsigned char* bytes) noexcept {
    for (unsigned i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(value >> (8 * i));
}

std::uint64_t load_u64(const unsigned char* bytes) noexcept {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < 8; ++i) value |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
    return value;
}

bool write_bytes(const void* bytes, std::size_t count, std::FILE* file) noexcept {
    return std::fwrite(bytes, 1, count, file) == count;
}

bool write_u64(std::uint64_t value, std::FILE* file) noexcept {
    unsigned char bytes[8];
    store_u64(value, bytes);
    return write_bytes(bytes, sizeof(bytes), file);
}

// Where a stream comes from: `read` fetches the next bytes, `chunk` the next block and where it lies.
struct file_input {
    std::FILE* file;
    owned_array<unsigned char> buffer;

    bool read(unsigned char* bytes, std::size_t count) noexcept { return std::fread(bytes, 1, count, file) == count; }
    const unsigned char* chunk(std::size_t length) noexcept {
        return read(buffer.get(), length) ? buffer.get() : nullptr;
    }
};

struct memory_input {
    const unsigned char** cursor;
    std::uint64_t left;

    bool read(unsigned char* bytes, std::size_t count) noexcept {
        const unsigned char* const from = chunk(count);
        if (from) std::memcpy(bytes, from, count);
        return from != nullptr;
    }
    const unsigned char* chunk(std::size_t length) noexcept {
        if (length > left) return nullptr;
        const unsigned char* bytes = *cursor;
        *cursor += length;
        left -= length;
        return bytes;
    }
};

template <class Input>
bool decode_stream(Input& input, void* destination, std::uint64_t capacity, std::uint64_t& produced) noexcept {
    produced = 0;
    unsigned char number[8];
    if (!input.read(number, sizeof(number))) return false;
    for (std::uint64_t chunks = load_u64(number); chunks > 0; --chunks) {
        if (!input.read(number, sizeof(number))) return false;
        const std::uint64_t length = load_u64(number);
        if (length == 0 || length > largest_chunk) return false;
        const unsigned char* block = input.chunk(static_cast<std::size_t>(length));
        if (!block) return false;
        const int room = static_cast<int>(std::min<std::uint64_t>(capacity - produced, INT_MAX));
        const int decoded =
            LZ4_decompress_safe(reinterpret_cast<const char*>(block), static_cast<char*>(destination) + produced,
                                static_cast<int>(length), room);
        if (decoded < 1) return false;
        produced += static_cast<std::uint64_t>(decoded);
    }
    return true;
}

} // namespace

bool read_lz4_stream(void* destination, std::uint64_t capacity, std::FILE* file, std::uint64_t& produced) noexcept {
    produced = 0;
    file_input input{file, allocate_array<unsigned char>(largest_chunk)};
    return input.buffer && decode_stream(input, destination, capacity, produced);
}

bool read_lz4_stream(void* destination, std::uint64_t capacity, const unsigned char*& cursor, std::uint64_t left,
                     std::uint64_t& produced) noexcept {
    memory_input input{&cursor, left};
    return decode_stream(input, destination, capacity, produced);
}

} // namespace zarn

unsigned int zarn_compress_bytes_to_file_lz4(const void* source, std::uint64_t size, std::FILE* file) {
    using namespace zarn;
    const owned_array<char> buffer = allocate_array<char>(largest_chunk);
    if (!buffer) return 0;
    const std::uint64_t chunks = size <= lz4_chunk_bytes ? 1 : (size - 1) / lz4_chunk_bytes + 1;
    if (!write_u64(chunks, file)) return 0;
    const char* bytes = static_cast<const char*>(source);
    for (std::uint64_t start = 0, chunk = 0; chunk < chunks; ++chunk, start += lz4_chunk_bytes) {
        const int length = static_cast<int>(std::min(size - start, lz4_chunk_bytes));
        // LZ4 wants a valid address even for a block of no bytes.
        const char* data = length ? bytes + start : "";
        const int packed = LZ4_compress_default(data, buffer.get(), length, static_cast<int>(largest_chunk));
        if (packed < 1 || !write_u64(static_cast<std::uint64_t>(packed), file)) return 0;
        if (!write_bytes(buffer.get(), static_cast<std::size_t>(packed), file)) return 0;
    }
    return 1;
}

unsigned int zarn_decompress_bytes_from_file_lz4(void* destination, std::uint64_t capacity, std::FILE* file) {
    std::uint64_t produced = 0;
    return zarn::read_lz4_stream(destination, capacity, file, produced) ? 1u : 0u;
}

unsigned int zarn_decompress_bytes_from_memory_lz4(void* destination, std::uint64_t capacity,
                                                   const unsigned char** cursor) {
    std::uint64_t produced = 0;
    return zarn::read_lz4_stream(destination, capacity, *cursor, UINT64_MAX, produced) ? 1u : 0u;
}
