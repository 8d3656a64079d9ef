// Normal-map radars against their plain form, their quads, hit tests and pictures.

#include <cmath>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include <zarn/image_8.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/half_image.h"

namespace zarn_test {

namespace {

constexpr std::uint32_t huge = 0xFFFFFFFF;

void expect_same(const zarn_list<zarn_nradar_sample_s>& actual, const zarn_list<zarn_nradar_sample_s>& expected) {
    ASSERT_EQ(actual.count, expected.count);
    for (std::uint32_t i = 0; i < actual.count; ++i)
        EXPECT_EQ(std::memcmp(&actual.data[i], &expected.data[i], sizeof(zarn_nradar_sample_s)), 0) << "bin " << i;
}

std::vector<unsigned int> numbers(const zarn_nradar_s& r) {
    return {r.flags,      r.total,       r.first_count,  r.second_count, r.max_count,  r.first_max,
            r.second_max, r.first_poles, r.second_poles, r.first_used,   r.second_used};
}

void expect_same(const zarn_nradar_s& actual, const zarn_nradar_s& expected) {
    EXPECT_EQ(numbers(actual), numbers(expected));
    expect_same(actual.first_samples, expected.first_samples);
    expect_same(actual.second_samples, expected.second_samples);
}

// Normals in every direction, some of them poles, zero or invisible.
real_picture normal_map(std::uint32_t width, std::uint32_t height, std::uint32_t seed) {
    real_picture picture = random_picture(width, height, false, seed);
    for (std::size_t i = 0; i < picture.samples.size(); i += 4) {
        float* const p = &picture.samples[i];
        const float kind = p[3];
        const auto signed_half = [](float v) { return static_cast<float>(half_float::half(v * 2.0f - 1.0f)); };
        for (unsigned c = 0; c < 3; ++c) p[c] = kind < 0.1f && c < 2 ? 0.0f : signed_half(p[c]);
        if (kind < 0.1f) p[2] = kind < 0.02f ? 0.0f : kind < 0.05f ? -1.0f : 1.0f;
        if (kind > 0.9f) p[3] = 0.0f;
    }
    return picture;
}

zarn_nradar_s measured(const real_picture& picture, unsigned int bins, unsigned int flags = 0) {
    zarn_nradar_s radar;
    half_image image(picture);
    EXPECT_EQ(image->build_normal_map_radar(bins, flags, radar), 1u);
    EXPECT_EQ(messages(*image), lines{});
    return radar;
}

TEST(radar, is_the_plain_one) {
    for (const unsigned int bins : {1u, 2u, 9u, 36u, 1000u}) {
        for (const unsigned int flags : {0u, 1u, 4u, 5u, 16u, 0x75u}) {
            SCOPED_TRACE(::testing::Message() << bins << " bins, flags " << flags);
            const real_picture normals = normal_map(31, 17, bins), wild = wild_picture(31, 17, false, bins);
            expect_same(measured(normals, bins, flags), reference_radar(normals, bins, flags));
            expect_same(measured(wild, bins, flags), reference_radar(wild, bins, flags));
        }
    }
}

TEST(radar, ends_of_the_turn_are_both_ends_of_the_bins) {
    for (const auto& [y, bin] : {std::pair(0.0f, 8u), std::pair(-0.0f, 0u), std::pair(1.0f, 6u)}) {
        const zarn_nradar_s radar = measured({1, 1, false, {y == 0.0f ? 1.0f : 0.0f, y, 0.5f, 1}}, 9);
        EXPECT_EQ(radar.second_samples[bin].count, 1u) << y;
    }
}

TEST(radar, is_refused_or_empty) {
    const std::wstring refusal = L"Failed to zarn_image_real_16::build_normal_map_radar(). Invalid parameter.";
    zarn_nradar_s radar = measured(normal_map(5, 5, 1), 9);
    half_image colour(normal_map(5, 5, 1)), grey(random_picture(5, 5, true, 1));
    EXPECT_EQ(colour->build_normal_map_radar(0, 0, radar), 0u);
    EXPECT_EQ(messages(*colour), lines{refusal});
    expect_same(radar, zarn_nradar_s());
    EXPECT_EQ(grey->build_normal_map_radar(9, 0, radar), 0u);
    EXPECT_EQ(messages(*grey), lines{refusal});

    const zarn_nradar_s of_nothing = measured(real_picture{}, 9, 20);
    EXPECT_EQ(of_nothing.flags, 20u);
    EXPECT_EQ(of_nothing.first_samples.count, 9u);
    EXPECT_EQ(of_nothing.total, 0u);
}

TEST(radar, is_freed_when_memory_is_short) {
    for (const int n : {1, 2}) {
        const std::int64_t before = live_allocations();
        {
            half_image image(normal_map(5, 5, 1));
            zarn_nradar_s radar = measured(normal_map(5, 5, 1), 9);
            {
                const allocation_failure failure(n);
                EXPECT_EQ(image->build_normal_map_radar(7, 0, radar), 0u);
            }
            EXPECT_EQ(messages(*image),
                      lines{L"Memory Allocation Error: Failed to allocate zarn_nradar_sample_s array."});
            expect_same(radar, zarn_nradar_s());
        }
        EXPECT_EQ(live_allocations(), before);
    }
}

// A radar with these counts, first hemisphere then second, and normals that differ from bin to bin.
zarn_nradar_s counted(const std::vector<unsigned int>& first, const std::vector<unsigned int>& second,
                      unsigned int first_poles, unsigned int second_poles, unsigned int flags) {
    zarn_nradar_s radar;
    radar.flags = flags;
    const auto fill = [](const std::vector<unsigned int>& counts, float z, zarn_list<zarn_nradar_sample_s>& samples,
                         unsigned int& total, unsigned int& most) {
        for (const unsigned int count : counts) {
            zarn_nradar_sample_s sample;
            sample.count = count;
            const float a = static_cast<float>(samples.count);
            const float inner[3] = {0.2f, std::sin(a) * 0.3f, z}, outer[3] = {std::cos(a), std::sin(a), z * 0.1f};
            std::copy_n(inner, 3, sample.max_normal);
            std::copy_n(outer, 3, sample.min_normal);
            samples.push_back(sample);
            total += count;
            most = std::max(most, count);
        }
    };
    radar.first_count = radar.first_poles = first_poles;
    radar.second_count = radar.second_poles = second_poles;
    fill(first, -0.8f, radar.first_samples, radar.first_count, radar.first_max);
    fill(second, 0.8f, radar.second_samples, radar.second_count, radar.second_max);
    radar.total = radar.first_count + radar.second_count;
    radar.max_count = std::max(radar.first_max, radar.second_max);
    return radar;
}

const std::vector<unsigned int> first_counts = {3, 0, 7, 2, 0, 5, 5, 1}, second_counts = {3, 4, 2, 2, 0, 9, 1, 6};

zarn_nradar_s example_radar(unsigned int flags = 0) { return counted(first_counts, second_counts, 12, 20, flags); }

std::vector<radar_view> views(std::uint32_t inner_radius, std::uint32_t size) {
    std::vector<radar_view> all;
    for (unsigned i = 0; i < 8; ++i)
        all.push_back(
            {(i & 1) != 0, (i & 2) != 0, (i & 4) != 0, inner_radius, size, {10, 20, 30, 40}, {0, 255, 0, 255}});
    return all;
}

TEST(radar_quads, are_the_wedges) {
    const zarn_nradar_s radar = example_radar();
    for (const std::uint32_t inner_radius : {0u, 20u, 90u}) {
        for (const radar_view& view : views(inner_radius, 101)) {
            zarn_list<zarn_fpoint_s> quads;
            quads.push_back({1, 2});
            zarn_build_nradar_quad_list(radar, view.show_first, view.show_second, view.common_scale, inner_radius, 101,
                                        quads);
            ASSERT_EQ(quads.count, 32u);
            for (std::uint32_t i = 0; i < 8; ++i) {
                const bool first = view.show_first && (!view.show_second || first_counts[i] > second_counts[i]);
                const unsigned int count = first ? first_counts[i] : view.show_second ? second_counts[i] : 0;
                const double radius = inner_radius + (50.5 - inner_radius) * count / view.scale(radar);
                for (unsigned corner = 0; corner < 4; ++corner) {
                    const double angle = (i - 0.5 + corner / 2) * 6.283185307179586 / 8;
                    const double r = corner % 2 ? radius : inner_radius;
                    const zarn_fpoint_s point = quads[i * 4 + corner];
                    EXPECT_NEAR(point.x, count ? 50.5 - std::sin(angle) * r : 0.0, 1e-4) << i << ' ' << corner;
                    EXPECT_NEAR(point.y, count ? 50.5 + std::cos(angle) * r : 0.0, 1e-4) << i << ' ' << corner;
                }
            }
        }
    }
}

TEST(radar_quads, without_memory_are_none) {
    zarn_list<zarn_fpoint_s> quads;
    zarn_build_nradar_quad_list(counted({1, 2, 3}, {4}, 0, 0, 0), 1, 1, 0, huge, huge, quads);
    EXPECT_EQ(quads.count, 12u);
    const zarn_nradar_s radar = example_radar();
    const allocation_failure failure(1);
    zarn_build_nradar_quad_list(radar, 1, 1, 0, 5, 50, quads);
    EXPECT_EQ(quads.count, 0u);
}

TEST(radar_hits, find_the_bin) {
    for (const std::uint32_t bins : {3u, 8u, 37u}) {
        const zarn_nradar_s radar = counted(std::vector<unsigned int>(bins, 1), {}, 0, 0, 0);
        const radar_view view{true, false, false, 30, 200, {}, {}};
        const std::vector<double> lengths(bins, 70.0);
        unsigned hits = 0;
        for (unsigned int y = 0; y < 200; y += 3) {
            for (unsigned int x = 0; x < 200; x += 3) {
                zarn_point_s point(x, y);
                int bin = 99;
                const unsigned int result = zarn_is_intersect_nradar_image(radar, 30, 200, point, bin);
                const double radius = std::hypot(x - 100.0, y - 100.0);
                if (radius <= 30 || radius > 100) {
                    EXPECT_EQ(result, radius <= 30 ? 1u : 0u) << x << ' ' << y;
                    EXPECT_EQ(bin, radius <= 30 ? -1 : -2) << x << ' ' << y;
                } else if (const auto expected = reference_wedge_at(radar, view, lengths, x, y, 0.01)) {
                    // The point may lie between the rim and a straight outer edge.
                    EXPECT_EQ(bin, *expected < 0 ? -2 : *expected) << x << ' ' << y;
                    EXPECT_EQ(result, *expected < 0 ? 0u : 1u) << x << ' ' << y;
                    hits += result;
                }
            }
        }
        EXPECT_GT(hits, 800u);
    }
}

TEST(radar_hits, at_the_ends_of_the_ranges) {
    const zarn_nradar_s radar = example_radar(), none;
    struct {
        const zarn_nradar_s& radar;
        unsigned int inner, x, y, result;
        int bin;
    } const hits[] = {{radar, 0, 50, 50, 1, -1},      {radar, 10, 50, 90, 1, 0},    {radar, 10, 10, 50, 1, 2},
                      {radar, 10, huge, huge, 0, -2}, {radar, huge, 50, 90, 1, -1}, {none, 10, 50, 90, 0, -2}};
    for (const auto& one : hits) {
        zarn_point_s point(one.x, one.y);
        int bin = 99;
        EXPECT_EQ(zarn_is_intersect_nradar_image(one.radar, one.inner, 100, point, bin), one.result);
        EXPECT_EQ(bin, one.bin) << one.x << ' ' << one.y;
    }
}

class radar_picture : public ::testing::Test {
protected:
    ~radar_picture() override { ___image.free(); }

    unsigned int draw(const zarn_nradar_s& radar, const radar_view& view) {
        return zarn_render_normal_map_radar_to_image(radar, view.show_first, view.show_second, view.common_scale,
                                                     view.background, view.drawing, view.inner_radius, view.size,
                                                     ___image);
    }
    // Pixels away from edges have their shape's colour; how many there are.
    unsigned expect_picture(const zarn_nradar_s& radar, const radar_view& view) {
        SCOPED_TRACE(::testing::Message() << view.show_first << view.show_second << view.common_scale
                                          << ", inner radius " << view.inner_radius << ", flags " << radar.flags);
        EXPECT_EQ(draw(radar, view), 1u);
        EXPECT_EQ(___image.get_width(), view.size);
        EXPECT_EQ(___image.get_origin(), ZARN_ORIGIN_UPPER_LEFT);
        unsigned compared = 0;
        for (std::uint32_t y = 0; y < view.size; ++y) {
            for (std::uint32_t x = 0; x < view.size; ++x) {
                const zarn_pixel_8_s pixel = ___image.get_pixel(x, y);
                EXPECT_EQ(pixel.a, 255);
                const std::optional<rgb_reals> expected = reference_radar_pixel(radar, view, x, y);
                if (!expected) continue;
                ++compared;
                EXPECT_NEAR(pixel.r, expected->r, 1.5) << x << ' ' << y;
                EXPECT_NEAR(pixel.g, expected->g, 1.5) << x << ' ' << y;
                EXPECT_NEAR(pixel.b, expected->b, 1.5) << x << ' ' << y;
                if (::testing::Test::HasFailure()) return compared;
            }
        }
        return compared;
    }
    zarn_image_8 ___image;
};

TEST_F(radar_picture, has_the_colours_of_its_shapes) {
    for (const unsigned int flags : {0u, 16u}) {
        for (const radar_view& view : views(50, 301)) EXPECT_GT(expect_picture(example_radar(flags), view), 40000u);
    }
    for (const std::uint32_t inner_radius : {0u, 149u, 200u})
        EXPECT_GT(expect_picture(example_radar(), views(inner_radius, 300)[3]), 30000u);
    const zarn_nradar_s real = measured(normal_map(40, 40, 3), 24);
    EXPECT_GT(expect_picture(real, views(60, 400)[2]), 80000u);
}

TEST_F(radar_picture, is_outlined_in_the_drawing_colour) {
    // Four bins: the sides of rim and inner circle lie straight left, right, above and below.
    const zarn_nradar_s radar = counted({0, 0, 0, 0}, {0, 0, 0, 0}, 0, 0, 0);
    const radar_view view{true, true, false, 20, 200, {0, 0, 0, 0}, {255, 100, 0, 255}};
    ASSERT_EQ(draw(radar, view), 1u);
    for (const double radius : {99.0, 20.0}) {
        const double at = 100.0 + radius * std::sqrt(0.5);
        // A line one pixel wide covers two rows in shares that add up to one.
        const auto row = static_cast<std::uint32_t>(at - 0.5);
        const unsigned sum = ___image.get_pixel(100, row).r + ___image.get_pixel(100, row + 1).r;
        EXPECT_NEAR(sum, 255, 3) << radius;
        EXPECT_NEAR(___image.get_pixel(100, row).r, 255 * (1 - (at - 0.5 - row)), 3) << radius;
        EXPECT_EQ(___image.get_pixel(100, row - 1).r + ___image.get_pixel(100, row + 2).r, 0) << radius;
    }
    radar_view without = view;
    without.drawing.a = 0;
    without.background = {1, 2, 3, 4};
    ASSERT_EQ(draw(radar, without), 1u);
    const zarn_pixel_8_s all = ___image.get_pixel(171, 100);
    EXPECT_TRUE(all.r == 1 && all.g == 2 && all.b == 3 && all.a == 255);
}

TEST_F(radar_picture, is_refused_and_the_image_left_alone) {
    const zarn_nradar_s radar = example_radar();
    ASSERT_EQ(___image.create(3, 2, ZARN_ORIGIN_LOWER_LEFT, nullptr, 1), 1u);
    EXPECT_EQ(draw(radar, views(10, 0)[3]), 0u);
    EXPECT_EQ(draw(radar, views(10, huge)[3]), 0u);
    {
        const allocation_failure failure(1);
        EXPECT_EQ(draw(radar, views(10, 100)[3]), 0u);
    }
    EXPECT_EQ(___image.get_width(), 3u);
    const allocation_failure failure(2, true);
    EXPECT_EQ(draw(radar, views(10, 100)[3]), 0u);
    EXPECT_EQ(___image.is_valid(), 0u);
}

TEST_F(radar_picture, of_strange_sizes_and_records) {
    std::vector<zarn_nradar_s> radars = {example_radar(), counted({1}, {1}, 1, 1, 0), counted({2, 1}, {0, 1}, 0, 5, 0),
                                         counted(std::vector<unsigned int>(5000, 3), {1, 2}, 0, 5, 0)};
    radars.push_back(example_radar());
    radars.back().max_count = radars.back().first_max = radars.back().total = 0; // divides by 0
    radars.back().first_samples[2].min_normal[1] = std::numeric_limits<float>::infinity();
    for (const zarn_nradar_s& radar : radars) {
        for (const std::uint32_t size : {1u, 2u, 3u, 50u}) {
            for (const std::uint32_t inner_radius : {0u, 1u, 25u, 26u, 70000u, huge}) {
                for (const radar_view& view : views(inner_radius, size)) {
                    ASSERT_EQ(draw(radar, view), 1u);
                    ASSERT_EQ(___image.get_pixel(size - 1, 0).a, 255);
                }
            }
        }
    }
}

} // namespace

} // namespace zarn_test
