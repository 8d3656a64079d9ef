// What the forms of the box passes share: lines of pixels and the spans that run along them.
#pragma once

#include <algorithm>
#include <cstdint>

#include "kernels/blur.h"
#include "kernels/row_ring.h"

namespace zarn {

// One pass over some rows. Along the pass source and destination may differ, across it the source covers the
// destination.
struct box_pass_job {
    box_area source;
    box_area destination;
    std::uint32_t width; // of the padded picture
    std::uint32_t height;
    std::uint32_t radius;
    bool blur_colour;
    bool blur_alpha;
    row_ring ring; // of the rows between the passes: the destination of the first, the source of the second

    // Where the source of the second pass keeps its row `y`, counted from its first.
    std::uint64_t source_row(std::uint64_t y) const {
        return ring.place(static_cast<std::uint32_t>(y + source.top)) - source.top;
    }
};

// The positions of a pass along its lines: `length` of them, the source holding [source_first, source_end), wanted
// [first, end).
struct box_line {
    std::uint64_t length;
    std::uint64_t source_first;
    std::uint64_t source_end;
    std::uint64_t first;
    std::uint64_t end;
    std::uint64_t radius;

    static box_line of_rows(const box_pass_job& job) {
        return {job.width,
                job.source.left,
                std::uint64_t{job.source.left} + job.source.width,
                job.destination.left,
                std::uint64_t{job.destination.left} + job.destination.width,
                job.radius};
    }
    static box_line of_columns(const box_pass_job& job) {
        return {job.height,
                job.source.top,
                std::uint64_t{job.source.top} + job.source.height,
                job.destination.top,
                std::uint64_t{job.destination.top} + job.destination.height,
                job.radius};
    }

    // Where the source holds a position or the one nearest to it.
    std::uint64_t in_source(std::uint64_t i) const {
        return std::min(std::max(i, source_first), source_end - 1) - source_first;
    }
    std::uint64_t span_length() const { return std::min(2 * radius + 1, length); }

    // The span of the first wanted position, but for what enters there.
    std::uint64_t start_of_first_span() const { return first - std::min(first, radius); }
    std::uint64_t end_of_first_span() const { return std::min(length, first + radius); }

    bool leaves(std::uint64_t i) const { return i > first && i > radius; }
    bool enters(std::uint64_t i) const { return i + radius < length; }
    std::uint64_t leaving(std::uint64_t i) const { return in_source(i - radius - 1); }
    std::uint64_t entering(std::uint64_t i) const { return in_source(i + radius); }
};

} // namespace zarn
