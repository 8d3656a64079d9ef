// What a shape covers of a row of pixels.
#pragma once

#include <cstdint>

namespace zarn {

// Neighbouring pixels of a row that a shape covers.
struct coverage_span {
    std::uint32_t x;
    std::uint32_t y;
    std::uint32_t length;
    const std::uint8_t* covers; // one a pixel, or a single one
    bool is_uniform;            // a single one, for all pixels
};

struct span_painter {
    void (*paint)(const void* context, const coverage_span& span);
    const void* context;
};

} // namespace zarn
