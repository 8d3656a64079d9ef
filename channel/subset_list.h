// The regions of a single-channel image: pixels that differ from a background, joined through all eight neighbours.
#pragma once

#include <cstdint>

#include <zarn/list.h>
#include <zarn/subset.h>

#include "core/owned_array.h"

namespace zarn {

// What the fill works on: a byte per pixel, top row first, 0 background and 255 foreground, and one pixel of background
// on every side, so that no neighbour needs a bounds test.
class region_mask {
public:
    // False when memory is short. The pixels hold anything until `fill`.
    bool allocate(std::uint32_t width, std::uint32_t height) noexcept;

    // Foreground is every sample that differs from `background`, compared in the sample's width.
    template <class Sample>
    void fill(const Sample* samples, bool lower_left, std::uint32_t background) noexcept;

    std::uint8_t* bytes() noexcept { return ___bytes.get(); }           // the padded corner
    std::uint32_t width() const noexcept { return ___width; }           // without the border
    std::uint32_t height() const noexcept { return ___height; }         // without the border
    std::uint64_t stride() const noexcept { return ___stride; }         // bytes from row to row
    std::uint64_t foreground() const noexcept { return ___foreground; } // pixels of 255

private:
    owned_array<std::uint8_t> ___bytes;
    std::uint32_t ___width = 0, ___height = 0;
    std::uint64_t ___stride = 0;
    std::uint64_t ___foreground = 0;
};

extern template void region_mask::fill<std::uint8_t>(const std::uint8_t*, bool, std::uint32_t) noexcept;
extern template void region_mask::fill<std::uint16_t>(const std::uint16_t*, bool, std::uint32_t) noexcept;
extern template void region_mask::fill<std::uint32_t>(const std::uint32_t*, bool, std::uint32_t) noexcept;

// Releases the subsets, their points and the array of the list.
void clear_subsets(zarn_list<zarn_subset_s*>& subsets) noexcept;

enum class subset_result {
    done,
    no_subset, // memory ran out for a subset: its entry is null, or missing when the list itself could not grow
    no_points, // memory ran out for points: the last subset has none of them
};

// Fills an empty list with the mask's regions, ordered by their top-most, then left-most pixel. Works in the mask,
// which must hold 0 and 255 only and is spoilt afterwards. After a failure the subsets built so far are in the list.
subset_result build_subsets(region_mask& mask, zarn_list<zarn_subset_s*>& subsets) noexcept;

// Stretches each subset's samples to the full range. Points outside the image are skipped.
template <class Sample>
void normalize_subsets(const zarn_list<zarn_subset_s*>& subsets, Sample* samples, std::uint32_t width,
                       std::uint32_t height, bool lower_left) noexcept;

extern template void normalize_subsets(const zarn_list<zarn_subset_s*>&, std::uint8_t*, std::uint32_t, std::uint32_t,
                                       bool) noexcept;
extern template void normalize_subsets(const zarn_list<zarn_subset_s*>&, std::uint16_t*, std::uint32_t, std::uint32_t,
                                       bool) noexcept;
extern template void normalize_subsets(const zarn_list<zarn_subset_s*>&, std::uint32_t*, std::uint32_t, std::uint32_t,
                                       bool) noexcept;

} // namespace zarn
