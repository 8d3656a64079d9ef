// Conversion of imported bitmap rows to pixels: every bitmap type into every pixel format.
//
// Integer formats: integer samples are scaled to full scale; linear (real) ones are encoded with gamma 1/2.2 first,
// alpha included. Results are truncated and keep their low bits, so values beyond full scale wrap. 8-bit samples go
// into 8-bit formats as they are. Real formats keep real samples and scale integer ones to 0..1. A source without
// alpha gives a full one.
#pragma once

#include <cstdint>

#include "core/bitmap_type.h"
#include "kernels/pixel_format.h"

namespace zarn {

// The source component, 0 red to 3 alpha, that each sample of a pixel takes. Only formats without three colours ask.
struct component_choice {
    std::uint8_t of_sample[2] = {0, 3};
};

// The component that sample `i` of a pixel takes.
template <class Format>
constexpr unsigned component_of(unsigned i, component_choice choice) noexcept {
    return Format::colours == 3 ? i : choice.of_sample[i];
}

// Converts `width` pixels. The source row lies as its bitmap type says and is aligned for its samples.
template <class Format>
using import_row = void (*)(const void* source, typename Format::sample* pixels, std::uint32_t width,
                            component_choice choice);

// Null for bitmap_type::unknown.
template <class Format>
import_row<Format> import_row_for(bitmap_type type) noexcept;

} // namespace zarn
