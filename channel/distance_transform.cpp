#include "channel/distance_transform.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "core/platform/memory.h"
#include "kernels/vector/dead_reckoning.h"
#include "kernels/vector/distance_results.h"

namespace zarn {

namespace {

// Bytes from which page faults count.
constexpr std::uint64_t large_block = 4u << 20;

template <class T>
T* allocate_plain(std::uint64_t count) noexcept {
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) return nullptr;
    const auto bytes = static_cast<std::size_t>(count) * sizeof(T);
    void* const block = std::malloc(bytes ? bytes : 1);
    if (block && bytes >= large_block) advise_large_pages(block, bytes);
    return static_cast<T*>(block);
}

template <class T>
void release(T*& block) noexcept {
    std::free(block);
    block = nullptr;
}

} // namespace

distance_transform_base::distance_transform_base(std::int32_t width, std::int32_t height,
                                                 std::uint32_t real_output) noexcept
    : ___rows(nullptr)
    , ___real_output(real_output)
    , ___width(std::max(width, 0))
    , ___height(std::max(height, 0))
    , ___real_distances(nullptr)
    , ___integer_distances(nullptr)
    , ___nearest(nullptr) {
    if (pixels() > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())) return;
    ___rows = allocate_plain<std::int32_t>(static_cast<std::uint64_t>(___height));
    if (!___rows) return;
    for (std::int32_t y = 0; y < ___height; ++y) ___rows[y] = y * ___width;
}

distance_transform_base::~distance_transform_base() {
    release(___integer_distances);
    release(___real_distances);
    release(___rows);
}

void distance_transform_base::prepare(const std::uint8_t*) noexcept {}

void distance_transform_base::release_results() noexcept {
    release(___integer_distances);
    release(___real_distances);
}

void distance_transform_base::finish_integer(const std::uint8_t* mask, std::int32_t* distances, double scale) noexcept {
    const std::uint64_t count = pixels();
    for (std::uint64_t i = 0; i < count; ++i) {
        if (!mask[i]) distances[i] = -distances[i];
    }
    if (!___real_output) {
        if (___integer_distances != distances) release(___integer_distances);
        ___integer_distances = distances;
        return;
    }
    auto* const real = allocate_plain<double>(count);
    for (std::uint64_t i = 0; real && i < count; ++i) {
        const std::int32_t distance = distances[i];
        const bool reached = distance > -unreached_integer && distance < unreached_integer;
        real[i] = reached ? distance / scale : distance;
    }
    if (___integer_distances != distances) release(___integer_distances);
    ___integer_distances = nullptr;
    std::free(distances);
    release(___real_distances);
    ___real_distances = real;
}

void distance_transform_base::finish_real(const std::uint8_t* mask, double* distances) noexcept {
    for (std::int32_t y = 0; y < ___height; ++y) {
        const std::uint8_t* const inside = mask + ___rows[y];
        double* const row = distances + ___rows[y];
        for (std::int32_t x = 0; x < ___width; ++x) row[x] = inside[x] ? row[x] : -row[x]; // without branches
    }
    if (___real_distances != distances) release(___real_distances);
    ___real_distances = distances;
}

std::uint32_t distance_transform_base::get_nearest_border_point(std::int32_t, std::int32_t, std::int32_t& border_x,
                                                                std::int32_t& border_y) const noexcept {
    border_x = border_y = -1;
    return 0;
}

std::uint32_t distance_transform_dr7::get_nearest_border_point(std::int32_t x, std::int32_t y, std::int32_t& border_x,
                                                               std::int32_t& border_y) const noexcept {
    if (!___nearest) return 0;
    const border_point& point = ___nearest[___rows[y] + x];
    border_x = point.x;
    border_y = point.y;
    return 1;
}

namespace {

// The neighbours that do not touch, in the order in which a pixel asks them.
constexpr neighbour forward_far[] = {
    {-1, 2, step_2_1}, {1, 2, step_2_1}, {-2, 1, step_2_1}, {2, 1, step_2_1}, {-1, 3, step_3_1}, {1, 3, step_3_1},
    {-3, 1, step_3_1}, {3, 1, step_3_1}, {-2, 3, step_3_2}, {2, 3, step_3_2}, {-3, 2, step_3_2}, {3, 2, step_3_2},
};
constexpr neighbour backward_far[] = {
    {-2, 1, step_2_1}, {2, 1, step_2_1}, {-1, 2, step_2_1}, {1, 2, step_2_1}, {-1, 3, step_3_1}, {1, 3, step_3_1},
    {-3, 1, step_3_1}, {3, 1, step_3_1}, {-2, 3, step_3_2}, {2, 3, step_3_2}, {-3, 2, step_3_2}, {3, 2, step_3_2},
};

} // namespace

// The rows beside a row do not change while it is passed over. So what each of its pixels could at best get from them
// is known beforehand, in vectors, and most pixels need not ask: where the best is no improvement, nobody's offer is.
// The neighbours that touch come first in the forward pass, so they are asked in vectors altogether; in the backward
// pass the neighbour in the row itself goes ahead of them.
template <bool forward>
void distance_transform_dr7::pass_row(std::int32_t y, double* distances) noexcept {
    constexpr std::int32_t block = 128;
    double least[block], far[block];
    const std::ptrdiff_t done = forward ? -static_cast<std::ptrdiff_t>(___width) : ___width;
    std::ptrdiff_t far_offsets[12];
    for (int n = 0; n < 12; ++n) {
        const neighbour& one = forward ? forward_far[n] : backward_far[n];
        far_offsets[n] = one.rows * done + one.columns;
    }
    const std::int32_t first = 3, last = ___width - 4;
    for (std::int32_t left = last - first + 1; left > 0; left -= block) {
        const std::int32_t length = std::min(block, left);
        reckoning_row row;
        row.x = forward ? last - left + 1 : first + left - length;
        row.y = y;
        row.distances = distances + ___rows[y] + row.x;
        row.nearest = ___nearest + ___rows[y] + row.x;
        row.done = done;
        if constexpr (forward) {
            vector::ask_touching(row, length, far);
        } else {
            vector::least_steps(row, length, least, far);
        }
        for (std::int32_t k = 0; k < length; ++k) {
            const std::int32_t i = forward ? k : length - 1 - k;
            double distance = row.distances[i];
            ask_neighbour(row, i, forward ? -1 : 1, step_1_0, distance);
            if ((forward ? far : least)[i] < distance) {
                if (!forward) {
                    for (const neighbour& n : touching_neighbours) {
                        ask_neighbour(row, i, done + n.columns, n.step, distance);
                    }
                }
                if (far[i] < distance) {
                    for (int n = 0; n < 12; ++n) {
                        ask_neighbour(row, i, far_offsets[n], (forward ? forward_far : backward_far)[n].step, distance);
                    }
                }
            }
            row.distances[i] = distance;
        }
    }
}

void distance_transform_dr7::seed_row(const std::uint8_t* mask, std::int32_t y, double* distances) noexcept {
    const std::int32_t width = ___width;
    double* const row = distances + ___rows[y];
    border_point* const points = ___nearest + ___rows[y];
    std::fill_n(row, width, unreached);
    std::memset(points, 0xFF, sizeof(border_point) * static_cast<std::size_t>(width)); // (-1, -1)
    if (y < 1 || y > ___height - 2) return;

    const std::uint8_t* const values = mask + ___rows[y];
    // Not 0 in the bytes of pixels that differ from an edge neighbour.
    const auto differ = [&](std::int32_t x, auto bytes) {
        using word = decltype(bytes);
        const auto load = [](const std::uint8_t* from) {
            word value;
            std::memcpy(&value, from, sizeof(word));
            return value;
        };
        const word own = load(values + x);
        return static_cast<word>((load(values + x - 1) ^ own) | (load(values + x + 1) ^ own) |
                                 (load(values + x - width) ^ own) | (load(values + x + width) ^ own));
    };
    const auto seed = [&](std::int32_t x, bool border) {
        row[x] = border ? 0.0 : unreached;
        points[x] = border ? border_point{x, y} : border_point{-1, -1};
    };
    // Eight at a time: borders are rare.
    std::int32_t x = 1;
    for (; x + 8 <= width - 1; x += 8) {
        const std::uint64_t word = differ(x, std::uint64_t{});
        if (!word) continue;
        std::uint8_t bytes[8];
        std::memcpy(bytes, &word, 8);
        for (std::int32_t k = 0; k < 8; ++k) seed(x + k, bytes[k] != 0);
    }
    for (; x < width - 1; ++x) seed(x, differ(x, std::uint8_t{}) != 0);
}

void distance_transform_dr7::compute(const std::uint8_t* mask) noexcept {
    prepare(mask);
    release_results();
    if (!___rows) return;
    auto* const distances = allocate_plain<double>(pixels());
    ___nearest = allocate_plain<border_point>(pixels());
    if (!distances || !___nearest) {
        std::free(distances);
        release(___nearest);
        return;
    }
    // The forward pass looks back only, so it follows the seeds row by row.
    for (std::int32_t y = 0; y < ___height; ++y) {
        seed_row(mask, y, distances);
        if (y >= 3 && y <= ___height - 4) pass_row<true>(y, distances);
    }
    for (std::int32_t y = ___height - 4; y >= 3; --y) pass_row<false>(y, distances);
    release(___nearest);
    finish_real(mask, distances);
}

double largest_distance(const double* distances, std::uint64_t count) noexcept {
    return vector::largest_distance(distances, count, distance_transform_base::unreached_integer);
}

template <class Sample>
void write_distances(const double* distances, std::uint64_t count, double largest, Sample* samples) noexcept {
    constexpr double limit = distance_transform_base::unreached_integer;
    constexpr auto full = static_cast<double>(std::numeric_limits<Sample>::max());
    if (!(largest > 0.0)) { // 0 / 0 has no integer, whose low bits are 0
        std::fill_n(samples, count, Sample{0});
        return;
    }
    if constexpr (sizeof(Sample) < 4) {
        constexpr std::uint32_t block = 256;
        std::int32_t scaled[block];
        for (std::uint64_t at = 0; at < count; at += block) {
            const auto length = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, count - at));
            vector::scale_distances(distances + at, length, limit, largest, full, scaled);
            for (std::uint32_t i = 0; i < length; ++i) {
                samples[at + i] = samples[at + i] ? static_cast<Sample>(scaled[i]) : Sample{0};
            }
        }
    } else {
        for (std::uint64_t i = 0; i < count; ++i) {
            const double magnitude = std::fabs(distances[i]);
            const double scaled = (magnitude < limit ? magnitude : 0.0) / largest * full;
            samples[i] = samples[i] ? static_cast<Sample>(static_cast<std::int64_t>(scaled)) : Sample{0};
        }
    }
}

template void write_distances(const double*, std::uint64_t, double, std::uint8_t*) noexcept;
template void write_distances(const double*, std::uint64_t, double, std::uint16_t*) noexcept;
template void write_distances(const double*, std::uint64_t, double, std::uint32_t*) noexcept;

} // namespace zarn
