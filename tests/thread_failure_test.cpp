// Threads that the system refuses to start: operations succeed without a message, and the bands that never ran leave
// transparent black in newly made arrays.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <functional>

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>

#include <gtest/gtest.h>

#include <zarn/rt_transform.h>

#include "tests/reference/reference_geometry.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/operation_table.h"

extern "C" {

using start_routine = void* (*)(void*);

// A sanitizer's own wrapper, where there is one.
int __interceptor_pthread_create(pthread_t*, const pthread_attr_t*, start_routine, void*) __attribute__((weak));
}

namespace {

std::atomic<std::int64_t> threads_left{-1}; // how many more may start; below 0: any number

}

// Stands in front of the system's function for the whole test program.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, start_routine routine,
                              void* argument) {
    if (threads_left.load() == 0) return EAGAIN;
    if (threads_left.load() > 0) threads_left.fetch_sub(1);
    if (__interceptor_pthread_create) return __interceptor_pthread_create(thread, attributes, routine, argument);
    using function = int (*)(pthread_t*, const pthread_attr_t*, start_routine, void*);
    static const function original = reinterpret_cast<function>(dlsym(RTLD_NEXT, "pthread_create"));
    return original(thread, attributes, routine, argument);
}

namespace zarn_test {

namespace {

class thread_failure {
public:
    explicit thread_failure(std::int64_t threads) { threads_left.store(threads); }
    ~thread_failure() { threads_left.store(-1); }
};

constexpr std::uint32_t bands = 3;
constexpr std::uint32_t width = 9;
constexpr std::uint32_t height = 8;

template <class Image>
struct operation {
    const char* name;
    std::function<unsigned int(Image&)> run;
    std::function<void(reference_image&)> expected;
    bool picture_order = false; // whether bands are cut from the top of the picture; else in memory order
    bool in_place = false;
};

template <class Image>
class thread_failures : public ::testing::Test {
protected:
    static reference_image picture(std::uint32_t origin) {
        return random_picture<Image>(width, height, origin, alpha_kind::any, 11);
    }
    static void try_one(const table_operation<Image>& one, std::uint32_t started) {
        SCOPED_TRACE(text(one.name, started));
        loaded_image<Image> target(picture(upper_left), bands);
        {
            const thread_failure failure(started);
            one.run(*target);
        }
        EXPECT_TRUE(messages(*target).empty());
        // The object works again as soon as threads can be had.
        reference_image flipped = image_traits<Image>::read(*target);
        reference_flip_vertical(flipped);
        EXPECT_EQ(target->flip_vertical(), 1u);
        EXPECT_TRUE(same_picture(flipped, *target));
    }
};

TYPED_TEST_SUITE(thread_failures, rgba_image_types, image_type_names);

} // namespace

TYPED_TEST(thread_failures, leave_rows_of_new_arrays_transparent_black_and_others_alone) {
    using image = TypeParam;
    const std::uint32_t samples[4] = {5, 6, 7, 8};
    const auto fill = image_traits<image>::to_pixel(samples);
    const operation<image> operations[] = {
        {"crop", [](image& i) { return i.crop(1, 1, 6, 7); }, [](reference_image& p) { reference_crop(p, 1, 1, 6, 7); },
         true},
        {"resize_canvas", [&](image& i) { return i.resize_canvas(12, 11, 4, fill); },
         [&](reference_image& p) { reference_resize_canvas(p, 12, 11, 4, samples); }, true},
        {"flip_horizontal", [](image& i) { return i.flip_horizontal(); }, reference_flip_horizontal},
        {"flip_vertical", [](image& i) { return i.flip_vertical(); }, reference_flip_vertical},
        {"area reduction", [](image& i) { return i.resample(5, 7, 0); },
         [](reference_image& p) { reference_resample_area(p, 5, 7); }, true},
        {"nearest", [](image& i) { return i.resample(5, 11, 1); },
         [](reference_image& p) { reference_resample_nearest(p, 5, 11); }},
        {"B-spline", [](image& i) { return i.resample(12, 13, 2); },
         [](reference_image& p) { reference_resample_bspline(p, 12, 13); }},
        {"rotate", [](image& i) { return i.rotate(0.5, 0); },
         [](reference_image& p) { reference_rotate(p, 0.5, false); }},
        {"clear", [&](image& i) { return i.clear(fill, 1), 1u; },
         [&](reference_image& p) {
             for (std::size_t i = 0; i < p.samples.size(); ++i) p.samples[i] = samples[i % 4];
         },
         false, true},
    };
    for (const std::uint32_t origin : {lower_left, upper_left}) {
        for (const operation<image>& one : operations) {
            for (std::uint32_t started = 0; started <= bands; ++started) {
                SCOPED_TRACE(text(one.name, "origin", origin, "threads", started));
                reference_image before = this->picture(origin), expected = before;
                one.expected(expected);
                const std::uint32_t rows = started == bands ? expected.height : expected.height / bands * started;
                for (std::uint32_t y = rows; y < expected.height; ++y) {
                    std::uint32_t* row = one.picture_order ? expected.at_picture(0, y) : expected.at(0, y);
                    const std::uint32_t count = expected.width * expected.stride();
                    if (!one.in_place) std::fill_n(row, count, 0u);
                    if (one.in_place) std::copy_n(before.at(0, y), count, row);
                }
                loaded_image<image> target(before, bands);
                const thread_failure failure(started);
                EXPECT_EQ(one.run(*target), 1u);
                EXPECT_TRUE(same_picture(expected, *target));
                EXPECT_TRUE(messages(*target).empty());
            }
        }
    }
}

TYPED_TEST(thread_failures, let_every_operation_finish) {
    using image = TypeParam;
    const auto try_all = [] {
        for (const table_operation<image>& one : operations_of<image>()) {
            for (const std::uint32_t started : {0u, 1u, 2u, 4u, 7u}) TestFixture::try_one(one, started);
        }
    };
    try_all(); // allocates what the process keeps
    const std::int64_t before = live_allocations();
    try_all();
    EXPECT_EQ(live_allocations(), before);
}

TEST(thread_failures, leave_rows_of_the_transform_engine_0) {
    zarn_rt_transform engine;
    engine.set_thread_limit(bands);
    loaded_image<zarn_image_8> image(random_picture<zarn_image_8>(width, height, upper_left, alpha_kind::opaque, 5), 1);
    ASSERT_EQ(engine.checkin_image(*image), 1u);
    ASSERT_EQ(engine.transform(2 * width, 3 * height, 0.5), 1u);
    reference_image expected = image_traits<zarn_image_8>::read(*image);
    const std::uint64_t ran = std::uint64_t{expected.height / bands} * expected.width * 4;
    std::fill(expected.samples.begin() + static_cast<std::ptrdiff_t>(ran), expected.samples.end(), 0u);
    const thread_failure after_one(1);
    ASSERT_EQ(engine.transform(2 * width, 3 * height, 0.5), 1u);
    EXPECT_TRUE(image_traits<zarn_image_8>::read(*image) == expected);
    EXPECT_EQ(engine.get_error_stack()->count, 0u);
}

#if defined(__GLIBC__)
// Whatever core they are started on.
TEST(workers, may_run_wherever_their_caller_may) {
    static const auto cores_of_this_thread = [] {
        cpu_set_t cores;
        CPU_ZERO(&cores);
        EXPECT_EQ(sched_getaffinity(0, sizeof(cores), &cores), 0);
        return cores;
    };
    const cpu_set_t all = cores_of_this_thread();
    const reference_image picture = random_picture<zarn_image_8>(1, 64, upper_left, alpha_kind::opaque, 1);
    const loaded_image<zarn_image_8> source(picture, 1);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
    for (cpu_set_t cores : {all, one}) {
        ASSERT_EQ(sched_setaffinity(0, sizeof(cores), &cores), 0);
        for (const int limit : {CPU_COUNT(&cores), CPU_COUNT(&cores) + 1, 1}) {
            loaded_image<zarn_image_8> destination(picture, static_cast<unsigned>(limit));
            const auto compare = [](float, const zarn_pixel_8_s&, const zarn_pixel_8_s&, zarn_pixel_8_s&,
                                    void* expected) {
                const cpu_set_t mine = cores_of_this_thread();
                EXPECT_TRUE(CPU_EQUAL(&mine, static_cast<const cpu_set_t*>(expected)));
            };
            EXPECT_EQ(destination->blit(*source, 0, 0, 1, 64, 1.0f, 0, 0, ZARN_BLEND_CUSTOM, 0, compare, &cores), 1u);
        }
    }
    ASSERT_EQ(sched_setaffinity(0, sizeof(all), &all), 0);
}
#endif

} // namespace zarn_test
