// The picture that both sides work on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zarn_bench {

// RGBA of 8 bits, rows from the top, without padding.
struct picture {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<std::uint8_t> rgba;

    std::size_t pixels() const { return static_cast<std::size_t>(width) * height; }
};

// Like a photograph with parts cut out: soft and hard-edged shapes under fine grain, opaque but for round holes with
// soft rims. About 13 % of the pixels are fully transparent and 3 % in between. The same for the same side.
picture draw_photo(unsigned side);

// Share of the pixels of a picture, 0..1.
struct alpha_shares {
    double transparent = 0.0; // alpha 0
    double partial = 0.0;     // neither 0 nor 255
};
alpha_shares measure_alpha(const picture& image);

} // namespace zarn_bench
