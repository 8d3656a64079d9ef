// Distances of an image's pixels to the nearest place where its value changes.
#pragma once

#include <cstdint>

#include "kernels/dead_reckoning.h"

namespace zarn {

// The frame of a transform: row table, results, the sign of the results. Buffers come from malloc. A transform that
// memory is short for leaves no result. Pixels are counted in signed 32 bits: for an image with more of them no
// transform gives a result either.
class distance_transform_base {
public:
    // Integers at or beyond this, either sign, mark pixels that nothing reached.
    static constexpr std::int32_t unreached_integer = 1073741823;

    // With `real_output` finish_integer gives real distances too.
    distance_transform_base(std::int32_t width, std::int32_t height, std::uint32_t real_output) noexcept;
    distance_transform_base(const distance_transform_base&) = delete;
    distance_transform_base& operator=(const distance_transform_base&) = delete;

    // Called before `compute` allocates anything.
    virtual void prepare(const std::uint8_t* mask) noexcept;

    // Negates the distances where the mask is 0 and adopts them as the integer result or, with `real_output`, converts
    // and adopts them as the real one: divided by `scale`, unreached ones as they are. Takes ownership of `distances`.
    virtual void finish_integer(const std::uint8_t* mask, std::int32_t* distances, double scale) noexcept;

    // Negates the distances where the mask is 0 and adopts them as the real result. Takes ownership of `distances`.
    virtual void finish_real(const std::uint8_t* mask, double* distances) noexcept;

    virtual ~distance_transform_base();

    // Transforms a mask of width x height bytes, top row first. Replaces the results; without memory there are none.
    virtual void compute(const std::uint8_t* mask) noexcept = 0;

    virtual void release_results() noexcept;

    // 0, and -1 for both coordinates, where a transform keeps no such points.
    virtual std::uint32_t get_nearest_border_point(std::int32_t x, std::int32_t y, std::int32_t& border_x,
                                                   std::int32_t& border_y) const noexcept;

    // Width x height each, null where there is none; they belong to the transform.
    double* real_distances() noexcept { return ___real_distances; }
    std::int32_t* integer_distances() noexcept { return ___integer_distances; }

    std::uint64_t pixels() const noexcept { return static_cast<std::uint64_t>(___width) * ___height; }

protected:
    std::int32_t* ___rows; // the index of each row's first pixel; null without memory
    std::uint32_t ___real_output;
    std::int32_t ___width;
    std::int32_t ___height;
    double* ___real_distances;
    std::int32_t* ___integer_distances;
    border_point* ___nearest; // the nearest border pixel of each found so far; only while `compute` runs
};

// Transforms by dead reckoning: each pixel knows the border pixel nearest to it so far, neighbours hand these on in two
// passes, and the distance is always computed from the border pixel itself.
class distance_transform_dr_base : public distance_transform_base {
public:
    using distance_transform_base::distance_transform_base;
};

// Neighbours are those of a 7 x 7 square. Border pixels are those with an edge neighbour of another value, on both
// sides of the change, the image's outermost pixels excepted. A margin of three pixels is not passed over: its pixels
// keep 0 where they are border and `unreached` otherwise, as does every pixel that no border reaches.
class distance_transform_dr7 : public distance_transform_dr_base {
public:
    static constexpr double unreached = 0x1.fffffep+126; // half the largest float

    distance_transform_dr7(std::int32_t width, std::int32_t height) noexcept
        : distance_transform_dr_base(width, height, 1) {}

    void compute(const std::uint8_t* mask) noexcept override;
    std::uint32_t get_nearest_border_point(std::int32_t x, std::int32_t y, std::int32_t& border_x,
                                           std::int32_t& border_y) const noexcept override;

private:
    void seed_row(const std::uint8_t* mask, std::int32_t y, double* distances) noexcept;
    template <bool forward>
    void pass_row(std::int32_t y, double* distances) noexcept;
};

// The largest magnitude of a transform's distances; where nothing was reached the distance counts as 0.
double largest_distance(const double* distances, std::uint64_t count) noexcept;

// Replaces every sample that is not 0 by its distance, scaled so that `largest`, the largest of all of them, becomes
// full scale. Distances and samples in the same order.
template <class Sample>
void write_distances(const double* distances, std::uint64_t count, double largest, Sample* samples) noexcept;

extern template void write_distances(const double*, std::uint64_t, double, std::uint8_t*) noexcept;
extern template void write_distances(const double*, std::uint64_t, double, std::uint16_t*) noexcept;
extern template void write_distances(const double*, std::uint64_t, double, std::uint32_t*) noexcept;

} // namespace zarn
