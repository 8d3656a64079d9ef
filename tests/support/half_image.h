// Pictures of halves, and the image of them that tests measure.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <half.hpp>

#include "core/error_stack.h"
#include "core/image_state.h"
#include "operations/histogram.h"
#include "operations/nradar.h"
#include "tests/reference/reference_statistics.h"

namespace zarn_test {

inline half_float::half half_of_bits(std::uint16_t bits) {
    half_float::half value;
    std::memcpy(static_cast<void*>(&value), &bits, sizeof bits);
    return value;
}

// Rounds what a picture holds to halves.
inline real_picture random_picture(std::uint32_t width, std::uint32_t height, bool is_grey, std::uint32_t seed) {
    real_picture picture{width, height, is_grey, {}};
    std::mt19937 random(seed);
    picture.samples.resize(std::size_t{width} * height * picture.stride());
    for (float& s : picture.samples) s = half_float::half(static_cast<float>(random() >> 8) * 0x1p-24f);
    return picture;
}

// Any half there is: infinities, not-a-numbers, both zeros, subnormal values.
inline real_picture wild_picture(std::uint32_t width, std::uint32_t height, bool is_grey, std::uint32_t seed) {
    real_picture picture{width, height, is_grey, {}};
    std::mt19937 random(seed);
    picture.samples.resize(std::size_t{width} * height * picture.stride());
    for (float& s : picture.samples) s = half_of_bits(static_cast<std::uint16_t>(random()));
    return picture;
}

class half_image {
public:
    explicit half_image(const real_picture& picture, unsigned int thread_limit = 3)
        : ___is_grey(picture.is_grey) {
        ___names.image_class = L"zarn_image_real_16";
        ___names.record_suffix = L"r16";
        zarn::make_workers(___state);
        zarn::set_thread_limit(___state, thread_limit);
        ___state.width = picture.width;
        ___state.height = picture.height;
        if (picture.samples.empty()) return;
        ___halves.assign(picture.samples.begin(), picture.samples.end());
        ___state.pixels = ___halves.data();
    }
    ~half_image() {
        zarn::clear_errors(___state.errors);
        zarn::release_workers(___state);
    }
    half_image(const half_image&) = delete;
    half_image& operator=(const half_image&) = delete;

    unsigned int build_histogram(unsigned int bins, zarn_histogram_s& histogram) {
        return zarn::build_histogram(___state, ___is_grey, bins, histogram);
    }
    unsigned int build_normal_map_radar(unsigned int bins, unsigned int flags, zarn_nradar_s& radar) {
        return zarn::build_normal_map_radar(___state, ___is_grey, bins, flags, radar);
    }
    std::vector<std::wstring> messages() const {
        const zarn::error_stack& errors = ___state.errors;
        return {errors.data, errors.data + errors.count};
    }

private:
    zarn::image_names ___names{};
    bool ___is_grey;
    std::vector<half_float::half> ___halves;
    zarn::image_state ___state{___names};
};

} // namespace zarn_test
