// The filters against their plain forms, bit for bit.

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "tests/reference/reference_filters.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

template <class Image>
class filters : public ::testing::Test {
protected:
    // Without alpha there are no switches: colour is blurred.
    static constexpr unsigned always = image_traits<Image>::has_alpha ? 0 : 1;

    static void compare_gaussian(const picture_case& one, float sigma, bool fast, unsigned flags) {
        const bool colour = (flags | always) & 1, alpha = flags & 2;
        zarn_test::compare<Image>(
            one, text("sigma", sigma, "fast", fast, "flags", flags),
            [&](reference_image& p) {
                if (fast && sigma > 3.0f) {
                    reference_box_gaussian(p, sigma, colour, alpha);
                } else {
                    reference_gaussian(p, sigma, colour, alpha);
                }
            },
            [&](Image& image) { return image.gaussian_blur(sigma, fast, colour ? 1 : 0, alpha ? 4 : 0); });
    }

    static void compare_box(const picture_case& one, std::uint32_t radius, unsigned flags) {
        const bool colour = (flags | always) & 1, alpha = flags & 2;
        zarn_test::compare<Image>(
            one, text("radius", radius, "flags", flags),
            [&](reference_image& p) { reference_box_blur(p, radius, colour, alpha); },
            [&](Image& image) { return image.box_blur(radius, colour ? 2 : 0, alpha ? 1 : 0); });
    }

    const std::vector<picture_case> cases = picture_cases<Image>();
};

TYPED_TEST_SUITE(filters, image_types, image_type_names);

template <class Image>
class alpha_filters : public filters<Image> {};

TYPED_TEST_SUITE(alpha_filters, alpha_image_types, image_type_names);

} // namespace

TYPED_TEST(filters, gaussian) {
    // The least of these has a square that is 0 as a float: the centre keeps its weight of 1.
    constexpr float sigmas[] = {0.3f, 0.5f, 0.77f, 1.0f, 1.9f, 3.0f, 3.0001f, 5.3f, 1.0e-30f};
    unsigned turn = 0;
    for (const picture_case& one : this->cases) {
        for (const float sigma : sigmas) {
            this->compare_gaussian(one, sigma, sigma <= 3.0f && turn % 3 == 0, turn % 4);
            ++turn;
        }
    }
}

TYPED_TEST(filters, wide_gaussian) {
    constexpr float sigmas[] = {12.5f, 30.0f, 249.9f, 250.0f, 300.0f, std::numeric_limits<float>::infinity()};
    unsigned turn = 0;
    for (std::size_t i = 3; i < this->cases.size(); i += 7) {
        for (const float sigma : sigmas) this->compare_gaussian(this->cases[i], sigma, false, turn++ % 4);
    }
}

TYPED_TEST(filters, box_approximated_gaussian) {
    constexpr float sigmas[] = {3.0001f, 3.5f, 4.34f, 7.99f};
    unsigned turn = 0;
    for (const picture_case& one : this->cases) {
        this->compare_gaussian(one, sigmas[turn / 4 % 4], true, turn % 4);
        ++turn;
    }
    for (std::size_t i = 2; i < this->cases.size(); i += 23) {
        for (const float sigma : {16.7f, 71.0f, 260.4f}) {
            this->compare_gaussian(this->cases[i], sigma, true, turn++ % 4);
        }
    }
}

TYPED_TEST(filters, box_blur) {
    constexpr std::uint32_t radii[] = {0, 1, 2, 3, 8, 20, 4294967295u};
    unsigned turn = 0;
    for (const picture_case& one : this->cases) {
        for (const std::uint32_t radius : radii) this->compare_box(one, radius, turn++ % 4);
    }
}

TYPED_TEST(filters, sharpen) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const float amounts[] = {0.0f,  0.25f,   0.5f,    1.0f,     3.7f,      -0.4f,
                             -2.0f, 1.0e-7f, 1.0e30f, infinity, -infinity, std::numeric_limits<float>::quiet_NaN()};
    for (const picture_case& one : this->cases) {
        for (const float amount : amounts) {
            compare<TypeParam>(
                one, text("amount", amount),
                [&](reference_image& p) { reference_sharpen(p, amount, one.thread_limit); },
                [&](TypeParam& image) { return image.sharpen(amount), 1u; });
        }
    }
}

// Pictures so tall that a band works through many strips of rows; bands longer and shorter than the reach of the taps.
TYPED_TEST(filters, of_tall_pictures) {
    constexpr std::uint32_t sizes[][2] = {{21, 700}, {70, 301}, {300, 45}}, limits[] = {1, 2, 5, 40};
    for (const auto& [width, height] : sizes) {
        for (const alpha_kind kind : alpha_kinds) {
            const std::uint32_t limit = limits[(static_cast<unsigned>(kind) + width) % 4];
            const picture_case one{random_picture<TypeParam>(width, height, upper_left, kind, 77), limit,
                                   text(width, "x", height, "kind", static_cast<int>(kind), "limit", limit)};
            for (const float sigma : {0.4f, 2.0f, 11.3f, 60.0f}) this->compare_gaussian(one, sigma, false, 3);
            for (const float sigma : {3.4f, 10.0f, 33.0f}) this->compare_gaussian(one, sigma, true, 3);
            for (const std::uint32_t radius : {0u, 1u, 8u, 50u}) this->compare_box(one, radius, radius == 1 ? 1 : 3);
        }
    }
}

TYPED_TEST(alpha_filters, expand_where_alpha) {
    constexpr std::uint64_t full = image_traits<TypeParam>::full;
    const std::uint64_t thresholds[] = {0, 1, full / 2 + 1, full - 1, full};
    for (const picture_case& one : this->cases) {
        for (const std::uint64_t threshold : thresholds) {
            for (const std::uint32_t iterations : {0u, 1u, 2u, 5u}) {
                for (const bool keep : {false, true}) {
                    compare<TypeParam>(
                        one, text("threshold", threshold, "iterations", iterations, "keep", keep),
                        [&](reference_image& p) { reference_expand_where_alpha(p, iterations, threshold, keep); },
                        [&](TypeParam& image) {
                            using sample = typename image_traits<TypeParam>::sample;
                            return image.expand_where_alpha(iterations, static_cast<sample>(threshold), keep ? 1 : 0);
                        });
                }
            }
        }
    }
}

} // namespace zarn_test
