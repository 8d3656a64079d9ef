// The tone operations against their plain forms, bit for bit.

#include <limits>

#include <gtest/gtest.h>

#include "tests/reference/reference_tone.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

// Every value of a sample occurs, in every channel where there are pixels enough, else in one of them.
template <class Image>
picture_case every_value(std::uint32_t width, std::uint32_t height, std::uint32_t thread_limit) {
    picture_case one{image_traits<Image>::blank(width, height, lower_left), thread_limit, text(width, "x", height)};
    const std::size_t stride = one.picture.stride();
    for (std::size_t i = 0; i < one.picture.samples.size(); ++i) {
        const std::size_t step = one.picture.full > 65535 ? 65537 : 1; // of 32 bits: every upper half
        const std::size_t value = i / stride * step + i % stride * (one.picture.full / 3 + 1);
        one.picture.samples[i] = static_cast<std::uint32_t>(value & one.picture.full);
    }
    return one;
}

template <class Image>
class tone : public ::testing::Test {
protected:
    tone() {
        // On either side of 65536 pixels and of 256: what pays off may depend on the size.
        cases.push_back(every_value<Image>(16, 15, 1));
        cases.push_back(every_value<Image>(17, 17, 2));
        cases.push_back(every_value<Image>(255, 255, 3));
        cases.push_back(every_value<Image>(257, 257, 2));
    }

    template <class Argument>
    void check(void (*expected)(reference_image&, float), void (Image::*run)(float), Argument arguments) {
        for (const picture_case& one : cases) {
            for (const float argument : arguments) {
                compare<Image>(
                    one, text(argument), [&](reference_image& p) { expected(p, argument); },
                    [&](Image& image) { return (image.*run)(argument), 1u; });
            }
        }
    }

    std::vector<picture_case> cases = picture_cases<Image>();
};

TYPED_TEST_SUITE(tone, image_types, image_type_names);

template <class Image>
class rgba_tone : public tone<Image> {};

TYPED_TEST_SUITE(rgba_tone, rgba_image_types, image_type_names);

using arguments = std::initializer_list<float>;

} // namespace

TYPED_TEST(tone, curves) {
    const arguments factors = {1,     0,      0.5f,    1.37f,    2,         300,         -1,
                               -0.3f, -70000, 1.0e30f, infinity, -infinity, not_a_number};
    this->check(reference_exposure, &TypeParam::exposure, factors);
    this->check(reference_contrast, &TypeParam::contrast, factors);
    this->check(reference_brightness, &TypeParam::brightness,
                arguments{0, 1, -1, 0.1f, -0.37f, 1.0e-6f, 1.0e30f, infinity, -infinity, not_a_number});
    this->check(reference_gamma, &TypeParam::gamma,
                arguments{1, 2.2f, 0.45f, 1.8f, 0.01f, 30, 0, -1, 1.0e-40f, 1.0e38f, infinity, not_a_number});
}

TYPED_TEST(rgba_tone, grayscale) {
    // Among them some whose sums wrap.
    const float weights[][3] = {
        {0.2126f, 0.7152f, 0.0722f}, {0.1f, 0.1f, 0.1f},  {1, 1, 1}, {-1, 0.5f, 0}, {1.0e30f, 0, 0},
        {infinity, 0, -infinity},    {0, not_a_number, 0}};
    for (const picture_case& one : this->cases) {
        for (const auto& w : weights) {
            compare<TypeParam>(
                one, text(w[0], w[1], w[2]), [&](reference_image& p) { reference_grayscale(p, w[0], w[1], w[2]); },
                [&](TypeParam& image) { return image.grayscale(w[0], w[1], w[2]), 1u; });
        }
        compare<TypeParam>(
            one, "default", [&](reference_image& p) { reference_grayscale(p, 0.299f, 0.587f, 0.114f); },
            [&](TypeParam& image) { return image.grayscale(), 1u; });
    }
}

TYPED_TEST(tone, negative) {
    for (const picture_case& one : this->cases) {
        for (const unsigned colour : {0u, 1u, 256u}) {
            for (const unsigned alpha : {0u, 1u, 65536u}) {
                if (!image_traits<TypeParam>::is_rgba && (!colour || alpha)) continue; // inverts the value
                compare<TypeParam>(
                    one, text(colour, alpha), [&](reference_image& p) { reference_negative(p, colour, alpha); },
                    [&](TypeParam& image) { return image.negative(colour, alpha), 1u; });
            }
        }
    }
}

TYPED_TEST(tone, normalize) {
    std::vector<picture_case> pictures = this->cases;
    for (picture_case one : this->cases) { // a narrower span of lightness
        for (std::size_t i = 0; i < one.picture.samples.size(); ++i) {
            std::uint32_t& sample = one.picture.samples[i];
            if (one.picture.is_colour(i)) sample = sample / 5 + static_cast<std::uint32_t>(one.picture.full / 4);
        }
        pictures.push_back(one);
    }
    bool automatic = false;
    for (const picture_case& one : pictures) {
        automatic = !automatic;
        compare<TypeParam>(one, text("auto_contrast", automatic), reference_normalize,
                           [&](TypeParam& image) { return automatic ? image.auto_contrast() : image.normalize(), 1u; });
    }
}

TYPED_TEST(tone, one_lightness_is_not_normalized) {
    using traits = image_traits<TypeParam>;
    constexpr auto full = static_cast<std::uint32_t>(traits::full);
    constexpr std::uint32_t colours[][3] = {{0, 0, 0}, {full, full, full}, {100, 50, 70}};
    for (const auto& colour : colours) {
        reference_image picture = random_picture<TypeParam>(9, 5, upper_left, alpha_kind::binary, 3);
        for (std::size_t i = 0; i < picture.samples.size(); i += picture.stride()) {
            // Of a value image invisible pixels count too.
            if (!traits::is_rgba || picture.samples[i + 3]) std::copy_n(colour, picture.colours, &picture.samples[i]);
        }
        loaded_image<TypeParam> image(picture, 2);
        image->normalize();
        EXPECT_TRUE(same_picture(picture, *image));
    }
}

} // namespace zarn_test
