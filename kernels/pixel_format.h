// One description per stored pixel format. Every kernel is written over it; adding a format means adding a
// description here and a line to ZARN_FOR_EACH_FORMAT.
//
// A pixel is `colours` samples (red, green, blue, or one value) and, where there is one, the alpha sample behind them.
#pragma once

#include <cstdint>
#include <type_traits>

#include <half.hpp>

namespace zarn {

// What a depth of integer samples fixes for every format.
template <class Sample>
struct depth_constants;

template <>
struct depth_constants<std::uint8_t> {
    using real = float;            // what single samples are computed in
    using box_sum = std::uint32_t; // holds the samples of any span of a line that memory can hold

    static constexpr std::uint8_t contrast_pivot = 127; // the value that contrast leaves where it is
    static constexpr std::uint8_t fill_marker = 128; // alpha of a pixel filled in the running pass of alpha expansion
    static constexpr real to_unit = 0.003921569f;    // the float nearest 1/255
    static constexpr std::uint32_t native_type = 0;  // type code in native files
};

template <>
struct depth_constants<std::uint16_t> {
    using real = float;
    using box_sum = std::uint64_t;

    static constexpr std::uint16_t contrast_pivot = 32766; // not half of full scale, on purpose
    static constexpr std::uint16_t fill_marker = 32767;
    static constexpr real to_unit = 1.5259022e-05f; // the float nearest 1/65535
    static constexpr std::uint32_t native_type = 1;
};

template <>
struct depth_constants<std::uint32_t> {
    using real = double; // a float's mantissa is too short
    using box_sum = std::uint64_t;

    static constexpr std::uint32_t contrast_pivot = 2147483646;
    static constexpr std::uint32_t fill_marker = 0x7FFFFFFF;
    static constexpr real to_unit = 1.0 / 4294967295.0;
    static constexpr std::uint32_t native_type = 2;
};

template <class Sample, unsigned Colours, bool HasAlpha>
struct integer_format : depth_constants<Sample> {
    using sample = Sample;

    static constexpr unsigned colours = Colours;
    static constexpr bool has_alpha = HasAlpha;
    static constexpr sample full = static_cast<sample>(~sample{0}); // full scale, and the alpha of an opaque pixel
};

struct rgba_8 : integer_format<std::uint8_t, 3, true> {};
struct rgba_16 : integer_format<std::uint16_t, 3, true> {};
struct value_8 : integer_format<std::uint8_t, 1, false> {};
struct value_16 : integer_format<std::uint16_t, 1, false> {};
struct value_32 : integer_format<std::uint32_t, 1, false> {};
struct grey_8 : integer_format<std::uint8_t, 1, true> {};
struct grey_16 : integer_format<std::uint16_t, 1, true> {};
struct grey_32 : integer_format<std::uint32_t, 1, true> {};

// Reals nominally in 0..1. Halves are computed in floats, and stored with the half type's own rounding.
template <class Sample, unsigned Colours>
struct real_format {
    using sample = Sample;
    using real = float;
    using box_sum = double;

    static constexpr unsigned colours = Colours;
    static constexpr bool has_alpha = true;
    static constexpr real full = 1.0f;
    static constexpr real contrast_pivot = 0.5f;
    static constexpr real fill_marker = 0.5f;
    static constexpr real to_unit = 1.0f;
    static constexpr std::uint32_t native_type = sizeof(Sample) == 4 ? 3 : 4;
};

struct colour_real_32 : real_format<float, 3> {};
struct grey_real_32 : real_format<float, 1> {};
struct colour_real_16 : real_format<half_float::half, 3> {};
struct grey_real_16 : real_format<half_float::half, 1> {};

#define ZARN_FOR_EACH_REAL_COLOUR_FORMAT(apply) apply(colour_real_32) apply(colour_real_16)
#define ZARN_FOR_EACH_REAL_GREY_FORMAT(apply) apply(grey_real_32) apply(grey_real_16)
#define ZARN_FOR_EACH_REAL_FORMAT(apply) ZARN_FOR_EACH_REAL_COLOUR_FORMAT(apply) ZARN_FOR_EACH_REAL_GREY_FORMAT(apply)
#define ZARN_FOR_EACH_RGBA_FORMAT(apply) apply(rgba_8) apply(rgba_16)
#define ZARN_FOR_EACH_VALUE_FORMAT(apply)                                                                              \
    apply(value_8) apply(value_16) apply(value_32) apply(grey_8) apply(grey_16) apply(grey_32)
#define ZARN_FOR_EACH_TABULABLE_FORMAT(apply)                                                                          \
    ZARN_FOR_EACH_RGBA_FORMAT(apply) apply(value_8) apply(value_16) apply(grey_8) apply(grey_16)
#define ZARN_FOR_EACH_INTEGER_FORMAT(apply) ZARN_FOR_EACH_RGBA_FORMAT(apply) ZARN_FOR_EACH_VALUE_FORMAT(apply)

#define ZARN_FOR_EACH_FORMAT(apply) ZARN_FOR_EACH_INTEGER_FORMAT(apply) ZARN_FOR_EACH_REAL_FORMAT(apply)

template <class Format>
inline constexpr unsigned channels = Format::colours + (Format::has_alpha ? 1 : 0);

template <class Format>
inline constexpr std::uint64_t pixel_bytes = channels<Format> * sizeof(typename Format::sample);

template <class Format>
inline constexpr bool is_real = !std::is_integral_v<typename Format::sample>;

// The depth of samples that have values enough to be worth a table of them all.
template <class Format>
inline constexpr bool is_tabulable = !is_real<Format> && sizeof(typename Format::sample) <= 2;

// Without an alpha sample every pixel is visible and opaque.
template <class Format>
inline bool is_visible(const typename Format::sample* pixel) noexcept {
    if constexpr (Format::has_alpha) return pixel[Format::colours] != typename Format::sample(0);
    return true;
}

// The row in memory of a picture row.
inline std::uint32_t memory_row(std::uint32_t row, std::uint32_t height, bool lower_left) noexcept {
    return lower_left ? height - row - 1 : row;
}

} // namespace zarn
