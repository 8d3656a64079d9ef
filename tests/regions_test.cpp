// Regions and distances of single-channel images against their plain forms, point for point and bit for bit.

#include <cstring>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "channel/distance_transform.h"
#include "channel/subset_list.h"
#include "kernels/vector/dead_reckoning.h"
#include "tests/reference/reference_regions.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"
#include "tests/support/instruction_sets.h"

namespace zarn_test {

namespace {

struct mask_picture {
    std::string name;
    std::uint32_t width, height;
    std::vector<std::uint8_t> values; // rows from the top

    std::uint8_t& at(std::uint32_t x, std::uint32_t y) { return values[y * width + x]; }
};

mask_picture blank(std::string name, std::uint32_t width, std::uint32_t height, std::uint8_t value = 0) {
    return {std::move(name), width, height, std::vector<std::uint8_t>(std::size_t{width} * height, value)};
}

mask_picture noise(std::uint32_t width, std::uint32_t height, std::uint32_t set_of_100, std::uint32_t seed) {
    mask_picture m = blank(text("noise", width, height, set_of_100), width, height);
    random_numbers random(seed);
    for (std::uint8_t& v : m.values) v = random.below(100) < set_of_100 ? 1 : 0;
    return m;
}

// Overlapping discs of a few labels.
mask_picture labels(std::uint32_t width, std::uint32_t height, std::uint32_t discs, std::uint32_t seed) {
    mask_picture m = blank(text("labels", width, height, discs), width, height);
    random_numbers random(seed);
    for (std::uint32_t i = 0; i < discs; ++i) {
        const auto cx = static_cast<int>(random.below(width)), cy = static_cast<int>(random.below(height));
        const auto r = static_cast<int>(1 + random.below(40));
        const auto label = static_cast<std::uint8_t>(random.below(4));
        for (std::uint32_t y = 0; y < height; ++y) {
            for (std::uint32_t x = 0; x < width; ++x) {
                const int dx = static_cast<int>(x) - cx, dy = static_cast<int>(y) - cy;
                if (dx * dx + dy * dy <= r * r) m.at(x, y) = label;
            }
        }
    }
    return m;
}

mask_picture checkerboard(std::uint32_t width, std::uint32_t height, std::uint32_t square) {
    mask_picture m = blank(text("checkerboard", width, height, square), width, height);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) m.at(x, y) = (x / square + y / square) % 2 ? 200 : 0;
    }
    return m;
}

// A line one pixel wide that winds inwards, two pixels apart.
mask_picture spiral(std::uint32_t side) {
    mask_picture m = blank(text("spiral", side), side, side);
    std::uint32_t x = 0, y = 0;
    int dx = 1, dy = 0;
    std::uint32_t length = side - 1;
    m.at(0, 0) = 9;
    for (unsigned turn = 0; length > 0 && length < side; ++turn) {
        for (std::uint32_t i = 0; i < length; ++i) m.at(x += dx, y += dy) = 9;
        const int old = dx;
        dx = -dy;
        dy = old;
        if (turn && turn % 2 == 0) length -= length > 1 ? 2 : length;
    }
    return m;
}

// Pixels at the edge make border pixels that stand alone. Pairs of them are equally far from places between them,
// diagonally, where only the rounding of the ways decides.
mask_picture points_at_the_edge() {
    mask_picture m = blank("points at the edge", 1200, 90);
    std::uint32_t x = 5;
    for (std::uint32_t apart = 2; x < m.width; apart += 2) {
        m.at(x, 0) = m.at(m.width - 1 - x, m.height - 1) = 1;
        x += apart;
    }
    return m;
}

// A point in a few hundred pixels.
mask_picture sparse(std::uint32_t seed) {
    mask_picture m = blank(text("sparse", seed), 70, 50);
    random_numbers random(seed);
    for (std::uint32_t i = 0; i < 4 + seed % 9; ++i) m.at(random.below(70), random.below(50)) = 1;
    return m;
}

std::vector<mask_picture> pictures() {
    std::vector<mask_picture> all;
    for (std::uint32_t side = 1; side <= 12; ++side) {
        all.push_back(blank(text("solid", side), side, side, 255));
        all.push_back(noise(side, 13 - side, 50, side));
        mask_picture one = blank(text("one pixel", side), side, 12);
        one.at(side / 2, side / 3) = 255;
        all.push_back(one);
    }
    for (const std::uint32_t share : {1u, 10u, 50u, 60u, 99u}) {
        all.push_back(noise(139, 60, share, share));
        all.push_back(noise(64 + share, 1, share, share));
        all.push_back(noise(1, 64 + share, share, share));
    }
    all.push_back(noise(1030, 40, 55, 1)); // wide enough for rows of whole cache lines
    all.push_back(labels(300, 200, 30, 2));
    all.push_back(labels(131, 260, 8, 3)); // far pixels
    all.push_back(labels(1101, 90, 12, 4));
    all.push_back(checkerboard(75, 50, 1)); // all border
    all.push_back(checkerboard(75, 50, 3));
    all.push_back(checkerboard(270, 140, 32));
    all.push_back(points_at_the_edge());
    for (std::uint32_t seed = 1; seed <= 60; ++seed) all.push_back(sparse(seed));
    all.push_back(spiral(61));
    all.push_back(spiral(24));
    all.push_back(blank("empty", 40, 30));
    all.push_back(blank("nothing", 0, 0));
    return all;
}

class subset_owner {
public:
    ~subset_owner() { zarn::clear_subsets(list); }
    zarn_list<zarn_subset_s*> list;
};

template <class Sample>
zarn::subset_result build(const std::vector<Sample>& samples, std::uint32_t width, std::uint32_t height,
                          bool lower_left, std::uint32_t background, zarn_list<zarn_subset_s*>& list) {
    zarn::region_mask mask;
    EXPECT_TRUE(mask.allocate(width, height));
    mask.fill(samples.data(), lower_left, background);
    return zarn::build_subsets(mask, list);
}

// A full list has its exact length, a partial one may have spare room.
void expect_same(const zarn_list<zarn_subset_s*>& list, const std::vector<reference_subset>& expected) {
    ASSERT_EQ(list.count, expected.size());
    EXPECT_EQ(list.size, list.count);
    for (unsigned i = 0; i < list.count; ++i) {
        const zarn_subset_s& subset = *list.data[i];
        const reference_subset& other = expected[i];
        EXPECT_EQ(subset.min_x, other.min_x);
        EXPECT_EQ(subset.max_x, other.max_x);
        EXPECT_EQ(subset.min_y, other.min_y);
        EXPECT_EQ(subset.max_y, other.max_y);
        ASSERT_EQ(subset.points->count, other.points.size());
        ASSERT_EQ(subset.points->size, other.points.size());
        for (unsigned p = 0; p < subset.points->count; ++p) {
            ASSERT_TRUE(subset.points->data[p] == other.points[p]) << "point " << p << " of subset " << i;
        }
    }
}

template <class Sample>
std::vector<Sample> flipped(const std::vector<Sample>& rows, std::uint32_t width) {
    std::vector<Sample> result;
    for (std::size_t at = rows.size(); at > 0; at -= width) {
        result.insert(result.end(), rows.begin() + static_cast<std::ptrdiff_t>(at - width),
                      rows.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return result;
}

} // namespace

TEST(regions, subsets) {
    for (const mask_picture& picture : pictures()) {
        SCOPED_TRACE(picture.name);
        const std::vector<reference_subset> expected = reference_subsets(picture.values, picture.width, picture.height);
        subset_owner top, bottom;
        ASSERT_EQ(build(picture.values, picture.width, picture.height, false, 0, top.list), zarn::subset_result::done);
        expect_same(top.list, expected);
        ASSERT_EQ(build(flipped(picture.values, picture.width), picture.width, picture.height, true, 0, bottom.list),
                  zarn::subset_result::done);
        expect_same(bottom.list, expected);
    }
}

TEST(regions, background_is_compared_at_the_samples_depth) {
    const auto count = [](const auto& samples, std::uint32_t background) {
        subset_owner owner;
        EXPECT_EQ(build(samples, 5, 1, false, background, owner.list), zarn::subset_result::done);
        return owner.list.count;
    };
    EXPECT_EQ(count(std::vector<std::uint8_t>{0, 7, 0, 255, 0}, 256), 2u);
    EXPECT_EQ(count(std::vector<std::uint16_t>{0, 256, 0, 65280, 0}, 65536), 2u);
    EXPECT_EQ(count(std::vector<std::uint32_t>{0, 65536, 0, 0x80000000u, 0}, 65536), 2u);
}

TEST(regions, rows_of_subsets_count_as_the_origin_is_turned) {
    for (const auto& [origin, y] : {std::pair(lower_left, 0u), std::pair(upper_left, 1u), std::pair(77u, 0u)}) {
        std::uint8_t samples[] = {0, 0, 0, 9};
        zarn_owned<zarn_image_channel> image;
        ASSERT_EQ(image->create(2, 2, origin, 0, samples, 1), 1u);
        ASSERT_EQ(image->calculate_subset_list(0), 1u);
        ASSERT_EQ(image->get_subset_list()->get_count(), 1u);
        const zarn_subset_s& subset = *image->get_subset_list()->data[0];
        EXPECT_EQ(text(subset.points->data[0].x, subset.points->data[0].y), text(1, y)) << origin;
    }
}

TEST(regions, copies_of_a_subset_share_the_points) {
    subset_owner owner;
    ASSERT_EQ(build(std::vector<std::uint8_t>{0, 3, 0}, 3, 1, false, 0, owner.list), zarn::subset_result::done);
    zarn_subset_s copy = *owner.list.data[0];
    EXPECT_EQ(copy.points, owner.list.data[0]->points);
    copy.free();
    owner.list.data[0]->points = nullptr;
    EXPECT_EQ(copy.points, nullptr);
    EXPECT_EQ(copy.min_x & copy.min_y, 0xFFFFFFFFu);
}

// Whatever allocation fails, what was built before stands, the failure is told, and nothing is lost.
TEST(regions, subsets_without_memory) {
    const mask_picture picture = noise(30, 20, 30, 6);
    const std::vector<reference_subset> expected = reference_subsets(picture.values, picture.width, picture.height);
    ASSERT_GT(expected.size(), 8u);
    const std::int64_t live = live_allocations();
    bool finished = false;
    unsigned whole = 0, seen[3] = {};
    for (std::int64_t n = 1; !finished; ++n) {
        subset_owner owner;
        zarn::region_mask mask;
        ASSERT_TRUE(mask.allocate(picture.width, picture.height));
        mask.fill(picture.values.data(), false, 0);
        zarn::subset_result result;
        {
            const allocation_failure failure(n);
            result = zarn::build_subsets(mask, owner.list);
            finished = !failure.happened();
        }
        ++seen[static_cast<int>(result)];
        if (result == zarn::subset_result::done) { // or only the trimming failed
            ASSERT_EQ(owner.list.count, expected.size());
            continue;
        }
        // The entries before the last are whole; the last is null, without points, or whole if the list cannot grow.
        ASSERT_LE(owner.list.count, expected.size());
        ASSERT_GE(owner.list.count, whole);
        whole = owner.list.count ? owner.list.count - 1 : 0;
        for (unsigned i = 0; i < whole; ++i) ASSERT_EQ(owner.list.data[i]->points->count, expected[i].points.size());
        if (!owner.list.count) continue;
        const zarn_subset_s* const last = owner.list.data[whole];
        if (result == zarn::subset_result::no_points) {
            ASSERT_NE(last, nullptr);
            EXPECT_TRUE(!last->points || last->points->count == 0);
            EXPECT_EQ(last->min_x, 0xFFFFFFFFu);
        } else if (last) {
            EXPECT_EQ(last->points->count, expected[whole].points.size());
        }
    }
    for (const unsigned times : seen) EXPECT_GT(times, 0u);
    EXPECT_EQ(live_allocations(), live);
}

namespace {

template <class Sample>
void check_normalize() {
    constexpr std::uint32_t full = std::numeric_limits<Sample>::max();
    constexpr std::uint32_t width = 70, height = 40;
    for (unsigned turn = 0; turn < 8; ++turn) {
        constexpr std::uint32_t all_levels[] = {1, 2, 5, 0xFFFFFFFF};
        const std::uint32_t levels = all_levels[turn / 2];
        const bool lower_left = turn % 2;
        SCOPED_TRACE(text(full, levels, lower_left));
        random_numbers random(levels);
        const std::uint32_t lift = random();
        std::vector<std::uint32_t> expected; // the rows from the top
        for (std::uint32_t i = 0; i < width * height; ++i)
            expected.push_back(random.below(100) < 35 ? 0 : (lift + random.below(levels)) & full);
        const std::vector<std::uint8_t> mask = [&] {
            std::vector<std::uint8_t> set;
            for (const std::uint32_t v : expected) set.push_back(v != 0);
            return set;
        }();
        const std::vector<Sample> rows(expected.begin(), expected.end());
        std::vector<Sample> samples = lower_left ? flipped(rows, width) : rows;
        subset_owner owner;
        ASSERT_EQ(build(samples, width, height, lower_left, 0, owner.list), zarn::subset_result::done);
        // Cropped since: points outside are left alone.
        const std::uint32_t new_height = lower_left ? height : height - 3;
        for (const reference_subset& subset : reference_subsets(mask, width, height))
            reference_normalize(subset, expected, width, new_height, full);
        zarn::normalize_subsets(owner.list, samples.data(), width, new_height, lower_left);
        const std::vector<Sample> after = lower_left ? flipped(samples, width) : samples;
        for (std::uint32_t i = 0; i < expected.size(); ++i) ASSERT_EQ(after[i], expected[i]) << i;
    }
}

} // namespace

TEST(regions, normalize_subsets) {
    check_normalize<std::uint8_t>();
    check_normalize<std::uint16_t>();
    check_normalize<std::uint32_t>();
}

TEST(distances, transform) {
    const std::int64_t targets = hwy::SupportedTargets();
    for (const mask_picture& picture : pictures()) {
        const auto width = static_cast<std::int32_t>(picture.width), height = static_cast<std::int32_t>(picture.height);
        const std::vector<double> expected = reference_distances(picture.values, width, height);
        for (std::int64_t left = targets | HWY_SCALAR; left; left &= left - 1) {
            const std::int64_t target = left & -left;
            SCOPED_TRACE(text(picture.name, hwy::TargetName(target)));
            zarn::distance_transform_dr7 transform(width, height);
            use_targets(target);
            transform.compute(picture.values.data());
            use_targets(0);
            ASSERT_NE(transform.real_distances(), nullptr);
            EXPECT_EQ(transform.integer_distances(), nullptr);
            for (std::size_t i = 0; i < expected.size(); ++i) {
                ASSERT_EQ(std::memcmp(&transform.real_distances()[i], &expected[i], sizeof(double)), 0)
                    << "column " << i % picture.width << ", row " << i / picture.width;
            }
            std::int32_t x = 7, y = 7;
            EXPECT_EQ(transform.get_nearest_border_point(0, 0, x, y), 0u); // kept while computing only
        }
    }
}

// The nearest border pixels decide later distances, yet rarely enough: here they are compared themselves, row by row
// of a forward pass.
TEST(distances, touching_neighbours_asked_in_vectors) {
    for (mask_picture& picture : std::vector<mask_picture>{points_at_the_edge(), labels(300, 120, 30, 7)}) {
        const auto width = static_cast<std::int32_t>(picture.width), height = static_cast<std::int32_t>(picture.height);
        constexpr double unreached = zarn::distance_transform_dr7::unreached;
        std::vector<double> distances(picture.values.size(), unreached), far(picture.width);
        std::vector<zarn::border_point> nearest(picture.values.size(), {-1, -1});
        const auto differ = [&](std::int32_t a, std::int32_t b) { return picture.values[a] != picture.values[b]; };
        for (std::int32_t y = 1; y < height - 1; ++y) {
            for (std::int32_t x = 1; x < width - 1; ++x) {
                const std::int32_t at = y * width + x;
                if (!differ(at, at - 1) && !differ(at, at + 1) && !differ(at, at - width) && !differ(at, at + width)) {
                    continue;
                }
                distances[at] = 0.0;
                nearest[at] = {x, y};
            }
        }
        for (std::int32_t y = 3; y < height - 3; ++y) {
            const std::int32_t from = y * width + 3, count = width - 6;
            const zarn::reckoning_row row{&distances[from], &nearest[from], -width, 3, y};
            const std::vector<double> distances_before = distances;
            const std::vector<zarn::border_point> nearest_before = nearest;
            for (std::int32_t i = 0; i < count; ++i) {
                for (const zarn::neighbour& n : zarn::touching_neighbours) {
                    zarn::ask_neighbour(row, i, n.columns - width, n.step, row.distances[i]);
                }
            }
            for (std::int64_t left = hwy::SupportedTargets() | HWY_SCALAR; left; left &= left - 1) {
                std::vector<double> d = distances_before;
                std::vector<zarn::border_point> p = nearest_before;
                use_targets(left & -left);
                zarn::vector::ask_touching({&d[from], &p[from], -width, 3, y}, count, far.data());
                use_targets(0);
                for (std::int32_t at = from; at < from + count; ++at) {
                    ASSERT_EQ(d[at], distances[at]) << picture.name << ", " << at % width << ", row " << y;
                    ASSERT_EQ(p[at].x, nearest[at].x) << picture.name << ", " << at % width << ", row " << y;
                    ASSERT_EQ(p[at].y, nearest[at].y) << picture.name << ", " << at % width << ", row " << y;
                }
            }
            for (std::int32_t i = 0; i < count; ++i) { // some of the other neighbours, to go on
                zarn::ask_neighbour(row, i, -1, zarn::step_1_0, row.distances[i]);
                for (const std::int32_t side : {-1, 1}) {
                    zarn::ask_neighbour(row, i, side - 2 * width, zarn::step_2_1, row.distances[i]);
                    zarn::ask_neighbour(row, i, 2 * side - width, zarn::step_2_1, row.distances[i]);
                }
            }
        }
    }
}

namespace {

template <class Sample>
void check_stretch(const mask_picture& picture) {
    SCOPED_TRACE(picture.name);
    constexpr std::uint32_t full = std::numeric_limits<Sample>::max();
    const std::vector<double> distances = reference_distances(picture.values, static_cast<std::int32_t>(picture.width),
                                                              static_cast<std::int32_t>(picture.height));
    random_numbers random(9);
    std::vector<std::uint32_t> expected;
    for (std::size_t i = 0; i < distances.size(); ++i) expected.push_back(random.below(3) ? random() & full : 0);
    std::vector<Sample> samples(expected.begin(), expected.end());
    reference_stretch(distances, expected, full);
    const std::vector<Sample> before = samples;
    for (std::int64_t left = hwy::SupportedTargets() | HWY_SCALAR; left; left &= left - 1) {
        samples = before;
        use_targets(left & -left);
        const double largest = zarn::largest_distance(distances.data(), distances.size());
        zarn::write_distances(distances.data(), distances.size(), largest, samples.data());
        use_targets(0);
        for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], expected[i]) << i;
    }
}

// Gives integers, each pixel its index minus 2, with the markers of unreached pixels at the ends.
class integer_transform : public zarn::distance_transform_base {
public:
    using distance_transform_base::distance_transform_base;
    void compute(const std::uint8_t* mask) noexcept override {
        release_results();
        auto* const distances = static_cast<std::int32_t*>(std::malloc(pixels() * sizeof(std::int32_t)));
        for (std::uint64_t i = 0; i < pixels(); ++i) distances[i] = static_cast<std::int32_t>(i) - 2;
        distances[0] = unreached_integer;
        distances[1] = unreached_integer - 1;
        finish_integer(mask, distances, 4.0);
    }
};

} // namespace

TEST(distances, stretch) {
    for (const mask_picture& picture : pictures()) { // among them some without borders or with nothing else
        check_stretch<std::uint8_t>(picture);
        check_stretch<std::uint16_t>(picture);
        check_stretch<std::uint32_t>(picture);
    }
}

TEST(distances, integer_results) {
    const std::uint8_t mask[6] = {1, 0, 1, 1, 0, 0};
    integer_transform plain(3, 2, 0), real(3, 2, 1);
    plain.compute(mask);
    for (int run = 0; run < 2; ++run) real.compute(mask);
    EXPECT_TRUE(plain.integer_distances() && !plain.real_distances());
    EXPECT_TRUE(real.real_distances() && !real.integer_distances());
    const std::int32_t integers[6] = {1073741823, -1073741822, 0, 1, -2, -3};
    const double reals[6] = {1073741823.0, -268435455.5, 0.0, 0.25, -0.5, -0.75};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(plain.integer_distances()[i], integers[i]);
        EXPECT_EQ(real.real_distances()[i], reals[i]);
    }
    std::int32_t x = 7, y = 7;
    EXPECT_EQ(real.get_nearest_border_point(0, 0, x, y), 0u);
    EXPECT_TRUE(x == -1 && y == -1);
}

TEST(distances, more_pixels_than_can_be_counted_give_no_result) {
    const std::uint8_t nothing = 0;
    zarn::distance_transform_dr7 transform(65536, 32768);
    transform.compute(&nothing);
    EXPECT_EQ(transform.real_distances(), nullptr);
}

} // namespace zarn_test
