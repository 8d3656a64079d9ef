// Normal maps of grayscale images against a plain Sobel filter, bit for bit, and what the conversion leaves behind.

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "tests/reference/reference_geometry.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

constexpr int farthest = std::numeric_limits<int>::max();
constexpr int nearest = std::numeric_limits<int>::min();

struct normals_call {
    float strength = 1;
    unsigned wrap = 0, flags = 0;
};

std::uint32_t encoded(float component) { return to_sample((component + 1.0f) * 0.5f * 65535.0f, 65535); }

// `heights` is a 16-bit picture, top row first; pixels and rectangle count in memory rows.
void reference_normals(const reference_image& heights, const zarn_irect_s& part, const normals_call& call,
                       reference_image& out) {
    const int width = static_cast<int>(heights.width), height = static_cast<int>(heights.height);
    const auto place = [&call](int v, int side) {
        if (call.wrap) return (v + side) % side;
        return v < 0 ? 0 : v >= side ? side - 1 : v;
    };
    const auto at = [&](int x, int y) { return heights.at(static_cast<unsigned>(x), static_cast<unsigned>(y)); };
    for (int y = part.top; y < part.bottom; ++y) {
        for (int x = part.left; x < part.right; ++x) {
            std::uint32_t* normal = out.at(static_cast<unsigned>(x), static_cast<unsigned>(y));
            const std::uint32_t* centre = at(x, y);
            normal[3] = centre[1];
            if (!heights.visible(centre)) {
                normal[0] = normal[1] = 32767;
                normal[2] = call.flags & 0x10 ? 65535 : 0;
                continue;
            }
            const auto h = [&](int dx, int dy) {
                const std::uint32_t* neighbour = at(place(x + dx, width), place(y + dy, height));
                return static_cast<float>((heights.visible(neighbour) ? neighbour : centre)[0]) * 1.5259022e-05f;
            };
            const float gx = h(1, -1) + 2.0f * h(1, 0) + h(1, 1) - h(-1, -1) - 2.0f * h(-1, 0) - h(-1, 1);
            const float gy = h(-1, -1) + 2.0f * h(0, -1) + h(1, -1) - h(-1, 1) - 2.0f * h(0, 1) - h(1, 1);
            const float nx = -call.strength * gx, ny = call.strength * gy;
            const float n = 1.0f / std::sqrt(nx * nx + ny * ny + 1.0f);
            normal[0] = encoded(call.flags & 0x1 ? -(nx * n) : nx * n);
            normal[1] = encoded(call.flags & 0x4 ? -(ny * n) : ny * n);
            normal[2] = encoded(call.flags & 0x20 ? -n : n);
        }
    }
}

using lines = std::vector<std::wstring>;

template <class Image>
class normal_maps : public ::testing::Test {
protected:
    // What the source is afterwards.
    static reference_image converted(const reference_image& picture) {
        reference_image heights = image_traits<grayscale_16>::blank(picture.width, picture.height, picture.origin);
        for (std::size_t i = 0; i < picture.samples.size(); ++i) {
            const double factor = 1.0 / static_cast<double>(picture.full);
            heights.samples[i] =
                picture.full == 65535 ? picture.samples[i] : to_sample(picture.samples[i] * factor * 65535.0, 65535);
        }
        if (heights.origin != upper_left) reference_flip_vertical(heights);
        heights.origin = upper_left;
        return heights;
    }

    // Runs on a copy of the source and checks both images.
    static void check(const picture_case& one, const normals_call& call, zarn_irect_s* rectangle,
                      const zarn_irect_s& part, const reference_image& before) {
        const std::string parameters = text(one.name, "strength", call.strength, "wrap", call.wrap, "flags", call.flags,
                                            "part", part.left, part.top, part.right, part.bottom);
        const reference_image heights = converted(one.picture);
        reference_image expected = before;
        if (before.width != heights.width || before.height != heights.height) {
            expected = image_traits<zarn_image_16>::blank(heights.width, heights.height, upper_left);
        }
        reference_normals(heights, part, call, expected);
        loaded_image<Image> source(one.picture, one.thread_limit);
        loaded_image<zarn_image_16> output(before, 1);
        EXPECT_EQ(source->convert_to_normals(call.strength, call.wrap, call.flags, rectangle, *output), 1u);
        EXPECT_TRUE(same_picture(expected, *output)) << parameters;
        ASSERT_EQ(source->get_image_type(), 1u);
        grayscale_16 afterwards;
        afterwards.create(source->get_width(), source->get_height(), source->get_origin(), source->get_pixel_array_16(),
                          1);
        EXPECT_TRUE(same_picture(heights, afterwards)) << parameters;
        EXPECT_TRUE(messages(*source).empty() && messages(*output).empty());
        afterwards.free();
    }

    static void check(const picture_case& one, const normals_call& call) {
        const zarn_irect_s whole = {0, 0, static_cast<int>(one.picture.width), static_cast<int>(one.picture.height)};
        check(one, call, nullptr, whole, image_traits<zarn_image_16>::blank(0, 0, 0));
    }
};

using grayscale_types = ::testing::Types<grayscale_8, grayscale_16, grayscale_32>;
TYPED_TEST_SUITE(normal_maps, grayscale_types, image_type_names);

} // namespace

TYPED_TEST(normal_maps, of_every_picture) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const float strengths[] = {
        1, 0, 0.3f, 2.5f, -1, 100, 1.0e-20f, 1.0e25f, infinity, -infinity, std::numeric_limits<float>::quiet_NaN()};
    constexpr unsigned flags[] = {0, 0x1, 0x4, 0x20, 0x10, 0x25, 0x35, 0xFFFFFFCA, 0xFFFFFFFF};
    unsigned turn = 0;
    for (const picture_case& one : picture_cases<TypeParam>()) {
        for (const float strength : strengths) {
            for (const unsigned wrap : {0u, 256u}) this->check(one, {strength, wrap, flags[turn++ % 9]});
        }
    }
}

TYPED_TEST(normal_maps, of_a_part_leave_the_rest_of_the_output) {
    const picture_case one{random_picture<TypeParam>(9, 7, lower_left, alpha_kind::any, 1), 3, "part"};
    struct row {
        zarn_irect_s given, left_behind; // `part` is what is left behind, unless that is outside
        bool nothing = false;
    };
    const row rows[] = {
        {{2, 1, 5, 4}, {2, 1, 5, 4}},
        {{-5, -3, 4, 3}, {0, 0, 4, 3}},
        {{6, 5, 100, 100}, {6, 5, 9, 7}},
        {{nearest, nearest, farthest, farthest}, {0, 0, 9, 7}},
        {{8, 6, 9, 7}, {8, 6, 9, 7}},
        {{9, 0, 12, 7}, {9, 0, 12, 7}, true}, // outside: the rectangle stays too
        {{0, 7, 9, 9}, {0, 7, 9, 9}, true},
        {{-5, 0, 0, 7}, {-5, 0, 0, 7}, true},
        {{0, -5, 9, 0}, {0, -5, 9, 0}, true},
        {{farthest, farthest, nearest, nearest}, {farthest, farthest, nearest, nearest}, true},
        {{3, 2, 3, 5}, {3, 2, 3, 5}, true}, // no columns, no rows, turned round
        {{-2, 3, 20, 3}, {0, 3, 9, 3}, true},
        {{2, 6, 12, 1}, {2, 6, 9, 1}, true},
    };
    const reference_image outputs[] = {image_traits<zarn_image_16>::blank(0, 0, 0),
                                       random_picture<zarn_image_16>(9, 7, upper_left, alpha_kind::any, 2),
                                       random_picture<zarn_image_16>(9, 7, lower_left, alpha_kind::any, 2),
                                       random_picture<zarn_image_16>(7, 9, lower_left, alpha_kind::any, 2)};
    for (const row& r : rows) {
        for (const reference_image& output : outputs) {
            zarn_irect_s rectangle = r.given;
            this->check(one, {2, 1, 0}, &rectangle, r.nothing ? zarn_irect_s{0, 0, 0, 0} : r.left_behind, output);
            EXPECT_TRUE(rectangle.left == r.left_behind.left && rectangle.top == r.left_behind.top &&
                        rectangle.right == r.left_behind.right && rectangle.bottom == r.left_behind.bottom)
                << text("given", r.given.left, r.given.top, r.given.right, r.given.bottom, "left", rectangle.left,
                        rectangle.top, rectangle.right, rectangle.bottom);
        }
    }
}

TYPED_TEST(normal_maps, of_nothing) {
    zarn_owned<TypeParam> image;
    const reference_image before = random_picture<zarn_image_16>(3, 2, lower_left, alpha_kind::any, 2);
    loaded_image<zarn_image_16> output(before, 1);
    zarn_irect_s rectangle = {-1, -1, 5, 5};
    EXPECT_EQ(image->convert_to_normals(1, 0, 0, &rectangle, *output), 0u);
    EXPECT_TRUE(messages(*image).empty() && messages(*output).empty());
    EXPECT_TRUE(same_picture(before, *output));
    EXPECT_EQ(rectangle.right, 5);
}

TYPED_TEST(normal_maps, without_memory) {
    using traits = image_traits<TypeParam>;
    const std::wstring no_memory = L"Memory Allocation Error: Failed to allocate ";
    const std::wstring not_turned[] = {L"Failed to zarn_image_grayscale::flip_vertical().",
                                       L"Failed to zarn_image_16::set_origin()."};
    std::vector<lines> expected = {
        {no_memory + L"zarn_image_grayscale::___pixel_16_d_array.", L"Failed to zarn_image_16::set_image_type()."},
        {no_memory + L"zarn_grayscale_pixel_16_s array.", not_turned[0], not_turned[1]},
        {no_memory + L"flip_canvas_thread_data_g_s.", not_turned[0], not_turned[1]},
        {L"Failed to zarn_image_16::create()."},
        {no_memory + L"normals_thread_data_16_g_s."}};
    if (traits::full == 65535) expected.erase(expected.begin());
    const reference_image picture = random_picture<TypeParam>(9, 7, lower_left, alpha_kind::any, 1);
    std::size_t next = 0;
    bool happened = true;
    for (std::int64_t n = 1; happened; ++n) {
        const std::int64_t before = live_allocations();
        {
            loaded_image<TypeParam> source(picture, 2);
            zarn_owned<zarn_image_16> output;
            unsigned result;
            {
                const allocation_failure failure(n);
                result = source->convert_to_normals(1, 0, 0, nullptr, *output);
                happened = failure.happened();
            }
            EXPECT_EQ(result, happened ? 0u : 1u);
            const lines told = messages(*source);
            if (happened && next < expected.size() && told == expected[next]) ++next;
            EXPECT_EQ(told, happened ? expected[next ? next - 1 : 0] : lines{}) << n;
        }
        EXPECT_EQ(live_allocations(), before);
    }
    EXPECT_EQ(next, expected.size());
}

} // namespace zarn_test
