// Histograms against their plain form, and their charts.

#include <limits>

#include <gtest/gtest.h>

#include <zarn/image_channel.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/half_image.h"

namespace zarn_test {

namespace {

template <class T>
std::vector<T> listed(const zarn_list<T>& list) {
    return {list.data, list.data + list.count};
}

// Equal bits, any NaN like any other, both zeros alike.
bool same(float a, float b) { return a == b || (a != a && b != b); }

void expect_same(const zarn_histogram_s& actual, const zarn_histogram_s& expected) {
    EXPECT_EQ(actual.pixel_count, expected.pixel_count);
    for (unsigned c = 0; c < 6; ++c) {
        SCOPED_TRACE(c);
        const zarn_histogram_channel_s &a = actual.channel[c], &e = expected.channel[c];
        EXPECT_EQ(listed(a.bins), listed(e.bins));
        EXPECT_TRUE(same(a.mean, e.mean)) << a.mean << " not " << e.mean;
        EXPECT_TRUE(same(a.std_dev, e.std_dev)) << a.std_dev << " not " << e.std_dev;
        EXPECT_TRUE(same(a.median, e.median)) << a.median << " not " << e.median;
        EXPECT_EQ(a.max_count, e.max_count);
    }
}

void expect_as_reference(const real_picture& picture, std::uint32_t bins, std::uint32_t limit) {
    SCOPED_TRACE(::testing::Message() << picture.width << " x " << picture.height << (picture.is_grey ? " grey" : "")
                                      << ", " << bins << " bins, limit " << limit);
    half_image image(picture, limit);
    zarn_histogram_s histogram;
    EXPECT_EQ(image->build_histogram(bins, histogram), 1u);
    EXPECT_EQ(messages(*image), lines{});
    expect_same(histogram, reference_histogram(picture, bins, limit));
}

zarn_histogram_s measured(const real_picture& picture, std::uint32_t bins) {
    zarn_histogram_s histogram;
    EXPECT_EQ(half_image(picture)->build_histogram(bins, histogram), 1u);
    return histogram;
}

TEST(histogram, is_the_plain_one) {
    const std::uint32_t sizes[][2] = {{1, 1}, {7, 3}, {33, 20}, {64, 1}, {1, 50}, {40, 41}};
    const std::uint32_t bins[] = {1, 2, 17, 256, 1000, 65536};
    std::uint32_t limit = 1, seed = 1;
    for (const auto& [width, height] : sizes) {
        for (const std::uint32_t bin_count : bins) {
            for (const bool is_grey : {false, true}) {
                expect_as_reference(random_picture(width, height, is_grey, ++seed), bin_count, limit);
                expect_as_reference(wild_picture(width, height, is_grey, ++seed), bin_count, limit);
                limit = limit % 7 + 1;
            }
        }
    }
}

TEST(histogram, medians_look_at_a_share_of_the_pixels) {
    expect_as_reference(random_picture(17, 61681, true, 1), 256, 2);   // 1048577: every pixel
    expect_as_reference(random_picture(1024, 1535, true, 2), 64, 3);   // 1571840: the same
    expect_as_reference(random_picture(1536, 1024, false, 3), 256, 2); // 1572864: every second one
    expect_as_reference(random_picture(1601, 1640, true, 4), 256, 7);  // 2625640: every third one
}

TEST(histogram, replaces_what_the_record_held) {
    const auto refilled = [](const real_picture& picture, unsigned bins, unsigned result, const lines& said) {
        zarn_histogram_s histogram = measured(random_picture(4, 4, false, 1), 8);
        half_image image(picture);
        EXPECT_EQ(image->build_histogram(bins, histogram), result);
        EXPECT_EQ(messages(*image), said);
        return histogram;
    };
    const real_picture grey = random_picture(5, 5, true, 2);
    expect_same(refilled(grey, 0, 0, {L"Failed to zarn_image_real_16::build_histogram(). Invalid number of bins."}),
                {});
    expect_same(refilled(real_picture{}, 8, 1, {}), {});
    expect_same(refilled(grey, 16, 1, {}), reference_histogram(grey, 16, 2));

    zarn_histogram_s original = measured(grey, 8), assigned = measured(random_picture(3, 3, false, 1), 99);
    const zarn_histogram_s copy(original);
    assigned = original;
    original.free();
    expect_same(original, {});
    expect_same(copy, measured(grey, 8));
    expect_same(assigned, copy);
}

TEST(histogram, is_freed_when_memory_is_short) {
    const lines no_memory = {L"Memory Allocation Error: Failed to allocate build_histogram_a_thread_data_r16_s."};
    bool is_counted = false; // the first round allocates what the process keeps
    for (const bool is_grey : {false, false, true}) {
        bool happened = true;
        for (int n = 1; happened; ++n) {
            ASSERT_LT(n, 50);
            const std::int64_t before = live_allocations();
            {
                half_image image(random_picture(6, 5, is_grey, 1));
                zarn_histogram_s histogram = measured(random_picture(4, 4, false, 1), 8);
                {
                    const allocation_failure failure(n);
                    const unsigned int result = image->build_histogram(8, histogram);
                    happened = failure.happened();
                    EXPECT_EQ(result, happened ? 0u : 1u);
                }
                EXPECT_EQ(messages(*image), happened ? no_memory : lines{});
                if (happened) expect_same(histogram, zarn_histogram_s());
            }
            if (is_counted) {
                EXPECT_EQ(live_allocations(), before);
            }
        }
        is_counted = true;
    }
}

class histogram_chart : public ::testing::Test {
protected:
    ~histogram_chart() override { ___image.free(); }

    unsigned int draw(const zarn_histogram_s& histogram, unsigned int channel, unsigned int height) {
        return zarn_render_histogram_channel_to_image(histogram, channel, 7, 200, height, ++___unused, ___image);
    }
    void expect_chart(const zarn_histogram_s& histogram, unsigned int channel, unsigned int height,
                      const zarn_histogram_channel_s& shown) {
        SCOPED_TRACE(::testing::Message() << "channel " << channel << ", height " << height);
        ASSERT_EQ(draw(histogram, channel, height), 1u);
        EXPECT_EQ(___image.get_width(), shown.bins.count);
        EXPECT_EQ(___image.get_height(), height);
        EXPECT_EQ(___image.get_origin(), ZARN_ORIGIN_UPPER_LEFT);
        EXPECT_EQ(___image.get_image_type(), 0u);
        EXPECT_EQ(pixels(), reference_chart(shown, histogram.pixel_count, 7, 200, height));
    }
    void expect_refused(const zarn_histogram_s& histogram, unsigned int channel, unsigned int height) {
        ASSERT_EQ(___image.create(3, 2, ZARN_ORIGIN_LOWER_LEFT, 0, nullptr, 1), 1u);
        EXPECT_EQ(draw(histogram, channel, height), 0u) << channel << ' ' << height;
        EXPECT_EQ(___image.get_width(), 3u);
        EXPECT_EQ(pixels(), std::vector<std::uint8_t>(6, 0));
    }
    std::vector<std::uint8_t> pixels() {
        const std::uint8_t* const first = ___image.get_pixel_array_8();
        return {first, first + std::size_t{___image.get_width()} * ___image.get_height()};
    }

    static zarn_histogram_s grey_with(const std::vector<unsigned int>& counts) {
        zarn_histogram_s histogram;
        for (const unsigned int count : counts) {
            histogram.channel[0].bins.push_back(count);
            histogram.pixel_count += count;
        }
        return histogram;
    }

    zarn_image_channel ___image;
    unsigned int ___unused = 0;
};

TEST_F(histogram_chart, is_the_plain_one) {
    const zarn_histogram_s colour = measured(random_picture(90, 70, false, 5), 100);
    for (unsigned c = 0; c < 6; ++c) expect_chart(colour, c, 40 + c, colour.channel[c]);
    const zarn_histogram_s grey = measured(random_picture(50, 70, true, 6), 64);
    for (unsigned c = 0; c < 5; ++c) expect_chart(grey, c, 33, grey.channel[c == 4 ? 4 : 0]);

    const std::vector<unsigned int> shapes[] = {{0, 0, 0},
                                                {5},
                                                {0, 0, 9, 0},
                                                {1, 1000000},
                                                {0, 3, 0, 0, 1000, 1, 2, 3, 4, 0},
                                                {1000, 1, 2, 3, 1, 2, 3, 1, 2, 3, 30, 49}};
    for (const auto& counts : shapes) {
        const zarn_histogram_s histogram = grey_with(counts);
        for (const unsigned int height : {1u, 2u, 100u}) expect_chart(histogram, 0, height, histogram.channel[0]);
    }
}

TEST_F(histogram_chart, is_refused_and_the_image_left_alone) {
    const zarn_histogram_s colour = measured(random_picture(9, 9, false, 5), 4);
    const zarn_histogram_s grey = measured(random_picture(9, 9, true, 5), 4);
    expect_refused(colour, 6, 10);
    expect_refused(colour, 0xFFFFFFFF, 10);
    expect_refused(colour, 0, 0);
    expect_refused(grey, 5, 10);
    expect_refused(zarn_histogram_s(), 0, 10);
    const allocation_failure failure(1);
    EXPECT_EQ(draw(colour, 0, 10), 0u);
    EXPECT_EQ(___image.get_width(), 3u);
}

TEST_F(histogram_chart, beyond_memory_is_told_by_the_image) {
    EXPECT_EQ(draw(measured(random_picture(9, 9, true, 5), 65536), 0, 0xFFFFFFFF), 0u);
    ASSERT_EQ(___image.get_error_stack()->count, 1u);
    EXPECT_EQ(std::wstring(___image.get_error_stack()->data[0]),
              L"Memory Allocation Error: Failed to allocate zarn_image_channel::___pixel_8_d_array.");
}

} // namespace

} // namespace zarn_test
