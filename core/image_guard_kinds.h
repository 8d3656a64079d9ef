// Which decoder of an import library a file goes to, found the way the libraries find it.
#pragma once

#include "core/image_guard.h"

#include <cstdint>

namespace zarn {

enum class image_kind : std::uint8_t {
    unknown,
    // Not even a sound file can be decoded safely, or the decoder trusts every number of an intricate file.
    refused,
    bmp,
    dds,
    dpx,
    exr,
    fits,
    ftx,
    gif,
    hdr,
    icon,
    jpeg,
    lif,
    mng,
    pcx,
    pix,
    png,
    pnm,
    psd,
    pxr,
    sgi,
    sun,
    tga,
    tiff,
    vtf,
    wal,
    wbmp,
};

// DevIL: by the text after the path's last dot, without regard to case.
image_kind image_kind_of_extension(const wchar_t* path) noexcept;
// FreeImage: by the path's last characters, with or without a dot.
image_kind image_kind_of_ending(const wchar_t* path) noexcept;
// DevIL, where the extension says nothing: by the first bytes.
image_kind image_kind_of_content(byte_source& bytes) noexcept;

} // namespace zarn
