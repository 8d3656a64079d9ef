// Conversion of pixels to rows of linear float samples, for files that hold such.
#pragma once

#include <cstdint>

#include "kernels/pixel_format.h"

namespace zarn {

// Linearises the first `components` samples of each of `width` pixels with gamma 2.2: 1 takes red alone, 3 the colour,
// 4 alpha too. A pixel of the destination has that many floats.
template <class Format>
void export_row(const typename Format::sample* pixels, float* destination, std::uint32_t width,
                unsigned components) noexcept;

} // namespace zarn
