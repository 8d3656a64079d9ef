// Which files FreeImage loads, and their bitmaps.
#pragma once

#include "core/freeimage.h"

namespace zarn {

struct deep_format {
    const wchar_t* ending;
    freeimage::file_format format;
    bool standard_bitmaps; // false: those are left to DevIL
    bool either_depth;     // for images of either depth too
};

// By the ending of the path; null where the file is DevIL's.
const deep_format* deep_format_of(const wchar_t* path) noexcept;

// Whether there is a file that FreeImage may look at.
bool is_fit_for_freeimage(const wchar_t* path) noexcept;

// The bitmap of a file that FreeImage is to load; none where the load is DevIL's.
freeimage::bitmap load_bitmap(const wchar_t* path, const deep_format& format) noexcept;

} // namespace zarn
