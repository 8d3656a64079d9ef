// Saving of ordinary image files.
#pragma once

#include <cstdint>

#include <zarn/detail/image_state.h>

#include "core/devil.h"

namespace zarn {

template <class Format>
unsigned int save_image_file(image_state& image, const wchar_t* path, unsigned int format,
                             unsigned int compression) noexcept;

// Whether the ending of a path asks for a file of floats, "exr" or "hdr".
bool is_float_file(const wchar_t* path) noexcept;

// Writes a row in memory of the image, as `components` linear floats a pixel: RGB, RGBA or one.
struct float_rows {
    void (*write)(const void* context, std::uint32_t y, float* row, unsigned components);
    const void* context;
    bool top_row_first; // in memory
};
unsigned int save_float_file(image_state& image, const wchar_t* path, unsigned int code,
                             const float_rows& rows) noexcept;

// For DDS files, by compression code.
void choose_compression(devil::session& session, unsigned int compression) noexcept;

} // namespace zarn
