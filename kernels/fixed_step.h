// Where nearest-neighbour scaling finds its columns and rows.
#pragma once

#include <cstdint>

namespace zarn {

// The source position of a destination position, in steps of 16.16 fixed point; mirrored ones count from the far end.
class fixed_step {
public:
    fixed_step(std::uint32_t source_length, std::uint32_t length, bool mirrored) noexcept
        : ___step((std::uint64_t{source_length} << 16) / length)
        , ___last(length - 1)
        , ___mirrored(mirrored) {}

    std::uint32_t operator()(std::uint32_t position) const noexcept {
        return static_cast<std::uint32_t>(((___mirrored ? ___last - position : position) * ___step) >> 16);
    }
    std::uint64_t step() const noexcept { return ___step; }

private:
    std::uint64_t ___step;
    std::uint64_t ___last;
    bool ___mirrored;
};

} // namespace zarn
