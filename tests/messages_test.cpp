// What the operations say when their arguments or an empty image do not allow them.

#include <functional>
#include <limits>

#include <gtest/gtest.h>

#include "tests/support/operation_table.h"

namespace zarn_test {

namespace {

constexpr unsigned int most = std::numeric_limits<unsigned int>::max();
constexpr float infinite_sigma = std::numeric_limits<float>::infinity();
constexpr float no_sigma = std::numeric_limits<float>::quiet_NaN();
constexpr double infinite_angle = std::numeric_limits<double>::infinity();

const wchar_t* const bad_crop = L"Failed to zarn_image_8::crop(). Invalid size.";
const wchar_t* const bad_canvas = L"Failed to zarn_image_8::resize_canvas(). Invalid size.";
const wchar_t* const bad_position = L"Failed to zarn_image_8::___do_resize_canvas(). Unknown position.";
const wchar_t* const canvas_failed = L"Failed to zarn_image_8::___do_resize_canvas().";
const wchar_t* const area_failed = L"Failed to zarn_image_8::___do_downsample().";
const wchar_t* const nearest_failed = L"Failed to zarn_image_8::___do_resample_nearest().";
const wchar_t* const bspline_failed = L"Failed to zarn_image_8::___do_resample_bicubic().";
const wchar_t* const rotate_failed = L"Failed to zarn_image_8::___do_rotate().";
const wchar_t* const bad_sigma = L"Failed to zarn_image_8::gaussian_blur(). Invalid sigma.";
const wchar_t* const no_callback = L"Failed to zarn_image_8::___do_blit(). ZARN_BLEND_CUSTOM without blend_callback.";
const wchar_t* const padding_failed = L"Failed to pad image edges. zarn_image_8::resize_canvas() failed.";
const std::vector<std::wstring> no_position = {bad_position, canvas_failed};
const std::vector<std::wstring> no_padding = {bad_canvas, padding_failed};
const wchar_t* const flip_failed = L"Failed to zarn_image_8::flip_vertical().";

template <class Image>
struct call {
    const char* name;
    std::function<unsigned int(Image&)> run;
    unsigned int result;
    std::vector<std::wstring> expected; // as the 8-bit class words them
};

template <class Image>
class argument_messages : public ::testing::Test {
protected:
    using calls = std::vector<call<Image>>;

    // Each call leaves the picture as it was, gives its result and appends its messages.
    static void check(const calls& all, Image& image) {
        const reference_image picture = image_traits<Image>::read(image);
        std::vector<std::wstring> expected = messages(image);
        for (const call<Image>& one : all) {
            EXPECT_EQ(one.run(image), one.result) << one.name;
            EXPECT_TRUE(same_picture(picture, image)) << one.name;
            for (const std::wstring& line : one.expected) expected.push_back(image_traits<Image>::message(line));
            EXPECT_EQ(messages(image), expected) << one.name;
        }
    }
};

TYPED_TEST_SUITE(argument_messages, image_types, image_type_names);

} // namespace

TYPED_TEST(argument_messages, of_refused_calls) {
    using image = TypeParam;
    const typename image_traits<image>::pixel fill{};
    loaded_image<image> target(random_picture<image>(9, 7, lower_left, alpha_kind::any, 1), 2);
    const auto custom = [](image& i, int x) {
        return i.blit(i, 0, 0, 9, 7, 1, x, 0, ZARN_BLEND_CUSTOM, 0, nullptr, &x);
    };
    this->check(
        {
            {"crop, x too large", [](image& i) { return i.crop(1, 0, 9, 7); }, 0, {bad_crop}},
            {"crop, y too large", [](image& i) { return i.crop(0, 1, 9, 7); }, 0, {bad_crop}},
            {"crop, no width", [](image& i) { return i.crop(0, 0, 0, 7); }, 0, {bad_crop}},
            {"crop, x sum wraps", [](image& i) { return i.crop(most, 0, 2, 7); }, 0, {bad_crop}},
            {"crop, y sum wraps", [](image& i) { return i.crop(0, most - 2, 9, 5); }, 0, {bad_crop}},
            {"canvas narrower", [&](image& i) { return i.resize_canvas(8, 20, 9, fill); }, 0, {bad_canvas}},
            {"canvas lower", [&](image& i) { return i.resize_canvas(20, 6, 0, fill); }, 0, {bad_canvas}},
            {"canvas, position 5", [&](image& i) { return i.resize_canvas(10, 10, 5, fill); }, 0, no_position},
            {"canvas, last position", [&](image& i) { return i.resize_canvas(9, 7, most, fill); }, 0, no_position},
            {"margins, width", [&](image& i) { return i.resize_canvas(most - 8, 0, 0, 0, fill); }, 0, {bad_canvas}},
            {"margins, sum", [&](image& i) { return i.resize_canvas(most, most, 1, 1, fill); }, 0, {bad_canvas}},
            {"margins, height", [&](image& i) { return i.resize_canvas(0, 0, 5, most, fill); }, 0, {bad_canvas}},
            {"reduction to no width", [](image& i) { return i.resample(0, 7, 0); }, 0, {area_failed}},
            {"nearest to no height", [](image& i) { return i.resample(9, 0, 1); }, 0, {nearest_failed}},
            {"automatic, one side larger", [](image& i) { return i.resample(0, 8, 0); }, 0, {bspline_failed}},
            {"B-spline to no width", [](image& i) { return i.resample(0, 7, 2); }, 0, {bspline_failed}},
            {"rotate, infinite", [](image& i) { return i.rotate(infinite_angle, 1); }, 0, {rotate_failed}},
            {"blur, sigma 0", [](image& i) { return i.gaussian_blur(0, 0, 1, 1); }, 0, {bad_sigma}},
            {"blur, negative sigma", [](image& i) { return i.gaussian_blur(-5, 1, 1, 1); }, 0, {bad_sigma}},
            {"blur, sigma not a number", [](image& i) { return i.gaussian_blur(no_sigma, 1, 1, 1); }, 0, {bad_sigma}},
            {"padding beyond 32 bits", [](image& i) { return i.gaussian_blur(2147483648.0f, 1, 1, 1); }, 0, no_padding},
            {"infinite sigma", [](image& i) { return i.gaussian_blur(infinite_sigma, 1, 1, 1); }, 0, no_padding},
            {"blit without callback", [&](image& i) { return custom(i, 8); }, 0, {no_callback}},
            {"the same, nothing to draw", [&](image& i) { return custom(i, 9); }, 1, {}},
        },
        *target);
}

TYPED_TEST(argument_messages, of_an_empty_image) {
    using image = TypeParam;
    const typename image_traits<image>::pixel fill{};
    const loaded_image<image> other(random_picture<image>(9, 7, lower_left, alpha_kind::any, 1), 2);
    unsigned int left = 5, top = 5;
    zarn_owned<image> target;
    this->check(
        {
            {"same origin", [](image& i) { return i.set_origin(0); }, 1, {}},
            {"other origin", [](image& i) { return i.set_origin(upper_left); }, 0, {flip_failed}},
            {"rotate by 0", [](image& i) { return i.rotate(0, 1); }, 1, {}},
            {"resample to 0 x 0", [](image& i) { return i.resample(0, 0, 2); }, 1, {}},
            {"resample, automatic", [](image& i) { return i.resample(2, 2, 0); }, 0, {bspline_failed}},
            {"resample, B-spline", [](image& i) { return i.resample(2, 0, 2); }, 0, {bspline_failed}},
            {"crop to nothing", [](image& i) { return i.crop(0, 0, 0, 0); }, 0, {bad_crop}},
            {"canvas without a side", [&](image& i) { return i.resize_canvas(0, 3, 0, fill); }, 0, {bad_canvas}},
            {"margins without a side", [&](image& i) { return i.resize_canvas(0, 0, 1, 1, fill); }, 0, {bad_canvas}},
            {"blit onto it",
             [&](image& i) { return i.blit(*other, 0, 0, 9, 7, 1, 0, 0, 0, 0, nullptr, nullptr); },
             1,
             {}},
        },
        *target);
    EXPECT_EQ(target->crop_to_pixels(left, top), 1u);
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(top, 0u);
    EXPECT_TRUE(messages(*target).empty()) << "it is emptied as by free()";
}

// A size is not enough: without an array, or with a side of 0, there are no pixels, and nothing happens.
TYPED_TEST(argument_messages, of_images_without_pixels) {
    using image = TypeParam;
    constexpr unsigned int creations[][3] = {{0, 0, 1}, {9, 8, 0}, {9, 0, 1}, {0, 8, 1}}; // width, height, copy
    const reference_image picture = random_picture<image>(9, 7, lower_left, alpha_kind::any, 1);
    loaded_image<image> other(picture, 2);
    for (const auto& c : creations) {
        for (const table_operation<image>& one : operations_of<image>()) {
            SCOPED_TRACE(text(one.name, c[0], c[1]));
            zarn_owned<image> target;
            ASSERT_EQ(target->create(c[0], c[1], lower_left, nullptr, c[2]), 1u);
            one.run(*target);
            const bool refused = one.name.rfind("crop", 0) == 0 || one.name.rfind("resample", 0) == 0 ||
                                 one.name == "normalize_subsets"; // of a list that was not built
            const bool makes_pixels = one.name == "resize_canvas";
            EXPECT_TRUE(refused || makes_pixels || messages(*target).empty());
            EXPECT_EQ(target->is_valid(), makes_pixels ? 1u : 0u);
        }
        zarn_owned<image> target;
        ASSERT_EQ(target->create(c[0], c[1], lower_left, nullptr, c[2]), 1u);
        EXPECT_EQ(target->flip_horizontal() + target->gaussian_blur(20, 1, 1, 1) + target->box_blur(3, 1, 1), 0u);
        EXPECT_EQ(other->blit(*target, 0, 0, 9, 9, 1, 0, 0, 26, 0, nullptr, nullptr), 1u);
    }
    EXPECT_TRUE(same_picture(picture, *other));
}

} // namespace zarn_test
