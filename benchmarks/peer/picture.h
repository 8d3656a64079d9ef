// The picture that both sides work on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zarn_bench {

// RGBA of 8 or 16 bits, rows from the top, without padding.
struct picture {
    unsigned width = 0;
    unsigned height = 0;
    unsigned bits = 8;
    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(pixels() * pixel_bytes());

    std::size_t pixels() const { return static_cast<std::size_t>(width) * height; }
    std::size_t pixel_bytes() const { return bits / 2; }

    // A sample in levels of 0..255.
    double level(std::size_t sample) const {
        if (bits == 8) return bytes[sample];
        std::uint16_t value;
        std::memcpy(&value, &bytes[sample * 2], sizeof value);
        return value / 257.0;
    }
};

// Like a photograph with parts cut out: soft and hard-edged shapes under fine grain, opaque but for round holes with
// soft rims. About 13 % of the pixels are fully transparent and 3 % in between. The same for the same side.
picture draw_photo(unsigned side, unsigned bits);

// Share of the pixels of a picture, 0..1.
struct alpha_shares {
    double transparent = 0.0; // alpha 0
    double partial = 0.0;     // neither 0 nor 255
};
alpha_shares measure_alpha(const picture& image);

} // namespace zarn_bench
