// LZ4 chunk streams with the number of bytes they yield; see zarn/binary.h for the format.
#pragma once

#include <cstdint>
#include <cstdio>

namespace zarn {

// Bytes of data in every chunk but the last.
constexpr std::uint64_t lz4_chunk_bytes = 2097152;

// The most bytes that one byte of an LZ4 block can stand for.
constexpr std::uint64_t lz4_largest_ratio = 255;

// Reads a chunk stream; `produced` is the number of bytes written to `destination`, also after a failure.
bool read_lz4_stream(void* destination, std::uint64_t capacity, std::FILE* file, std::uint64_t& produced) noexcept;

// The same from memory, of which no more than `left` bytes are read; `cursor` ends behind what was.
bool read_lz4_stream(void* destination, std::uint64_t capacity, const unsigned char*& cursor, std::uint64_t left,
                     std::uint64_t& produced) noexcept;

} // namespace zarn
