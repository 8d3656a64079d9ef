// The blurs of pictures so tall that a band works through many strips of rows, against their plain forms.

#include <gtest/gtest.h>

#include "tests/reference/reference_filters.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

struct picture_size {
    std::uint32_t width;
    std::uint32_t height;
};

constexpr picture_size sizes[] = {{21, 700}, {70, 301}, {300, 45}};

template <class Image>
class tall_blurs : public ::testing::Test {
protected:
    // Every alpha kind, with bands longer and shorter than the reach of the taps.
    template <class Expected, class Operation>
    static void compare_all(picture_size picture, const std::string& parameters, Expected expected,
                            Operation operation) {
        constexpr std::uint32_t limits[] = {1, 2, 5, 40};
        for (const alpha_kind kind : alpha_kinds) {
            const std::uint32_t limit = limits[(static_cast<unsigned>(kind) + picture.width) % 4];
            const picture_case one{
                random_picture<Image>(picture.width, picture.height, upper_left, kind, 77), limit,
                text(picture.width, "x", picture.height, "kind", static_cast<int>(kind), "limit", limit)};
            compare<Image>(one, parameters, expected, operation);
        }
    }
};

TYPED_TEST_SUITE(tall_blurs, image_types, image_type_names);

} // namespace

TYPED_TEST(tall_blurs, gaussian) {
    for (const picture_size size : sizes) {
        for (const float sigma : {0.4f, 2.0f, 11.3f, 60.0f}) {
            this->compare_all(
                size, text("sigma", sigma), [&](reference_image& p) { reference_gaussian(p, sigma, true, true); },
                [&](TypeParam& image) { return image.gaussian_blur(sigma, 0, 1, 1); });
        }
    }
}

TYPED_TEST(tall_blurs, box) {
    for (const picture_size size : sizes) {
        for (const std::uint32_t radius : {0u, 1u, 8u, 50u}) {
            this->compare_all(
                size, text("radius", radius),
                [&](reference_image& p) { reference_box_blur(p, radius, true, radius != 1); },
                [&](TypeParam& image) { return image.box_blur(radius, 1, radius != 1); });
        }
    }
}

TYPED_TEST(tall_blurs, box_approximated_gaussian) {
    for (const picture_size size : sizes) {
        for (const float sigma : {3.4f, 10.0f, 33.0f}) {
            this->compare_all(
                size, text("sigma", sigma), [&](reference_image& p) { reference_box_gaussian(p, sigma, true, true); },
                [&](TypeParam& image) { return image.gaussian_blur(sigma, 1, 1, 1); });
        }
    }
}

} // namespace zarn_test
