// Paths as the import libraries take them.
#pragma once

#include "core/owned_array.h"
#include "core/platform/narrow_path.h"

namespace zarn {

#ifdef _WIN32

// Wide, as the host gave it.
class native_path {
public:
    explicit native_path(const wchar_t* path) noexcept
        : ___path(path) {}

    const wchar_t* get() const noexcept { return ___path; }
    bool is_lost() const noexcept { return false; }

private:
    const wchar_t* ___path;
};

#else

// UTF-8.
class native_path {
public:
    explicit native_path(const wchar_t* path) noexcept
        : ___narrow(narrow_path(path))
        , ___is_lost(path && !___narrow) {}

    // Null for a null path.
    const char* get() const noexcept { return ___narrow.get(); }
    // Memory was too short for the path.
    bool is_lost() const noexcept { return ___is_lost; }

private:
    owned_array<char> ___narrow;
    bool ___is_lost;
};

#endif

} // namespace zarn
