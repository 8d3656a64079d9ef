// Pictures of halves, and the image of them that tests measure.
#pragma once

#include "tests/reference/reference_statistics.h"
#include "tests/support/real_traits.h"

namespace zarn_test {

using half_image = loaded_real<zarn_image_real_16>;

// A picture of the halves that `sample` gives for random numbers.
template <class Sample>
real_picture half_picture(std::uint32_t width, std::uint32_t height, bool is_grey, std::uint32_t seed, Sample sample) {
    real_picture picture = real_picture{0, 0, is_grey, {}, true}.blank(width, height);
    random_numbers random(seed);
    for (float& s : picture.samples) s = sample(random());
    return picture;
}

// Of 0..1.
inline real_picture random_picture(std::uint32_t width, std::uint32_t height, bool is_grey, std::uint32_t seed) {
    return half_picture(width, height, is_grey, seed, [](std::uint32_t number) {
        return half_float::half(static_cast<float>(number >> 8) * 0x1p-24f);
    });
}

// Any half there is: infinities, not-a-numbers, both zeros, subnormal values.
inline real_picture wild_picture(std::uint32_t width, std::uint32_t height, bool is_grey, std::uint32_t seed) {
    return half_picture(width, height, is_grey, seed, [](std::uint32_t number) {
        half_float::half value;
        std::memcpy(static_cast<void*>(&value), &number, sizeof value);
        return value;
    });
}

} // namespace zarn_test
