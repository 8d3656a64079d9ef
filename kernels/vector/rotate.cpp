#include "kernels/vector/rotate.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/rotate.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool rotate(const rotate_job&, row_range) { return false; }

#else

namespace hn = hwy::HWY_NAMESPACE;

// A lane is a destination pixel.
using D = hn::ScalableTag<double>;
using DI = hn::Rebind<std::int32_t, D>;
using DU = hn::Rebind<std::uint32_t, D>;
using V = hn::Vec<D>;
using VU = hn::Vec<DU>;

// One sample of every pixel as a double; samples lie at multiples of 8 bits.
template <int Shift>
HWY_INLINE V sample(VU pixels) {
    const VU byte = hn::And(hn::ShiftRight<Shift>(pixels), hn::Set(DU(), 0xFF));
    return hn::PromoteTo(D(), hn::BitCast(DI(), byte));
}

struct corner_weights {
    V w00, w10, w01, w11;
};

// The low bits of the truncated mix, where the sample lies in its pixel.
template <int Shift>
HWY_INLINE VU mix(const corner_weights& w, VU p00, VU p10, VU p01, VU p11) {
    V sum = hn::Mul(w.w00, sample<Shift>(p00));
    sum = hn::Add(sum, hn::Mul(w.w10, sample<Shift>(p10)));
    sum = hn::Add(sum, hn::Mul(w.w01, sample<Shift>(p01)));
    sum = hn::Add(sum, hn::Mul(w.w11, sample<Shift>(p11)));
    const VU whole = hn::BitCast(DU(), hn::DemoteTo(DI(), sum));
    return hn::ShiftLeft<Shift>(hn::And(whole, hn::Set(DU(), 0xFF)));
}

bool rotate(const rotate_job& job, row_range rows) {
    // Indices are signed 32-bit numbers.
    if (std::uint64_t{job.source_width} * job.source_height > INT32_MAX) return false;
    #if HWY_IS_BIG_ENDIAN
    return false;
    #endif
    const D d;
    const DI di;
    const DU du;
    const auto* source = static_cast<const std::uint32_t*>(job.source);
    const V width = hn::Set(d, job.source_width), height = hn::Set(d, job.source_height);
    const V cosine = hn::Set(d, job.cosine), sine = hn::Set(d, job.sine);
    const V one = hn::Set(d, 1.0), minus_one = hn::Set(d, -1.0), zero = hn::Zero(d);
    const auto last_column = hn::Set(di, static_cast<std::int32_t>(job.source_width - 1));
    const auto last_row = hn::Set(di, static_cast<std::int32_t>(job.source_height - 1));
    const auto line = hn::Set(di, static_cast<std::int32_t>(job.source_width));
    const VU alpha_mask = hn::Set(du, 0xFF000000u), nothing = hn::Zero(du);
    const std::uint32_t lanes = static_cast<std::uint32_t>(hn::Lanes(d));

    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        auto* out = static_cast<std::uint32_t*>(job.destination) + std::uint64_t{row} * job.width;
        const double y = row + job.y_offset;
        const V y_sine = hn::Set(d, y * job.sine), y_cosine = hn::Set(d, y * job.cosine);
        for (std::uint32_t column = 0; column < job.width; column += lanes) {
            // Columns are whole numbers, so that the sum with the offset rounds once, as for a single pixel.
            const V x = hn::Add(hn::Iota(d, column), hn::Set(d, job.x_offset));
            const V source_x = hn::Add(hn::Mul(x, cosine), y_sine);
            const V source_y = hn::Sub(y_cosine, hn::Mul(x, sine));
            const auto inside = hn::And(hn::And(hn::Gt(source_x, minus_one), hn::Lt(source_x, width)),
                                        hn::And(hn::Gt(source_y, minus_one), hn::Lt(source_y, height)));
            VU result = nothing;
            if (!hn::AllFalse(d, inside)) {
                const auto x0 = hn::DemoteTo(di, hn::IfThenElseZero(inside, hn::Max(source_x, zero)));
                const auto y0 = hn::DemoteTo(di, hn::IfThenElseZero(inside, hn::Max(source_y, zero)));
                const auto at = hn::Add(hn::Mul(y0, line), x0);
                const auto right = hn::Add(at, hn::IfThenElseZero(hn::Lt(x0, last_column), hn::Set(di, 1)));
                const auto below = hn::IfThenElseZero(hn::Lt(y0, last_row), line);
                const VU p00 = hn::GatherIndex(du, source, at);
                const VU p10 = hn::GatherIndex(du, source, right);
                const VU p01 = hn::GatherIndex(du, source, hn::Add(at, below));
                const VU p11 = hn::GatherIndex(du, source, hn::Add(right, below));

                const V fx = hn::Sub(source_x, hn::PromoteTo(d, x0)), fy = hn::Sub(source_y, hn::PromoteTo(d, y0));
                const V gx = hn::Sub(one, fx), gy = hn::Sub(one, fy);
                const corner_weights w{hn::Mul(gx, gy), hn::Mul(fx, gy), hn::Mul(gx, fy), hn::Mul(fx, fy)};

                // Invisible neighbours lend the first pixel's colour.
                const auto colour_of = [&](VU p) {
                    return hn::IfThenElse(hn::Eq(hn::And(p, alpha_mask), nothing), p00, p);
                };
                const VU c10 = colour_of(p10), c01 = colour_of(p01), c11 = colour_of(p11);
                const VU colour = hn::Or(mix<0>(w, p00, c10, c01, c11),
                                         hn::Or(mix<8>(w, p00, c10, c01, c11), mix<16>(w, p00, c10, c01, c11)));
                const VU mixed = hn::Or(colour, mix<24>(w, p00, p10, p01, p11));
                result = hn::IfThenElse(hn::Eq(hn::And(p00, alpha_mask), nothing), p00, mixed);
                const auto inside_pixels =
                    hn::RebindMask(du, hn::Ne(hn::DemoteTo(di, hn::IfThenElseZero(inside, one)), hn::Zero(di)));
                result = hn::IfThenElseZero(inside_pixels, result);
            }
            if (column + lanes <= job.width) {
                hn::StoreU(result, du, out + column);
            } else {
                HWY_ALIGN std::uint32_t last[HWY_LANES(double)];
                hn::Store(result, du, last);
                std::copy_n(last, job.width - column, out + column);
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

HWY_EXPORT(rotate);

bool rotate_rgba_8(const rotate_job& job, row_range rows) { return HWY_DYNAMIC_DISPATCH(rotate)(job, rows); }

} // namespace zarn::vector
#endif
