// Float images in their plainest form, one pixel at a time: what the library's results are compared with. What floats
// do as integers do is left to the plain forms of the integer images.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <half.hpp>

#include "tests/reference/reference_blend.h"
#include "tests/reference/reference_image.h"

namespace zarn_test {

// Pixels are floats in either class, the top row first: four a pixel, of a grey picture two.
struct real_picture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool is_grey = false;
    std::vector<float> samples;
    bool is_half = true; // whatever an operation stores is rounded to a half

    unsigned stride() const { return is_grey ? 2 : 4; }
    unsigned colours() const { return stride() - 1; }
    float* at(std::uint64_t x, std::uint64_t y) { return samples.data() + (y * width + x) * stride(); }
    const float* at(std::uint64_t x, std::uint64_t y) const { return samples.data() + (y * width + x) * stride(); }
    bool visible(const float* pixel) const { return pixel[colours()] != 0.0f; }

    float stored(double value) const {
        const float single = static_cast<float>(value);
        return is_half ? static_cast<float>(half_float::half(single)) : single;
    }
    real_picture blank(std::uint32_t new_width, std::uint32_t new_height) const {
        real_picture other{new_width, new_height, is_grey, {}, is_half};
        other.samples.resize(std::uint64_t{new_width} * new_height * stride());
        return other;
    }
    template <class Map>
    void change_pixels(Map&& map) {
        for (std::size_t i = 0; i < samples.size(); i += stride()) map(samples.data() + i);
    }
    // Every colour sample or value becomes what map gives for it.
    template <class Map>
    void change_colours(Map&& map) {
        change_pixels([&](float* pixel) {
            for (unsigned c = 0; c < colours(); ++c) pixel[c] = stored(static_cast<double>(map(pixel[c])));
        });
    }
};

// To 0..1; what is not a number becomes 0.
inline float clamped_real(float value) { return !(value > 0.0f) ? 0.0f : value >= 1.0f ? 1.0f : value; }

// Does to the picture what `work` does to it in 32-bit integers, whose steps are finer than a float's in 0..1. Colours
// lie between 0 and `scale`, alpha between 0 and 1.
void real_by_integers(real_picture& picture, float scale, const std::function<void(reference_image&)>& work);

// Does to whole pixels what `move` does to them; its pixels of samples 0 stand for `fill`.
void real_move(real_picture& picture, const std::function<void(reference_image&)>& move, const float* fill = nullptr);

// The stages of a grading operation; null leaves one out.
struct real_stages {
    const float* channels = nullptr; // factors of the three; with them there is no other stage
    const float* levels = nullptr;   // input low and high, output low and high
    const float* weights = nullptr;  // of the six sectors, in percent
    const float* turn = nullptr;     // hue and saturation
};

void real_grade(real_picture& picture, const real_stages& stages);
void real_to_grey(real_picture& picture, const real_stages& stages);
void real_to_rgba(real_picture& picture);
void real_normalize(real_picture& picture, float low, float high);

// The call's own callback is not used: `custom` takes weight, destination (to be overwritten) and source.
void real_blit(real_picture& destination, real_picture source, const reference_blit_call& call,
               const std::function<void(float, float*, const float*)>& custom);

void real_sharpen(real_picture& picture, float amount, std::uint32_t thread_limit);

// Colours where nothing visible is within reach are left as they were.
void real_gaussian_2(real_picture& picture, float sigma, bool blur_colour, bool blur_alpha);

} // namespace zarn_test
