// Files by wide path, with 64-bit positions. One source per system implements these functions.
#pragma once

#include <cstdint>
#include <cstdio>

namespace zarn {

enum class file_access : std::uint8_t {
    read,   // an existing regular file
    write,  // created or emptied
    update, // an existing file, read and written in place
};

// Opens a file by wide path (any characters, on Linux as UTF-8); null on failure. Directories, pipes and devices are
// not opened for reading, so that no open or read can hang.
std::FILE* open_file(const wchar_t* path, file_access access) noexcept;

// Sets the position from the start of the file.
bool seek_file(std::FILE* file, std::uint64_t offset) noexcept;

// The size in bytes; the position stays.
bool file_size(std::FILE* file, std::uint64_t& bytes) noexcept;

// The current position.
bool tell_file(std::FILE* file, std::uint64_t& offset) noexcept;

} // namespace zarn
