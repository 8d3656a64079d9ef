// How the samples of an imported bitmap lie in its rows. The codes are those of the import library.
#pragma once

#include <cstdint>

namespace zarn {

enum class bitmap_type : std::uint8_t {
    unknown = 0,
    standard = 1, // 1 to 32 bits, with or without a palette; in rows to convert: 32 bits, blue, green, red, alpha
    grey_u16 = 2,
    grey_i16 = 3,
    grey_u32 = 4,
    grey_i32 = 5,
    grey_f32 = 6,
    grey_f64 = 7,
    complex_f64 = 8, // real part, imaginary part
    rgb_u16 = 9,
    rgba_u16 = 10,
    rgb_f32 = 11,
    rgba_f32 = 12,
};

} // namespace zarn
