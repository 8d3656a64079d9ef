// Knots, tangents, edits, flattening, shapes, transforms and the hit test of paths.

#include <cmath>
#include <functional>
#include <limits>

#include <gtest/gtest.h>

#include <zarn/bezier_path.h>

#include "tests/reference/reference_path.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

using points = std::vector<zarn_fpoint_s>;

const zarn_fpoint_s A(10, 20), B(50, 5), C(90, 40), D(60, 80), E(20, 70);

std::vector<zarn_bezier_knot_s> knots_of(const zarn_bezier_path& path) {
    std::vector<zarn_bezier_knot_s> knots;
    for (unsigned int i = 0; i < path.get_knot_count(); ++i) knots.push_back(path.get_knot(i));
    return knots;
}

points positions_of(const zarn_bezier_path& path) {
    points positions;
    for (const zarn_bezier_knot_s& knot : knots_of(path)) positions.push_back(knot.position);
    return positions;
}

points vertices_of(const zarn_bezier_path& path) {
    points vertices(path.get_vertex_count());
    path.get_vertex_list(vertices.data());
    return vertices;
}

zarn_bezier_path path_of(const points& positions, std::uint8_t state = 0) {
    zarn_bezier_path path;
    for (const zarn_fpoint_s& position : positions) path.push_knot(position, 1, state);
    return path;
}

::testing::AssertionResult near(const zarn_fpoint_s& a, const zarn_fpoint_s& b, float tolerance = 1e-3f) {
    if (std::fabs(a.x - b.x) <= tolerance && std::fabs(a.y - b.y) <= tolerance) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << a.x << ", " << a.y << ") is not (" << b.x << ", " << b.y << ")";
}

void expect_near(const std::vector<zarn_bezier_knot_s>& knots, const std::vector<zarn_bezier_knot_s>& expected) {
    ASSERT_EQ(knots.size(), expected.size());
    for (std::size_t i = 0; i < knots.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(knots[i].state, expected[i].state);
        EXPECT_TRUE(near(knots[i].position, expected[i].position));
        EXPECT_TRUE(near(knots[i].in_tangent, expected[i].in_tangent));
        EXPECT_TRUE(near(knots[i].out_tangent, expected[i].out_tangent));
    }
}

} // namespace

TEST(bezier_path, pushed_knots_close_the_path_and_never_repeat) {
    zarn_bezier_path path = path_of({A, A}, 2);
    EXPECT_EQ(positions_of(path), points{A});
    EXPECT_EQ(path.is_valid(), 0u);
    for (const zarn_fpoint_s& next : {B, A, C, A}) {
        path.push_knot(next, 0, 1);
        EXPECT_EQ(path.is_closed(), path.get_knot_count() > 2 && next == A ? 1u : 0u);
    }
    EXPECT_EQ(path.is_valid(), 1u);
    EXPECT_EQ(positions_of(path), (points{A, B, A, C, A}));
    EXPECT_TRUE(path.get_knot(4).state == 1 && path.get_knot(4).in_tangent == A && path.get_knot(4).out_tangent == A);
    path.free();
    EXPECT_EQ(path.is_closed() + path.is_valid() + path.get_knot_count(), 0u);
}

TEST(bezier_path, automatic_tangents_agree_with_the_plain_form) {
    random_numbers random(61);
    for (int round = 0; round < 300; ++round) {
        zarn_bezier_path path;
        const unsigned int count = 1 + random.below(7);
        const bool close = count > 2 && random.below(2);
        for (unsigned int i = 0; i < count; ++i) {
            const auto coordinate = [&] { return static_cast<float>(random.below(2000)) / 8.0f - 60.0f; };
            const float x = coordinate(), y = coordinate();
            path.push_knot({x, y}, 0, static_cast<std::uint8_t>(random.below(6)));
        }
        if (close) path.push_knot(path.get_knot(0).position, 0, static_cast<std::uint8_t>(random.below(6)));
        // An edit that changes nothing itself.
        const unsigned int index = path.is_closed() ? 0 : path.get_knot_count() - 1;
        path.modify_knot_state(index, path.get_knot(index).state);
        SCOPED_TRACE(round);
        expect_near(knots_of(path), reference_tangents(knots_of(path), path.is_closed() != 0));
    }
    // The factor is 0.33333, which is told from one third at large distances.
    EXPECT_EQ(path_of({{0, 0}, {3e6f, 0}, {6e6f, 0}}).get_knot(1).out_tangent.x, 3e6f + 3e6f * 0.33333f);
    // The neighbours of both ends of a triangle without a middle are one point.
    const zarn_bezier_path back_and_forth = path_of({A, B, A});
    EXPECT_TRUE(back_and_forth.get_knot(0).out_tangent == A && back_and_forth.get_knot(2).in_tangent == A);
}

TEST(bezier_path, edits_of_open_paths) {
    zarn_bezier_path path = path_of({A, B, C});
    path.insert_knot(1, D, 1, 0);
    path.insert_knot(99, E, 1, 0);
    EXPECT_EQ(positions_of(path), (points{A, D, B, C, E}));
    path.insert_knot(2, B, 1, 0); // lies on its neighbour
    path.insert_knot(3, B, 1, 0);
    path.delete_knot(5);
    path.modify_knot_position(5, A);
    path.modify_knot_state(5, 3);
    path.modify_knot_tangent(5, 0, A);
    EXPECT_EQ(positions_of(path), (points{A, D, B, C, E}));
    path.delete_knot(1);
    path.delete_knot(3);
    path.modify_knot_position(1, D);
    EXPECT_EQ(positions_of(path), (points{A, D, C}));
    expect_near(knots_of(path), reference_tangents(knots_of(path), false));
    EXPECT_EQ(path.is_closed(), 0u);
    path.insert_knot(0, C, 1, 0);
    EXPECT_EQ(path.is_closed(), 1u) << "the ends meet";

    zarn_bezier_path moved = path_of({A, B, C, D}, 4);
    moved.modify_knot_tangent(1, 0, {40, 0});
    moved.modify_knot_tangent(1, 1, {60, 9});
    moved.modify_knot_tangent(1, 2, {0, 0});
    moved.modify_knot_position(1, {B.x + 3, B.y - 2});
    EXPECT_TRUE(near(moved.get_knot(1).in_tangent, {43, -2}) && near(moved.get_knot(1).out_tangent, {63, 7}));
    moved.modify_knot_position(3, A);
    EXPECT_EQ(moved.is_closed(), 1u);
}

TEST(bezier_path, ends_of_a_closed_path_are_one_knot) {
    const points square = {A, B, C, D, A};
    const auto edited = [&](auto edit) {
        zarn_bezier_path path = path_of(square);
        edit(path);
        EXPECT_EQ(path.is_closed(), 1u);
        const std::vector<zarn_bezier_knot_s> knots = knots_of(path);
        EXPECT_TRUE(knots.front().position == knots.back().position);
        EXPECT_TRUE(knots.front().in_tangent == knots.back().in_tangent);
        EXPECT_TRUE(knots.front().out_tangent == knots.back().out_tangent);
        EXPECT_EQ(knots.front().state, knots.back().state);
        return positions_of(path);
    };
    EXPECT_EQ(edited([](auto& path) { path.insert_knot(0, E, 1, 0); }), (points{E, A, B, C, D, E}));
    EXPECT_EQ(edited([](auto& path) { path.insert_knot(5, E, 1, 0); }), (points{A, B, C, D, E, A}));
    EXPECT_EQ(edited([](auto& path) { path.insert_knot(0, D, 1, 0); }), square);
    EXPECT_EQ(edited([](auto& path) { path.insert_knot(7, A, 1, 0); }), square);
    EXPECT_EQ(edited([](auto& path) { path.delete_knot(0); }), (points{B, C, D, B}));
    EXPECT_EQ(edited([](auto& path) { path.delete_knot(4); }), (points{B, C, D, B}));
    EXPECT_EQ(edited([](auto& path) { path.delete_knot(2); }), (points{A, B, D, A}));
    EXPECT_EQ(edited([](auto& path) { path.modify_knot_position(0, E); }), (points{E, B, C, D, E}));
    EXPECT_EQ(edited([](auto& path) { path.modify_knot_position(4, E); }), (points{E, B, C, D, E}));
    edited([](auto& path) { path.modify_knot_state(4, 3); });
    edited([](auto& path) { path.modify_knot_tangent(4, 1, {1, 2}); });

    zarn_bezier_path small = path_of({A, B, A});
    small.delete_knot(1);
    EXPECT_EQ(positions_of(small), points{A});
    EXPECT_EQ(small.is_closed(), 0u);
    small.delete_knot(0);
    small.delete_knot(0);
    EXPECT_EQ(small.get_knot_count(), 0u);
    small = path_of({A, B, A});
    small.delete_knot(2);
    EXPECT_EQ(positions_of(small), points{B});
}

TEST(bezier_path, tangents_of_symmetric_knots_mirror_each_other_until_recomputed) {
    zarn_bezier_path path = path_of({A, B, C}, 1);
    path.modify_knot_tangent(1, 1, {B.x + 7, B.y - 3});
    EXPECT_TRUE(near(path.get_knot(1).in_tangent, {B.x - 7, B.y + 3}));
    path.modify_knot_state(2, 3);
    expect_near(knots_of(path), reference_tangents(knots_of(path), false));
    path.modify_knot_state(1, 0);
    path.modify_knot_tangent(1, 0, {1, 1});
    EXPECT_TRUE(near(path.get_knot(1).out_tangent, reference_tangents(knots_of(path), false)[1].out_tangent));
}

TEST(bezier_path, copies) {
    zarn_bezier_path path = path_of({A, B, C, A});
    path.build_vertex_list(1.0);
    zarn_bezier_path copied(path), knots_only = copied;
    path.modify_knot_position(1, D);
    EXPECT_EQ(positions_of(copied), (points{A, B, C, A}));
    EXPECT_EQ(copied.is_closed(), 1u);
    EXPECT_EQ(vertices_of(copied), vertices_of(path));
    knots_only.copy(path, 0);
    EXPECT_EQ(positions_of(knots_only), positions_of(path));
    EXPECT_EQ(knots_only.get_vertex_count(), 0u);
    copied = *&copied;
    EXPECT_EQ(copied.get_vertex_count(), path.get_vertex_count());
    copied.copy(*&copied, 0);
    EXPECT_EQ(copied.get_knot_count(), 4u);
    EXPECT_EQ(copied.get_vertex_count(), 0u);
}

TEST(bezier_path, flattened_curves_stay_close_to_the_curves) {
    random_numbers random(62);
    for (const double scale : {0.25, 1.0, 4.0, 30.0}) {
        for (int round = 0; round < 20; ++round) {
            zarn_bezier_path path;
            const auto coordinate = [&] { return static_cast<float>(random.below(800)); };
            for (int i = 0; i < 4; ++i) path.push_knot({coordinate(), coordinate()}, 0, 4);
            for (unsigned int i = 0; i < path.get_knot_count(); ++i) {
                path.modify_knot_tangent(i, 0, {coordinate(), coordinate()});
                path.modify_knot_tangent(i, 1, {coordinate(), coordinate()});
            }
            path.build_vertex_list(scale);
            const polygon line = to_polygon(*path.get_vertex_list());
            EXPECT_TRUE(near(vertices_of(path).front(), path.get_knot(0).position, 0.0f));
            EXPECT_TRUE(near(vertices_of(path).back(), path.get_knot(path.get_knot_count() - 1).position, 0.0f));
            double farthest = 0.0;
            for (unsigned int segment = 0; segment + 1 < path.get_knot_count(); ++segment) {
                for (int step = 0; step <= 200; ++step) {
                    const point on =
                        reference_curve_point(path.get_knot(segment), path.get_knot(segment + 1), step / 200.0);
                    farthest = std::max(farthest, distance_to_polyline(on, line));
                }
            }
            EXPECT_LT(farthest, 1.0 / scale + 1e-3) << "scale " << scale << ", round " << round;
        }
    }
}

TEST(bezier_path, vertex_lists) {
    zarn_bezier_path path = path_of({A, B, C}, 3);
    path.push_knot(D, 0, 0);
    path.modify_knot_tangent(3, 0, {10, 200});
    path.build_vertex_list(1.0);
    const points vertices = vertices_of(path);
    ASSERT_GT(vertices.size(), 6u);
    EXPECT_EQ(points(vertices.begin(), vertices.begin() + 3), (points{A, B, C})) << "lines end where others begin";
    EXPECT_EQ(vertices.back(), D);
    path.build_linear_vertex_list();
    EXPECT_EQ(vertices_of(path), (points{A, B, C, D}));
    path.delete_knot(3);
    path.build_vertex_list(1.0);
    EXPECT_EQ(vertices_of(path), (points{A, B, C})) << "the last corner belongs to the last line";

    const auto set = [&path](const points& vertices_to_set, unsigned close) {
        zarn_list<zarn_fpoint_s> list;
        for (const zarn_fpoint_s& vertex : vertices_to_set) list.push_back(vertex);
        path.set_vertex_list(list, close);
        return vertices_of(path);
    };
    EXPECT_EQ(set({D, E, A}, 0), (points{D, E, A}));
    EXPECT_EQ(set({D, E, A}, 1), (points{D, E, A, D}));
    EXPECT_EQ(set({D, E, D}, 1), (points{D, E, D}));
    zarn_fpoint_s min, max;
    set({{-5, 3}, {-2, -9}, {-8, 1}}, 0);
    path.get_bounding_rect(min, max);
    EXPECT_EQ(min, zarn_fpoint_s(-8, -9));
    EXPECT_EQ(max.x, 1.1754944e-38f) << "no maximum lies below the smallest positive float";
    EXPECT_EQ(max.y, 3.0f);
    path.clear_vertex_list();
    path.get_bounding_rect(min, max);
    EXPECT_EQ(min, zarn_fpoint_s(3.4028235e38f, 3.4028235e38f));
}

TEST(bezier_path, shapes) {
    zarn_bezier_path path;
    path.create_polygon({10, 10}, 4, 1.0f, 0.0f);
    expect_near(knots_of(path), knots_of(path_of({{10, 9}, {11, 10}, {10, 11}, {9, 10}, {10, 9}}, 3)));
    EXPECT_EQ(path.is_closed(), 1u);
    path.create_polygon({0, 0}, 3, 2.0f, 1.5707964f);
    EXPECT_TRUE(near(path.get_knot(0).position, {2, 0}, 1e-5f));
    for (const unsigned int count : {0u, 4294967295u, 4294967294u, 1u << 25}) {
        path.create_polygon({0, 0}, count, 2.0f, 0.0f);
        EXPECT_EQ(path.get_knot_count() + path.is_closed(), 0u) << count;
    }

    path.create_ellipse({100, 50}, 120, 60);
    EXPECT_EQ(positions_of(path), (points{{160, 50}, {100, 80}, {40, 50}, {100, 20}, {160, 50}}));
    EXPECT_EQ(path.is_closed() + path.get_knot(3).state, 2u);
    for (unsigned int step = 0; step <= 4 * 16; ++step) {
        zarn_fpoint_s on;
        path.interpolate_segment(std::min(step / 16, 3u), static_cast<float>(step % 16) / 16.0f, on);
        EXPECT_NEAR(std::hypot((on.x - 100.0) / 60.0, (on.y - 50.0) / 30.0), 1.0, 3e-4);
    }

    path.create_rect({50, 40}, 60, 20, 0);
    EXPECT_EQ(positions_of(path), (points{{20, 30}, {80, 30}, {80, 50}, {20, 50}, {20, 30}}));
    EXPECT_EQ(path.get_knot(2).state, 3);
    path.create_rect({50, 40}, 60, 20, 5);
    EXPECT_EQ(positions_of(path),
              (points{{25, 30}, {75, 30}, {80, 35}, {80, 45}, {75, 50}, {25, 50}, {20, 45}, {20, 35}, {25, 30}}));
    EXPECT_EQ(path.is_closed(), 1u);
    for (const float radius : {5.0f, 1e30f}) { // of which the half circles that fit are left
        path.create_rect({50, 40}, 60, 20, radius);
        path.build_vertex_list(20.0);
        const double r = std::min(radius, 10.0f);
        EXPECT_NEAR(signed_area(to_polygon(*path.get_vertex_list())), 60 * 20 - (4 - M_PI) * r * r, 0.5);
        EXPECT_EQ(path.get_knot(0).state, 4);
    }
}

TEST(bezier_path, transforms) {
    const zarn_bezier_path original = path_of({A, B, C, D, A});
    // A point p becomes turn * (p - anchor) + anchor + step; the anchor is the box's least corner or its centre.
    struct transform {
        const char* name;
        bool moves_vertices;
        std::function<void(zarn_bezier_path&)> run;
        double share_of_box, xx, xy, yx, yy;
        bool lands = false; // on the step, whatever the box
    };
    const zarn_fpoint_s step(-7, 300);
    const double c = std::cos(0.7), s = std::sin(0.7);
    const transform transforms[] = {
        {"translate", true, [=](auto& path) { path.translate(step); }, 0, 1, 0, 0, 1, true},
        {"translate_relative", true, [=](auto& path) { path.translate_relative(step); }, 0, 1, 0, 0, 1},
        {"flip_horizontal", true, [](auto& path) { path.flip_horizontal(); }, 0.5, -1, 0, 0, 1},
        {"flip_vertical", true, [](auto& path) { path.flip_vertical(); }, 0.5, 1, 0, 0, -1},
        {"scale", false, [](auto& path) { path.scale(2.5f, -0.5f); }, 0, 2.5, 0, 0, -0.5},
        {"rotate", false, [](auto& path) { path.rotate(0.7); }, 0.5, c, -s, s, c},
        {"rotate by 0", false, [](auto& path) { path.rotate(0.0); }, 0.5, 1, 0, 0, 1},
    };
    for (const transform& one : transforms) {
        for (const bool built : {true, false}) { // without vertices they are built first
            SCOPED_TRACE(text(one.name, built));
            zarn_bezier_path path = original, boxed = original;
            boxed.build_vertex_list(1.0);
            if (built) path.build_vertex_list(1.0);
            zarn_fpoint_s min, max;
            boxed.get_bounding_rect(min, max);
            const bool steps = std::string(one.name).rfind("translate", 0) == 0;
            const auto expected = [&](const zarn_fpoint_s& p) {
                const double x0 = min.x + (max.x - min.x) * one.share_of_box, dx = p.x - x0;
                const double y0 = min.y + (max.y - min.y) * one.share_of_box, dy = p.y - y0;
                const double x = one.xx * dx + one.xy * dy + (one.lands ? 0 : x0) + (steps ? step.x : 0);
                const double y = one.yx * dx + one.yy * dy + (one.lands ? 0 : y0) + (steps ? step.y : 0);
                return zarn_fpoint_s(static_cast<float>(x), static_cast<float>(y));
            };
            one.run(path);
            for (unsigned int i = 0; i < 5; ++i) {
                const zarn_bezier_knot_s &knot = path.get_knot(i), &before = original.get_knot(i);
                EXPECT_TRUE(near(knot.position, expected(before.position)));
                EXPECT_TRUE(near(knot.in_tangent, expected(before.in_tangent)));
                EXPECT_TRUE(near(knot.out_tangent, expected(before.out_tangent)));
            }
            if (!built) continue;
            const points vertices = vertices_of(path), unmoved = vertices_of(boxed);
            for (std::size_t i = 0; i < vertices.size(); ++i) {
                EXPECT_TRUE(near(vertices[i], one.moves_vertices ? expected(unmoved[i]) : unmoved[i]));
            }
        }
    }
    zarn_bezier_path empty;
    for (const transform& one : transforms) one.run(empty);
    EXPECT_EQ(empty.get_knot_count() + empty.get_vertex_count(), 0u);
}

TEST(bezier_path, nearest_segment_within_tolerance) {
    zarn_bezier_path path;
    for (const zarn_fpoint_s& corner : {zarn_fpoint_s(0, 0), zarn_fpoint_s(100, 0), zarn_fpoint_s(100, 100)}) {
        path.push_knot(corner, 1, 3);
    }
    path.push_knot({0, 100}, 0, 4);
    path.modify_knot_tangent(3, 0, {0, 160}); // bulges down to about (45, 125)
    unsigned int segment = 77;
    EXPECT_EQ(path.is_collision({50, 5}, 4.9f, segment), 0u);
    EXPECT_EQ(segment, 77u);
    EXPECT_EQ(path.is_collision({50, 5}, 5.0f, segment), 1u);
    EXPECT_EQ(segment, 0u);
    EXPECT_EQ(path.is_collision({96, 7}, 10.0f, segment), 1u);
    EXPECT_EQ(segment, 1u) << "the nearer one";
    EXPECT_EQ(path.is_collision({103, -3}, 10.0f, segment), 1u);
    EXPECT_EQ(segment, 0u) << "the first of two";
    const point on = reference_curve_point(path.get_knot(2), path.get_knot(3), 0.5);
    EXPECT_EQ(path.is_collision({static_cast<float>(on.x), static_cast<float>(on.y)}, 0.6f, segment), 1u);
    EXPECT_EQ(segment, 2u);
    EXPECT_EQ(path.is_collision({50, 100}, 5.0f, segment), 0u) << "the chord is not the curve";
    EXPECT_EQ(path.is_collision({0, 50}, 5.0f, segment), 0u) << "open";
    EXPECT_EQ(path.is_collision({50, 0}, not_a_number, segment), 0u);
    EXPECT_EQ(path.is_collision({not_a_number, 0}, 1e30f, segment), 0u);
    EXPECT_EQ(zarn_bezier_path().is_collision({0, 0}, infinity, segment), 0u);
}

TEST(bezier_path, hostile_coordinates_flatten_into_a_bounded_list) {
    const float values[] = {0.0f,   1.0f,  -1e-38f, 1e-20f, 77.7f,    -8388608.0f,  1e15f,
                            -1e30f, 3e38f, -3e38f,  -1e7f,  infinity, not_a_number, 0.1f};
    random_numbers random(63);
    const auto coordinate = [&] { return values[random.below(14)]; };
    for (int round = 0; round < 3000; ++round) {
        zarn_bezier_path path;
        for (int i = 0; i < 3; ++i) path.push_knot({coordinate(), coordinate()}, 1, 4);
        for (unsigned int i = 0; i < path.get_knot_count(); ++i) {
            path.modify_knot_tangent(i, random.below(2), {coordinate(), coordinate()});
        }
        const double scales[] = {1.0, 0.0, -2.0, 1e300, infinity, not_a_number, 1e-300};
        path.build_vertex_list(scales[random.below(7)]);
        EXPECT_LE(path.get_vertex_count(), 60000u * 2) << round;
        if (path.get_knot_count() > 1) {
            EXPECT_GE(path.get_vertex_count(), 2u);
        }
        unsigned int segment;
        path.is_collision({coordinate(), coordinate()}, coordinate(), segment);
        path.rotate(coordinate());
        path.scale(coordinate(), coordinate());
        path.translate({coordinate(), coordinate()});
        path.create_ellipse({coordinate(), coordinate()}, coordinate(), coordinate());
        path.create_rect({coordinate(), coordinate()}, coordinate(), coordinate(), coordinate());
        path.build_vertex_list(1.0);
        EXPECT_LE(path.get_vertex_count(), 60000u * 8);
    }
}

TEST(bezier_path, lists_that_cannot_grow_leave_a_sound_path) {
    struct operation {
        const char* name;
        std::function<void(zarn_bezier_path&)> run;
        bool keeps_knots; // when it fails
    };
    zarn_bezier_path other = path_of({A, B, C, D, E, A});
    other.build_vertex_list(1.0);
    unsigned int found;
    const operation operations[] = {
        {"push_knot", [](auto& path) { path.push_knot(A, 1, 0); }, true},
        {"insert_knot", [](auto& path) { path.insert_knot(1, E, 1, 0); }, true},
        {"build_vertex_list", [](auto& path) { path.build_vertex_list(9.0); }, true},
        {"build_linear_vertex_list", [](auto& path) { path.build_linear_vertex_list(); }, true},
        {"flip_horizontal", [](auto& path) { path.flip_horizontal(); }, true},
        {"copy", [&](auto& path) { path = other; }, false},
        {"create_polygon", [](auto& path) { path.create_polygon(A, 5, 3.0f, 0.0f); }, false},
        {"create_ellipse", [](auto& path) { path.create_ellipse(A, 5, 3); }, false},
        {"create_rect", [](auto& path) { path.create_rect(A, 5, 3, 1); }, false},
        {"is_collision", [&](auto& path) { path.is_collision(A, 3, found); }, true},
    };
    const points before = {A, B, C, D};
    for (const operation& one : operations) {
        bool happened = true;
        for (std::int64_t n = 1; happened; ++n) {
            ASSERT_LT(n, 100);
            SCOPED_TRACE(text(one.name, n));
            const std::int64_t live = live_allocations();
            {
                zarn_bezier_path path = path_of(before);
                {
                    allocation_failure failure(n, true, true);
                    one.run(path);
                    happened = failure.happened();
                }
                if (happened && one.keeps_knots) {
                    EXPECT_EQ(positions_of(path), before);
                    EXPECT_EQ(path.is_closed() + path.get_vertex_count(), 0u);
                } else if (happened) { // all knots or none, and no vertices
                    EXPECT_EQ(path.is_closed(), path.get_knot_count() ? 1u : 0u);
                    EXPECT_EQ(path.get_vertex_count(), 0u);
                }
            }
            EXPECT_EQ(live_allocations(), live);
        }
    }
}

} // namespace zarn_test
