#include "kernels/vector/gaussian_blur.h"

#include <algorithm>
#include <cstdint>

#include "kernels/pixel_word.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/gaussian_blur.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// How 8-bit sums keep their bits: a weight is a 32-bit float between exp(-2) and 1, so weight * 2^26 is a whole number.
// It is cut into a low part of 13 bits and a high part of 14; products with samples and sums of up to 1001 taps fit 32
// bits in each part (1001 * 255 * 2^13 < 2^31). Taps at the same distance are added before they are weighed.
//
// How they are divided: S = high * 2^13 + low is to be divided by the sum W of the weights, W = wh * 2^13 + wl with
// wl < 2^13. A weight is at least exp(-2) * 2^26, so low / W < 255 * 2^13 / (exp(-2) * 2^26) < 0.24, and the whole
// number t nearest to high * 2^13 / W - 0.25, in floats off by less than 0.001, is the whole part of S / W or 1 more.
// The sign of the remainder S - t * W = (high - t * wh) * 2^13 + (low - t * wl) tells which. t * wh <= 256 * 1001 *
// 2^13 fits 32 bits.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool gaussian_horizontal(const gaussian_pass&, row_range) { return false; }
bool gaussian_vertical(const gaussian_pass&, row_range) { return false; }
bool gaussian_values_horizontal(const gaussian_pass&, row_range) { return false; }
bool gaussian_values_vertical(const gaussian_pass&, row_range) { return false; }

#else

namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::uint32_t n = 4; // samples of a pixel
constexpr std::uint32_t low_bits = gaussian_weights::low_bits;

const hn::ScalableTag<std::uint8_t> d8;
const hn::ScalableTag<std::int16_t> d16;
const hn::ScalableTag<std::uint16_t> du16;
const hn::ScalableTag<std::int32_t> d32;
const hn::ScalableTag<std::uint64_t> d64;
const hn::ScalableTag<float> df;
const hn::Half<hn::ScalableTag<std::uint8_t>> d8_half;
const hn::Half<hn::ScalableTag<std::uint32_t>> d_pixels; // pixels whose samples fill a vector in 16 bits

using V16 = hn::Vec<hn::ScalableTag<std::int16_t>>;
using V32 = hn::Vec<hn::ScalableTag<std::int32_t>>;
using VF = hn::Vec<hn::ScalableTag<float>>;
using VP = hn::Vec<hn::Half<hn::ScalableTag<std::uint32_t>>>;

constexpr std::uint32_t group = HWY_LANES(std::uint16_t) / n; // pixels worked on at a time
constexpr std::uint32_t group_samples = group * n;

HWY_INLINE hn::Mask<hn::Half<hn::ScalableTag<std::uint32_t>>> visible(VP pixels) {
    return hn::Ne(hn::And(pixels, hn::Set(d_pixels, make_word<rgba_8>(0, 255))), hn::Zero(d_pixels));
}

HWY_INLINE void store_widened(VP pixels, std::uint16_t* to) {
    hn::StoreU(hn::PromoteTo(du16, hn::BitCast(d8_half, pixels)), du16, to);
}

// 1 in every sample that counts: all of a visible pixel, alpha of an invisible one.
HWY_INLINE VP ones_of(VP pixels) {
    return hn::IfThenElse(visible(pixels), hn::Set(d_pixels, make_word<rgba_8>(1, 1)),
                          hn::Set(d_pixels, make_word<rgba_8>(0, 1)));
}

// Weighted sums of the samples of a group. Interleaving leaves one pixel in each 16-byte block: [0] holds the first
// pixels of the blocks, [1] the second ones.
struct group_sums {
    V32 high[2];
    V32 low[2];
};

struct pair_sum {
    V32 even, odd;

    HWY_INLINE void add(V16 samples, V16 weights) {
        even = hn::ReorderWidenMulAccumulate(d32, samples, weights, even, odd);
    }
    HWY_INLINE V32 total() const { return hn::RearrangeToOddPlusEven(even, odd); }
};

// The sums around `centre`, whose neighbours lie `step` samples apart.
HWY_INLINE group_sums sum_taps(const std::uint16_t* centre, std::size_t step, const gaussian_weights& weights) {
    const V32 zero = hn::Zero(d32);
    pair_sum h0{zero, zero}, h1{zero, zero}, l0{zero, zero}, l1{zero, zero};
    const auto add = [&](V16 nearer, V16 farther, std::uint32_t pair) {
        const V16 high = hn::BitCast(d16, hn::Set(d32, static_cast<std::int32_t>(weights.high[pair])));
        const V16 low = hn::BitCast(d16, hn::Set(d32, static_cast<std::int32_t>(weights.low[pair])));
        const V16 first = hn::InterleaveLower(d16, nearer, farther);
        const V16 second = hn::InterleaveUpper(d16, nearer, farther);
        h0.add(first, high);
        h1.add(second, high);
        l0.add(first, low);
        l1.add(second, low);
    };
    const auto at = [](const std::uint16_t* samples) { return hn::BitCast(d16, hn::LoadU(du16, samples)); };
    const std::uint16_t* before = centre - step;
    const std::uint16_t* behind = centre + step;
    const auto next_pair = [&] {
        const V16 sum = hn::Add(at(before), at(behind));
        before -= step;
        behind += step;
        return sum;
    };
    const std::uint32_t radius = weights.radius;
    if (radius == 0) {
        add(at(centre), hn::Zero(d16), 0);
    } else {
        add(at(centre), next_pair(), 0);
    }
    for (std::uint32_t pair = 1; pair < (radius + 1) / 2; ++pair) {
        const V16 nearer = next_pair();
        add(nearer, next_pair(), pair);
    }
    if (radius && radius % 2 == 0) add(next_pair(), hn::Zero(d16), radius / 2);
    return {{h0.total(), h1.total()}, {l0.total(), l1.total()}};
}

// A sum of weights as a divisor: 2^13 / W, and W in its two parts.
struct divisor {
    float factor;
    std::int32_t high;
    std::int32_t low;

    divisor() = default;
    explicit divisor(double sum) {
        const auto whole = static_cast<std::uint64_t>(sum);
        factor = static_cast<float>((1u << low_bits) / sum);
        high = static_cast<std::int32_t>(whole >> low_bits);
        low = static_cast<std::int32_t>(whole & ((1u << low_bits) - 1));
    }
};

struct divisors {
    VF factor;
    V32 high;
    V32 low;

    HWY_INLINE explicit divisors(const divisor& same)
        : factor(hn::Set(df, same.factor))
        , high(hn::Set(d32, same.high))
        , low(hn::Set(d32, same.low)) {}

    // From sums of weights. Without weights the quotient of 0 is 0.
    HWY_INLINE divisors(V32 high_sum, V32 low_sum) {
        high = hn::Add(high_sum, hn::ShiftRight<low_bits>(low_sum));
        low = hn::And(low_sum, hn::Set(d32, (1 << low_bits) - 1));
        const VF sum = hn::MulAdd(hn::ConvertTo(df, low), hn::Set(df, 1.0f / (1 << low_bits)), hn::ConvertTo(df, high));
        factor = hn::Div(hn::Set(df, 1.0f), hn::Max(sum, hn::Set(df, 1.0f)));
    }
};

HWY_INLINE V32 divide(V32 high, V32 low, const divisors& by) {
    const VF magic = hn::Set(df, 12582912.0f); // 1.5 * 2^23: leaves the nearest whole number in a float's low bits
    const VF below = hn::MulAdd(hn::ConvertTo(df, high), by.factor, hn::Set(df, -0.25f));
    const V32 t = hn::Sub(hn::BitCast(d32, hn::Add(below, magic)), hn::BitCast(d32, magic));
    // Both factors fit 16 bits, and the upper half of t is 0.
    pair_sum low_product{hn::Zero(d32), hn::Zero(d32)};
    low_product.add(hn::BitCast(d16, t), hn::BitCast(d16, by.low));
    const V32 rest_high = hn::Sub(high, hn::Mul(t, by.high));
    const V32 rest_low = hn::Sub(low, low_product.total());
    return hn::Add(t, hn::ShiftRight<31>(hn::Add(rest_high, hn::ShiftRight<low_bits>(rest_low))));
}

// Numbers below 256 in the layout of group_sums, as pixels.
HWY_INLINE VP narrow(V32 first, V32 second) {
    HWY_ALIGN static constexpr std::uint8_t low_bytes[2][16] = {
        {0, 4, 8, 12, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128},
        {128, 128, 128, 128, 0, 4, 8, 12, 128, 128, 128, 128, 128, 128, 128, 128}};
    const auto blocks =
        hn::BitCast(d64, hn::Or(hn::TableLookupBytesOr0(hn::BitCast(d8, first), hn::LoadDup128(d8, low_bytes[0])),
                                hn::TableLookupBytesOr0(hn::BitCast(d8, second), hn::LoadDup128(d8, low_bytes[1]))));
    const hn::Half<hn::ScalableTag<std::uint64_t>> d64_half;
    return hn::BitCast(d_pixels, hn::LowerHalf(d64_half, hn::ConcatEven(d64, blocks, blocks)));
}

HWY_INLINE VP divide(const group_sums& sums, const divisors& by) {
    return narrow(divide(sums.high[0], sums.low[0], by), divide(sums.high[1], sums.low[1], by));
}

// Every sample by the weights that count for it; `any` gets all bits of those that have some.
HWY_INLINE VP divide(const group_sums& sums, const group_sums& weights, VP& any) {
    const divisors first(weights.high[0], weights.low[0]), second(weights.high[1], weights.low[1]);
    const auto all_bits = [](const divisors& d) {
        return hn::IfThenElseZero(hn::Gt(d.high, hn::Zero(d32)), hn::Set(d32, 255));
    };
    any = narrow(all_bits(first), all_bits(second));
    return narrow(divide(sums.high[0], sums.low[0], first), divide(sums.high[1], sums.low[1], second));
}

// Start of the next group of a stretch: the last one overlaps the one before rather than reach beyond the end.
HWY_INLINE std::uint32_t group_start(std::uint32_t i, std::uint32_t count) { return std::min(i, count - group); }

} // namespace

bool gaussian_horizontal(const gaussian_pass& pass, row_range rows) {
    const gaussian_job& job = *pass.job;
    if (job.width < group) return false;
    constexpr std::uint32_t block = 256;
    constexpr std::uint32_t longest = block + 2 * largest_gaussian_radius + group;
    const gaussian_weights& weights = *job.weights;
    const std::uint32_t radius = weights.radius;
    const divisors inside{divisor(weights.sum(radius, radius))};
    // A block with the margins that its taps reach, and its ones; pixels beyond the row have neither.
    HWY_ALIGN std::uint16_t samples[longest * n];
    HWY_ALIGN std::uint16_t ones[longest * n];
    // How many of the groups of the block up to here have pixels that do not count.
    std::uint32_t holes_before[longest / group + 2];
    for (std::uint64_t start = 0; start < job.width; start += block) {
        const auto left = static_cast<std::uint32_t>(std::min<std::uint64_t>(start, job.width - group));
        const std::uint32_t count = std::min(block, job.width - left);
        const std::uint32_t margin = radius - std::min(left, radius);
        const std::uint32_t from = left + margin - radius;
        const auto until =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(job.width, std::uint64_t{left} + count + radius));
        const std::uint32_t filled = margin + (until - from);
        const std::uint32_t length = count + 2 * radius;
        const bool at_edge = filled < length || margin;
        for (std::uint16_t* row : {samples, ones}) {
            std::fill(row, row + margin * n, std::uint16_t{0});
            std::fill(row + filled * n, row + length * n, std::uint16_t{0});
        }
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            const auto* source = static_cast<const std::uint32_t*>(job.image) + std::uint64_t{row} * job.width + from;
            auto* out = static_cast<std::uint32_t*>(job.temporary) + pass.ring.place(row) * job.width + left;
            auto all = hn::FirstN(d_pixels, group);
            for (std::uint32_t j = 0; j < until - from; j += group) {
                const std::uint32_t i = group_start(j, until - from);
                const VP pixels = hn::LoadU(d_pixels, source + i);
                const auto seen = visible(pixels);
                all = hn::And(all, seen);
                store_widened(hn::IfThenElseZero(seen, pixels), samples + (margin + i) * n);
            }
            const bool holes = at_edge || !hn::AllTrue(d_pixels, all);
            if (holes) {
                const std::uint32_t groups = (length - 1) / group + 1;
                std::fill(holes_before, holes_before + groups + 1, 0u);
                const auto mark = [&](std::uint32_t first, std::uint32_t end) {
                    for (std::uint32_t g = first / group; g < (end + group - 1) / group; ++g) holes_before[g + 1] = 1;
                };
                mark(0, margin);
                mark(filled, length);
                for (std::uint32_t j = 0; j < until - from; j += group) {
                    const std::uint32_t i = group_start(j, until - from);
                    const VP pixels = hn::LoadU(d_pixels, source + i);
                    store_widened(ones_of(pixels), ones + (margin + i) * n);
                    if (!hn::AllTrue(d_pixels, visible(pixels))) mark(margin + i, margin + i + group);
                }
                for (std::uint32_t g = 0; g < groups; ++g) holes_before[g + 1] += holes_before[g];
            }
            for (std::uint32_t j = 0; j < count; j += group) {
                const std::uint32_t i = group_start(j, count);
                const std::size_t centre = (i + radius) * std::size_t{n};
                const group_sums sums = sum_taps(samples + centre, n, weights);
                const bool flat =
                    !holes || holes_before[(i + group + 2 * radius - 1) / group + 1] == holes_before[i / group];
                VP any;
                const VP blurred = flat ? divide(sums, inside) : divide(sums, sum_taps(ones + centre, n, weights), any);
                // The vertical pass wants invisible pixels without colour.
                hn::StoreU(hn::IfThenElseZero(visible(blurred), blurred), d_pixels, out + i);
            }
        }
    }
    return true;
}

bool gaussian_vertical(const gaussian_pass& pass, row_range rows) {
    const gaussian_job& job = *pass.job;
    const std::uint32_t count = rows.end - rows.start;
    if (job.width < group || count > gaussian_strip) return false;
    const gaussian_weights& weights = *job.weights;
    const std::uint32_t radius = weights.radius;
    const auto* source = static_cast<const std::uint32_t*>(job.temporary);
    auto* image = static_cast<std::uint32_t*>(job.image);
    const VP blurs_colour = hn::Set(d_pixels, make_word<rgba_8>(job.blur_colour ? 255 : 0, 0));
    const VP blurs_alpha = hn::Set(d_pixels, make_word<rgba_8>(0, job.blur_alpha ? 255 : 0));
    divisor in_row[gaussian_strip];
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t row = rows.start + i;
        in_row[i] = divisor(weights.sum(std::min(radius, row), std::min(radius, job.height - 1 - row)));
    }
    // A group of columns over the rows that the taps reach, and its ones; rows beyond the picture have neither.
    constexpr std::uint32_t longest = gaussian_strip + 2 * largest_gaussian_radius;
    HWY_ALIGN std::uint16_t samples[longest * group_samples];
    HWY_ALIGN std::uint16_t ones[longest * group_samples];
    // How many of the rows up to here have invisible pixels.
    std::uint32_t holes_before[longest + 1];
    const std::uint32_t beyond = radius - std::min(radius, rows.start);
    const std::uint32_t first = rows.start + beyond - radius;
    const auto last = static_cast<std::uint32_t>(std::min<std::uint64_t>(job.height, std::uint64_t{rows.end} + radius));
    const std::uint32_t filled = beyond + (last - first);
    const std::uint32_t length = count + 2 * radius;
    for (std::uint16_t* column : {samples, ones}) {
        std::fill(column, column + beyond * group_samples, std::uint16_t{0});
        std::fill(column + filled * group_samples, column + length * group_samples, std::uint16_t{0});
    }
    std::fill(holes_before, holes_before + beyond + 1, 0u);
    for (std::uint64_t j = 0; j < job.width; j += group) {
        const auto x = static_cast<std::uint32_t>(std::min<std::uint64_t>(j, job.width - group));
        const auto pixels_of = [&](std::uint32_t row) {
            return hn::LoadU(d_pixels, source + pass.ring.place(row) * job.width + x);
        };
        for (std::uint32_t row = first; row < last; ++row) {
            const std::uint32_t at = beyond + (row - first);
            const VP pixels = pixels_of(row);
            holes_before[at + 1] = holes_before[at] + !hn::AllTrue(d_pixels, visible(pixels));
            store_widened(pixels, samples + at * group_samples);
        }
        std::fill(holes_before + filled + 1, holes_before + length + 1, holes_before[filled]);
        if (holes_before[length]) {
            for (std::uint32_t row = first; row < last; ++row) {
                store_widened(ones_of(pixels_of(row)), ones + (beyond + (row - first)) * group_samples);
            }
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::size_t centre = (i + radius) * std::size_t{group_samples};
            const group_sums sums = sum_taps(samples + centre, group_samples, weights);
            std::uint32_t* const out = image + std::uint64_t{rows.start + i} * job.width + x;
            VP blurred, replaced;
            if (holes_before[i + 2 * radius + 1] == holes_before[i]) {
                blurred = divide(sums, divisors(in_row[i]));
                replaced = hn::Or(blurs_colour, blurs_alpha);
            } else {
                // Where no tap is visible, colour stays.
                blurred = divide(sums, sum_taps(ones + centre, group_samples, weights), replaced);
                replaced = hn::Or(hn::And(replaced, blurs_colour), blurs_alpha);
            }
            const VP kept = hn::AndNot(replaced, hn::LoadU(d_pixels, out));
            hn::StoreU(hn::Or(kept, hn::And(replaced, blurred)), d_pixels, out);
        }
    }
    return true;
}

// ---- One value a pixel
// -----------------------------------------------------------------------------------------------

namespace {

// A group of samples; only `count` of them are there.
HWY_INLINE void store_values(VP values, std::uint32_t count, std::uint8_t* to) {
    if (HWY_LIKELY(count >= group_samples)) {
        hn::StoreU(hn::BitCast(d8_half, values), d8_half, to);
    } else {
        HWY_ALIGN std::uint8_t last[group_samples];
        hn::Store(hn::BitCast(d8_half, values), d8_half, last);
        std::copy_n(last, count, to);
    }
}

HWY_INLINE void widen_values(const std::uint8_t* from, std::uint16_t* to) {
    hn::StoreU(hn::PromoteTo(du16, hn::LoadU(d8_half, from)), du16, to);
}

} // namespace

bool gaussian_values_horizontal(const gaussian_pass& pass, row_range rows) {
    const gaussian_job& job = *pass.job;
    constexpr std::uint32_t block = 1024;
    constexpr std::uint32_t longest = block + 2 * largest_gaussian_radius + 2 * group_samples;
    const gaussian_weights& weights = *job.weights;
    const std::uint32_t radius = weights.radius;
    const divisors inside{divisor(weights.sum(radius, radius))};
    // A block with the margins that its taps reach; pixels beyond the row have neither samples nor ones.
    HWY_ALIGN std::uint8_t values[longest];
    HWY_ALIGN std::uint16_t samples[longest];
    HWY_ALIGN std::uint16_t ones[longest];
    for (std::uint64_t start = 0; start < job.width; start += block) {
        const auto left = static_cast<std::uint32_t>(start);
        const std::uint32_t count = std::min(block, job.width - left);
        const std::uint32_t margin = radius - std::min(left, radius);
        const std::uint32_t from = left + margin - radius;
        const auto until =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(job.width, std::uint64_t{left} + count + radius));
        const std::uint32_t length = count + 2 * radius + group_samples;
        std::fill(values, values + longest, std::uint8_t{0});
        std::fill(ones, ones + longest, std::uint16_t{0});
        std::fill(ones + margin, ones + margin + (until - from), std::uint16_t{1});
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            const auto* source = static_cast<const std::uint8_t*>(job.image) + std::uint64_t{row} * job.width;
            auto* out = static_cast<std::uint8_t*>(job.temporary) + pass.ring.place(row) * job.width + left;
            std::copy(source + from, source + until, values + margin);
            for (std::uint32_t i = 0; i < length; i += group_samples) widen_values(values + i, samples + i);
            for (std::uint32_t i = 0; i < count; i += group_samples) {
                const group_sums sums = sum_taps(samples + i + radius, 1, weights);
                const bool is_inside =
                    left + i >= radius && std::uint64_t{left} + i + group_samples + radius <= job.width;
                VP any;
                store_values(is_inside ? divide(sums, inside)
                                       : divide(sums, sum_taps(ones + i + radius, 1, weights), any),
                             count - i, out + i);
            }
        }
    }
    return true;
}

bool gaussian_values_vertical(const gaussian_pass& pass, row_range rows) {
    const gaussian_job& job = *pass.job;
    const std::uint32_t count = rows.end - rows.start;
    if (count > gaussian_strip) return false;
    const gaussian_weights& weights = *job.weights;
    const std::uint32_t radius = weights.radius;
    divisor in_row[gaussian_strip];
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t row = rows.start + i;
        in_row[i] = divisor(weights.sum(std::min(radius, row), std::min(radius, job.height - 1 - row)));
    }
    // A group of columns over the rows that the taps reach; rows beyond the picture are 0.
    HWY_ALIGN std::uint16_t samples[(gaussian_strip + 2 * largest_gaussian_radius) * group_samples];
    const std::uint32_t beyond = radius - std::min(radius, rows.start);
    const std::uint32_t first = rows.start + beyond - radius;
    const auto last = static_cast<std::uint32_t>(std::min<std::uint64_t>(job.height, std::uint64_t{rows.end} + radius));
    const std::uint32_t filled = beyond + (last - first);
    std::fill(samples, samples + beyond * group_samples, std::uint16_t{0});
    std::fill(samples + filled * group_samples, samples + (count + 2 * radius) * group_samples, std::uint16_t{0});
    for (std::uint64_t x = 0; x < job.width; x += group_samples) {
        const auto there = static_cast<std::uint32_t>(std::min<std::uint64_t>(group_samples, job.width - x));
        for (std::uint32_t row = first; row < last; ++row) {
            const auto* from = static_cast<const std::uint8_t*>(job.temporary) + pass.ring.place(row) * job.width + x;
            HWY_ALIGN std::uint8_t values[group_samples] = {};
            if (there < group_samples) from = std::copy_n(from, there, values) - there;
            widen_values(from, samples + (beyond + (row - first)) * group_samples);
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::size_t centre = (i + radius) * std::size_t{group_samples};
            const VP blurred = divide(sum_taps(samples + centre, group_samples, weights), divisors(in_row[i]));
            store_values(blurred, there,
                         static_cast<std::uint8_t*>(job.image) + std::uint64_t{rows.start + i} * job.width + x);
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
HWY_EXPORT(gaussian_values_horizontal);
HWY_EXPORT(gaussian_values_vertical);

template <>
bool gaussian_horizontal<rgba_8>(const gaussian_pass& pass, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(gaussian_horizontal)(pass, rows);
}

template <>
bool gaussian_vertical<rgba_8>(const gaussian_pass& pass, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(gaussian_vertical)(pass, rows);
}

template <>
bool gaussian_horizontal<value_8>(const gaussian_pass& pass, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(gaussian_values_horizontal)(pass, rows);
}

template <>
bool gaussian_vertical<value_8>(const gaussian_pass& pass, row_range rows) {
    return pass.job->blur_colour && HWY_DYNAMIC_DISPATCH(gaussian_values_vertical)(pass, rows);
}

} // namespace zarn::vector
#endif
