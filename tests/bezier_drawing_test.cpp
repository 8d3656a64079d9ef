// Paths drawn into images of every integer class and depth.

#include <cmath>
#include <limits>
#include <type_traits>

#include <gtest/gtest.h>

#include <zarn/bezier_path.h>

#include "tests/reference/reference_blend.h"
#include "tests/reference/reference_path.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

// How a test draws into an image of a class and depth. Ink: the samples of one pixel, whose low bits count.
struct pen {
    std::uint8_t stroke = 0;
    double width = 0.0;
    int even_odd = 0;
};

using ink = const std::uint32_t*;

template <class Image>
unsigned create(zarn_bezier_path& path, const pen& p, ink s, Image& target, zarn_point_s& offset) {
    using traits = image_traits<Image>;
    if constexpr (traits::is_rgba) {
        return path.rasterize_to_image(p.stroke, p.width, traits::to_pixel(s), p.even_odd, target, offset);
    } else if constexpr (traits::has_alpha) {
        return path.rasterize_to_image(p.stroke, p.width, s[0], s[1], traits::type, p.even_odd, target, offset);
    } else {
        return path.rasterize_to_image(p.stroke, p.width, s[0], traits::type, p.even_odd, target, offset);
    }
}

// 77: the type of an existing image is its own.
template <class Image>
unsigned draw(zarn_bezier_path& path, const pen& p, ink s, Image& target) {
    using traits = image_traits<Image>;
    if constexpr (traits::is_rgba) {
        return path.rasterize_to_image_existing(p.stroke, p.width, traits::to_pixel(s), p.even_odd, target);
    } else if constexpr (traits::has_alpha) {
        return path.rasterize_to_image_existing(p.stroke, p.width, s[0], s[1], 77, p.even_odd, target);
    } else {
        return path.rasterize_to_image_existing(p.stroke, p.width, s[0], 77, p.even_odd, target);
    }
}

zarn_bezier_path path_of_vertices(const polygon& outline) {
    zarn_list<zarn_fpoint_s> list;
    for (const point& p : outline) list.push_back({static_cast<float>(p.x), static_cast<float>(p.y)});
    zarn_bezier_path path;
    path.set_vertex_list(list, 0);
    return path;
}

zarn_bezier_path circle(float x, float y, float diameter) {
    zarn_bezier_path path;
    path.create_ellipse({x, y}, diameter, diameter);
    path.build_vertex_list(20.0);
    return path;
}

// What a path covers, as the alpha of an image of its own: coverage of each pixel in the path's coordinates.
struct coverage_map {
    zarn_owned<zarn_image_8> image;
    zarn_point_s offset;
    unsigned int result;

    coverage_map(zarn_bezier_path& path, const pen& p) {
        result = path.rasterize_to_image(p.stroke, p.width, zarn_pixel_8_s(1, 2, 3, 255), p.even_odd, *image, offset);
    }
    double area() const {
        double sum = 0.0;
        for (std::uint64_t i = 0; i < std::uint64_t{image->get_width()} * image->get_height(); ++i) {
            sum += image->get_pixel_array()[i].a;
        }
        return sum / 255.0;
    }
};

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

const std::uint32_t opaque_black[] = {0, 0, 0, 255};
const polygon kite = {{12.25, 3.5}, {31.125, 17.75}, {20.0, 41.375}, {4.5, 20.0}};

} // namespace

template <class Image>
class bezier_drawing : public ::testing::Test {
protected:
    static std::uint32_t cut(std::uint32_t sample) { return sample & static_cast<std::uint32_t>(traits::full); }
    using traits = image_traits<Image>;
};
TYPED_TEST_SUITE(bezier_drawing, image_types, image_type_names);

TYPED_TEST(bezier_drawing, new_image_holds_the_coverage) {
    zarn_bezier_path path = path_of_vertices(kite);
    const coverage_map map(path, {});
    polygon moved = kite;
    for (point& p : moved) p = {p.x - 1.5, p.y - 0.5};
    const std::uint32_t inks[][4] = {{0xC8A01E2D, 0xFFFFFFFF, 7, 0xFFFFFFFF},
                                     {300, 0x80C0A0E1, 0x12345678, 0x70605040}};
    for (const ink one : inks) {
        zarn_owned<TypeParam> image;
        zarn_point_s offset;
        ASSERT_EQ(create(path, {}, one, *image, offset), 1u);
        // 31.125 - 4.5 + 6 and 41.375 - 3.5 + 6, truncated; 3 pixels left of and above the minimum (4.5, 3.5).
        reference_image expected = image_traits<TypeParam>::blank(32, 43, upper_left);
        EXPECT_EQ(offset, zarn_point_s(1, 0));
        for (std::size_t i = 0; i < expected.samples.size(); ++i) {
            const auto pixel = static_cast<std::uint32_t>(i / expected.stride()), x = pixel % 32, y = pixel / 32;
            const std::uint64_t cover = map.image->get_pixel(x, y).a;
            ASSERT_NEAR(static_cast<double>(cover), reference_coverage(moved, x, y) * 255.0, 3.0) << text(x, y);
            const std::uint64_t sample = this->cut(one[i % expected.stride()]);
            const bool is_covered = i % expected.stride() == expected.stride() - 1; // alpha, or the value
            expected.samples[i] = static_cast<std::uint32_t>(is_covered ? cover * sample / 255 : sample);
        }
        EXPECT_TRUE(same_picture(expected, *image));
    }
}

TYPED_TEST(bezier_drawing, existing_image_is_composited_as_by_blit) {
    std::uint32_t seed = 71;
    const polygon star = {{30, -12}, {52.3, 61}, {-6, 15.7}, {66, 14}, {8.5, 63}}; // overlaps itself and the edges
    const std::uint32_t inks[][4] = {{0xC8A01E2D, 0xFFFFFFFF, 7, 0xFFFFFFFF}, {0x80C0A0E1, 300, 9, 128}};
    for (const pen& p : {pen{}, pen{0, 0.0, 1}, pen{1, 5.5, 0}, pen{1, 400.0, 0}}) {
        zarn_bezier_path path = path_of_vertices(star);
        // Coverage in picture coordinates: the same drawn opaque on black.
        zarn_owned<zarn_image_8> map;
        ASSERT_EQ(map->create(60, 50, upper_left, nullptr, 1), 1u);
        ASSERT_EQ(draw(path, p, opaque_black, *map), 1u);
        for (const std::uint32_t origin : {upper_left, lower_left}) {
            for (const ink one : inks) {
                const alpha_kind kind = one == inks[0] ? alpha_kind::any : alpha_kind::binary;
                reference_image expected = random_picture<TypeParam>(60, 50, origin, kind, seed++);
                loaded_image<TypeParam> image(expected, 1);
                ASSERT_EQ(draw(path, p, one, *image), 1u);
                for (std::uint32_t i = 0; i < 60 * 50; ++i) {
                    const std::uint64_t cover = map->get_pixel(i % 60, i / 60).a;
                    if (!cover) continue;
                    reference_image source = image_traits<TypeParam>::blank(1, 1, upper_left);
                    for (unsigned c = 0; c < source.stride(); ++c) source.samples[c] = this->cut(one[c]);
                    reference_blit_call call{0, 0, 1, 1};
                    call.x = static_cast<std::int32_t>(i % 60);
                    call.y = static_cast<std::int32_t>(i / 60);
                    if (source.has_alpha) {
                        std::uint32_t& alpha = source.samples[source.colours];
                        alpha = static_cast<std::uint32_t>(cover * alpha / 255);
                    } else {
                        call.opacity = static_cast<double>(cover) / 255.0;
                    }
                    reference_blit(expected, source, call);
                }
                EXPECT_TRUE(same_picture(expected, *image)) << text(p.width, p.even_odd, origin, one[0]);
            }
        }
    }
}

TYPED_TEST(bezier_drawing, refused_drawings_leave_the_image) {
    zarn_bezier_path path = path_of_vertices(kite), nothing;
    const reference_image before = random_picture<TypeParam>(9, 7, upper_left, alpha_kind::any, 72);
    loaded_image<TypeParam> image(before, 1);
    zarn_owned<TypeParam> empty;
    zarn_point_s offset(5, 6);
    const auto make = [&](zarn_bezier_path drawn, const pen& p) {
        return create(drawn, p, opaque_black, *image, offset);
    };
    const auto both = [&](zarn_bezier_path drawn, const pen& p) {
        return make(drawn, p) + draw(drawn, p, opaque_black, *image);
    };
    EXPECT_EQ(both(nothing, {}), 0u);
    for (const double bad : {infinity, -infinity, not_a_number}) {
        EXPECT_EQ(both(path, {1, std::fabs(bad), 0}), 0u) << bad;
        EXPECT_EQ(both(path_of_vertices({{0, 0}, {4, 4}, {1, bad}, {9, 9}}), {}), 0u) << bad;
    }
    EXPECT_EQ(make(path_of_vertices({{0, 0}, {3e9, 0}, {0, 1}}), {}), 0u);
    EXPECT_EQ(make(path_of_vertices({{0, -3e38}, {1, 3e38}}), {}), 0u);
    EXPECT_EQ(make(path_of_vertices({{-4e9, 5}, {5 - 4e9, 5}, {5 - 4e9, 7}}), {}), 0u) << "reaches up to 0";
    EXPECT_EQ(make(path, {1, 1e300, 0}), 0u);
    EXPECT_EQ(draw(path, {}, opaque_black, *empty), 0u);
    if constexpr (std::is_base_of_v<zarn_image_grayscale, TypeParam>) {
        EXPECT_EQ(path.rasterize_to_image(0, 0.0, 1, 2, 3, 0, *image, offset), 0u) << "unknown type";
    }
    EXPECT_TRUE(same_picture(before, *image));
    EXPECT_EQ(offset, zarn_point_s(5, 6));
}

TYPED_TEST(bezier_drawing, failing_allocations) {
    const reference_image before = random_picture<TypeParam>(40, 50, upper_left, alpha_kind::any, 73);
    for (const bool existing : {false, true}) {
        for (const pen& p : {pen{}, pen{1, 3.0, 0}}) {
            bool happened = true;
            for (std::int64_t n = 1; happened; ++n) {
                ASSERT_LT(n, 100);
                SCOPED_TRACE(text("existing", existing, "stroke", p.width, "allocation", n));
                const std::int64_t live = live_allocations();
                {
                    zarn_bezier_path path = path_of_vertices(kite);
                    loaded_image<TypeParam> image(before, 1);
                    zarn_point_s offset;
                    {
                        allocation_failure failure(n, false, true);
                        const unsigned result = existing ? draw(path, p, opaque_black, *image)
                                                         : create(path, p, opaque_black, *image, offset);
                        happened = failure.happened();
                        EXPECT_EQ(result, happened ? 0u : 1u);
                    }
                    const bool unchanged = static_cast<bool>(same_picture(before, *image));
                    EXPECT_TRUE(!happened || (existing ? unchanged : !image->is_valid() || !messages(*image).empty()));
                }
                // The rasteriser itself loses the table of its blocks when the first block cannot be had.
                EXPECT_LE(live_allocations(), live + (happened ? 1 : 0));
            }
        }
    }
}

TEST(bezier_coverage, areas_agree_with_geometry) {
    const double r = 100.0, edge = 2 * M_PI * r; // an edge pixel's coverage is off by half a step
    zarn_bezier_path disc = circle(-3.3f, 7.7f, 200.0f);
    disc.translate({3.5f, 4.25f});
    EXPECT_NEAR(coverage_map(disc, {}).area(), M_PI * r * r, edge * 0.02);
    EXPECT_NEAR(coverage_map(disc, {1, 10.0, 0}).area(), edge * 10.0, 2 * edge * 0.01);
    EXPECT_NEAR(coverage_map(disc, {1, 0.5, 0}).area(), edge * 0.5, 2 * edge * 0.01);

    zarn_bezier_path polygon_path;
    for (const unsigned int corners : {3u, 6u, 17u, 5000u}) {
        polygon_path.create_polygon({200, 200}, corners, 150.0f, 0.3f);
        polygon_path.build_vertex_list(1.0);
        const double expected = corners / 2.0 * 150 * 150 * std::sin(2 * M_PI / corners);
        EXPECT_NEAR(coverage_map(polygon_path, {}).area(), expected, 10.0) << corners;
    }

    // Round ends make a disc; the bend's outside is round.
    zarn_bezier_path line = path_of_vertices({{10, 10}, {110, 10}, {110, 60}});
    EXPECT_NEAR(coverage_map(line, {1, 8.0, 0}).area(), 150 * 8 + M_PI * 16 - 16 + M_PI * 4, 2.0);
    zarn_bezier_path square = path_of_vertices({{10, 10}, {110, 10}, {110, 60}, {10, 60}, {10, 10}});
    EXPECT_NEAR(coverage_map(square, {1, 8.0, 0}).area(), 300 * 8 - 4 * 16 + M_PI * 16, 3.0);
    EXPECT_NEAR(coverage_map(square, {1, 8.0, 1}).area(), 300 * 8 - 4 * 16 + M_PI * 16, 3.0) << "no seam";
    for (const double width : {0.0, -3.0}) {
        const coverage_map none(square, {1, width, 0});
        EXPECT_EQ(none.result, 1u);
        EXPECT_EQ(none.area(), 0.0);
        EXPECT_EQ(none.image->get_width(), 106u);
    }
}

TEST(bezier_coverage, fill_rules) {
    // Two squares in one turn, overlapping in 20 x 20 pixels.
    zarn_bezier_path path = path_of_vertices(
        {{0, 0}, {40, 0}, {40, 40}, {20, 40}, {20, 20}, {60, 20}, {60, 60}, {20, 60}, {20, 40}, {0, 40}});
    EXPECT_EQ(coverage_map(path, {}).area(), 2 * 1600 - 400);
    EXPECT_EQ(coverage_map(path, {0, 0.0, 1}).area(), 2 * 1600 - 2 * 400);
    // The middle of a pentagram is wound twice around.
    polygon star;
    for (int i = 0; i < 5; ++i)
        star.push_back({100 + 90 * std::sin(i * 0.8 * M_PI), 100 - 90 * std::cos(i * 0.8 * M_PI)});
    zarn_bezier_path pentagram = path_of_vertices(star);
    const double inner = 90 * std::cos(0.4 * M_PI) / std::cos(0.2 * M_PI);
    const double pentagon = 2.5 * inner * inner * std::sin(0.4 * M_PI);
    EXPECT_NEAR(coverage_map(pentagram, {}).area() - coverage_map(pentagram, {0, 0.0, 1}).area(), pentagon, 3.0);
}

TEST(bezier_coverage, offsets) {
    struct {
        double x, y;
        pen p;
        std::uint32_t offset_x, offset_y;
    } const cases[] = {{10.75, 3.0, {}, 7, 0},
                       {2.5, -7.25, {}, 0, static_cast<std::uint32_t>(-10)},
                       {100.0, 100.0, {1, 5.0, 0}, 94, 94}};
    for (const auto& one : cases) {
        zarn_bezier_path path = path_of_vertices({{one.x, one.y}, {one.x + 4, one.y}, {one.x + 4, one.y + 2}});
        const coverage_map map(path, one.p);
        ASSERT_EQ(map.result, 1u);
        EXPECT_EQ(map.offset, zarn_point_s(one.offset_x, one.offset_y)) << text(one.x, one.y);
    }
    // Wholly negative: the image reaches to 0.
    zarn_bezier_path negative = path_of_vertices({{-50, -40}, {-30, -40}, {-30, -20}, {-50, -20}});
    const coverage_map map(negative, {});
    EXPECT_EQ(text(map.image->get_width(), map.image->get_height()), text(56, 46));
    EXPECT_EQ(map.offset, zarn_point_s(static_cast<std::uint32_t>(-53), static_cast<std::uint32_t>(-43)));
    EXPECT_EQ(map.area(), 400.0);
    EXPECT_EQ(map.image->get_pixel(3, 3).a, 255);
}

TEST(bezier_coverage, colours_of_the_image_itself) {
    zarn_bezier_path path = path_of_vertices(kite);
    zarn_owned<zarn_image_8> image;
    ASSERT_EQ(image->create(300, 300, upper_left, nullptr, 1), 1u);
    image->set_pixel(9, 9, zarn_pixel_8_s(10, 20, 30, 200));
    zarn_point_s offset;
    ASSERT_EQ(path.rasterize_to_image(0, 0.0, image->get_pixel(9, 9), 0, *image, offset), 1u);
    const zarn_pixel_8_s& pixel = image->get_pixel(16, 20);
    EXPECT_EQ(text(+pixel.r, +pixel.g, +pixel.b, +pixel.a), text(10, 20, 30, 200));
}

TEST(bezier_coverage, thousands_of_segments_in_parts) {
    // A comb whose edges make some 12 million cells: more than are kept at once.
    const int teeth = 1500, height = 4000;
    polygon comb;
    for (int i = 0; i <= teeth; ++i) {
        comb.push_back({2.0 * i, 0.0});
        if (i < teeth) comb.push_back({2.0 * i + 1.0, static_cast<double>(height)});
    }
    comb.push_back({2.0 * teeth, height + 10.0});
    comb.push_back({0.0, height + 10.0});
    zarn_bezier_path path = path_of_vertices(comb);
    const coverage_map map(path, {});
    EXPECT_NEAR(map.area(), teeth * (height + 20.0), teeth * height * 0.006);
    for (std::uint32_t y = 4; y < height; y += 97) { // the same in every part
        double row = 0.0;
        for (std::uint32_t x = 0; x < map.image->get_width(); ++x) row += map.image->get_pixel(x, y).a / 255.0;
        ASSERT_NEAR(row, 2.0 * teeth * (y - 2.5) / height, 2.0 * teeth * 0.01) << y;
    }
}

// One row of pixels, and points enough for one of its columns alone to hold more edges than cells are kept: splitting
// down to pixels, each of which walks all points, would take minutes.
TEST(bezier_coverage, a_million_points_in_few_pixels) {
    const polygon forth = {{0, 0}, {64, 0}, {64, 0.875}, {0, 0.875}};
    const polygon back = {{0, 0}, {0, 0.875}, {64, 0.875}, {64, 0}};
    polygon turns = forth;
    for (int i = 0; i < 150000; ++i) {
        turns.insert(turns.end(), back.begin(), back.end());
        turns.insert(turns.end(), forth.begin(), forth.end());
    }
    zarn_bezier_path one = path_of_vertices(forth), many = path_of_vertices(turns);
    const coverage_map expected(one, {}), map(many, {});
    EXPECT_GT(expected.area(), 50.0);
    EXPECT_TRUE(same_picture(image_traits<zarn_image_8>::read(*expected.image), *map.image));
}

TEST(bezier_coverage, pictures_wider_than_fixed_point_coordinates) {
    zarn_bezier_path path = path_of_vertices({{0, 0}, {9000000, 0}, {9000000, 2}, {0, 2}});
    zarn_owned<zarn_image_grayscale> image;
    zarn_point_s offset;
    ASSERT_EQ(path.rasterize_to_image(0, 0.0, 1, 255, 0, 0, *image, offset), 1u);
    ASSERT_EQ(image->get_width(), 9000006u);
    for (std::uint32_t x = 0; x < 9000006; x += x < 1000 || x > 8999000 ? 1 : 1009) {
        ASSERT_EQ(image->get_pixel_8(x, 3).alpha, x >= 3 && x < 9000003 ? 255 : 0) << x;
    }
}

TEST(bezier_coverage, hostile_coordinates_and_widths_end) {
    const double values[] = {0.0, 1.0, 17.3, -1e-38, 63.9, -8388608.0, 1e15, -1e30, 3e38, -3e38, -1e7, 1e9, 1e-20, 5.5};
    const double widths[] = {1.0, 1e-300, 40.0, 1e6, 1e12, 1e30, 1e300, -5.0};
    random_numbers random(74);
    zarn_owned<zarn_image_8> image;
    ASSERT_EQ(image->create(64, 48, upper_left, nullptr, 1), 1u);
    for (int round = 0; round < 4000; ++round) {
        polygon outline(1 + random.below(6));
        for (point& p : outline) p = {values[random.below(14)], values[random.below(14)]};
        zarn_bezier_path path = path_of_vertices(outline);
        const pen p{static_cast<std::uint8_t>(random.below(2)), widths[random.below(8)],
                    static_cast<int>(random.below(2))};
        ASSERT_EQ(draw(path, p, opaque_black, *image), 1u) << round;
    }
    // What reaches the picture is drawn, wherever the rest lies.
    image->clear(zarn_pixel_8_s(), 1);
    zarn_bezier_path half = path_of_vertices({{-1e30, -1e30}, {32, -1e30}, {32, 1e30}, {-1e30, 1e30}});
    ASSERT_EQ(draw(half, {}, opaque_black, *image), 1u);
    EXPECT_EQ(image->get_pixel(31, 20).a, 255);
    EXPECT_EQ(image->get_pixel(32, 20).a, 0);
    zarn_bezier_path band = path_of_vertices({{-1e30, 20}, {1e30, 20}});
    ASSERT_EQ(draw(band, {1, 4.0, 0}, opaque_black, *image), 1u);
    EXPECT_EQ(image->get_pixel(40, 18).a, 255);
    EXPECT_EQ(image->get_pixel(40, 22).a, 0);
}

} // namespace zarn_test
