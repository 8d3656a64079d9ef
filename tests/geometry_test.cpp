// The geometry operations against their plain forms, bit for bit.

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "tests/reference/reference_geometry.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

constexpr double pi = 3.14159265358979323846;

constexpr std::uint32_t fill[4] = {17, 200, 3, 129};

template <class Image>
class geometry : public ::testing::Test {
protected:
    const std::vector<picture_case> cases = picture_cases<Image>();
};

TYPED_TEST_SUITE(geometry, image_types, image_type_names);

} // namespace

TYPED_TEST(geometry, crop) {
    random_numbers random(5);
    for (const picture_case& one : this->cases) {
        const std::uint32_t w = one.picture.width, h = one.picture.height;
        const std::uint32_t x = random.below(w), y = random.below(h);
        const std::uint32_t rectangles[][4] = {
            {0, 0, w, h},
            {w - 1, h - 1, 1, 1},
            {x, y, w - x, h - y},
            {x / 2, y / 2, 1 + random.below(w - x / 2), 1 + random.below(h - y / 2)}};
        for (const auto& r : rectangles) {
            compare<TypeParam>(
                one, text(r[0], r[1], r[2], r[3]),
                [&](reference_image& p) { ASSERT_TRUE(reference_crop(p, r[0], r[1], r[2], r[3])); },
                [&](TypeParam& image) { return image.crop(r[0], r[1], r[2], r[3]); });
        }
    }
}

TYPED_TEST(geometry, crop_to_pixels) {
    std::vector<picture_case> pictures = this->cases;
    // One or two visible pixels (without alpha: not 0) at every place of a small picture: rows and columns 0 are
    // special.
    for (const std::uint32_t origin : {lower_left, upper_left}) {
        for (std::uint32_t place = 0; place < 12 * 12; ++place) {
            reference_image picture = random_picture<TypeParam>(4, 3, origin, alpha_kind::transparent, place);
            picture.samples[(place % 12 + 1) * picture.stride() - 1] = 1;
            picture.samples[(place / 12 + 1) * picture.stride() - 1] = 1;
            pictures.push_back({picture, 2, text("pixels", place % 12, place / 12)});
        }
    }
    for (const picture_case& one : pictures) {
        reference_image picture = one.picture;
        std::uint32_t expected[2] = {7, 7};
        reference_crop_to_pixels(picture, expected[0], expected[1]);
        loaded_image<TypeParam> image(one.picture, one.thread_limit);
        unsigned int left = 99, top = 99;
        EXPECT_EQ(image->crop_to_pixels(left, top), 1u) << one.name;
        EXPECT_TRUE(same_picture(picture, *image)) << one.name;
        EXPECT_EQ(left, expected[0]) << one.name;
        EXPECT_EQ(top, expected[1]) << one.name;
        EXPECT_EQ(image->get_pixel_array() != nullptr, picture.width != 0) << one.name;
    }
}

TYPED_TEST(geometry, resize_canvas) {
    const auto pixel = image_traits<TypeParam>::to_pixel(fill);
    constexpr std::uint32_t growths[][2] = {{0, 0}, {3, 0}, {0, 3}, {1, 1}, {5, 2}};
    constexpr std::uint32_t margins[][4] = {{0, 0, 0, 0}, {1, 2, 3, 4}, {7, 0, 0, 0},
                                            {0, 9, 0, 0}, {0, 0, 5, 0}, {0, 0, 0, 6}};
    for (const picture_case& one : this->cases) {
        for (unsigned n = 0; n < 5 * 5; ++n) {
            const unsigned position = n % 5;
            const std::uint32_t w = one.picture.width + growths[n / 5][0], h = one.picture.height + growths[n / 5][1];
            compare<TypeParam>(
                one, text(position, w, h),
                [&](reference_image& p) { ASSERT_TRUE(reference_resize_canvas(p, w, h, position, fill)); },
                [&](TypeParam& image) { return image.resize_canvas(w, h, position, pixel); });
        }
        for (const auto& m : margins) {
            compare<TypeParam>(
                one, text(m[0], m[1], m[2], m[3]),
                [&](reference_image& p) { reference_add_margins(p, m[0], m[1], m[2], m[3], fill); },
                [&](TypeParam& image) { return image.resize_canvas(m[0], m[1], m[2], m[3], pixel); });
        }
    }
}

TYPED_TEST(geometry, canvas_of_an_empty_image_is_all_fill) {
    using traits = image_traits<TypeParam>;
    if (!traits::is_rgba && traits::full <= 65535) return; // an empty image of values has 32 bits
    const auto pixel = image_traits<TypeParam>::to_pixel(fill);
    reference_image expected = image_traits<TypeParam>::blank(0, 0, 0);
    ASSERT_TRUE(reference_resize_canvas(expected, 3, 2, 4, fill));
    zarn_owned<TypeParam> image;
    EXPECT_EQ(image->resize_canvas(3, 2, 4, pixel), 1u);
    EXPECT_TRUE(same_picture(expected, *image));
    image->free();
    EXPECT_EQ(image->resize_canvas(1, 2, 2, 0, pixel), 1u);
    EXPECT_TRUE(same_picture(expected, *image));
}

TYPED_TEST(geometry, flips_and_change_of_origin) {
    for (const picture_case& one : this->cases) {
        compare<TypeParam>(one, "horizontal", reference_flip_horizontal,
                           [](TypeParam& i) { return i.flip_horizontal(); });
        compare<TypeParam>(one, "vertical", reference_flip_vertical, [](TypeParam& i) { return i.flip_vertical(); });
        for (const std::uint32_t origin : {lower_left, upper_left, 0u, 5u}) {
            compare<TypeParam>(
                one, text("origin", origin),
                [&](reference_image& p) {
                    if (p.origin != origin) reference_flip_vertical(p);
                    p.origin = origin;
                },
                [&](TypeParam& image) { return image.set_origin(origin); });
        }
    }
}

TYPED_TEST(geometry, resample) {
    const auto check = [](const picture_case& one, std::uint32_t w, std::uint32_t h, unsigned mode) {
        compare<TypeParam>(
            one, text(w, h, mode), [&](reference_image& p) { reference_resample(p, w, h, mode); },
            [&](TypeParam& image) { return image.resample(w, h, mode); });
    };
    random_numbers random(6);
    for (const picture_case& one : this->cases) {
        const std::uint32_t w = one.picture.width, h = one.picture.height;
        const std::uint32_t some_w = 1 + random.below(w), some_h = 1 + random.below(h);
        const std::uint32_t sizes[][2] = {{w, h},
                                          {1, 1},
                                          {(w + 1) / 2, (h + 1) / 2},
                                          {(w * 3 + 3) / 4, h},
                                          {w, (h + 2) / 3},
                                          {2 * w + 1, 3 * h},
                                          {w + 1, (h + 1) / 2},
                                          {(w + 1) / 2, h + 3},
                                          {some_w, some_h}};
        for (const auto& size : sizes) {
            for (unsigned mode = 0; mode <= 2; ++mode) check(one, size[0], size[1], mode);
        }
    }
    // Beyond 65535 columns the 32-bit product of a column and a width wraps.
    const picture_case wide = {random_picture<TypeParam>(70000, 2, upper_left, alpha_kind::any, 3), 3, "70000 x 2"};
    constexpr std::uint32_t runs[][3] = {{300, 2, 0}, {66001, 1, 0}, {69999, 2, 2}, {66000, 3, 2}, {66000, 3, 0}};
    for (const auto& run : runs) check(wide, run[0], run[1], run[2]);
}

// Deliberate: the size is stored although nothing was resampled.
TYPED_TEST(geometry, unknown_resample_mode_stores_the_size_alone) {
    const reference_image picture = random_picture<TypeParam>(9, 8, upper_left, alpha_kind::any, 3);
    loaded_image<TypeParam> image(picture, 2);
    EXPECT_EQ(image->resample(5, 4, 3), 1u);
    reference_image expected = picture.blank(5, 4);
    expected.samples.assign(picture.samples.begin(), picture.samples.begin() + 5 * 4 * picture.stride());
    EXPECT_TRUE(same_picture(expected, *image));
    EXPECT_EQ(image->resample(9, 8, 3), 1u);
    EXPECT_TRUE(same_picture(picture, *image)) << "what lay behind the smaller size was lost";
    EXPECT_EQ(image->resample(20, 30, 4294967295u), 1u);
    EXPECT_EQ(image_traits<TypeParam>::read(*image).samples.size(), 20 * 30 * picture.stride());
}

TYPED_TEST(geometry, rotate) {
    constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
    const double angles[] = {0.0, -0.0,   not_a_number, 0.1,      -0.3,   pi / 4, pi / 2, -pi / 2, pi,
                             -pi, 1.0e-9, 1.0e-300,     1.5 * pi, 2 * pi, 7.5,    -13.2,  100.0,   2.9e7};
    for (const picture_case& one : this->cases) {
        for (const double angle : angles) {
            for (const bool feather : {false, true}) {
                compare<TypeParam>(
                    one, text(angle, feather), [&](reference_image& p) { reference_rotate(p, angle, feather); },
                    [&](TypeParam& image) { return image.rotate(angle, feather ? 1 : 0); });
            }
        }
    }
}

} // namespace zarn_test
