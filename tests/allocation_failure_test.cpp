// Every allocation of every operation made to fail in turn: results, messages, untouched pixels, nothing leaked.

#include <functional>

#include <gtest/gtest.h>

#include "tests/reference/reference_filters.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

const std::wstring no_memory = L"Memory Allocation Error: Failed to allocate ";
const std::wstring no_array = no_memory + L"zarn_pixel_8_s array.";
const std::wstring no_member = no_memory + L"zarn_image_8::___pixel_d_array.";

std::wstring record(const wchar_t* operation) { return no_memory + operation + L"_thread_data_8_s."; }
std::wstring failed(const wchar_t* routine) { return std::wstring(L"Failed to zarn_image_8::") + routine + L"()."; }

using lines = std::vector<std::wstring>;

// What one failing allocation leads to.
struct outcome {
    lines expected;          // the messages, as the 8-bit class words them
    reference_image picture; // the image afterwards; without samples: as before
};

template <class Image>
struct operation {
    const char* name;
    std::function<unsigned int(Image&)> run;
    std::vector<outcome> outcomes; // in the order in which the operation allocates
    bool reports = true;           // whether it returns a result
};

template <class Image>
class allocation_failures : public ::testing::Test {
protected:
    // The n-th allocation fails, for each n until none is left to fail. Allocations that lead to the same outcome may
    // stand for one another.
    static void check_each(const operation<Image>& one, const reference_image& picture) {
        std::size_t next = 0;
        for (std::int64_t n = 1;; ++n) {
            const std::int64_t before = live_allocations();
            {
                loaded_image<Image> image(picture, 3);
                unsigned int result = 9;
                bool happened = false;
                {
                    const allocation_failure failure(n);
                    result = one.run(*image);
                    happened = failure.happened();
                }
                if (!happened) {
                    EXPECT_EQ(result, 1u) << one.name;
                    EXPECT_TRUE(messages(*image).empty()) << one.name;
                    break;
                }
                if (one.reports) {
                    EXPECT_EQ(result, 0u) << one.name << ", allocation " << n;
                }
                if (next < one.outcomes.size() && messages(*image) == worded(one.outcomes[next])) {
                    ++next;
                } else {
                    ASSERT_GT(next, 0u) << one.name << ", allocation " << n << "\n" << described(*image);
                    ASSERT_EQ(messages(*image), worded(one.outcomes[next - 1])) << one.name << ", allocation " << n;
                }
                const reference_image& expected = one.outcomes[next - 1].picture;
                EXPECT_TRUE(same_picture(expected.samples.empty() ? picture : expected, *image))
                    << one.name << ", allocation " << n;
            }
            EXPECT_EQ(live_allocations(), before) << one.name << ", allocation " << n;
            ASSERT_LT(n, 200) << one.name;
        }
        EXPECT_EQ(next, one.outcomes.size()) << one.name;
    }

    // From the n-th allocation on all fail: the messages cannot be allocated either and are missing.
    static void check_exhaustion(const operation<Image>& one, const reference_image& picture) {
        for (std::int64_t n = 1;; ++n) {
            const std::int64_t before = live_allocations();
            bool happened = false;
            {
                loaded_image<Image> image(picture, 3);
                unsigned int result = 9;
                {
                    const allocation_failure failure(n, true);
                    result = one.run(*image);
                    happened = failure.happened();
                }
                EXPECT_TRUE(messages(*image).empty()) << one.name << ", from allocation " << n;
                if (one.reports) {
                    EXPECT_EQ(result, happened ? 0u : 1u) << one.name << ", from allocation " << n;
                }
                if (happened && n == 1) {
                    EXPECT_TRUE(same_picture(picture, *image)) << one.name;
                }
            }
            EXPECT_EQ(live_allocations(), before) << one.name << ", from allocation " << n;
            if (!happened) break;
        }
    }

private:
    static lines worded(const outcome& one) {
        lines texts;
        for (const std::wstring& line : one.expected) texts.push_back(image_traits<Image>::message(line));
        return texts;
    }
    static std::string described(const Image& image) { return ::testing::PrintToString(messages(image)); }
};

TYPED_TEST_SUITE(allocation_failures, image_types, image_type_names);

// The pictures a box-approximated Gaussian leaves behind when it fails in its n-th iteration.
std::vector<reference_image> box_iterations(const reference_image& picture, float sigma) {
    std::vector<reference_image> pictures(4, picture);
    for (unsigned i = 0; i < 4; ++i) reference_box_gaussian(pictures[i], sigma, true, true, i);
    return pictures;
}

} // namespace

TYPED_TEST(allocation_failures, of_every_operation) {
    using image = TypeParam;
    const typename image_traits<image>::pixel fill(1, 2, 3, 4);
    const reference_image picture = random_picture<image>(9, 8, lower_left, alpha_kind::sparse, 7);
    const std::uint32_t radius = 2;
    const float sigma = 4.5f;
    reference_image boxed = reference_pad_edges(picture, radius + 4);
    reference_box_passes(boxed, radius, true, true);
    const std::vector<reference_image> iterations = box_iterations(picture, sigma);
    reference_image approximated = reference_pad_edges(picture, 8);
    for (const std::uint32_t r : {4u, 4u, 5u}) reference_box_passes(approximated, r, true, true);

    const lines array_for_crop = {no_array, failed(L"___do_crop")};
    const lines record_for_crop = {record(L"crop"), failed(L"___do_crop")};
    const lines array_for_canvas = {no_array, failed(L"___do_resize_canvas")};
    const lines record_for_canvas = {record(L"resize_canvas"), failed(L"___do_resize_canvas")};
    const auto then = [](lines texts, const wchar_t* last) {
        texts.push_back(last);
        return texts;
    };
    const wchar_t* const no_padding = L"Failed to pad image edges. zarn_image_8::resize_canvas() failed.";
    const wchar_t* const padding_stays = L"Failed to crop image padding. zarn_image_8::crop() failed.";
    const lines horizontal = {record(L"blur"), failed(L"___do_horizontal_blur")};
    const lines vertical = {record(L"blur"), failed(L"___do_vertical_blur")};
    const lines first_vertical = {record(L"blur"), image_traits<image>::first_vertical_blur_failed};
    const auto two = [](const lines& first, const lines& second) {
        return std::vector<outcome>{{first, {}}, {second, {}}};
    };
    const auto resampled = [&](const wchar_t* routine) {
        return two({no_array, failed(routine)}, {record(L"resample"), failed(routine)});
    };

    const std::vector<operation<image>> operations = {
        {"clear", [&](image& i) { return i.clear(fill, 1), 1u; }, {{{record(L"adjust")}, {}}}, false},
        {"set_origin", [](image& i) { return i.set_origin(upper_left); },
         two({no_array, failed(L"flip_vertical")}, {record(L"flip_canvas"), failed(L"flip_vertical")})},
        {"flip_horizontal", [](image& i) { return i.flip_horizontal(); }, two({no_array}, {record(L"flip_canvas")})},
        {"flip_vertical", [](image& i) { return i.flip_vertical(); }, two({no_array}, {record(L"flip_canvas")})},
        {"crop", [](image& i) { return i.crop(1, 2, 3, 4); }, two(array_for_crop, record_for_crop)},
        {"crop_to_pixels",
         [](image& i) {
             unsigned int left, top;
             return i.crop_to_pixels(left, top);
         },
         two(array_for_crop, record_for_crop)},
        {"resize_canvas by position", [&](image& i) { return i.resize_canvas(12, 12, 1, fill); },
         two(array_for_canvas, record_for_canvas)},
        {"resize_canvas by margins", [&](image& i) { return i.resize_canvas(1, 2, 3, 4, fill); },
         two(array_for_canvas, record_for_canvas)},
        {"area reduction", [](image& i) { return i.resample(5, 4, 0); }, resampled(L"___do_downsample")},
        {"nearest", [](image& i) { return i.resample(5, 4, 1); }, resampled(L"___do_resample_nearest")},
        {"B-spline", [](image& i) { return i.resample(20, 14, 2); }, resampled(L"___do_resample_bicubic")},
        {"rotate", [](image& i) { return i.rotate(0.7, 1); },
         two({no_array, failed(L"___do_rotate")}, {record(L"rotate"), failed(L"___do_rotate")})},
        {"gaussian_blur", [&](image& i) { return i.gaussian_blur(2.0f, 0, 1, 1); },
         two({no_array}, {record(L"gaussian")})},
        {"box_blur",
         [&](image& i) { return i.box_blur(radius, 1, 1); },
         {{then(array_for_canvas, no_padding), {}},
          {then(record_for_canvas, no_padding), {}},
          {{image_traits<image>::no_box_scratch}, {}},
          {horizontal, {}},
          {vertical, {}},
          {then(array_for_crop, padding_stays), boxed},
          {then(record_for_crop, padding_stays), boxed}}},
        {"fast gaussian_blur",
         [&](image& i) { return i.gaussian_blur(sigma, 1, 1, 1); },
         {{then(array_for_canvas, no_padding), {}},
          {then(record_for_canvas, no_padding), {}},
          {{L"Memory Allocation Error: Failed to allocate zarn_image_16 temp pixel data."}, {}},
          {horizontal, {}},
          {first_vertical, {}},
          {horizontal, iterations[1]},
          {vertical, iterations[1]},
          {horizontal, iterations[2]},
          {vertical, iterations[2]},
          {then(array_for_crop, padding_stays), approximated},
          {then(record_for_crop, padding_stays), approximated}}},
        {"sharpen", [](image& i) { return i.sharpen(0.5f), 1u; }, {{{record(L"adjust")}, {}}}, false},
        {"expand_where_alpha, alpha kept",
         [](image& i) { return i.expand_where_alpha(0, 0, 1); },
         {{{image_traits<image>::no_saved_alpha}, {}}}},
        {"expand_where_alpha, alpha filled",
         [](image& i) { return i.expand_where_alpha(0, 0, 0); },
         {{{image_traits<image>::no_saved_alpha}, {}}}},
    };
    for (const operation<image>& one : operations) {
        this->check_each(one, picture);
        this->check_exhaustion(one, picture);
    }
}

TYPED_TEST(allocation_failures, of_creation_and_copies_leave_the_image_empty) {
    using image = TypeParam;
    const reference_image picture = random_picture<image>(6, 5, lower_left, alpha_kind::any, 7);
    const lines expected = {image_traits<image>::message(no_member)};
    const reference_image nothing = image_traits<image>::blank(0, 0, 0);
    const std::int64_t before = live_allocations();
    {
        loaded_image<image> source(picture, 3);
        const std::function<unsigned int(image&)> ways[] = {
            [](image& i) { return i.create(4, 3, lower_left, nullptr, 1); },
            [&](image& i) { return i.create(*source); },
            [&](image& i) {
                i = *source;
                return 0u;
            },
        };
        for (const auto& way : ways) {
            loaded_image<image> target(picture, 2);
            {
                const allocation_failure failure(1);
                EXPECT_EQ(way(*target), 0u);
            }
            EXPECT_TRUE(same_picture(nothing, *target));
            EXPECT_EQ(target->is_valid(), 0u);
            EXPECT_EQ(messages(*target), expected);
            const allocation_failure failure(1, true);
            EXPECT_EQ(way(*target), 0u);
            EXPECT_EQ(target->get_error_stack()->get_count(), 0u);
        }
    }
    EXPECT_EQ(live_allocations(), before);
}

// Pixels beyond any memory: the request itself fails, and its size does not wrap to a small one.
TYPED_TEST(allocation_failures, of_gigantic_sizes) {
    using image = TypeParam;
    const typename image_traits<image>::pixel fill;
    const reference_image picture = random_picture<image>(2, 2, upper_left, alpha_kind::any, 7);
    loaded_image<image> target(picture, 2);
    EXPECT_EQ(target->resize_canvas(4294967295u, 4294967295u, 2, fill), 0u);
    EXPECT_EQ(target->resample(2147483648u, 2147483648u, 2), 0u);
    EXPECT_TRUE(same_picture(picture, *target));
    lines expected;
    for (const std::wstring& line :
         {no_array, failed(L"___do_resize_canvas"), no_array, failed(L"___do_resample_bicubic")}) {
        expected.push_back(image_traits<image>::message(line));
    }
    EXPECT_EQ(messages(*target), expected);
    EXPECT_EQ(target->create(4294967295u, 4294967295u, upper_left, nullptr, 1), 0u);
    EXPECT_EQ(messages(*target), lines{image_traits<image>::message(no_member)});
}

TYPED_TEST(allocation_failures, of_the_workers_leave_an_image_that_cannot_work) {
    using image = TypeParam;
    const reference_image picture = random_picture<image>(6, 5, lower_left, alpha_kind::any, 7);
    const std::int64_t before = live_allocations();
    {
        std::unique_ptr<image> target;
        {
            const allocation_failure failure(1);
            target.reset(new image);
            EXPECT_TRUE(failure.happened());
        }
        EXPECT_EQ(target->get_thread_limit(), 0u);
        target->set_thread_limit(4);
        EXPECT_EQ(target->get_thread_limit(), 0u);
        EXPECT_TRUE(image_traits<image>::load(*target, picture));
        EXPECT_EQ(target->flip_vertical(), 0u);
        EXPECT_EQ(target->resample(3, 3, 0), 0u);
        EXPECT_EQ(target->gaussian_blur(1, 0, 1, 1), 0u);
        target->sharpen(1);
        EXPECT_EQ(target->expand_where_alpha(0, 254, 0), 1u);
        lines expected;
        for (const std::wstring& line : {record(L"flip_canvas"), record(L"resample"), failed(L"___do_downsample"),
                                         record(L"gaussian"), record(L"adjust")}) {
            expected.push_back(image_traits<image>::message(line));
        }
        EXPECT_EQ(messages(*target), expected);
        target->free();
    }
    EXPECT_EQ(live_allocations(), before);
}

} // namespace zarn_test
