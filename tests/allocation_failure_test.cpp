// Every allocation of every operation made to fail in turn: results, messages, untouched pixels, nothing leaked.

#include <algorithm>
#include <functional>

#include <gtest/gtest.h>

#include <zarn/image_8_16.h>

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

// Messages of the 8-bit class as the class under test words them.
template <class Image>
lines worded(lines texts) {
    for (std::wstring& line : texts) line = image_traits<Image>::message(line);
    return texts;
}

// What one failing allocation leads to.
struct outcome {
    lines expected;
    reference_image picture; // the image afterwards; without samples: as before
};

template <class Image>
struct operation {
    const char* name;
    std::function<unsigned int(Image&)> run;
    std::vector<outcome> outcomes; // in the order in which the operation allocates
};

template <class Image>
class allocation_failures : public ::testing::Test {
protected:
    // The n-th allocation fails, for each n until none is left to fail. Allocations that lead to the same outcome may
    // stand for one another. With `and_after` all later ones fail too, those of the messages among them.
    static void check_each(const operation<Image>& one, const reference_image& picture, bool and_after) {
        std::size_t next = 0;
        bool happened = true;
        for (std::int64_t n = 1; happened; ++n) {
            ASSERT_LT(n, 200) << one.name;
            SCOPED_TRACE(text(one.name, "allocation", n, and_after));
            const std::int64_t before = live_allocations();
            {
                loaded_image<Image> image(picture, 3);
                {
                    const allocation_failure failure(n, and_after);
                    const unsigned int result = one.run(*image);
                    happened = failure.happened();
                    EXPECT_EQ(result, happened ? 0u : 1u);
                }
                const bool told = happened && !and_after;
                if (told && next < one.outcomes.size() &&
                    messages(*image) == worded<Image>(one.outcomes[next].expected)) {
                    ++next;
                }
                const outcome& last = one.outcomes[next ? next - 1 : 0];
                EXPECT_EQ(messages(*image), told ? worded<Image>(last.expected) : lines{});
                if (told || (happened && n == 1)) {
                    EXPECT_TRUE(same_picture(last.picture.samples.empty() ? picture : last.picture, *image));
                }
            }
            EXPECT_EQ(live_allocations(), before);
        }
        EXPECT_EQ(next, and_after ? 0 : one.outcomes.size()) << one.name;
    }
};

TYPED_TEST_SUITE(allocation_failures, image_types, image_type_names);

} // namespace

TYPED_TEST(allocation_failures, of_every_operation) {
    using image = TypeParam;
    using traits = image_traits<image>;
    const typename traits::pixel fill = traits::make(1, 2, 3, 4);
    const reference_image picture = random_picture<image>(9, 8, lower_left, alpha_kind::sparse, 7);
    const std::uint32_t radius = 2;
    const float sigma = 4.5f;
    // What the fast blurs leave behind: padding that stays, and the second and third iteration undone.
    reference_image boxed = reference_pad_edges(picture, radius + 4);
    reference_box_passes(boxed, radius, true, true);
    reference_image approximated = reference_pad_edges(picture, 8), once = picture, twice = picture;
    for (const std::uint32_t r : {4u, 4u, 5u}) reference_box_passes(approximated, r, true, true);
    reference_box_gaussian(once, sigma, true, true, 1);
    reference_box_gaussian(twice, sigma, true, true, 2);

    // Two allocations, the array and the records of the bands, and what follows either message.
    const auto array_and = [](const std::wstring& records, lines then) {
        std::vector<outcome> both{{{no_array}, {}}, {{records}, {}}};
        for (outcome& one : both) one.expected.insert(one.expected.end(), then.begin(), then.end());
        return both;
    };
    const auto crop = array_and(record(L"crop"), {failed(L"___do_crop")});
    const auto canvas = array_and(record(L"resize_canvas"), {failed(L"___do_resize_canvas")});
    const auto flip = array_and(record(L"flip_canvas"), {});
    const std::vector<outcome> adjust = {{{record(L"adjust")}, {}}};
    const std::vector<outcome> saved_alpha = {{{no_memory + L"zarn_uchar_8 array."}, {}}};
    const lines horizontal = {record(L"blur"), failed(L"___do_horizontal_blur")};
    const lines vertical = {record(L"blur"), failed(L"___do_vertical_blur")};
    const lines first_vertical = {record(L"blur"), L"Failed to v::___do_vertical_blur()."};
    const auto resampled = [&](const wchar_t* routine) { return array_and(record(L"resample"), {failed(routine)}); };
    // A blur that pads the picture, works, and crops the padding, which leaves `padded` where it fails.
    const auto padded_blur = [&](const std::vector<outcome>& work, const reference_image& padded) {
        auto all =
            array_and(record(L"resize_canvas"), {failed(L"___do_resize_canvas"),
                                                 L"Failed to pad image edges. zarn_image_8::resize_canvas() failed."});
        all.insert(all.end(), work.begin(), work.end());
        for (outcome one : crop) {
            one.expected.push_back(L"Failed to crop image padding. zarn_image_8::crop() failed.");
            all.push_back({one.expected, padded});
        }
        return all;
    };

    // The result of operations that give none.
    const auto changed = [](image& i, const std::function<void()>& run) {
        const reference_image before = traits::read(i);
        run();
        return same_picture(before, i) ? 0u : 1u;
    };
    const loaded_image<image> source(random_picture<image>(9, 8, upper_left, alpha_kind::any, 3), 1);
    unsigned int left, top;
    std::vector<operation<image>> operations = {
        {"clear", [&](image& i) { return changed(i, [&] { i.clear(fill, 1); }); }, adjust},
        {"exposure", [&](image& i) { return changed(i, [&] { i.exposure(0.5f); }); }, adjust},
        {"gamma", [&](image& i) { return changed(i, [&] { i.gamma(3); }); }, adjust},
        {"negative", [&](image& i) { return changed(i, [&] { i.negative(1, 1); }); }, adjust},
        {"normalize",
         [&](image& i) { return changed(i, [&] { i.normalize(); }); },
         {{{no_memory + L"zarn_image_8 lum_array."}, {}}}},
        {"blit",
         [&](image& i) { return i.blit(*source, 0, 0, 9, 8, 1, 1, 1, 5, 0, nullptr, nullptr); },
         {{{record(L"blit")}, {}}}},
        {"blit onto itself", [](image& i) { return i.blit(i, 0, 0, 9, 8, 1, 1, 1, 5, 0, nullptr, nullptr); },
         array_and(record(L"blit"), {})},
        {"set_origin", [](image& i) { return i.set_origin(upper_left); },
         array_and(record(L"flip_canvas"), {failed(L"flip_vertical")})},
        {"flip_horizontal", [](image& i) { return i.flip_horizontal(); }, flip},
        {"flip_vertical", [](image& i) { return i.flip_vertical(); }, flip},
        {"crop", [](image& i) { return i.crop(1, 2, 3, 4); }, crop},
        {"crop_to_pixels", [&](image& i) { return i.crop_to_pixels(left, top); }, crop},
        {"resize_canvas by position", [&](image& i) { return i.resize_canvas(12, 12, 1, fill); }, canvas},
        {"resize_canvas by margins", [&](image& i) { return i.resize_canvas(1, 2, 3, 4, fill); }, canvas},
        {"area reduction", [](image& i) { return i.resample(5, 4, 0); }, resampled(L"___do_downsample")},
        {"nearest", [](image& i) { return i.resample(5, 4, 1); }, resampled(L"___do_resample_nearest")},
        {"B-spline", [](image& i) { return i.resample(20, 14, 2); }, resampled(L"___do_resample_bicubic")},
        {"rotate", [](image& i) { return i.rotate(0.7, 1); }, array_and(record(L"rotate"), {failed(L"___do_rotate")})},
        {"gaussian_blur", [](image& i) { return i.gaussian_blur(2, 0, 1, 1); }, array_and(record(L"gaussian"), {})},
        {"box_blur", [&](image& i) { return i.box_blur(radius, 1, 1); },
         padded_blur({{{no_memory + L"zarn_pixel_8_s temp pixel data."}, {}}, {horizontal, {}}, {vertical, {}}},
                     boxed)},
        {"fast gaussian_blur", [&](image& i) { return i.gaussian_blur(sigma, 1, 1, 1); },
         padded_blur({{{no_memory + L"zarn_image_16 temp pixel data."}, {}},
                      {horizontal, {}},
                      {first_vertical, {}},
                      {horizontal, once},
                      {vertical, once},
                      {horizontal, twice},
                      {vertical, twice}},
                     approximated)},
        {"sharpen", [&](image& i) { return changed(i, [&] { i.sharpen(0.5f); }); }, adjust},
    };
    if constexpr (traits::is_rgba) {
        operations.push_back({"grayscale", [&](image& i) { return changed(i, [&] { i.grayscale(); }); }, adjust});
    }
    if constexpr (traits::has_alpha) {
        for (const unsigned int keep : {0u, 1u}) {
            operations.push_back({keep ? "expand_where_alpha, alpha kept" : "expand_where_alpha, alpha filled",
                                  [keep](image& i) { return i.expand_where_alpha(0, 0, keep); }, saved_alpha});
        }
    }
    for (const operation<image>& one : operations) {
        this->check_each(one, picture, false);
        this->check_each(one, picture, true);
    }
}

TYPED_TEST(allocation_failures, of_creation_and_copies_leave_the_image_empty) {
    using image = TypeParam;
    const reference_image picture = random_picture<image>(6, 5, lower_left, alpha_kind::any, 7);
    const std::int64_t before = live_allocations();
    {
        loaded_image<image> source(picture, 3);
        const std::function<unsigned int(image&)> ways[] = {
            [](image& i) { return i.create(4, 3, lower_left, nullptr, 1); },
            [&](image& i) { return i.create(*source); },
            [&](image& i) { return i = *source, i.is_valid(); },
        };
        for (const auto& way : ways) {
            loaded_image<image> target(picture, 2);
            for (const bool and_after : {false, true}) {
                {
                    const allocation_failure failure(1, and_after);
                    EXPECT_EQ(way(*target), 0u);
                }
                EXPECT_TRUE(same_picture(image_traits<image>::blank(0, 0, 0), *target));
                EXPECT_EQ(target->is_valid(), 0u);
                EXPECT_EQ(messages(*target), and_after ? lines{} : worded<image>({no_member}));
            }
        }
    }
    EXPECT_EQ(live_allocations(), before);
}

// Pixels beyond any memory: the request itself fails, and its size does not wrap to a small one.
TYPED_TEST(allocation_failures, of_gigantic_sizes) {
    using image = TypeParam;
    const reference_image picture = random_picture<image>(2, 2, upper_left, alpha_kind::any, 7);
    loaded_image<image> target(picture, 2);
    EXPECT_EQ(target->resize_canvas(4294967295u, 4294967295u, 2, typename image_traits<image>::pixel{}), 0u);
    EXPECT_EQ(target->resample(2147483648u, 2147483648u, 2), 0u);
    EXPECT_TRUE(same_picture(picture, *target));
    EXPECT_EQ(messages(*target),
              worded<image>({no_array, failed(L"___do_resize_canvas"), no_array, failed(L"___do_resample_bicubic")}));
    EXPECT_EQ(target->create(4294967295u, 4294967295u, upper_left, nullptr, 1), 0u);
    EXPECT_EQ(messages(*target), worded<image>({no_member}));
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
        target->set_thread_limit(4);
        EXPECT_EQ(target->get_thread_limit(), 0u);
        EXPECT_TRUE(image_traits<image>::load(*target, picture));
        EXPECT_EQ(target->flip_vertical() + target->resample(3, 3, 0) + target->gaussian_blur(1, 0, 1, 1), 0u);
        target->sharpen(1);
        EXPECT_TRUE(same_picture(picture, *target));
        EXPECT_EQ(messages(*target),
                  worded<image>({record(L"flip_canvas"), record(L"resample"), failed(L"___do_downsample"),
                                 record(L"gaussian"), record(L"adjust")}));
        target->free();
    }
    EXPECT_EQ(live_allocations(), before);
}

template <class Image>
class allocation_failures_of_either_depth : public ::testing::Test {};

TYPED_TEST_SUITE(allocation_failures_of_either_depth, rgba_image_types, image_type_names);

// The image of either depth tells on its own stack what it could not make, and keeps what an operation was to replace.
// Failures of worker pools are no failures of these calls.
TYPED_TEST(allocation_failures_of_either_depth, leave_messages_and_contents) {
    using image = TypeParam;
    constexpr unsigned int type = image_traits<image>::full == 255 ? 0 : 1, other = 1 - type;
    const reference_image picture = random_picture<image>(6, 5, lower_left, alpha_kind::any, 7);
    const loaded_image<image> source(picture, 1);
    const lines of_class[] = {{no_memory + L"zarn_image_8.", no_member},
                              {no_memory + L"zarn_image_16.", image_traits<zarn_image_16>::message(no_member)}};
    const std::wstring temporary = no_memory + (type ? L"src_image.___image_16." : L"src_image.___image_8.");
    struct attempt {
        const char* name;
        std::function<unsigned int(zarn_image_8_16&, zarn_image_8_16&)> run; // with another holder, of the other depth
        bool keeps;
        lines either; // messages, one of which a failure gives
    };
    const auto blit = [](auto& h, auto& from) {
        return type ? h.blit_16(from, 0, 0, 6, 5, 1, 0, 0, 5, 0, nullptr, nullptr)
                    : h.blit_8(from, 0, 0, 6, 5, 1, 0, 0, 5, 0, nullptr, nullptr);
    };
    const attempt attempts[] = {
        {"create, copy", [&](auto& h, auto&) { return h.create(*source, type); }, false, of_class[type]},
        {"create, convert", [&](auto& h, auto&) { return h.create(*source, other); }, false, of_class[other]},
        {"assign", [](auto& h, auto& from) { return h = from, h.is_valid(); }, false, of_class[other]},
        {"create from memory", [&](auto& h, auto&) { return h.create(3, 2, 0, other, nullptr, 1); }, true,
         of_class[other]},
        {"blit", blit, true, {temporary}},
        {"set_image_type", [](auto& h, auto&) { return h.set_image_type(other); }, true, of_class[other]},
    };
    for (const attempt& one : attempts) {
        std::vector<bool> told(one.either.size());
        bool happened = true;
        for (std::int64_t n = 1; happened; ++n) {
            SCOPED_TRACE(text(one.name, "allocation", n));
            const std::int64_t before = live_allocations();
            {
                zarn_owned<zarn_image_8_16> held, beside;
                ASSERT_EQ(held->create(*source, type) + beside->create(*source, other), 2u);
                unsigned int result;
                {
                    const allocation_failure failure(n);
                    result = one.run(*held, *beside);
                    happened = failure.happened();
                }
                const lines texts = messages(*held);
                EXPECT_LE(texts.size(), result ? 0u : 1u); // thread records are the held image's business
                EXPECT_EQ(beside->is_valid(), 1u);
                EXPECT_EQ(beside->get_image_type(), other);
                if (!result) {
                    EXPECT_TRUE(happened);
                    for (const std::wstring& line : texts) {
                        const auto place = std::find(one.either.begin(), one.either.end(), line);
                        ASSERT_NE(place, one.either.end());
                        told[static_cast<std::size_t>(place - one.either.begin())] = true;
                    }
                    EXPECT_EQ(held->is_valid(), one.keeps ? 1u : 0u);
                    EXPECT_EQ(held->get_image_type(), one.keeps ? type : 1u);
                }
            }
            EXPECT_EQ(live_allocations(), before);
        }
        EXPECT_EQ(told, std::vector<bool>(told.size(), true)) << one.name;
    }
}

} // namespace zarn_test
