// The image object itself: creation, copies, moves, single pixels, row order, clearing.

#include <algorithm>
#include <functional>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

template <class Image>
class image_basics : public ::testing::Test {
protected:
    // A picture whose pixels all differ from one another.
    static reference_image picture(std::uint32_t width = 5, std::uint32_t height = 4,
                                   std::uint32_t origin = lower_left) {
        reference_image made = image_traits<Image>::blank(width, height, origin);
        for (std::size_t i = 0; i < made.samples.size(); ++i) made.samples[i] = static_cast<std::uint32_t>(i + 1);
        return made;
    }

    static bool is_empty(const Image& image) {
        return image.get_pixel_array() == nullptr && image.get_width() == 0 && image.get_height() == 0 &&
               image.get_origin() == 0 && image.is_valid() == 0;
    }

    static std::vector<std::wstring> crop_message() {
        return {image_traits<Image>::message(L"Failed to zarn_image_8::crop(). Invalid size.")};
    }
};

TYPED_TEST_SUITE(image_basics, image_types, image_type_names);

} // namespace

TYPED_TEST(image_basics, create_copies_or_adopts_data_or_starts_transparent_black) {
    using pixel = typename image_traits<TypeParam>::pixel;
    const std::int64_t before = live_allocations();
    {
        zarn_owned<TypeParam> image;
        EXPECT_TRUE(image_traits<TypeParam>::load(*image, this->picture()));
        EXPECT_TRUE(same_picture(this->picture(), *image));
        EXPECT_EQ(image->create(3, 2, 77, nullptr, 1), 1u);
        EXPECT_TRUE(same_picture(image_traits<TypeParam>::blank(3, 2, 77), *image));
        pixel* pixels = new pixel[6];
        EXPECT_EQ(image->create(3, 2, lower_left, pixels, 0), 1u);
        EXPECT_EQ(image->get_pixel_array(), pixels);
        image->set_pixel(0, 0, image_traits<TypeParam>::make(9, 8, 7, 6));
        std::uint32_t samples[4];
        image_traits<TypeParam>::from_pixel(pixels[3], samples);
        EXPECT_EQ(samples[0], 9u);

        pixel unused{};
        constexpr unsigned int sizes[][2] = {{0, 0}, {4, 0}, {0, 4}};
        for (const auto& size : sizes) {
            EXPECT_EQ(image->create(size[0], size[1], upper_left, &unused, 1), 1u);
            EXPECT_EQ(image->is_valid(), 0u);
            EXPECT_EQ(image->get_width(), size[0]);
            EXPECT_EQ(image->get_origin(), upper_left);
        }
        EXPECT_EQ(image->create(3, 2, lower_left, nullptr, 0), 1u);
        EXPECT_EQ(image->is_valid(), 0u);
        EXPECT_EQ(image->get_width(), 3u);
    }
    EXPECT_EQ(live_allocations(), before);
}

TYPED_TEST(image_basics, create_and_free_clear_the_messages_and_keep_the_thread_limit) {
    const reference_image picture = this->picture();
    loaded_image<TypeParam> image(picture, 5), source(picture, 1);
    const std::function<unsigned int()> ways[] = {
        [&] { return image->create(2, 2, upper_left, nullptr, 1); },
        [&] { return image->create(*source); },
        [&] { return image->create(*image); },
        [&] { return image->create(TypeParam()); },
        [&] { return image->create(*source); },
        [&] { return image->free(), 1u; },
    };
    for (const auto& way : ways) {
        EXPECT_EQ(image->crop(0, 0, 0, 1), 0u);
        EXPECT_EQ(image->crop(9, 0, 1, 1), 0u);
        EXPECT_EQ(image->get_error_stack()->get_count(), 2u);
        EXPECT_EQ(way(), 1u);
        EXPECT_EQ(image->get_error_stack()->get_count(), 0u);
        EXPECT_EQ(image->get_thread_limit(), 5u);
        if (&way == &ways[2]) {
            EXPECT_TRUE(same_picture(picture, *image));
        }
    }
    EXPECT_TRUE(this->is_empty(*image));
    image->set_thread_limit(0);
    EXPECT_EQ(image->get_thread_limit(), std::max(1u, std::thread::hardware_concurrency()));
}

TYPED_TEST(image_basics, copies_are_deep_and_keep_their_own_thread_limit) {
    const std::int64_t before = live_allocations();
    {
        const reference_image picture = this->picture();
        loaded_image<TypeParam> source(picture, 3), assigned(this->picture(7, 1), 6), created(this->picture(2, 9), 6);
        EXPECT_EQ(created->create(*source), 1u);
        source->crop(0, 0, 0, 0);
        assigned->flip_vertical();
        *assigned = *source;
        TypeParam constructed(*source);
        TypeParam& self = *source;
        self = *source;
        EXPECT_TRUE(same_picture(picture, *source));
        EXPECT_EQ(messages(*source), this->crop_message());
        source->clear(image_traits<TypeParam>::make(1, 1, 1, 1), 1);
        source->free();

        EXPECT_TRUE(same_picture(picture, *created));
        for (TypeParam* copy : {&*assigned, &constructed}) {
            EXPECT_TRUE(same_picture(picture, *copy));
            EXPECT_EQ(messages(*copy), this->crop_message());
            EXPECT_EQ(copy->flip_horizontal(), 1u);
        }
        EXPECT_EQ(assigned->get_thread_limit(), 6u);
        EXPECT_EQ(constructed.get_thread_limit(), TypeParam().get_thread_limit());
        *assigned = *source;
        constructed = TypeParam();
        for (TypeParam* copy : {&*assigned, &constructed}) {
            EXPECT_TRUE(this->is_empty(*copy));
            EXPECT_TRUE(messages(*copy).empty());
        }
        constructed.free();
    }
    EXPECT_EQ(live_allocations(), before);
}

TYPED_TEST(image_basics, moves_take_the_contents_and_leave_the_workers) {
    const std::int64_t before = live_allocations();
    {
        const reference_image picture = this->picture();
        loaded_image<TypeParam> source(picture, 3), target(this->picture(7, 1), 6);
        source->crop(0, 0, 0, 0);
        const void* pixels = source->get_pixel_array();
        target->crop(0, 0, 0, 0);
        *target = std::move(*source);
        EXPECT_TRUE(this->is_empty(*source));
        EXPECT_TRUE(messages(*source).empty());
        EXPECT_EQ(source->get_thread_limit(), 3u);
        EXPECT_EQ(target->get_pixel_array(), pixels);
        EXPECT_EQ(target->get_thread_limit(), 6u);

        TypeParam constructed(std::move(*target));
        EXPECT_TRUE(this->is_empty(*target));
        TypeParam& self = constructed;
        self = std::move(constructed);
        EXPECT_EQ(constructed.get_pixel_array(), pixels);
        EXPECT_TRUE(same_picture(picture, constructed));
        EXPECT_EQ(messages(constructed), this->crop_message());
        EXPECT_EQ(constructed.flip_vertical(), 1u);
        EXPECT_TRUE(image_traits<TypeParam>::load(*source, picture));
        EXPECT_EQ(source->flip_vertical(), 1u);
        constructed.free();
    }
    EXPECT_EQ(live_allocations(), before);
}

TYPED_TEST(image_basics, pixels_are_addressed_in_picture_order) {
    using traits = image_traits<TypeParam>;
    for (const std::uint32_t origin : {lower_left, upper_left, 0u}) {
        reference_image picture = this->picture(5, 4, origin);
        loaded_image<TypeParam> image(picture, 1);
        for (unsigned i = 0; i < 5 * 4; ++i) {
            std::uint32_t* samples = picture.at_picture(i % 5, i / 5);
            std::uint32_t actual[4];
            traits::from_pixel(image->get_pixel(i % 5, i / 5), actual);
            EXPECT_TRUE(std::equal(actual, actual + traits::stride, samples));
            for (unsigned c = 0; c < traits::stride; ++c) samples[c] = 200 + 4 * (i % 10) / 3 + c;
            image->set_pixel(i % 5, i / 5, traits::to_pixel(samples));
            EXPECT_TRUE(same_picture(picture, *image));
        }
    }
}

TYPED_TEST(image_basics, clear_writes_colour_and_alpha_on_demand) {
    using traits = image_traits<TypeParam>;
    const std::uint32_t colour[4] = {200, 100, 50, 25};
    for (const picture_case& one : picture_cases<TypeParam>()) {
        for (const bool with_alpha : {false, true}) {
            compare<TypeParam>(
                one, text("with alpha", with_alpha),
                [&](reference_image& p) {
                    for (std::size_t i = 0; i < p.samples.size(); ++i) {
                        if (p.is_colour(i) || with_alpha) p.samples[i] = colour[i % p.stride()];
                    }
                },
                [&](TypeParam& image) { return image.clear(traits::to_pixel(colour), with_alpha ? 2 : 0), 1u; });
        }
    }
}

} // namespace zarn_test
