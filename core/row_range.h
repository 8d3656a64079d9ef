// The rows that one worker handles.
#pragma once

#include <cstdint>

namespace zarn {

// Rows [start, end), and the place of their band in the order of bands.
struct row_range {
    std::uint32_t start = 0;
    std::uint32_t end = 0;
    std::uint32_t band = 0;
};

} // namespace zarn
