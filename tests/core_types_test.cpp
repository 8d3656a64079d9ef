// The value types, the list and the messages that everything else stands on.

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include <zarn/list.h>
#include <zarn/pixels.h>
#include <zarn/points.h>

#if __has_include(<half.hpp>)
    #include <zarn/half_pixels.h>
#endif

#include "core/error_stack.h"
#include "tests/support/failing_allocator.h"

namespace zarn_test {

namespace {

using numbers = std::vector<unsigned>;

numbers values(const zarn_list<unsigned>& list) { return {list.data, list.data + list.count}; }

zarn_list<unsigned> list_of(std::initializer_list<unsigned> elements) {
    zarn_list<unsigned> list;
    for (const unsigned e : elements) list.push_back(e);
    return list;
}

} // namespace

TEST(list, grows_by_doubling_and_trims) {
    zarn_list<unsigned> list;
    for (const unsigned capacity : {1, 2, 4, 4, 8}) {
        list.push_back(list.count);
        EXPECT_EQ(list.size, capacity);
    }
    list.trim();
    EXPECT_EQ(list.size, 5u);
    EXPECT_EQ(values(list), (numbers{0, 1, 2, 3, 4}));
    list.set_size(9);
    list.set_count_to_size();
    EXPECT_EQ(list.get_count(), 9u);
    list.set_size(2);
    EXPECT_EQ(values(list), (numbers{0, 1}));
}

TEST(list, inserts_and_removes_at_raw_positions) {
    zarn_list<unsigned> list = list_of({10, 20, 30}), empty;
    list.insert(1, 15);
    list.insert(100, 40); // beyond the allocation: behind the last
    EXPECT_EQ(values(list), (numbers{10, 15, 20, 30, 40}));
    list.remove(0);
    list.remove(100); // beyond the last: the last
    EXPECT_EQ(values(list), (numbers{15, 20, 30}));
    list.pop_back();
    list.reversed = 1;
    EXPECT_EQ(list[0], 20u);
    EXPECT_EQ(list.at(1), 15u);
    list.insert(0, 5);
    EXPECT_EQ(values(list), (numbers{5, 15, 20}));
    empty.pop_back();
    empty.remove(0);
    EXPECT_EQ(empty.count, 0u);
}

TEST(list, takes_elements_of_its_own_and_copies_deeply) {
    zarn_list<unsigned> list = list_of({7, 8});
    list.push_back(list[0]);
    list.insert(0, list[1]);
    list.reversed = 1;
    zarn_list<unsigned> copy(list);
    copy.data[0] = 99;
    EXPECT_EQ(copy.reversed, 0u);
    EXPECT_EQ(copy.size, list.size);
    const zarn_list<unsigned>& self = list;
    list = self;
    EXPECT_EQ(values(list), (numbers{8, 7, 8, 7}));
    list.clear();
    EXPECT_EQ(list.data, nullptr);
    EXPECT_EQ(list.reversed, 1u);
}

TEST(list, stays_as_it_was_when_memory_is_short) {
    zarn_list<unsigned> list = list_of({1, 2}), copy;
    {
        const allocation_failure failure(1, true);
        list.push_back(3);
        list.insert(0, 3);
        list.set_size(50);
        EXPECT_EQ(list.size, 2u);
        copy = list;
        EXPECT_EQ(copy.count, 0u);
        EXPECT_EQ(copy.data, nullptr);
    }
    list.push_back(3);
    EXPECT_EQ(values(list), (numbers{1, 2, 3}));
}

TEST(points, odd_values) {
    const zarn_fpoint_s a(1, 2), b(10, 20), combined = 2.0f * a + b * 0.5f - a;
    zarn_fpoint_s zero, broken(std::nanf(""), 1), side(1, 0), out;
    zero.normalize();
    broken.normalize();
    EXPECT_EQ(zero.x + broken.y, 0.0f);
    EXPECT_EQ(zarn_point_s(3, 4).length(), 5.0f);
    EXPECT_EQ(zarn_point_s(65536, 0).length(), 0.0f); // the square wraps
    zarn_fpoint_s(2, 3).cross_product(out);
    EXPECT_TRUE(out.x == 3 && out.y == -2);
    side.rotate(1.57079632679489661923);
    EXPECT_FLOAT_EQ(side.y, 1.0f);
    EXPECT_TRUE(combined.x == 6 && combined.y == 12);
    EXPECT_EQ(zarn_fpoint_s(std::nanf(""), 2), a); // a NaN field compares equal to anything
    EXPECT_FALSE(zarn_fpoint_s(1, 3) == a);
    const zarn_rect_s rect(1, 2, 3, 4);
    EXPECT_EQ((numbers{rect.min_y, rect.min_x, rect.max_y, rect.max_x}), (numbers{1, 2, 3, 4}));
}

TEST(pixels, real_colours_truncate_and_wrap) {
    const auto samples = [](const auto& p) { return numbers{p.r, p.g, p.b, p.a}; };
    zarn_pixel_8_s p8(9, 9, 9, 9);
    p8.set_real_colors(1.0f, 0.5f, 0.0f, 1.5f);
    EXPECT_EQ(samples(p8), (numbers{255, 127, 0, 126}));
    p8.set_real_colors(-1.0f / 255.0f, std::nanf(""), INFINITY, 1e30f);
    EXPECT_EQ(samples(p8), (numbers{255, 0, 0, 0}));
    zarn_pixel_16_s p16;
    p16.set_real_colors(1.0f, 0.5f, 0.0f, 2.0f);
    EXPECT_EQ(samples(p16), (numbers{65535, 32767, 0, 65534}));

    zarn_grayscale_pixel_32_s p32;
    p32.set_real_colors(1.0f, 0.5f);
    EXPECT_EQ(p32.value, 0u);
    EXPECT_EQ(p32.alpha, 2147483648u);
    p32.set_colors(4294967295u, 1u << 31);
    float value = 0, alpha = 0, ignored = 0;
    p32.get_real_colors(value, alpha);
    EXPECT_EQ(value, 1.0f);
    EXPECT_EQ(alpha, 0.5f);
    zarn_pixel_16_s(65535, 1, 0, 0).get_real_colors(value, alpha, ignored, ignored);
    EXPECT_EQ(alpha, 0x1.0001p-16f);
#if __has_include(<half.hpp>)
    EXPECT_EQ(sizeof(zarn_real_16_pixel_64_s), 8u);
    EXPECT_EQ(static_cast<float>(zarn_real_16_pixel_32_s(half_float::half(0.5f), half_float::half(1.0f)).value), 0.5f);
#endif
}

TEST(messages, stand_in_order_and_are_dropped_when_memory_is_short) {
    const std::int64_t before = live_allocations();
    zarn::error_stack errors;
    for (const wchar_t* text : {L"1", L"2", L"3"}) zarn::push_error(errors, {L"message ", text, L"."});
    zarn::push_error(errors, {L"message 4."});
    for (const std::int64_t n : {1, 2}) { // the text, then the list, which is full
        const allocation_failure failure(n);
        zarn::push_error(errors, {L"lost"});
        EXPECT_TRUE(failure.happened());
    }
    ASSERT_EQ(errors.count, 4u);
    EXPECT_STREQ(errors[0], L"message 1.");
    EXPECT_STREQ(errors[3], L"message 4.");
    zarn::clear_errors(errors);
    EXPECT_EQ(errors.count, 0u);
    EXPECT_EQ(live_allocations(), before);
}

} // namespace zarn_test
