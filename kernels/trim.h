// Where the visible pixels of an image begin and end.
#pragma once

#include <cstdint>

namespace zarn {

// Fully invisible lines at each edge, rows in memory order.
struct invisible_margins {
    std::uint32_t first_rows;
    std::uint32_t last_rows;
    std::uint32_t left_columns;
    std::uint32_t right_columns;
};

// False when the image counts as wholly invisible. The search from the far end of an axis never looks at the first row
// or column, so pixels that lie only there do not save an image.
template <class Format>
bool find_visible_area(const typename Format::sample* pixels, std::uint32_t width, std::uint32_t height,
                       invisible_margins& margins);

} // namespace zarn
