// Compositing against its plain form, bit for bit, and what a callback sees.

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <limits>
#include <mutex>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "tests/reference/reference_blend.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

constexpr unsigned most = std::numeric_limits<unsigned>::max();
constexpr int farthest = std::numeric_limits<int>::max();
constexpr int nearest = std::numeric_limits<int>::min();

// The callback the tests draw with: every bit of the weight counts, and alpha is the destination's.
void custom_mix(float weight, const std::uint32_t* d, const std::uint32_t* s, std::uint32_t* result) {
    std::uint32_t bits = 0; // of whatever is not a number
    if (weight == weight) std::memcpy(&bits, &weight, sizeof bits);
    result[0] = d[0] ^ s[1] ^ bits >> 8;
    result[1] = s[0] ^ bits;
    result[2] = s[2] ^ s[3] ^ bits >> 16;
    result[3] = d[3];
}

int user_value; // its address is what callbacks are to be handed

template <class Image>
class blend : public ::testing::Test {
protected:
    using traits = image_traits<Image>;
    using pixel = typename traits::pixel;
    using callback = void (*)(float, const pixel&, const pixel&, pixel&, void*);

    static void mix(float weight, const pixel& destination, const pixel& source, pixel& result, void* user_data) {
        EXPECT_EQ(user_data, &user_value);
        std::uint32_t d[4], s[4], r[4];
        traits::from_pixel(destination, d);
        traits::from_pixel(source, s);
        custom_mix(weight, d, s, r);
        result = traits::to_pixel(r);
    }

    static unsigned run(Image& destination, const Image& source, const reference_blit_call& c, callback function = mix,
                        void* user_data = &user_value) {
        if constexpr (!traits::is_rgba)
            return destination.blit(source, c.source_x, c.source_y, c.width, c.height, static_cast<float>(c.opacity),
                                    c.x, c.y, c.mode, c.flags, nullptr, nullptr);
        if constexpr (traits::is_rgba)
            return destination.blit(source, c.source_x, c.source_y, c.width, c.height, static_cast<float>(c.opacity),
                                    c.x, c.y, c.mode, c.flags, function, user_data);
    }

    static void check(const picture_case& destination, const reference_image& source, reference_blit_call call) {
        if (!traits::is_rgba && call.mode == ZARN_BLEND_CUSTOM) return; // refused
        call.custom = custom_mix;
        const loaded_image<Image> from(source, 1);
        compare<Image>(
            destination,
            text("mode", call.mode, "flags", call.flags, "opacity", call.opacity, "source", call.source_x,
                 call.source_y, call.width, call.height, "to", call.x, call.y),
            [&](reference_image& p) { reference_blit(p, source, call); },
            [&](Image& image) { return run(image, *from, call); });
        EXPECT_TRUE(same_picture(source, *from));
        EXPECT_TRUE(messages(*from).empty());
    }

    static reference_blit_call whole(const reference_image& source, unsigned mode) {
        reference_blit_call call;
        call.width = source.width;
        call.height = source.height;
        call.mode = mode;
        return call;
    }
};

TYPED_TEST_SUITE(blend, image_types, image_type_names);

template <class Image>
class blend_callbacks : public blend<Image> {};

TYPED_TEST_SUITE(blend_callbacks, rgba_image_types, image_type_names);

// 256 samples: all of 8 bits, else those about the ends, the quarters and the halves, and random ones.
std::vector<std::uint32_t> telling_samples(std::uint64_t full) {
    std::vector<std::uint32_t> values;
    random_numbers random(11);
    for (std::uint32_t i = 0; i < 256; ++i) {
        const std::uint64_t near = i / 16 * ((full + 1) / 8) + i % 16 - 8; // 9 places, 16 values about each
        values.push_back(full == 255 ? i : static_cast<std::uint32_t>((i < 144 ? near : random()) & full));
    }
    return values;
}

} // namespace

// Every pair of destination and source sample in the first colour, random ones in the others.
TYPED_TEST(blend, every_formula_on_every_pair) {
    const std::vector<std::uint32_t> values = telling_samples(image_traits<TypeParam>::full);
    for (const alpha_kind kind : {alpha_kind::opaque, alpha_kind::any}) {
        picture_case destination{random_picture<TypeParam>(256, 256, lower_left, kind, 1), 2, "pairs"};
        reference_image source = random_picture<TypeParam>(256, 256, lower_left, kind, 2);
        for (std::size_t i = 0; i < 65536; ++i) {
            destination.picture.samples[i * source.stride()] = values[i % 256];
            source.samples[i * source.stride()] = values[i / 256];
        }
        for (unsigned mode = 0; mode <= 28; ++mode) {
            reference_blit_call call = this->whole(source, mode);
            if (kind == alpha_kind::any) call.opacity = 0.37f;
            this->check(destination, source, call);
        }
    }
}

TYPED_TEST(blend, alpha_opacity_flags_and_codes) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const float opacities[] = {0, 1.0e-6f, 0.25f, 0.5f, 1, 1.5f, -0.5f, 1.0e30f, 3000, infinity, -std::nanf("")};
    constexpr std::uint32_t origins[] = {lower_left, upper_left, 0};
    unsigned turn = 0;
    for (const std::uint32_t width : {1u, 2u, 3u, 5u, 8u, 17u, 33u, 70u}) {
        for (const alpha_kind under : alpha_kinds) {
            for (const alpha_kind over : alpha_kinds) {
                const picture_case destination{random_picture<TypeParam>(width, 9, origins[turn % 3], under, turn),
                                               turn % 7 + 1, text("alpha kinds", int(under), int(over))};
                const reference_image source =
                    random_picture<TypeParam>(width, 9, origins[turn / 3 % 3], over, turn + 1000);
                for (unsigned mode = 0; mode <= 28; ++mode, ++turn) {
                    reference_blit_call call = this->whole(source, mode == 28 ? most : mode);
                    call.opacity = opacities[turn % 11];
                    call.flags = turn / 2 % 3 * 256;
                    this->check(destination, source, call);
                }
            }
        }
    }
}

TYPED_TEST(blend, placement_is_clipped_on_every_side) {
    // Source place and size, destination place.
    std::vector<reference_blit_call> placements = {
        {0, 0, most, most, 0.6f, 0, 0},                  // more than there is
        {3, 2, most, most, 0.6f, -2, -1},                // sums beyond 32 bits
        {most, most, most, most, 0.6f, 0, 0},            // start outside
        {9, 7, most - 8, most - 6, 0.6f, 12, 10},        // corner to corner
        {0, 0, most, most, 0.6f, nearest, nearest},      // ends that only unsigned numbers reach
        {0, 0, 10, 8, 0.6f, farthest, farthest},         //
        {0x80000000u, 0, 0x80000000u, 8, 0.6f, 0, 0},    // half of 32 bits
        {0, 0x7fffffffu, 10, 0x7fffffffu, 0.6f, -3, -1}, //
        {1, 1, 0x80000000u, 0x80000000u, 0.6f, -4, -3},  //
    };
    random_numbers random(3);
    for (unsigned i = 0; i < 300; ++i) {
        const auto place = [&] { return static_cast<int>(random.below(30)) - 14; };
        placements.push_back(
            {random.below(12), random.below(10), random.below(14), random.below(12), 0.6f, place(), place()});
    }
    unsigned turn = 0;
    for (reference_blit_call& call : placements) {
        for (const std::uint32_t source_origin : {lower_left, upper_left, 7u}) {
            for (const std::uint32_t origin : {lower_left, upper_left}) {
                constexpr unsigned modes[] = {25, 0, 26, 3, 27};
                call.mode = modes[turn % 5];
                call.flags = turn % 2;
                this->check({random_picture<TypeParam>(13, 11, origin, alpha_kind::any, turn), turn % 7 + 1, "clipped"},
                            random_picture<TypeParam>(10, 8, source_origin, alpha_kind::any, turn + 1), call);
                ++turn;
            }
        }
    }
}

TYPED_TEST(blend, an_image_on_itself_is_read_as_it_was) {
    constexpr int moves[][2] = {{0, 0}, {1, 0}, {0, 1}, {-1, -2}, {3, -1}, {-5, 4}, {0, -1}, {40, 0}};
    for (const picture_case& one : picture_cases<TypeParam>()) {
        for (const auto& move : moves) {
            for (const unsigned mode : {0u, 5u, 25u, 26u}) {
                if (!image_traits<TypeParam>::is_rgba && mode == ZARN_BLEND_CUSTOM) continue;
                reference_blit_call call = this->whole(one.picture, mode);
                call.x = move[0];
                call.y = move[1];
                call.custom = custom_mix;
                compare<TypeParam>(
                    one, text("self", mode, move[0], move[1]), [&](reference_image& p) { reference_blit(p, p, call); },
                    [&](TypeParam& image) { return this->run(image, image, call); });
            }
        }
    }
}

// ---- The callback --------------------------------------------------------------------------------------------------

namespace {

// Holds each worker's first call until as many workers have come as are expected.
struct meeting {
    const unsigned expected;
    std::mutex mutex = {};
    std::condition_variable arrival = {};
    std::set<std::thread::id> present = {};
    unsigned calls = 0;

    void attend() {
        std::unique_lock<std::mutex> lock(mutex);
        ++calls;
        if (present.insert(std::this_thread::get_id()).second) arrival.notify_all();
        EXPECT_TRUE(arrival.wait_for(lock, std::chrono::seconds(60), [this] { return present.size() >= expected; }));
    }
};

// Writes red alone; the rest is to be what the worker's previous call left.
template <class Pixel>
void write_red(float, const Pixel& destination, const Pixel&, Pixel& result, void* user_data) {
    static_cast<meeting*>(user_data)->attend();
    thread_local Pixel previous;
    EXPECT_TRUE(result.r == previous.r && result.g == previous.g && result.b == previous.b && result.a == previous.a);
    result.r = destination.g;
    result.g ^= destination.r;
    previous = result;
}

} // namespace

TYPED_TEST(blend_callbacks, callback_runs_once_a_pixel_on_every_worker_over_its_own_record) {
    const reference_image picture = random_picture<TypeParam>(5, 8, lower_left, alpha_kind::any, 1);
    const loaded_image<TypeParam> source(picture, 1);
    for (const unsigned limit : {1u, 2u, 3u, 7u, 40u}) {
        loaded_image<TypeParam> destination(picture, limit);
        meeting workers{std::min(limit, 8u)};
        const unsigned result = this->run(*destination, *source, this->whole(picture, 26),
                                          write_red<typename image_traits<TypeParam>::pixel>, &workers);
        EXPECT_EQ(result, 1u);
        EXPECT_EQ(workers.calls, 5u * 8u);
        EXPECT_EQ(workers.present.size(), workers.expected);
        EXPECT_EQ(workers.present.count(std::this_thread::get_id()), 0u);
    }
    // A worker goes through its rows from the top of the picture down.
    loaded_image<TypeParam> destination(picture, 1);
    const auto count = [](float, const auto&, const auto&, auto& result, void*) { ++result.r; };
    ASSERT_EQ(this->run(*destination, *source, this->whole(picture, 26), count), 1u);
    for (unsigned i = 0; i < 40; ++i) EXPECT_EQ(destination->get_pixel(i % 5, i / 5).r, i + 1);
}

} // namespace zarn_test
