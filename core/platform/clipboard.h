// The picture on the clipboard. One source per system implements this function.
#pragma once

#include <chrono>
#include <cstdint>

#include <zarn/window.h>

#include "core/owned_array.h"

namespace zarn {

enum class clipboard_result : std::uint8_t {
    taken,
    not_opened,      // no clipboard, or another program holds it
    without_picture, // or its owner does not answer
    no_memory,       // for the picture; also where it is larger than any sensible one
    no_bits,         // the picture that was offered is not delivered
};

// Either the bytes of a BMP or PNG file, unchecked, or a decoded bitmap.
struct clipboard_picture {
    enum class form : std::uint8_t { file, bitmap };

    form bytes_are = form::file;
    owned_array<std::uint8_t> bytes;
    std::uint32_t size = 0; // bytes of the file
    // Of a bitmap, whose pixels are packed from the top row on, blue, green, red in 24 bits, and one byte more in 32.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t bits_per_pixel = 0;
};

// Fills `picture` only where it is taken. `patience` limits the time for which the owner of the clipboard and an
// accepted connection are waited for. Only connecting has no limit of its own: a display server that is there but
// stands still keeps every program waiting.
//
// On Windows: the bitmap (CF_BITMAP), as the screen of `window` shows it. Elsewhere: the CLIPBOARD selection of the X
// server that DISPLAY names, as BMP, else as PNG file; `window` is not used. While the calling thread waits, it serves
// no selection that it owns itself.
clipboard_result take_clipboard_picture(zarn_window_handle window, std::chrono::milliseconds patience,
                                        clipboard_picture& picture) noexcept;

} // namespace zarn
