// The picture that both sides work on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zarn_bench {

// What a pixel consists of: whole numbers of 8 or 16 bits, or floats of 32; four of them are RGBA.
struct pixel_form {
    unsigned bits = 8;
    unsigned channels = 4;

    std::size_t sample_bytes() const { return bits / 8; }
    std::size_t pixel_bytes() const { return channels * sample_bytes(); }
    bool operator==(const pixel_form& other) const { return bits == other.bits && channels == other.channels; }
};
std::string name_of(const pixel_form& form); // as in "8 bits, one value"

// Rows from the top, without padding.
struct picture {
    unsigned width = 0;
    unsigned height = 0;
    pixel_form form{};
    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(pixels() * form.pixel_bytes());

    std::size_t pixels() const { return static_cast<std::size_t>(width) * height; }

    // A sample in levels of 0..255, what lies outside cut off.
    double level(std::size_t sample) const;
    void set_level(std::size_t sample, double level); // rounds
};

// Like a photograph with parts cut out: soft and hard-edged shapes under fine grain, opaque but for round holes with
// soft rims. About 13 % of the pixels are fully transparent and 3 % in between. The same for the same side. One value
// is the green one.
picture draw_photo(unsigned side, const pixel_form& form);

// Blobs of every size, each of one value, on 0: one value a pixel.
picture draw_labels(unsigned side, const pixel_form& form);

// Share of the pixels of a picture, 0..1.
struct alpha_shares {
    double transparent = 0.0; // alpha 0
    double partial = 0.0;     // neither 0 nor 255
};
alpha_shares measure_alpha(const picture& image);

} // namespace zarn_bench
