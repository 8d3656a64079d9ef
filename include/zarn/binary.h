// LZ4 chunk streams: the compressed form of the pixel array in a native image file.
//
// A stream is the number of chunks (64-bit little-endian), then for every chunk its length (64-bit little-endian) and
// one independent LZ4 block of that many bytes. Every chunk but the last holds 2 MiB of the data; an empty block of
// data is one chunk that holds 0 bytes. All three functions return 1 for success and 0 for failure and run on the
// calling thread. The two that work on files hold one buffer of about 2 MiB, whatever the size of the data.
#pragma once

#include <cstdint>
#include <cstdio>

#include <zarn/export.h>

/// Writes `size` bytes from `source` as a chunk stream at the file's position. 0 when the buffer cannot be allocated
/// (nothing is written then), when a chunk cannot be compressed or when a write fails (a partial stream stays).
ZARN_API unsigned int zarn_compress_bytes_to_file_lz4(const void* source, std::uint64_t size, std::FILE* file);

/// Reads a chunk stream from the file's position into `destination`, which holds `capacity` bytes. 0 when the buffer
/// cannot be allocated, the file ends early, a chunk length is 0 or larger than a chunk can be, or a chunk does not
/// decode to at least one byte within the capacity. A stream of fewer bytes than `capacity` is not reported.
ZARN_API unsigned int zarn_decompress_bytes_from_file_lz4(void* destination, std::uint64_t capacity, std::FILE* file);

/// The same from memory. `*cursor` points at the stream and is moved past everything consumed, a chunk that does not
/// decode included. Only the lengths in the stream bound the reads: the caller vouches for the memory.
ZARN_API unsigned int zarn_decompress_bytes_from_memory_lz4(void* destination, std::uint64_t capacity,
                                                            const unsigned char** cursor);
