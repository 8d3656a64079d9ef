#include "kernels/vector/blit.h"

#include <cstring>

#include "kernels/pixel_format.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/blit.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool blend(std::uint32_t, const blit_job&, row_range) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

    #include "kernels/blend_modes.inc.h"

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using VF = hn::Vec<DF>;
template <class Sample>
using DS = hn::Rebind<Sample, DF>; // as many samples as a vector of floats has lanes

// Multiplication and addition that round once, at the end: what is exact in 16-bit blends hangs on it.
constexpr bool has_fused_sums =
    HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3 || (HWY_TARGET == HWY_NEON && HWY_ARCH_ARM_A64);

template <class Format>
constexpr bool is_supported = sizeof(typename Format::sample) == 1 || has_fused_sums;

struct lane_condition {
    hn::Mask<DF> mask;
};

// Integers in float lanes.
struct lane_number {
    VF lanes;
};
// Not as friends inside of the record: GCC compiles those for the machine at large, whatever the instruction set here.
HWY_INLINE lane_number operator+(lane_number a, lane_number b) { return {hn::Add(a.lanes, b.lanes)}; }
HWY_INLINE lane_number operator-(lane_number a, lane_number b) { return {hn::Sub(a.lanes, b.lanes)}; }
HWY_INLINE lane_condition operator<(lane_number a, lane_number b) { return {hn::Lt(a.lanes, b.lanes)}; }
HWY_INLINE lane_condition operator<=(lane_number a, lane_number b) { return {hn::Le(a.lanes, b.lanes)}; }
HWY_INLINE lane_condition operator>=(lane_number a, lane_number b) { return {hn::Ge(a.lanes, b.lanes)}; }

// A product of samples of 16 bits does not fit a lane, so it stays in its factors until it is divided.
struct lane_product {
    VF a, b;
};
HWY_INLINE lane_product operator*(lane_number a, lane_number b) { return {a.lanes, b.lanes}; }

struct scaled_number {
    VF lanes;
};

HWY_INLINE VF set(float value) { return hn::Set(DF(), value); }

// An estimate of 1 / x, at most 1 part in 2^21 off. Of 0 it is anything.
HWY_INLINE VF estimated_reciprocal(VF x) {
    #if HWY_ARCH_X86
    // The machine's estimate is good to 1.5 parts in 2^12; a step of Newton's squares that.
    const VF rough = hn::ApproximateReciprocal(x);
    return hn::Mul(rough, hn::NegMulAdd(rough, x, set(2.0f)));
    #else
    return hn::Div(set(1.0f), x);
    #endif
}

// Quotients of 8 bits. Products and dividends are at most 2 * 255 * 255, hence exact. With 1/2 added to the dividend
// the quotient keeps off integers by 1 / 2n, n being the divisor: far more than an estimate is off.
template <class Sample>
struct division {
    static constexpr float bound = 256.0f;

    // x / 255: (x + 1/2) / 255 is 1/510 or more away from integers, 1 part in 2^18.
    static HWY_INLINE VF over_full(lane_product x) { return over_full(hn::Mul(x.a, x.b)); }
    static HWY_INLINE VF twice_over_full(lane_product x) { return over_full(hn::Mul(hn::Add(x.a, x.a), x.b)); }
    static HWY_INLINE VF over_above(lane_product x) {
        return hn::Trunc(hn::Mul(hn::Mul(x.a, x.b), set(1.0f / 256.0f)));
    }

    // x is 65280 at most: (x + 1/2) / divisor is 1 part in 130561 or more away from integers.
    static HWY_INLINE VF quotient(VF x, VF divisor) {
        const VF near = hn::Mul(hn::Add(x, set(0.5f)), estimated_reciprocal(divisor));
        return hn::Trunc(hn::Min(near, set(bound)));
    }
    static HWY_INLINE VF quotient(lane_product x, VF divisor) { return quotient(hn::Mul(x.a, x.b), divisor); }
    static HWY_INLINE VF scaled_quotient(VF x, VF divisor) { return quotient(hn::Mul(x, set(256.0f)), divisor); }

private:
    static HWY_INLINE VF over_full(VF x) { return hn::Trunc(hn::Mul(hn::Add(x, set(0.5f)), set(1.0f / 255.0f))); }
};

// Quotients of 16 bits. An estimate of a quotient below 2^17 is less than 1/16 off; less 1/16 and truncated it is right
// or 1 too small, which the remainder tells. Remainders are sums that are exact but for the last rounding, and integers
// below 2^24, so they are exact altogether.
template <>
struct division<std::uint16_t> {
    static constexpr float bound = 65536.0f;

    static HWY_INLINE VF over_full(lane_product x) {
        const VF near = less_a_sixteenth(hn::Mul(x.a, x.b), set(1.0f / 65535.0f));
        // a * b - near * 65535
        const VF rest = hn::Add(hn::MulSub(x.a, x.b, hn::Mul(near, set(65536.0f))), near);
        return raised(near, rest, set(65535.0f));
    }
    static HWY_INLINE VF twice_over_full(lane_product x) { return over_full({hn::Add(x.a, x.a), x.b}); }
    static HWY_INLINE VF over_above(lane_product x) {
        const VF near = less_a_sixteenth(hn::Mul(x.a, x.b), set(1.0f / 65536.0f));
        return raised(near, hn::MulSub(x.a, x.b, hn::Mul(near, set(65536.0f))), set(65536.0f));
    }

    static HWY_INLINE VF quotient(lane_product x, VF divisor) {
        const VF product = hn::Mul(x.a, x.b);
        const VF lost = hn::MulSub(x.a, x.b, product); // to rounding
        const VF near = bounded(less_a_sixteenth(product, estimated_reciprocal(divisor)));
        return raised(near, hn::Add(hn::NegMulAdd(near, divisor, product), lost), divisor);
    }
    // Of 65536 x, which is exact.
    static HWY_INLINE VF scaled_quotient(VF x, VF divisor) {
        const VF scaled = hn::Mul(x, set(65536.0f));
        const VF near = bounded(less_a_sixteenth(scaled, estimated_reciprocal(divisor)));
        return raised(near, hn::NegMulAdd(near, divisor, scaled), divisor);
    }

private:
    // Below 0 it is truncated to 0 as well.
    static HWY_INLINE VF less_a_sixteenth(VF x, VF reciprocal) {
        return hn::Trunc(hn::MulSub(x, reciprocal, set(0.0625f)));
    }
    static HWY_INLINE VF bounded(VF quotient) { return hn::Min(quotient, set(bound)); }
    static HWY_INLINE VF raised(VF near, VF rest, VF divisor) {
        return hn::Add(near, hn::IfThenElseZero(hn::Ge(rest, divisor), set(1.0f)));
    }
};

template <class Sample>
struct lane_math {
    using number = lane_number;

    static constexpr bool real = false;
    static constexpr unsigned full_scale = static_cast<Sample>(~Sample{0});

    static HWY_INLINE number constant(unsigned value) { return {set(static_cast<float>(value))}; }
    static HWY_INLINE number zero() { return {hn::Zero(DF())}; }
    static HWY_INLINE number full() { return constant(full_scale); }
    static HWY_INLINE number half() { return constant(full_scale / 2 + 1); }
    static HWY_INLINE number quarter() { return constant(full_scale / 4 + 1); }
    static HWY_INLINE number above() { return constant(full_scale + 1); }
    static HWY_INLINE number twice_above_less_one() { return constant(2 * full_scale + 1); }
    static HWY_INLINE number choose(lane_condition c, number a, number b) {
        return {hn::IfThenElse(c.mask, a.lanes, b.lanes)};
    }
    static HWY_INLINE number halved(number x) { return {hn::Trunc(hn::Mul(x.lanes, set(0.5f)))}; }
    static HWY_INLINE scaled_number times_above(number x) { return {x.lanes}; }
    static HWY_INLINE number quotient(scaled_number x, number divisor) {
        return {division<Sample>::scaled_quotient(x.lanes, divisor.lanes)};
    }
    static HWY_INLINE number quotient(lane_product x, number divisor) {
        return {division<Sample>::quotient(x, divisor.lanes)};
    }
    static HWY_INLINE number over_above(lane_product x) { return {division<Sample>::over_above(x)}; }
    static HWY_INLINE number over_full(lane_product x) { return {division<Sample>::over_full(x)}; }
    static HWY_INLINE number twice_over_full(lane_product x) { return {division<Sample>::twice_over_full(x)}; }
};

template <class Sample>
struct mixing {
    VF to_unit, opacity;
    hn::Vec<DS<Sample>> alpha;        // all bits of alpha samples
    hn::Vec<DS<Sample>> raised_alpha; // the same where the alpha rule applies, else none
};

template <class Sample, class Mode>
HWY_INLINE void blend_vector(Sample* destination, const Sample* source, const mixing<Sample>& m) {
    const DS<Sample> ds;
    const auto old = hn::LoadU(ds, destination), over = hn::LoadU(ds, source);
    const VF d = hn::ConvertTo(DF(), hn::PromoteTo(DI(), old)), s = hn::ConvertTo(DF(), hn::PromoteTo(DI(), over));
    const VF blended = Mode::template apply<lane_math<Sample>>(lane_number{d}, lane_number{s}).lanes;
    // A pixel is one block of four lanes.
    const VF weight = hn::Mul(hn::Mul(hn::Broadcast<3>(s), m.to_unit), m.opacity);
    const VF rest = hn::Sub(set(1.0f), weight);
    const VF sum = hn::Add(hn::Mul(d, rest), hn::Mul(blended, weight));
    const auto colour = hn::TruncateTo(ds, hn::BitCast(hn::RebindToUnsigned<DI>(), hn::ConvertTo(DI(), sum)));
    const auto alpha = hn::Max(old, hn::And(over, m.raised_alpha));
    hn::StoreU(hn::IfVecThenElse(m.alpha, alpha, colour), ds, destination);
}

template <class Format, class Mode>
void blend_rows(const blit_job& job, row_range rows) {
    using sample = typename Format::sample;
    constexpr std::uint64_t n = 4;
    constexpr std::size_t most_lanes = hn::MaxLanes(DF());
    const std::size_t lanes = hn::Lanes(DF());

    sample alpha[most_lanes] = {}, raised[most_lanes] = {};
    for (std::size_t i = n - 1; i < lanes; i += n) {
        alpha[i] = Format::full;
        raised[i] = job.keep_alpha ? sample{0} : Format::full;
    }
    const mixing<sample> m{set(Format::to_unit), set(static_cast<float>(job.opacity)), hn::LoadU(DS<sample>(), alpha),
                           hn::LoadU(DS<sample>(), raised)};

    const auto at = [](const blit_picture& picture, std::uint32_t x, std::uint32_t y) {
        return (std::uint64_t{memory_row(y, picture.height, picture.lower_left)} * picture.width + x) * n;
    };
    const std::uint64_t count = job.columns * n;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        auto* destination = static_cast<sample*>(job.destination) +
                            at(job.destination_picture, job.destination_x, job.destination_y + (row - job.source_y));
        const auto* source = static_cast<const sample*>(job.source) + at(job.source_picture, job.source_x, row);
        std::uint64_t i = 0;
        for (; count - i >= lanes; i += lanes) blend_vector<sample, Mode>(destination + i, source + i, m);
        if (i == count) continue;
        sample rest[2][most_lanes] = {};
        const std::size_t rest_bytes = (count - i) * sizeof(sample);
        std::memcpy(rest[0], destination + i, rest_bytes);
        std::memcpy(rest[1], source + i, rest_bytes);
        blend_vector<sample, Mode>(rest[0], rest[1], m);
        std::memcpy(destination + i, rest[0], rest_bytes);
    }
}

template <class Format>
bool blend([[maybe_unused]] std::uint32_t mode, const blit_job& job, [[maybe_unused]] row_range rows) {
    if (!(job.opacity >= 0.0 && job.opacity <= 1.0)) return false;
    if constexpr (is_supported<Format>) {
    #define ZARN_BLEND_ROWS(name) blend_rows<Format, name>,
        static constexpr blit_rows kernels[] = {ZARN_FOR_EACH_BLEND_MODE(ZARN_BLEND_ROWS)};
    #undef ZARN_BLEND_ROWS
        kernels[mode](job, rows);
        return true;
    }
    return false;
}

#endif

bool blend_8(std::uint32_t mode, const blit_job& job, row_range rows) { return blend<rgba_8>(mode, job, rows); }
bool blend_16(std::uint32_t mode, const blit_job& job, row_range rows) { return blend<rgba_16>(mode, job, rows); }

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(blend_8);
HWY_EXPORT(blend_16);

bool blend_rgba_8(std::uint32_t mode, const blit_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(blend_8)(mode, job, rows);
}
bool blend_rgba_16(std::uint32_t mode, const blit_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(blend_16)(mode, job, rows);
}

} // namespace zarn::vector
#endif
