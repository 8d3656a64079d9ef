// Compositing of one picture onto another.
#pragma once

#include <cstdint>

#include "core/row_range.h"

namespace zarn {

// A host's callback in place of a blend mode, its types erased.
struct custom_blend {
    // Calls the host's callback with pixels of the format. What it throws must not get past this.
    void (*call)(const custom_blend& blend, float alpha, const void* destination, const void* source, void* result);
    void (*host_callback)();
    void* user_data;
};

struct blit_picture {
    std::uint32_t width;
    std::uint32_t height;
    bool lower_left;
};

struct blit_job {
    void* destination;
    const void* source;
    blit_picture destination_picture;
    blit_picture source_picture;
    std::uint32_t columns;  // how many are composited
    std::uint32_t source_x; // picture coordinates of the first pixel in the source,
    std::uint32_t source_y;
    std::uint32_t destination_x; // and of where it goes
    std::uint32_t destination_y;
    double opacity; // a float's value, but where coverage is the opacity of 32-bit values
    bool keep_alpha;
    const custom_blend* custom;
};

using blit_rows = void (*)(const blit_job& job, row_range rows);

// The kernel of a blend mode, by its code in <zarn/blend.h>. Its rows are picture rows of the source. Codes without a
// mode get one that applies the alpha rule only. The source has the destination's format; of real formats it may be of
// the other layout: then a value stands for all colours, and colours for their luma, a float that is not rounded. The
// custom mode hands out pixels as they lie, and of reals the result for the destination.
template <class Format, class Source = Format>
blit_rows blit_rows_for(std::uint32_t mode) noexcept;

} // namespace zarn
