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

// Numbers are computed in lanes of twice the sample's bits.
template <class Sample>
using DW = hn::ScalableTag<hwy::MakeWide<Sample>>;

template <class Sample>
struct lane_condition {
    hn::Mask<DW<Sample>> mask;
};

template <class Sample>
struct lane_number {
    hn::Vec<DW<Sample>> lanes;

    friend HWY_INLINE lane_number operator+(lane_number a, lane_number b) { return {hn::Add(a.lanes, b.lanes)}; }
    friend HWY_INLINE lane_number operator-(lane_number a, lane_number b) { return {hn::Sub(a.lanes, b.lanes)}; }
    friend HWY_INLINE lane_number operator*(lane_number a, lane_number b) { return {hn::Mul(a.lanes, b.lanes)}; }

    // Products and quotients' dividends are never compared, so the top bit is free: signed comparisons are cheaper.
    friend HWY_INLINE lane_condition<Sample> operator<(lane_number a, lane_number b) {
        const hn::RebindToSigned<DW<Sample>> d;
        return {hn::RebindMask(DW<Sample>(), hn::Lt(hn::BitCast(d, a.lanes), hn::BitCast(d, b.lanes)))};
    }
    friend HWY_INLINE lane_condition<Sample> operator<=(lane_number a, lane_number b) {
        return {hn::Not((b < a).mask)};
    }
    friend HWY_INLINE lane_condition<Sample> operator>=(lane_number a, lane_number b) {
        return {hn::Not((a < b).mask)};
    }
};

// An estimate of a / b, at most 1 part in 2^20 off. Of a divisor 0 it is anything.
HWY_INLINE VF estimated_quotient(VF a, VF b) {
    #if HWY_ARCH_X86
    // The machine's estimate is good to 1.5 parts in 2^12; a step of Newton's squares that.
    const VF rough = hn::ApproximateReciprocal(b);
    return hn::Mul(a, hn::Mul(rough, hn::NegMulAdd(rough, b, hn::Set(DF(), 2.0f))));
    #else
    return hn::Div(a, b);
    #endif
}

// The quotient of integers, up to 256 and right up to 255. The dividend a is at most 65280 and the divisor b at most
// 511: (a + 1/2) / b lies 1 / 2b or more off the next integer on either side, 1 part in 130561 of itself at least: more
// than the estimate is off.
template <class D>
HWY_INLINE hn::Vec<D> divide(D d, hn::Vec<D> a, hn::Vec<D> b, std::uint8_t) {
    const hn::Half<D> half;
    const VF bound = hn::Set(DF(), 256.0f), middle = hn::Set(DF(), 0.5f);
    const auto part = [=](hn::Vec<decltype(half)> x, hn::Vec<decltype(half)> y) HWY_ATTR {
        const VF dividend = hn::Add(hn::ConvertTo(DF(), hn::PromoteTo(DI(), x)), middle);
        const VF quotient = estimated_quotient(dividend, hn::ConvertTo(DF(), hn::PromoteTo(DI(), y)));
        return hn::DemoteTo(half, hn::ConvertTo(DI(), hn::Min(quotient, bound)));
    };
    return hn::Combine(d, part(hn::UpperHalf(half, a), hn::UpperHalf(half, b)),
                       part(hn::LowerHalf(half, a), hn::LowerHalf(half, b)));
}

// The same up to 65535. The estimate's dividend is a with its lowest bit set: up to 65536 the estimate lies between
// a / b - 1/16 and (a + 1) / b + 1/16, so its whole part is the quotient or a neighbour of it. The remainder, exact in
// 32 bits, tells which.
template <class D>
HWY_INLINE hn::Vec<D> divide(D d, hn::Vec<D> a, hn::Vec<D> b, std::uint16_t) {
    const auto one = hn::Set(DI(), 1);
    const VF half = hn::ConvertTo(DF(), hn::BitCast(DI(), hn::ShiftRight<1>(a)));
    const VF dividend = hn::Add(hn::Add(half, half), hn::Set(DF(), 1.0f));
    const VF divisor = hn::ConvertTo(DF(), hn::BitCast(DI(), b));
    const VF quotient = estimated_quotient(dividend, divisor);
    const auto near = hn::ConvertTo(DI(), hn::Min(quotient, hn::Set(DF(), 65536.0f)));
    const auto rest = hn::BitCast(DI(), hn::Sub(a, hn::Mul(hn::BitCast(d, near), b)));
    const auto one_more = hn::IfThenZeroElse(hn::Lt(rest, hn::BitCast(DI(), b)), one);
    const auto one_less = hn::IfThenElseZero(hn::Lt(rest, hn::Zero(DI())), one);
    return hn::BitCast(d, hn::Sub(hn::Add(near, one_more), one_less));
}

template <class Sample>
struct lane_math {
    using number = lane_number<Sample>;
    using condition = lane_condition<Sample>;
    using D = DW<Sample>;

    static constexpr bool real = false;
    static constexpr int bits = 8 * sizeof(Sample);
    static constexpr hwy::MakeWide<Sample> full_scale = static_cast<Sample>(~Sample{0});

    static HWY_INLINE number set(hwy::MakeWide<Sample> x) { return {hn::Set(D(), x)}; }
    static HWY_INLINE number zero() { return {hn::Zero(D())}; }
    static HWY_INLINE number full() { return set(full_scale); }
    static HWY_INLINE number half() { return set(full_scale / 2 + 1); }
    static HWY_INLINE number quarter() { return set(full_scale / 4 + 1); }
    static HWY_INLINE number above() { return set(full_scale + 1); }
    static HWY_INLINE number twice_above_less_one() { return set(2 * full_scale + 1); }
    static HWY_INLINE number choose(condition c, number a, number b) {
        return {hn::IfThenElse(c.mask, a.lanes, b.lanes)};
    }
    static HWY_INLINE number halved(number x) { return {hn::ShiftRight<1>(x.lanes)}; }
    static HWY_INLINE number quotient(number a, number b) { return {divide(D(), a.lanes, b.lanes, Sample{})}; }
    static HWY_INLINE number over_above(number x) { return {hn::ShiftRight<bits>(x.lanes)}; }

    // For x up to full * full = (2^n - 1)^2. Be x = full * q + r with r < full, so x = 2^n * q + (r - q), and q <=
    // full. The high half of x is q where r >= q, else q - 1; added to x with 1 more where r >= q, it gives 2^n * q + r
    // + 1 or 2^n * q + r: either way the high half is q.
    static HWY_INLINE number over_full(number x) { return over_above(x + over_above(x) + set(1)); }

    // Twice the quotient, and 1 more where twice the remainder reaches full scale, which is odd.
    static HWY_INLINE number twice_over_full(number x) {
        const number q = over_full(x);
        const number rest = x - q * full();
        return choose(rest >= half(), q + q + set(1), q + q);
    }
};

// Samples [part * lanes of a float vector, ...) of a vector of numbers, as floats.
template <unsigned part, class D>
HWY_INLINE VF floats(D d, hn::Vec<D> numbers) {
    if constexpr (sizeof(hn::TFromD<D>) == 4) {
        return hn::ConvertTo(DF(), hn::BitCast(DI(), numbers));
    } else {
        const hn::Half<D> half;
        (void)d;
        if constexpr (part == 0)
            return hn::ConvertTo(DF(), hn::PromoteTo(DI(), hn::LowerHalf(half, numbers)));
        else
            return hn::ConvertTo(DF(), hn::PromoteTo(DI(), hn::UpperHalf(half, numbers)));
    }
}

template <class Sample>
struct mixing {
    VF to_unit, opacity;
    hn::Vec<DS<Sample>> alpha;        // all bits of alpha samples
    hn::Vec<DS<Sample>> raised_alpha; // the same where the alpha rule applies, else none
};

template <unsigned part, class Sample>
HWY_INLINE void mix(Sample* destination, const Sample* source, hn::Vec<DW<Sample>> d, hn::Vec<DW<Sample>> s,
                    hn::Vec<DW<Sample>> blended, const mixing<Sample>& m) {
    const DS<Sample> ds;
    const DW<Sample> dw;
    const std::size_t at = part * hn::Lanes(DF());
    // A pixel is one block of four lanes.
    const VF weight = hn::Mul(hn::Mul(hn::Broadcast<3>(floats<part>(dw, s)), m.to_unit), m.opacity);
    const VF rest = hn::Sub(hn::Set(DF(), 1.0f), weight);
    const VF sum = hn::Add(hn::Mul(floats<part>(dw, d), rest), hn::Mul(floats<part>(dw, blended), weight));
    const auto colour = hn::DemoteTo(ds, hn::ConvertTo(DI(), sum));
    const auto old = hn::LoadU(ds, destination + at);
    const auto alpha = hn::Max(old, hn::And(hn::LoadU(ds, source + at), m.raised_alpha));
    hn::StoreU(hn::IfVecThenElse(m.alpha, alpha, colour), ds, destination + at);
}

template <class Sample, class Mode>
HWY_INLINE void blend_vector(Sample* destination, const Sample* source, const mixing<Sample>& m) {
    const DW<Sample> dw;
    const hn::Rebind<Sample, DW<Sample>> narrow;
    const auto d = hn::PromoteTo(dw, hn::LoadU(narrow, destination));
    const auto s = hn::PromoteTo(dw, hn::LoadU(narrow, source));
    const auto blended = Mode::template apply<lane_math<Sample>>(lane_number<Sample>{d}, lane_number<Sample>{s}).lanes;
    mix<0>(destination, source, d, s, blended, m);
    if constexpr (sizeof(Sample) == 1) mix<1>(destination, source, d, s, blended, m);
}

template <class Format, class Mode>
void blend_rows(const blit_job& job, row_range rows) {
    using sample = typename Format::sample;
    constexpr std::uint64_t n = 4;
    constexpr std::size_t most_lanes = hn::MaxLanes(DW<sample>());
    const std::size_t lanes = hn::Lanes(DW<sample>());

    sample alpha[most_lanes] = {}, raised[most_lanes] = {};
    for (std::size_t i = n - 1; i < lanes; i += n) {
        alpha[i] = Format::full;
        raised[i] = job.keep_alpha ? sample{0} : Format::full;
    }
    const mixing<sample> m{hn::Set(DF(), Format::to_unit), hn::Set(DF(), job.opacity), hn::LoadU(DS<sample>(), alpha),
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
bool blend(std::uint32_t mode, const blit_job& job, row_range rows) {
    #define ZARN_BLEND_ROWS(name) blend_rows<Format, name>,
    static constexpr blit_rows kernels[] = {ZARN_FOR_EACH_BLEND_MODE(ZARN_BLEND_ROWS)};
    #undef ZARN_BLEND_ROWS
    if (!(job.opacity >= 0.0f && job.opacity <= 1.0f)) return false;
    kernels[mode](job, rows);
    return true;
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
