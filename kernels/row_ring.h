// Rows kept for a while in the room of fewer.
#pragma once

#include <cstdint>

namespace zarn {

// Where rows lie in an array: those from `first` up to `end` by turns in `capacity` rows from `first` on, all others in
// their own place.
struct row_ring {
    std::uint32_t first;
    std::uint32_t end;
    std::uint32_t capacity;

    std::uint64_t place(std::uint32_t row) const {
        return row < first || row >= end ? row : first + (row - first) % capacity;
    }
};

} // namespace zarn
