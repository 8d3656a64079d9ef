// The picture the plain forms of the image operations work on: one run-time description for every integer pixel format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zarn_test {

constexpr std::uint32_t lower_left = 1537;
constexpr std::uint32_t upper_left = 1538;

struct reference_image {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t origin = 0;
    unsigned colours = 3; // colour samples of a pixel: 3 or 1
    bool has_alpha = true;
    std::uint64_t full = 255;           // the largest sample: 255, 65535 or 4294967295
    std::vector<std::uint32_t> samples; // in memory order; of each pixel the colours, then alpha if there is one

    unsigned stride() const { return colours + (has_alpha ? 1u : 0u); }

    // Whether the sample of this index in `samples` is a colour, not alpha.
    bool is_colour(std::size_t i) const { return i % stride() < colours; }

    // Memory order: row 0 is the first in memory.
    std::uint32_t* at(std::uint64_t x, std::uint64_t row) { return samples.data() + (row * width + x) * stride(); }
    const std::uint32_t* at(std::uint64_t x, std::uint64_t row) const {
        return samples.data() + (row * width + x) * stride();
    }
    // Picture order: row 0 is the top.
    std::uint32_t* at_picture(std::uint64_t x, std::uint64_t y) { return at(x, memory_row(y)); }
    const std::uint32_t* at_picture(std::uint64_t x, std::uint64_t y) const { return at(x, memory_row(y)); }
    std::uint64_t memory_row(std::uint64_t y) const { return origin == lower_left ? height - y - 1 : y; }

    // Without alpha every pixel is opaque.
    std::uint64_t alpha(const std::uint32_t* pixel) const { return has_alpha ? pixel[colours] : full; }
    bool visible(const std::uint32_t* pixel) const { return alpha(pixel) != 0; }

    // The same format and origin in another size, all samples 0.
    reference_image blank(std::uint32_t new_width, std::uint32_t new_height) const {
        reference_image other = *this;
        other.width = new_width;
        other.height = new_height;
        other.samples.assign(std::uint64_t{new_width} * new_height * stride(), 0);
        return other;
    }

    void copy_pixel(std::uint32_t* to, const std::uint32_t* from) const {
        for (unsigned i = 0; i < stride(); ++i) to[i] = from[i];
    }

    // Calls work(pixel, x, row) for every pixel in memory order.
    template <class Work>
    void each_pixel(Work&& work) {
        for (std::uint32_t row = 0; row < height; ++row) {
            for (std::uint32_t x = 0; x < width; ++x) work(at(x, row), x, row);
        }
    }
    // Becomes a picture of another size; pixel_for(x, y) gives the pixel that comes to column x, picture row y.
    template <class PixelFor>
    void rearrange(std::uint32_t new_width, std::uint32_t new_height, PixelFor&& pixel_for) {
        reference_image result = blank(new_width, new_height);
        result.each_pixel([&](std::uint32_t* pixel, std::uint32_t x, std::uint32_t row) {
            copy_pixel(pixel, pixel_for(x, static_cast<std::uint32_t>(result.memory_row(row))));
        });
        *this = result;
    }
};

inline bool operator==(const reference_image& a, const reference_image& b) {
    return a.width == b.width && a.height == b.height && a.origin == b.origin && a.samples == b.samples;
}

// A real number as a sample: truncated toward zero, low bits kept, 0 for NaN and for what 64 bits cannot hold.
inline std::uint32_t to_sample(double value, std::uint64_t full) {
    if (!(value >= -9223372036854775808.0 && value < 9223372036854775808.0)) return 0;
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(static_cast<std::int64_t>(value)) & full);
}

} // namespace zarn_test
