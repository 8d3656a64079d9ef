// Where the boxes of the area average lie along one axis.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace zarn {

// The source positions [start, end) that one destination position averages over.
struct area_box {
    std::uint32_t start;
    std::uint32_t end;
};

// Boxes along one axis. Every intermediate value is a 32-bit float; they set the result.
class area_box_placement {
public:
    area_box_placement(std::uint32_t source_length, std::uint32_t length)
        : ___source_length(source_length)
        , ___step(static_cast<float>(source_length) / static_cast<float>(length))
        , ___side(std::max(___step, 3.0f)) {}

    area_box operator()(std::uint32_t position) const {
        const float centre = std::trunc(static_cast<float>(position) * ___step + ___step * 0.5f);
        const float start = std::trunc(centre - ___side * 0.5f);
        const float end = std::trunc(start + ___side);
        // Beyond 2^24 pixels the floats may leave the source; an empty box is transparent then.
        const auto last = std::min(static_cast<std::int64_t>(end), static_cast<std::int64_t>(___source_length));
        const auto first = std::max<std::int64_t>(static_cast<std::int64_t>(start), 0);
        return {static_cast<std::uint32_t>(std::min(first, last)), static_cast<std::uint32_t>(last)};
    }

    // No box is longer.
    std::uint64_t longest() const { return static_cast<std::uint64_t>(___side) + 1; }

private:
    std::uint32_t ___source_length;
    float ___step;
    float ___side;
};

} // namespace zarn
