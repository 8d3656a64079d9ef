#include "core/platform/clipboard.h"

#include <utility>

#ifndef WIN32_LEAN_AND_MEAN
    #define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
    #define NOMINMAX
#endif
#include <windows.h>

namespace zarn {

namespace {

class open_clipboard {
public:
    open_clipboard() noexcept
        : ___is_open(OpenClipboard(nullptr) != 0) {}
    ~open_clipboard() {
        if (___is_open) CloseClipboard();
    }
    open_clipboard(const open_clipboard&) = delete;
    open_clipboard& operator=(const open_clipboard&) = delete;

    explicit operator bool() const noexcept { return ___is_open; }

private:
    bool ___is_open;
};

class window_context {
public:
    explicit window_context(zarn_window_handle window) noexcept
        : ___window(window)
        , ___context(GetDC(window)) {}
    ~window_context() {
        if (___context) ReleaseDC(___window, ___context);
    }
    window_context(const window_context&) = delete;
    window_context& operator=(const window_context&) = delete;

    HDC get() const noexcept { return ___context; }

private:
    HWND ___window;
    HDC ___context;
};

// Bitmaps of at most 8 bits come with their palette, behind the header.
struct bitmap_info {
    BITMAPINFOHEADER header;
    RGBQUAD palette[256];
};

} // namespace

// Windows answers at once: no time is spent waiting.
clipboard_result take_clipboard_picture(zarn_window_handle window, std::chrono::milliseconds,
                                        clipboard_picture& picture) noexcept {
    const open_clipboard clipboard;
    if (!clipboard) return clipboard_result::not_opened;
    if (!IsClipboardFormatAvailable(CF_BITMAP)) return clipboard_result::without_picture;

    const HANDLE handle = GetClipboardData(CF_BITMAP);
    BITMAP record{};
    if (!handle || GetObjectW(handle, sizeof(record), &record) == 0 || record.bmWidth < 1 || record.bmHeight < 1) {
        return clipboard_result::no_bits;
    }
    const auto width = static_cast<std::uint32_t>(record.bmWidth);
    const auto height = static_cast<std::uint32_t>(record.bmHeight);
    const std::uint32_t bits = record.bmBitsPixel;

    bitmap_info info{};
    info.header.biSize = sizeof(info.header);
    info.header.biWidth = record.bmWidth;
    info.header.biHeight = -record.bmHeight; // the top row first
    info.header.biPlanes = record.bmPlanes;
    info.header.biBitCount = record.bmBitsPixel;
    info.header.biCompression = BI_RGB;
    info.header.biSizeImage = bits / 8 * height * width;

    // The system pads its rows to four bytes, whatever size the header says.
    const std::uint64_t padded_row = (std::uint64_t{width} * bits + 31) / 32 * 4;
    owned_array<std::uint8_t> bytes = allocate_array<std::uint8_t>(padded_row * height);
    if (!bytes) return clipboard_result::no_memory;
    const window_context context(window);
    const int rows = GetDIBits(context.get(), static_cast<HBITMAP>(handle), 0, height, bytes.get(),
                               reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS);
    if (rows == 0) return clipboard_result::no_bits;

    picture.bytes_are = clipboard_picture::form::bitmap;
    picture.bytes = std::move(bytes);
    picture.width = width;
    picture.height = height;
    picture.bits_per_pixel = bits;
    return clipboard_result::taken;
}

} // namespace zarn
