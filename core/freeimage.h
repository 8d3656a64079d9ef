// The library of the deep image formats (FreeImage), and nothing of it that this library does not use.
//
// Needs no start; different bitmaps are independent of each other. Built without FreeImage, every load and every
// allocation yields no bitmap.
#pragma once

#include <cstdint>

#include "core/bitmap_type.h"

namespace zarn::freeimage {

enum class file_format : std::uint8_t { tiff = 18, psd = 20, hdr = 26, exr = 29 };

// How the samples of an EXR file are stored; both compressed.
constexpr int exr_half_samples = 8;
constexpr int exr_float_samples = 9;

// Owns a bitmap, or none. Row 0 is the first in memory.
class bitmap {
public:
    bitmap() noexcept = default;
    ~bitmap();
    bitmap(bitmap&& other) noexcept;
    bitmap& operator=(bitmap&& other) noexcept;

    // No bitmap on failure. Only files that core/image_guard.h accepts may be loaded: damage in others crashes or hangs
    // the decoders. Without pixels the bitmap has a type and a size, but no rows.
    enum class content : std::uint8_t { pixels, header };
    static bitmap load(file_format format, const wchar_t* path, content wanted = content::pixels) noexcept;

    // Cleared pixels, or no bitmap. `type` is one of float samples.
    static bitmap allocate(bitmap_type type, std::uint32_t width, std::uint32_t height) noexcept;

    explicit operator bool() const noexcept { return ___handle != nullptr; }

    // None of these may be called without a bitmap.
    bitmap_type type() const noexcept;
    std::uint32_t width() const noexcept;
    std::uint32_t height() const noexcept;
    std::uint32_t bits_per_pixel() const noexcept;
    bool is_top_down() const noexcept; // the first row in memory is the top row of the picture
    const void* row(std::uint32_t y) const noexcept;
    void* row(std::uint32_t y) noexcept;

    // A copy of 32 bits a pixel; no bitmap when the type does not convert or memory is short.
    bitmap to_32_bits() const noexcept;

    // Replaces the file. Row 0 becomes the bottom row of the picture.
    bool save(file_format format, const wchar_t* path, int flags) const noexcept;

private:
    explicit bitmap(void* handle) noexcept
        : ___handle(handle) {}

    void* ___handle = nullptr;
};

} // namespace zarn::freeimage
