// What the examples share: paths and messages.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

#include <zarn/zarn.h>

namespace example {

// A path from the command line, in UTF-8 whatever the system's setting, as the library takes it.
inline std::wstring wide(const std::filesystem::path& path) { return path.wstring(); }

// Prints what an image has to say, and hands the result of the operation through.
template <class Image>
bool tell(unsigned int done, const Image& image, const char* what) {
    if (done) return true;
    std::fprintf(stderr, "failed: %s\n", what);
    const zarn_list<wchar_t*>& messages = *image.get_error_stack();
    for (unsigned int i = 0; i < messages.get_count(); ++i) std::fprintf(stderr, "  %ls\n", messages[i]);
    return false;
}

// Puts a picture onto another, its top left corner at (x, y).
inline unsigned int lay(const zarn_image_8& piece, int x, int y, zarn_image_8& sheet) {
    return sheet.blit(piece, 0, 0, piece.get_width(), piece.get_height(), 1.0f, x, y, ZARN_BLEND_NORMAL, 0, nullptr,
                      nullptr);
}

// Starts the image-file libraries for as long as it lives.
struct session {
    session() { zarn_initialize(); }
    ~session() { zarn_shutdown(); }
    session(const session&) = delete;
    session& operator=(const session&) = delete;
};

} // namespace example
