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

TYPED_TEST(tone, exposure) {
    this->check(reference_exposure, &TypeParam::exposure,
                arguments{1, 0, 0.5f, 1.7f, 2, 300, -1, -0.3f, -70000, 1.0e30f, -1.0e30f, infinity, not_a_number});
}

TYPED_TEST(tone, brightness) {
    this->check(reference_brightness, &TypeParam::brightness,
                arguments{0, 1, -1, 0.1f, -0.37f, 1.0e-6f, 1.0e30f, infinity, -infinity, not_a_number});
}

TYPED_TEST(tone, contrast) {
    this->check(reference_contrast, &TypeParam::contrast,
                arguments{1, 0, 0.5f, 1.37f, 20, -1, -3.3f, 1.0e30f, infinity, -infinity, not_a_number});
}

TYPED_TEST(tone, gamma) {
    this->check(reference_gamma, &TypeParam::gamma,
                arguments{1, 2.2f, 0.45f, 1.8f, 0.01f, 30, 0, -1, 1.0e-40f, 1.0e38f, infinity, not_a_number});
}

TYPED_TEST(rgba_tone, grayscale) {
    constexpr float weights[][3] = {{0.299f, 0.587f, 0.114f},
                                    {0.2126f, 0.7152f, 0.0722f},
                                    {1, 0, 0},
                                    {0.1f, 0.1f, 0.1f},
                                    {1, 1, 1},     // wraps
                                    {-1, 0.5f, 0}, // wraps
                                    {1.0e30f, 0, 0},
                                    {infinity, 0, -infinity},
                                    {0, not_a_number, 0}};
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

// ---- Properties ----------------------------------------------------------------------------------------------------

TYPED_TEST(tone, neutral_arguments_change_nothing) {
    const picture_case one = every_value<TypeParam>(257, 257, 2);
    loaded_image<TypeParam> image(one.picture, 2);
    image->exposure(1);
    image->brightness(0);
    image->contrast(1);
    if (image_traits<TypeParam>::is_rgba) image->negative(0, 0);
    EXPECT_TRUE(same_picture(one.picture, *image));
    image->negative(1, 1);
    image->negative(1, 1);
    EXPECT_TRUE(same_picture(one.picture, *image));
    image->gamma(1);
    if (one.picture.full == 255) {
        EXPECT_TRUE(same_picture(one.picture, *image));
    }
}

TYPED_TEST(tone, known_values) {
    using traits = image_traits<TypeParam>;
    constexpr auto full = static_cast<std::uint32_t>(traits::full);
    constexpr unsigned pivot = full == 255 ? 127 : full == 65535 ? 32766 : 2147483646;
    constexpr unsigned luma_of_red = full == 255 ? 76 : 19594;
    zarn_owned<TypeParam> image;
    ASSERT_EQ(image->create(3, 2, lower_left, nullptr, 1), 1u);
    const auto expect = [&](std::uint32_t colour, std::uint32_t alpha) {
        reference_image picture = traits::blank(3, 2, lower_left);
        for (std::size_t i = 0; i < picture.samples.size(); ++i)
            picture.samples[i] = picture.is_colour(i) ? colour : alpha;
        EXPECT_TRUE(same_picture(picture, *image));
    };
    if constexpr (traits::is_rgba) {
        image->clear(traits::make(full, 0, 0, 9), 1);
        image->grayscale();
        expect(luma_of_red, 9);
    }
    image->clear(traits::is_rgba ? traits::make(full, 0, 0, 9) : traits::make(full, 9, 0, 0), 1);
    image->contrast(0);
    expect(pivot, 9);
    image->exposure(3);
    expect(full, 9);
    image->brightness(-1);
    expect(0, 9);
    image->brightness(1);
    expect(full, 9);
    image->negative(1, 1);
    expect(0, traits::is_rgba ? full - 9u : 9);
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

// What lies under alpha 0 neither stays in the way of a stretch nor changes.
TYPED_TEST(rgba_tone, normalize_does_not_see_invisible_colours) {
    reference_image seen = random_picture<TypeParam>(33, 9, upper_left, alpha_kind::any, 5);
    for (std::size_t i = 0; i < seen.samples.size(); ++i) {
        if (i % 4 != 3) seen.samples[i] = seen.samples[i] / 2 + static_cast<std::uint32_t>(seen.full / 4);
    }
    reference_image others = seen;
    for (std::size_t i = 0; i < others.samples.size(); i += 4) {
        if (!others.samples[i + 3]) others.samples[i] = others.samples[i + 1] = static_cast<std::uint32_t>(i % 3);
    }
    loaded_image<TypeParam> image(seen, 2), other(others, 2);
    image->normalize();
    other->normalize();
    const reference_image a = image_traits<TypeParam>::read(*image), b = image_traits<TypeParam>::read(*other);
    std::uint32_t least = ~0u, most = 0;
    for (std::size_t i = 0; i < a.samples.size(); ++i) {
        const bool visible = a.samples[i | 3];
        EXPECT_EQ(b.samples[i], visible ? a.samples[i] : others.samples[i]);
        if (!visible || i % 4 == 3) continue;
        least = std::min(least, a.samples[i]);
        most = std::max(most, a.samples[i]);
    }
    EXPECT_EQ(least, 0u);
    EXPECT_GE(most, a.full - 1);
}

} // namespace zarn_test
