#include "core/platform/files.h"

#include <new>

#include <sys/stat.h>

#include "core/owned_array.h"
#include "core/platform/narrow_path.h"

namespace zarn {

namespace {

// Opening a pipe or a device could wait for ever, and a directory opens but cannot be read.
bool is_regular_file(const char* path) noexcept {
    struct stat status;
    return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

std::FILE* open_file(const wchar_t* path, file_access access) noexcept {
    const owned_array<char> narrow = narrow_path(path);
    if (!narrow) return nullptr;
    switch (access) {
    case file_access::read:
        return is_regular_file(narrow.get()) ? std::fopen(narrow.get(), "rbe") : nullptr;
    case file_access::write:
        return std::fopen(narrow.get(), "wbe");
    case file_access::update:
        return is_regular_file(narrow.get()) ? std::fopen(narrow.get(), "r+be") : nullptr;
    }
    return nullptr;
}

bool seek_file(std::FILE* file, std::uint64_t offset) noexcept {
    return offset <= INT64_MAX && fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

bool file_size(std::FILE* file, std::uint64_t& bytes) noexcept {
    struct stat status;
    if (fstat(fileno(file), &status) != 0 || status.st_size < 0) return false;
    bytes = static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool tell_file(std::FILE* file, std::uint64_t& offset) noexcept {
    const off_t position = ftello(file);
    if (position < 0) return false;
    offset = static_cast<std::uint64_t>(position);
    return true;
}

} // namespace zarn
