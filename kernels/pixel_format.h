// One description per stored pixel format. Every kernel is written over it; adding a format means adding a
// description here and a line to ZARN_FOR_EACH_FORMAT.
//
// A pixel is `colours` samples (red, green, blue, or one value) and, where there is one, the alpha sample behind them.
#pragma once

#include <cstdint>

namespace zarn {

struct rgba_8 {
    using sample = std::uint8_t;
    using box_sum = std::uint32_t; // holds the samples of any span of a line that memory can hold

    static constexpr unsigned colours = 3;
    static constexpr bool has_alpha = true;
    static constexpr sample full = 255;             // full scale, and the alpha of an opaque pixel
    static constexpr sample contrast_pivot = 127;   // the value that contrast leaves where it is
    static constexpr sample fill_marker = 128;      // alpha of a pixel filled in the running pass of alpha expansion
    static constexpr float to_unit = 0.003921569f;  // the float nearest 1/255
    static constexpr std::uint32_t native_type = 0; // type code in native files
};

struct rgba_16 {
    using sample = std::uint16_t;
    using box_sum = std::uint64_t;

    static constexpr unsigned colours = 3;
    static constexpr bool has_alpha = true;
    static constexpr sample full = 65535;
    static constexpr sample contrast_pivot = 32766; // not half of full scale, on purpose
    static constexpr sample fill_marker = 32767;
    static constexpr float to_unit = 1.5259022e-05f; // the float nearest 1/65535
    static constexpr std::uint32_t native_type = 1;
};

#define ZARN_FOR_EACH_FORMAT(apply) apply(rgba_8) apply(rgba_16)

template <class Format>
inline constexpr unsigned channels = Format::colours + (Format::has_alpha ? 1 : 0);

template <class Format>
inline constexpr std::uint64_t pixel_bytes = channels<Format> * sizeof(typename Format::sample);

// Without an alpha sample every pixel is visible and opaque.
template <class Format>
inline bool is_visible(const typename Format::sample* pixel) noexcept {
    if constexpr (Format::has_alpha) return pixel[Format::colours] != 0;
    return true;
}

// The row in memory of a picture row.
inline std::uint32_t memory_row(std::uint32_t row, std::uint32_t height, bool lower_left) noexcept {
    return lower_left ? height - row - 1 : row;
}

} // namespace zarn
