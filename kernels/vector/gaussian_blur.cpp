#include "kernels/vector/gaussian_blur.h"

#include <algorithm>
#include <cstdint>

#include "kernels/vector/rgba_word.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/gaussian_blur.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// How the sums keep their bits: a weight is a 32-bit float between exp(-2) and 1, so weight * 2^26 is a whole number.
// It is split into two halves of 13 bits, high and low; products with samples and sums of up to 1001 taps fit 32 bits
// in each half (1001 * 255 * 2^13 < 2^31), and their combination is the exact sum. A quotient of sums S / W with W <
// 2^36 lies at least 2^-36 below the next whole number or on one; S * (1 / W) in double is off by less than 2^-44, so
// adding 2^-40 before truncation gives the whole part of the exact quotient.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool gaussian_horizontal(const gaussian_job&, row_range) { return false; }
bool gaussian_vertical(const gaussian_job&, row_range) { return false; }

#else

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::uint32_t n = 4;                                      // samples of a pixel
constexpr std::uint32_t block = 128;                                // pixels of a row worked on at a time
constexpr std::uint32_t group_pixels = HWY_LANES(std::uint8_t) / n; // pixels of one vector of bytes
constexpr std::uint32_t blocks_of_16 = HWY_LANES(std::uint8_t) / 16;
constexpr double truncation_bias = 1.0 / (1ull << 40);

const hn::ScalableTag<std::uint8_t> d8;
const hn::ScalableTag<std::int16_t> d16;
const hn::ScalableTag<std::int32_t> d32;
const hn::ScalableTag<std::uint32_t> du32;

// Pixels whose alpha is not 0.
template <class D>
HWY_INLINE hn::Mask<D> visible(D d, hn::Vec<D> pixels) {
    return hn::Ne(hn::And(pixels, hn::Set(d, rgba_word(0, 255))), hn::Zero(d));
}

// The taps of one output position: their weights from `first` on, and where the first one lies.
struct taps {
    const std::uint8_t* first_pixel;
    std::uint64_t step; // bytes from tap to tap
    std::uint32_t count;
    const fixed_weight* weights;
};

using V8 = hn::Vec<hn::ScalableTag<std::uint8_t>>;
using V32 = hn::Vec<hn::ScalableTag<std::int32_t>>;
using VU32 = hn::Vec<hn::ScalableTag<std::uint32_t>>;

// The sums of one vector of pixels. Interleaving leaves one pixel in each 16-byte block: vector g holds those pixels
// whose place in a block is g.
struct group_sums {
    V32 high[4];
    V32 low[4];
};

struct pair_sum {
    V32 even, odd;

    HWY_INLINE void add(hn::Vec<hn::ScalableTag<std::int16_t>> samples,
                        hn::Vec<hn::ScalableTag<std::int16_t>> weights) {
        even = hn::ReorderWidenMulAccumulate(d32, samples, weights, even, odd);
    }
    HWY_INLINE V32 total() const { return hn::RearrangeToOddPlusEven(even, odd); }
};

HWY_INLINE group_sums sum_group(const taps& t, std::uint64_t offset) {
    const pair_sum zero{hn::Zero(d32), hn::Zero(d32)};
    pair_sum h0 = zero, h1 = zero, h2 = zero, h3 = zero, l0 = zero, l1 = zero, l2 = zero, l3 = zero;
    const std::uint8_t* pixel = t.first_pixel + offset;
    const auto none = hn::Zero(d8);
    for (std::uint32_t tap = 0; tap < t.count; tap += 2, pixel += 2 * t.step) {
        const bool paired = tap + 1 < t.count;
        const auto a = hn::LoadU(d8, pixel);
        const auto b = paired ? hn::LoadU(d8, pixel + t.step) : none;
        const fixed_weight wa = t.weights[tap];
        const fixed_weight wb = paired ? t.weights[tap + 1] : fixed_weight{0, 0};
        const auto high = hn::BitCast(d16, hn::Set(d32, static_cast<std::int32_t>(wa.high | wb.high << 16)));
        const auto low = hn::BitCast(d16, hn::Set(d32, static_cast<std::int32_t>(wa.low | wb.low << 16)));
        const auto ab_lower = hn::InterleaveLower(d8, a, b);
        const auto ab_upper = hn::InterleaveUpper(d8, a, b);
        // Four vectors of pairs (sample of a, sample of b) in 16 bits, one pixel in each 16-byte block.
        const auto p0 = hn::BitCast(d16, hn::InterleaveLower(d8, ab_lower, none));
        const auto p1 = hn::BitCast(d16, hn::InterleaveUpper(d8, ab_lower, none));
        const auto p2 = hn::BitCast(d16, hn::InterleaveLower(d8, ab_upper, none));
        const auto p3 = hn::BitCast(d16, hn::InterleaveUpper(d8, ab_upper, none));
        h0.add(p0, high);
        h1.add(p1, high);
        h2.add(p2, high);
        h3.add(p3, high);
        l0.add(p0, low);
        l1.add(p1, low);
        l2.add(p2, low);
        l3.add(p3, low);
    }
    return {{h0.total(), h1.total(), h2.total(), h3.total()}, {l0.total(), l1.total(), l2.total(), l3.total()}};
}

const hn::ScalableTag<double> d64;
const hn::Half<hn::ScalableTag<std::int32_t>> d32_half;

HWY_INLINE hn::Vec<hn::ScalableTag<double>> combine(V32 high, V32 low, std::uint32_t half) {
    const auto part = [half](V32 v) {
        return hn::PromoteTo(d64, half ? hn::UpperHalf(d32_half, v) : hn::LowerHalf(d32_half, v));
    };
    return hn::Add(hn::Mul(part(high), hn::Set(d64, 8192.0)), part(low));
}

// What visible taps weigh together, for the pixels of a block.
struct visible_weights {
    HWY_ALIGN double inverse[block];    // 0 where there are none
    HWY_ALIGN std::uint32_t any[block]; // all bits where there are some, else 0
};

// For `count` pixels, at least a vector of them.
HWY_INLINE void weigh_visible(const taps& t, std::uint32_t count, visible_weights& out) {
    for (std::uint32_t group = 0; group < count; group += group_pixels) {
        const std::uint32_t i = std::min(group, count - group_pixels);
        auto high = hn::Zero(d32), low = hn::Zero(d32);
        const std::uint8_t* pixel = t.first_pixel + i * n;
        for (std::uint32_t tap = 0; tap < t.count; ++tap, pixel += t.step) {
            const auto mask =
                hn::RebindMask(d32, visible(du32, hn::LoadU(du32, reinterpret_cast<const std::uint32_t*>(pixel))));
            high =
                hn::Add(high, hn::IfThenElseZero(mask, hn::Set(d32, static_cast<std::int32_t>(t.weights[tap].high))));
            low = hn::Add(low, hn::IfThenElseZero(mask, hn::Set(d32, static_cast<std::int32_t>(t.weights[tap].low))));
        }
        hn::StoreU(hn::BitCast(du32, hn::VecFromMask(d32, hn::Gt(hn::Or(high, low), hn::Zero(d32)))), du32,
                   out.any + i);
        for (std::uint32_t half = 0; half < 2; ++half) {
            const auto sum = combine(high, low, half);
            const auto inverse = hn::IfThenElseZero(hn::Gt(sum, hn::Zero(d64)), hn::Div(hn::Set(d64, 1.0), sum));
            hn::StoreU(inverse, d64, out.inverse + i + half * hn::Lanes(d64));
        }
    }
}

// Divisors of a group's sums, in their order: three times the one of colour, then that of alpha, for every pixel.
struct group_inverses {
    HWY_ALIGN double values[HWY_LANES(std::uint8_t)];

    void set(std::uint32_t pixel, double colour, double alpha) {
        double* const at = values + ((pixel % 4) * blocks_of_16 + pixel / 4) * n;
        at[0] = at[1] = at[2] = colour;
        at[3] = alpha;
    }
    void set_all(double inverse) { std::fill_n(values, HWY_LANES(std::uint8_t), inverse); }
};

// The whole parts of a group's quotients as pixels.
HWY_INLINE VU32 divide_group(const group_sums& sums, const group_inverses& inverses) {
    V8 bytes = hn::Zero(d8);
    for (std::uint32_t g = 0; g < 4; ++g) {
        const double* inverse = inverses.values + g * hn::Lanes(d32);
        const auto quotient = [&](std::uint32_t half) {
            const auto sum = combine(sums.high[g], sums.low[g], half);
            const auto q = hn::Mul(sum, hn::Load(d64, inverse + half * hn::Lanes(d64)));
            return hn::DemoteTo(d32_half, hn::Add(q, hn::Set(d64, truncation_bias)));
        };
        const auto whole = hn::Combine(d32, quotient(1), quotient(0));
        // The low bytes of the four numbers of a block, to the place of pixel g in it.
        HWY_ALIGN static constexpr std::uint8_t to_place[4][16] = {
            {0, 4, 8, 12, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128},
            {128, 128, 128, 128, 0, 4, 8, 12, 128, 128, 128, 128, 128, 128, 128, 128},
            {128, 128, 128, 128, 128, 128, 128, 128, 0, 4, 8, 12, 128, 128, 128, 128},
            {128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 0, 4, 8, 12}};
        const auto places = hn::LoadDup128(d8, to_place[g]);
        bytes = hn::Or(bytes, hn::TableLookupBytesOr0(hn::BitCast(d8, whole), places));
    }
    return hn::BitCast(du32, bytes);
}

// Copies pixels with the invisible ones as 0; whether there were any.
HWY_INLINE bool copy_visible(const std::uint32_t* from, std::uint32_t count, std::uint32_t* to) {
    bool holes = false;
    std::uint32_t i = 0;
    for (; i + hn::Lanes(du32) <= count; i += hn::Lanes(du32)) {
        const auto pixels = hn::LoadU(du32, from + i);
        const auto mask = visible(du32, pixels);
        holes |= !hn::AllTrue(du32, mask);
        hn::StoreU(hn::IfThenElseZero(mask, pixels), du32, to + i);
    }
    for (; i < count; ++i) {
        const bool keeps = (from[i] & rgba_word(0, 255)) != 0;
        to[i] = keeps ? from[i] : 0;
        holes |= !keeps;
    }
    return holes;
}

bool gaussian_horizontal(const gaussian_job& job, row_range rows) {
    if (job.width < group_pixels) return false;
    const gaussian_weights& weights = *job.weights;
    const std::uint32_t radius = weights.radius;
    // A block with the margins its taps reach; pixels beyond the row count as invisible.
    HWY_ALIGN std::uint32_t pixels[block + 2 * largest_gaussian_radius + group_pixels];
    visible_weights weighed;
    double inverse_all[block];
    group_inverses inverses, inverses_inside;
    inverses.set_all(0.0);
    inverses_inside.set_all(1.0 / weights.sum(radius, radius));
    for (std::uint32_t left = 0; left < job.width; left += block) {
        const std::uint32_t count = std::min(block, job.width - left);
        const std::uint32_t margin_left = radius - std::min(left, radius);
        const std::uint32_t start = left + margin_left - radius;
        const std::uint32_t end =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(job.width, std::uint64_t{left} + count + radius));
        const std::uint32_t filled = margin_left + (end - start);
        const std::uint32_t needed = block + 2 * radius + group_pixels;
        const bool at_edge = margin_left > 0 || filled < count + 2 * radius;
        std::fill(pixels, pixels + margin_left, 0u);
        std::fill(pixels + filled, pixels + needed, 0u);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint32_t x = left + i;
            inverse_all[i] = 1.0 / weights.sum(std::min(radius, x), std::min(radius, job.width - 1 - x));
        }
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            const std::uint64_t line = std::uint64_t{row} * job.width;
            const auto* source = static_cast<const std::uint32_t*>(job.image) + line;
            auto* out = static_cast<std::uint32_t*>(job.temporary) + line + left;
            const bool holes = copy_visible(source + start, end - start, pixels + margin_left);
            const taps t{reinterpret_cast<const std::uint8_t*>(pixels), n, 2 * radius + 1,
                         weights.fixed + largest_gaussian_radius - radius};
            const bool flat = !holes && !at_edge;
            if (!flat) weigh_visible(t, std::max(count, group_pixels), weighed);
            for (std::uint32_t i = 0; i < count; i += group_pixels) {
                const group_sums sums = sum_group(t, std::uint64_t{i} * n);
                const std::uint32_t in_group = std::min(group_pixels, count - i);
                if (!flat) {
                    for (std::uint32_t p = 0; p < in_group; ++p) {
                        inverses.set(p, weighed.inverse[i + p], inverse_all[i + p]);
                    }
                }
                const VU32 blurred = divide_group(sums, flat ? inverses_inside : inverses);
                // The vertical pass wants invisible pixels without colour.
                const VU32 result = hn::IfThenElseZero(visible(du32, blurred), blurred);
                if (in_group == group_pixels) {
                    hn::StoreU(result, du32, out + i);
                } else {
                    HWY_ALIGN std::uint32_t last[group_pixels];
                    hn::Store(result, du32, last);
                    std::copy_n(last, in_group, out + i);
                }
            }
        }
    }
    return true;
}

bool gaussian_vertical(const gaussian_job& job, row_range rows) {
    if (job.width < group_pixels) return false;
    const gaussian_weights& weights = *job.weights;
    const std::uint32_t radius = weights.radius;
    const auto* source = static_cast<const std::uint32_t*>(job.temporary);
    auto* image = static_cast<std::uint32_t*>(job.image);
    const std::uint32_t colour_mask = job.blur_colour ? rgba_word(255, 0) : 0;
    const std::uint32_t alpha_mask = job.blur_alpha ? rgba_word(0, 255) : 0;

    visible_weights weighed;
    // Which of the rows under the kernel have invisible pixels within the block, and how many have.
    bool has_holes[2 * largest_gaussian_radius + 1];
    group_inverses inverses;
    const std::uint32_t window = 2 * radius + 1;
    for (std::uint64_t start = 0; start < job.width; start += block) {
        // Vectors must not reach beyond the row: what is left at its end is widened to the left, and worked on twice.
        const auto left = static_cast<std::uint32_t>(std::min<std::uint64_t>(start, job.width - group_pixels));
        const std::uint32_t count = std::min(block, job.width - left);
        const auto row_has_holes = [&](std::uint32_t row) {
            const std::uint32_t* pixel = source + std::uint64_t{row} * job.width + left;
            auto all = hn::FirstN(du32, hn::Lanes(du32));
            for (std::uint32_t i = 0; i < count; i += group_pixels) {
                all = hn::And(all, visible(du32, hn::LoadU(du32, pixel + std::min(i, count - group_pixels))));
            }
            return !hn::AllTrue(du32, all);
        };
        std::uint32_t first_known = rows.start - std::min(radius, rows.start);
        std::uint32_t known_until = first_known;
        std::uint32_t rows_with_holes = 0;
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            const std::uint32_t above = std::min(radius, row);
            const std::uint32_t below = std::min(radius, job.height - 1 - row);
            for (; first_known < row - above; ++first_known) rows_with_holes -= has_holes[first_known % window];
            for (; known_until <= row + below; ++known_until) {
                rows_with_holes += has_holes[known_until % window] = row_has_holes(known_until);
            }
            const taps t{reinterpret_cast<const std::uint8_t*>(source + std::uint64_t{row - above} * job.width + left),
                         std::uint64_t{job.width} * n, above + below + 1,
                         weights.fixed + largest_gaussian_radius - above};
            const double inverse_all = 1.0 / weights.sum(above, below);
            const bool holes = rows_with_holes > 0;
            if (holes) {
                weigh_visible(t, count, weighed);
            } else {
                inverses.set_all(inverse_all);
            }
            std::uint32_t* out = image + std::uint64_t{row} * job.width + left;
            for (std::uint32_t i = 0; i < count; i += group_pixels) {
                const std::uint32_t at_pixel = std::min(i, count - group_pixels);
                const group_sums sums = sum_group(t, std::uint64_t{at_pixel} * n);
                VU32 replaced = hn::Set(du32, colour_mask | alpha_mask);
                if (holes) {
                    for (std::uint32_t p = 0; p < group_pixels; ++p) {
                        inverses.set(p, weighed.inverse[at_pixel + p], inverse_all);
                    }
                    // Where no tap is visible, colour stays.
                    replaced = hn::Or(hn::And(hn::LoadU(du32, weighed.any + at_pixel), hn::Set(du32, colour_mask)),
                                      hn::Set(du32, alpha_mask));
                }
                const VU32 blurred = divide_group(sums, inverses);
                const VU32 kept = hn::AndNot(replaced, hn::LoadU(du32, out + at_pixel));
                hn::StoreU(hn::Or(kept, hn::And(replaced, blurred)), du32, out + at_pixel);
            }
        }
    }
    return true;
}

#endif

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(gaussian_horizontal);
HWY_EXPORT(gaussian_vertical);

bool gaussian_horizontal_rgba_8(const gaussian_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(gaussian_horizontal)(job, rows);
}

bool gaussian_vertical_rgba_8(const gaussian_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(gaussian_vertical)(job, rows);
}

} // namespace zarn::vector
#endif
