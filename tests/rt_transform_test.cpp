// The transform engine: every kind of image against the plain form, paths against their own operations, and what must
// not go wrong: memory, hosts that touch a checked-in image, arguments.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <zarn/image_8_16.h>
#include <zarn/rt_transform.h>

#include "tests/reference/reference_transform.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"
#include "tests/support/instruction_sets.h"

namespace zarn_test {

namespace {

constexpr double quarter = 1.57079632679489661923;
constexpr const wchar_t* allocation_message = L"Function zarn_rt_transform::___allocate_image_pixels() returned FALSE.";

std::vector<std::int64_t> instruction_sets() {
    std::vector<std::int64_t> targets = {HWY_SCALAR};
    for (std::int64_t left = hwy::SupportedTargets(); left; left &= left - 1) targets.push_back(left & -left);
    return targets;
}

struct rt_transform : ::testing::Test {
    zarn_rt_transform engine;

    ~rt_transform() override { use_targets(0); }
    std::wstring last_message() const { return messages(engine).empty() ? L"" : messages(engine).back(); }
};

template <class Image>
struct rt_transform_image : rt_transform {
    zarn_owned<Image> image;

    reference_image check_in(std::uint32_t width, std::uint32_t height, std::uint32_t origin = upper_left) {
        const reference_image kept = random_picture<Image>(width, height, origin, alpha_kind::any, width * 31 + height);
        EXPECT_TRUE(image_traits<Image>::load(*image, kept));
        EXPECT_EQ(engine.checkin_image(*image), 1u);
        EXPECT_EQ(engine.is_valid(), 1u);
        return kept;
    }
};
TYPED_TEST_SUITE(rt_transform_image, image_types, image_type_names);

} // namespace

TYPED_TEST(rt_transform_image, agrees_with_the_plain_form_on_every_instruction_set) {
    const double angles[] = {0.0, -0.0, 0.3, -2.1, quarter, 2 * quarter, -quarter, 1e-9, 5.0, 1e18};
    // In sixteenths of the size.
    const int factors[][2] = {{16, 16}, {-16, 16}, {16, -16}, {-24, -9}, {40, 31},
                              {8, 8},   {5, 60},   {13, -3},  {-32, 32}};
    const std::vector<std::int64_t> targets = instruction_sets();
    const std::pair<int, int> sizes[] = {{1, 1}, {2, 9}, {37, 5}, {70, 41}, {150, 8}, {5000, 3}};
    for (const auto& [width, height] : sizes) {
        const reference_image kept = this->check_in(width, height, width % 2 ? lower_left : upper_left);
        for (const auto& factor : factors) {
            const auto side = [](int length, int sixteenths) {
                const int scaled = std::max(length * std::abs(sixteenths) / 16, 1);
                return sixteenths < 0 ? -scaled : scaled;
            };
            const int w = side(width, factor[0]), h = side(height, factor[1]);
            this->engine.set_thread_limit(1 + static_cast<unsigned>(std::abs(w)) % 3);
            for (const double angle : angles) {
                if (width > 1000 && angle != 0.0) continue; // large when turned
                const reference_image expected = reference_transform(kept, w, h, angle);
                for (const std::int64_t target : targets) {
                    use_targets(target);
                    ASSERT_EQ(this->engine.transform(w, h, angle), 1u);
                    ASSERT_TRUE(same_picture(expected, *this->image))
                        << text(width, height, "to", w, h, "by", angle) << hwy::TargetName(target);
                }
            }
        }
        EXPECT_EQ(this->engine.checkout_image(), 1u);
        EXPECT_TRUE(same_picture(kept, *this->image));
        EXPECT_EQ(this->engine.is_valid(), 0u);
    }
}

// The array grows by doubling only, and what came before leaves no trace.
TYPED_TEST(rt_transform_image, a_long_drag_ends_as_its_last_step_alone) {
    this->engine.set_thread_limit(1); // saves the time that threads take to start
    const reference_image kept = this->check_in(60, 40, lower_left);
    const void* array = this->image->get_pixel_array();
    std::int64_t blocks = 0;
    std::uint64_t most_pixels = 0;
    double arrays = 0.0;
    for (int step = 0; step < 1000; ++step) {
        const int width = (step * 7) % 170 - 50, height = 1 + (step * 5) % 90;
        ASSERT_EQ(this->engine.transform(width, height, step % 4 ? step * 0.01 : 0.0), 1u);
        if (this->image->get_pixel_array() != array) ++arrays;
        array = this->image->get_pixel_array();
        most_pixels = std::max(most_pixels, std::uint64_t{this->image->get_width()} * this->image->get_height());
        if (step <= 500) blocks = live_allocations();
        ASSERT_EQ(live_allocations(), blocks);
    }
    EXPECT_LE(arrays, std::ceil(std::log2(static_cast<double>(most_pixels) / (60.0 * 40.0))));
    ASSERT_EQ(this->engine.transform(75, -61, 0.7), 1u);
    EXPECT_TRUE(same_picture(reference_transform(kept, 75, -61, 0.7), *this->image));
    ASSERT_EQ(this->engine.transform(0, 5, 1.0), 1u);
    EXPECT_EQ(this->image->get_width() + this->image->get_height(), 0u);
    ASSERT_EQ(this->engine.transform(100, 80, 0.0), 1u);
    EXPECT_EQ(this->image->get_pixel_array(), array) << "long enough for any smaller size";
    ASSERT_EQ(this->engine.checkout_image(), 1u);
    EXPECT_TRUE(same_picture(kept, *this->image));
    EXPECT_EQ(this->engine.transform(9, 9, 0.0), 0u);
    EXPECT_EQ(this->engine.checkout_image(), 0u);
    EXPECT_EQ(this->last_message(), L"");
}

TYPED_TEST(rt_transform_image, without_memory_everything_stays) {
    using traits = image_traits<TypeParam>;
    const reference_image kept = this->check_in(20, 10);
    ASSERT_EQ(this->engine.transform(15, 12, 0.5), 1u);
    const reference_image before = traits::read(*this->image);
    const std::wstring format = traits::is_rgba ? L"" : traits::has_alpha ? L"g" : L"c";
    const std::wstring records = L"Memory Allocation Error: Failed to allocate rt_rotate_thread_data_" + format +
                                 std::to_wstring(8 * sizeof(typename traits::sample)) + L"_s.";
    // The image's array, the scratch array and the records.
    const std::wstring expected[] = {allocation_message, allocation_message, records};
    for (int n = 1; n <= 3; ++n) {
        const allocation_failure failure(n);
        EXPECT_EQ(this->engine.transform(60, 50, -0.5), 0u);
        EXPECT_TRUE(failure.happened());
        EXPECT_EQ(this->last_message(), expected[n - 1]);
        EXPECT_TRUE(same_picture(before, *this->image));
    }
    ASSERT_EQ(this->engine.transform(60, 50, -0.5), 1u);
    EXPECT_TRUE(same_picture(reference_transform(kept, 60, 50, -0.5), *this->image));

    loaded_image<TypeParam> other(kept, 1);
    const allocation_failure failure(1, true);
    EXPECT_EQ(this->engine.checkin_image(*other), 0u);
    EXPECT_EQ(this->engine.checkout_image(), 1u) << "the first image is still checked in, and this needs no memory";
    EXPECT_TRUE(same_picture(kept, *this->image));
}

// Whatever a host does to a checked-in image, the engine writes within its array, makes the picture or says no, and the
// check-out brings the image back.
TYPED_TEST(rt_transform_image, hosts_that_touch_it_come_to_no_harm) {
    using held = TypeParam;
    const auto small = random_picture<held>(3, 2, upper_left, alpha_kind::any, 1);
    const std::function<void(held&)> deeds[] = {
        [](held& i) { i.free(); },
        [&](held& i) { image_traits<held>::load(i, small); },
        [](held& i) { i.crop(0, 0, 2, 1); },
        [](held& i) { i.resample(2, 2, 9); },
        [](held& i) { i.set_origin(upper_left); },
        [](held& i) { i.create(i.get_width(), i.get_height() / 2, upper_left, i.get_pixel_array(), 0); },
        [](held& i) { held(std::move(i)).free(); },
        [](held& i) {
            if constexpr (!image_traits<held>::is_rgba) i.set_image_type(image_traits<held>::type ? 0 : 1);
        },
    };
    for (const auto& deed : deeds) {
        for (const int width : {30, 3, 100}) {
            const reference_image kept = this->check_in(30, 20, lower_left);
            ASSERT_EQ(this->engine.transform(70, 50, 0.4), 1u);
            deed(*this->image);
            if (this->engine.transform(width, -20, 0.3)) {
                EXPECT_TRUE(same_picture(reference_transform(kept, width, -20, 0.3), *this->image));
            }
            EXPECT_EQ(this->engine.checkout_image(), 1u);
            EXPECT_TRUE(same_picture(kept, *this->image));
        }
    }
}

TYPED_TEST(rt_transform_image, a_second_check_in_forgets_the_first) {
    loaded_image<TypeParam> first(random_picture<TypeParam>(8, 6, upper_left, alpha_kind::any, 1), 1);
    EXPECT_EQ(this->engine.checkin_image(*first) + this->engine.transform(20, 20, 0.3), 2u);
    const reference_image transformed = image_traits<TypeParam>::read(*first);
    const reference_image kept = this->check_in(9, 9);
    zarn_owned<TypeParam> none;
    EXPECT_EQ(this->engine.checkin_image(*none), 0u); // not valid: the engine stays as it was
    ASSERT_EQ(this->engine.transform(12, 30, 0.2), 1u);
    EXPECT_TRUE(same_picture(reference_transform(kept, 12, 30, 0.2), *this->image));
    EXPECT_TRUE(same_picture(transformed, *first));
}

namespace {

using rt_transform_arguments = rt_transform_image<zarn_image_8>;

} // namespace

TEST_F(rt_transform, takes_whichever_image_a_holder_holds) {
    for (const unsigned type : {0u, 1u}) {
        std::vector<zarn_pixel_16_s> pixels(6 * 5, zarn_pixel_16_s(1, 2, 3, 4)); // more than enough for 8 bits
        zarn_owned<zarn_image_8_16> holder;
        EXPECT_EQ(engine.checkin_image(*holder), 0u);
        ASSERT_EQ(holder->create(6, 5, upper_left, type, pixels.data(), 1), 1u);
        ASSERT_EQ(engine.checkin_image(*holder), 1u);
        ASSERT_EQ(engine.transform(4, 9, quarter / 2), 1u);
        EXPECT_EQ(holder->get_width(), 10u); // 13 times the sine, up
        EXPECT_EQ(holder->get_image_type(), type);
        EXPECT_TRUE(type ? holder->get_pixel_array_16()[55].a == 4 : holder->get_pixel_array_8()[55].r % 2 == 1);
        holder->free();
        EXPECT_EQ(engine.transform(4, 9, 0.0), 0u) << "holds another image than at check-in";
        EXPECT_EQ(engine.checkout_image(), 0u);
        EXPECT_EQ(engine.is_valid(), 0u);
    }
}

// Large results are written in another way.
TEST_F(rt_transform_arguments, large_results) {
    const reference_image kept = check_in(1000, 40);
    const reference_image expected = reference_transform(kept, -1503, 1500, 0.0);
    for (const std::int64_t target : instruction_sets()) {
        use_targets(target);
        ASSERT_EQ(engine.transform(-1503, 1500, 0.0), 1u);
        EXPECT_TRUE(same_picture(expected, *image)) << hwy::TargetName(target);
    }
}

TEST_F(rt_transform_arguments, that_give_no_picture_change_nothing) {
    const reference_image kept = check_in(10, 5);
    constexpr double infinity = std::numeric_limits<double>::infinity();
    struct {
        int width, height;
        double angle;
    } const arguments[] = {
        {INT_MIN, 7, 0.0},       {INT_MIN, INT_MIN, 0.5}, {INT_MAX, INT_MAX, 0.0},
        {1 << 20, 1 << 20, 1.0}, {10, 5, infinity},       {10, 5, -infinity},
        {-10, 5, std::nan("")},  {INT_MIN, 1, 0.7},       {INT_MAX, 1, quarter / 2},
    };
    for (const auto& a : arguments) {
        const std::size_t failures = messages(engine).size();
        EXPECT_EQ(engine.transform(a.width, a.height, a.angle), 0u) << text(a.width, a.height, a.angle);
        EXPECT_EQ(messages(engine).size(), failures + 1);
        EXPECT_EQ(last_message(), allocation_message);
        EXPECT_TRUE(same_picture(kept, *image));
    }
    EXPECT_EQ(engine.transform(0, INT_MIN, infinity), 1u);
    EXPECT_EQ(image->is_valid(), 0u);
}

TEST_F(rt_transform_arguments, a_transform_during_another_gives_0) {
    check_in(300, 200);
    engine.set_thread_limit(2);
    std::atomic<bool> is_over{false};
    std::thread driver([&] {
        while (!is_over) engine.transform(280, 190, 0.6);
    });
    bool was_refused = false;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!was_refused && std::chrono::steady_clock::now() < end) {
        while (!engine.is_transforming() && std::chrono::steady_clock::now() < end) {}
        was_refused = engine.transform(280, 190, 0.6) == 0;
    }
    is_over = true;
    driver.join();
    EXPECT_TRUE(was_refused);
    EXPECT_EQ(last_message(), L"");
    EXPECT_EQ(engine.is_transforming(), 0u);
}

TEST_F(rt_transform, mirrors_scales_and_turns_paths) {
    zarn_owned<zarn_bezier_path> path;
    EXPECT_EQ(engine.checkin_image(*path), 0u);
    const float corners[][2] = {{2.1f, 3}, {20, 5.7f}, {14, 30}, {2.1f, 3}};
    for (const auto& corner : corners) path->push_knot(zarn_fpoint_s(corner[0], corner[1]), 1, 0);
    path->build_linear_vertex_list();
    const zarn_bezier_path kept(*path);
    const auto is_like = [&path](const zarn_bezier_path& other) {
        const auto& a = *path->get_vertex_list();
        const auto& b = *other.get_vertex_list();
        return path->get_knot_count() == other.get_knot_count() && path->is_closed() == other.is_closed() &&
               std::equal(a.data, a.data + a.count, b.data, b.data + b.count,
                          [](const zarn_fpoint_s& p, const zarn_fpoint_s& q) { return p.x == q.x && p.y == q.y; });
    };
    ASSERT_EQ(engine.checkin_image(*path), 1u);
    EXPECT_EQ(engine.is_valid(), 1u);
    struct {
        int width, height;
        double angle;
    } const steps[] = {{2, 3, 0.0}, {-1, 1, 0.0}, {1, -2, 0.4}, {-3, -1, -1.0}, {1, 1, 0.9}};
    for (const auto& [width, height, angle] : steps) {
        zarn_bezier_path expected(kept);
        if (width < 0) expected.flip_horizontal(), expected.build_vertex_list(1.0);
        if (height < 0) expected.flip_vertical(), expected.build_vertex_list(1.0);
        if (width != 1 || height != 1) {
            expected.scale(static_cast<float>(std::abs(width)), static_cast<float>(std::abs(height)));
            expected.build_vertex_list(1.0);
        }
        expected.rotate(angle);
        expected.build_vertex_list(1.0);
        ASSERT_EQ(engine.transform(width, height, angle), 1u);
        EXPECT_TRUE(is_like(expected)) << text(width, height, angle);
    }
    ASSERT_EQ(engine.transform(1, 1, 0.0), 1u);
    EXPECT_TRUE(is_like(kept));
    EXPECT_EQ(engine.transform(2, 2, std::nan("")), 0u);
    EXPECT_EQ(last_message(), allocation_message);
    ASSERT_EQ(engine.transform(0, 3, 0.0), 1u);
    EXPECT_EQ(path->is_valid(), 0u);
    for (int n = 1;; ++n) {
        const allocation_failure failure(n);
        const unsigned int result = engine.transform(3, -2, 0.3);
        if (!failure.happened()) break;
        EXPECT_TRUE(result == 0 || path->get_vertex_count() > 0);
        ASSERT_LT(n, 200);
    }
    ASSERT_EQ(engine.checkout_image(), 1u);
    EXPECT_TRUE(is_like(kept));
    EXPECT_EQ(engine.is_valid(), 0u);

    path->clear_vertex_list(); // what was not built needs no rebuilding
    ASSERT_EQ(engine.checkin_image(*path), 1u);
    EXPECT_EQ(engine.transform(1, 1, 0.0), 1u);
    EXPECT_EQ(path->get_vertex_count(), 0u);
    EXPECT_EQ(engine.checkout_image(), 1u);
}

} // namespace zarn_test
