#include "core/platform/files.h"

#include <io.h>
#include <share.h>

namespace zarn {

std::FILE* open_file(const wchar_t* path, file_access access) noexcept {
    if (!path || !*path) return nullptr;
    const wchar_t* mode = access == file_access::read ? L"rb" : access == file_access::write ? L"wb" : L"r+b";
    // Decoders open a file again while it is being looked at.
    return _wfsopen(path, mode, access == file_access::read ? _SH_DENYNO : _SH_DENYRW);
}

bool seek_file(std::FILE* file, std::uint64_t offset) noexcept {
    return offset <= INT64_MAX && _fseeki64(file, static_cast<long long>(offset), SEEK_SET) == 0;
}

bool file_size(std::FILE* file, std::uint64_t& bytes) noexcept {
    const long long size = _filelengthi64(_fileno(file));
    if (size < 0) return false;
    bytes = static_cast<std::uint64_t>(size);
    return true;
}

bool tell_file(std::FILE* file, std::uint64_t& offset) noexcept {
    const long long position = _ftelli64(file);
    if (position < 0) return false;
    offset = static_cast<std::uint64_t>(position);
    return true;
}

} // namespace zarn
