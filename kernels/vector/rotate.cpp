#include "kernels/vector/rotate.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/pixel_format.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/rotate.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool rotate_rgba_8(const rotate_job&, row_range) { return false; }

#else

namespace hn = hwy::HWY_NAMESPACE;

// A lane is a destination pixel.
using D = hn::ScalableTag<double>;
using DI = hn::Rebind<std::int32_t, D>;
using DU = hn::Rebind<std::uint32_t, D>;
using V = hn::Vec<D>;
using VU = hn::Vec<DU>;

// How far an estimate may be from the mix as it is defined. A fraction of the position and what it leaves of 1 are off
// by at most 2^-24 each in a 32-bit float, a weight by 2^-23, with the products' and the sums' roundings the mix of
// samples up to 255 by less than 255 * 2^-20.
constexpr float uncertainty = 0.0003f;

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

// The same lanes, twice as many at a time.
using DF = hn::ScalableTag<float>;
using DW = hn::RebindToUnsigned<DF>;
using VF = hn::Vec<DF>;
using VW = hn::Vec<DW>;

constexpr std::uint32_t lanes = HWY_LANES(double);
constexpr std::uint32_t pair_lanes = 2 * lanes;
constexpr std::uint32_t chunk = 128; // destination columns that go through each step together

HWY_INLINE VW join(VU low, VU high) { return hn::Combine(DW(), high, low); }

class kernel {
public:
    explicit kernel(const rotate_job& what)
        : job(what)
        , source(static_cast<const std::uint32_t*>(what.source)) {}

    void run(row_range rows) {
        for (std::uint32_t row = rows.start; row < rows.end; ++row) run_row(row);
    }

private:
    struct span {
        std::uint32_t start, end;
    };

    const rotate_job& job;
    const std::uint32_t* source;
    double y_sine, y_cosine;
    std::uint32_t* out;

    double x_at(std::uint32_t column) const { return (column + job.x_offset) * job.cosine + y_sine; }
    double y_at(std::uint32_t column) const { return y_cosine - (column + job.x_offset) * job.sine; }

    // The columns of a span for which a condition holds that changes once at most. Every operation of a position rounds
    // monotonically, so that all conditions on positions are such.
    template <class Condition>
    HWY_INLINE static void narrow(span& columns, Condition holds) {
        if (columns.start == columns.end) return;
        const bool at_start = holds(columns.start), at_end = holds(columns.end - 1);
        if (HWY_LIKELY(at_start && at_end)) return;
        if (!at_start && !at_end) {
            columns.end = columns.start;
            return;
        }
        std::uint32_t low = columns.start, high = columns.end - 1; // the change lies between
        while (high - low > 1) {
            const std::uint32_t middle = low + (high - low) / 2;
            (holds(middle) == at_start ? low : high) = middle;
        }
        (at_start ? columns.end : columns.start) = high;
    }

    // The columns whose positions lie in [lowest, width) x [lowest, height).
    HWY_INLINE span within(span columns, double lowest, double width, double height) const {
        narrow(columns, [&](std::uint32_t column) { return x_at(column) >= lowest; });
        narrow(columns, [&](std::uint32_t column) { return y_at(column) >= lowest; });
        narrow(columns, [&](std::uint32_t column) { return x_at(column) < width; });
        narrow(columns, [&](std::uint32_t column) { return y_at(column) < height; });
        return columns;
    }

    struct position {
        hn::Vec<DI> x0, y0;
        V fx, fy;
    };

    // Positions of as many columns as fill a vector; those outside of the source at its edge.
    HWY_INLINE position place(V columns) const {
        const D d;
        // Columns are whole numbers, so that the sum with the offset rounds once, as for a single pixel.
        const V x = hn::Add(columns, hn::Set(d, job.x_offset));
        const V source_x = hn::Add(hn::Mul(x, hn::Set(d, job.cosine)), hn::Set(d, y_sine));
        const V source_y = hn::Sub(hn::Set(d, y_cosine), hn::Mul(x, hn::Set(d, job.sine)));
        const auto x0 = hn::DemoteTo(DI(), hn::Max(source_x, hn::Zero(d)));
        const auto y0 = hn::DemoteTo(DI(), hn::Max(source_y, hn::Zero(d)));
        return {x0, y0, hn::Sub(source_x, hn::PromoteTo(d, x0)), hn::Sub(source_y, hn::PromoteTo(d, y0))};
    }

    HWY_INLINE static corner_weights weigh(const position& at) {
        const V one = hn::Set(D(), 1.0);
        const V gx = hn::Sub(one, at.fx), gy = hn::Sub(one, at.fy);
        return {hn::Mul(gx, gy), hn::Mul(at.fx, gy), hn::Mul(gx, at.fy), hn::Mul(at.fx, at.fy)};
    }

    // Any columns inside of the source.
    void run_edge(span columns) const {
        const DI di;
        const DU du;
        const auto last_column = hn::Set(di, static_cast<std::int32_t>(job.source_width - 1));
        const auto last_row = hn::Set(di, static_cast<std::int32_t>(job.source_height - 1));
        const auto line = hn::Set(di, static_cast<std::int32_t>(job.source_width));
        const VU alpha_mask = hn::Set(du, 0xFF000000u), nothing = hn::Zero(du);
        const V numbers = hn::Iota(D(), 0), last = hn::Set(D(), columns.end - 1.0);
        for (std::uint32_t column = columns.start; column < columns.end; column += lanes) {
            const position p = place(hn::Min(hn::Add(numbers, hn::Set(D(), column)), last));
            const auto at = hn::Add(hn::Mul(p.y0, line), p.x0);
            const auto right = hn::Add(at, hn::IfThenElseZero(hn::Lt(p.x0, last_column), hn::Set(di, 1)));
            const auto below = hn::IfThenElseZero(hn::Lt(p.y0, last_row), line);
            const VU p00 = hn::GatherIndex(du, source, at);
            const VU p10 = hn::GatherIndex(du, source, right);
            const VU p01 = hn::GatherIndex(du, source, hn::Add(at, below));
            const VU p11 = hn::GatherIndex(du, source, hn::Add(right, below));
            const corner_weights w = weigh(p);
            // Invisible neighbours lend the first pixel's colour.
            const auto colour_of = [&](VU pixel) {
                return hn::IfThenElse(hn::Eq(hn::And(pixel, alpha_mask), nothing), p00, pixel);
            };
            const VU c10 = colour_of(p10), c01 = colour_of(p01), c11 = colour_of(p11);
            const VU colour = hn::Or(mix<0>(w, p00, c10, c01, c11),
                                     hn::Or(mix<8>(w, p00, c10, c01, c11), mix<16>(w, p00, c10, c01, c11)));
            const VU mixed = hn::Or(colour, mix<24>(w, p00, p10, p01, p11));
            const VU result = hn::IfThenElse(hn::Eq(hn::And(p00, alpha_mask), nothing), p00, mixed);
            if (columns.end - column >= lanes) {
                hn::StoreU(result, du, out + column);
            } else {
                HWY_ALIGN std::uint32_t pixels[lanes];
                hn::Store(result, du, pixels);
                std::copy_n(pixels, columns.end - column, out + column);
            }
        }
    }

    // ---- Inside of the source, with all four pixels at hand --------------------------------------------------------

    // Four pixels of each lane, and what they weigh in both precisions.
    struct corners {
        VW p00, p10, p01, p11;
    };
    struct both_weights {
        corner_weights low, high; // of the first and the second half of the lanes
        VF w00, w10, w01, w11;
    };

    template <int Shift>
    HWY_INLINE static VF sample_of(VW pixels) {
        const VW byte =
            Shift == 24 ? hn::ShiftRight<24>(pixels) : hn::And(hn::ShiftRight<Shift>(pixels), hn::Set(DW(), 0xFF));
        return hn::ConvertTo(DF(), hn::BitCast(hn::RebindToSigned<DW>(), byte));
    }

    template <int Shift>
    HWY_INLINE static VW mix_exactly(const both_weights& w, const corners& c) {
        const auto low = [](VW v) { return hn::LowerHalf(DU(), v); };
        const auto high = [](VW v) { return hn::UpperHalf(DU(), v); };
        return join(mix<Shift>(w.low, low(c.p00), low(c.p10), low(c.p01), low(c.p11)),
                    mix<Shift>(w.high, high(c.p00), high(c.p10), high(c.p01), high(c.p11)));
    }

    // The mix of one sample, where it lies in its pixel.
    template <int Shift>
    HWY_INLINE static VW mix_fast(const both_weights& w, const corners& c) {
        const DF df;
        const DW dw;
        const VF half = hn::Set(df, 0.5f), magic = hn::Set(df, 12582912.0f); // 1.5 * 2^23
        VF sum = hn::MulSub(w.w00, sample_of<Shift>(c.p00), half);
        sum = hn::MulAdd(w.w10, sample_of<Shift>(c.p10), sum);
        sum = hn::MulAdd(w.w01, sample_of<Shift>(c.p01), sum);
        sum = hn::MulAdd(w.w11, sample_of<Shift>(c.p11), sum);
        // The sum less a half, rounded: the whole part of the sum, unless that is doubtful.
        const VF moved = hn::Add(sum, magic);
        const VF from_whole = hn::Abs(hn::Sub(sum, hn::Sub(moved, magic)));
        if (HWY_LIKELY(hn::AllFalse(df, hn::Gt(from_whole, hn::Set(df, 0.5f - uncertainty))))) {
            return hn::ShiftLeft<Shift>(hn::And(hn::BitCast(dw, moved), hn::Set(dw, 0xFF)));
        }
        return mix_exactly<Shift>(w, c);
    }

    // The alpha of opaque pixels: their weights may add up to a little less than 1.
    HWY_INLINE static VU opaque_alpha(const corner_weights& w) {
        const V full = hn::Set(D(), 255.0);
        V sum = hn::Mul(w.w00, full);
        sum = hn::Add(sum, hn::Mul(w.w10, full));
        sum = hn::Add(sum, hn::Mul(w.w01, full));
        sum = hn::Add(sum, hn::Mul(w.w11, full));
        return hn::ShiftLeft<24>(hn::BitCast(DU(), hn::DemoteTo(DI(), sum)));
    }

    // Positions of a chunk of columns, and the pixels under them two by two.
    struct chunk_data {
        HWY_ALIGN double fx[chunk];
        HWY_ALIGN double fy[chunk];
        HWY_ALIGN std::uint64_t upper[chunk];
        HWY_ALIGN std::uint64_t lower[chunk];
    };

    // Plain loads and stores: the instructions that gather take longer.
    HWY_INLINE void fetch(span columns, chunk_data& data) const {
        const D d;
        const auto line = hn::Set(DI(), static_cast<std::int32_t>(job.source_width));
        const V numbers = hn::Iota(d, 0), last = hn::Set(d, columns.end - 1.0);
        const std::uint32_t* const below = source + job.source_width;
        for (std::uint32_t i = 0; i < columns.end - columns.start; i += lanes) {
            const position p = place(hn::Min(hn::Add(numbers, hn::Set(d, columns.start + i)), last));
            hn::Store(p.fx, d, data.fx + i);
            hn::Store(p.fy, d, data.fy + i);
            HWY_ALIGN std::int32_t at[lanes];
            hn::Store(hn::Add(hn::Mul(p.y0, line), p.x0), DI(), at);
            for (std::uint32_t lane = 0; lane < lanes; ++lane) {
                std::memcpy(data.upper + i + lane, source + at[lane], sizeof(std::uint64_t));
                std::memcpy(data.lower + i + lane, below + at[lane], sizeof(std::uint64_t));
            }
        }
    }

    HWY_INLINE static void split(const std::uint64_t* pairs, VW& left, VW& right) {
        const DW dw;
        const auto* const words = reinterpret_cast<const std::uint32_t*>(pairs);
        const VW a = hn::Load(dw, words), b = hn::Load(dw, words + pair_lanes);
        left = hn::ConcatEven(dw, b, a);
        right = hn::ConcatOdd(dw, b, a);
    }

    HWY_INLINE static VW mix_pixels(const chunk_data& data, std::uint32_t i) {
        const D d;
        const DF df;
        const DW dw;
        const VW alpha_mask = hn::Set(dw, 0xFF000000u), nothing = hn::Zero(dw);
        const position low{{}, {}, hn::Load(d, data.fx + i), hn::Load(d, data.fy + i)};
        const position high{{}, {}, hn::Load(d, data.fx + i + lanes), hn::Load(d, data.fy + i + lanes)};
        const auto join_floats = [&](V first, V second) {
            const hn::Rebind<float, D> dh;
            return hn::Combine(df, hn::DemoteTo(dh, second), hn::DemoteTo(dh, first));
        };
        const VF fx = join_floats(low.fx, high.fx), fy = join_floats(low.fy, high.fy);
        const VF gx = hn::Sub(hn::Set(df, 1.0f), fx), gy = hn::Sub(hn::Set(df, 1.0f), fy);
        const both_weights w{weigh(low),      weigh(high),     hn::Mul(gx, gy),
                             hn::Mul(fx, gy), hn::Mul(gx, fy), hn::Mul(fx, fy)};
        corners c;
        split(data.upper + i, c.p00, c.p10);
        split(data.lower + i, c.p01, c.p11);
        const VW all = hn::And(hn::And(c.p00, c.p10), hn::And(c.p01, c.p11));
        if (HWY_LIKELY(hn::AllTrue(dw, hn::Eq(hn::And(all, alpha_mask), alpha_mask)))) {
            return hn::Or(join(opaque_alpha(w.low), opaque_alpha(w.high)),
                          hn::Or(mix_fast<0>(w, c), hn::Or(mix_fast<8>(w, c), mix_fast<16>(w, c))));
        }
        const auto is_visible = hn::Ne(hn::And(c.p00, alpha_mask), nothing);
        if (hn::AllFalse(dw, is_visible)) return c.p00;
        // Invisible neighbours lend the first pixel's colour.
        const auto colour_of = [&](VW p) { return hn::IfThenElse(hn::Eq(hn::And(p, alpha_mask), nothing), c.p00, p); };
        const corners colours{c.p00, colour_of(c.p10), colour_of(c.p01), colour_of(c.p11)};
        const VW mixed = hn::Or(hn::Or(mix_fast<0>(w, colours), mix_fast<8>(w, colours)),
                                hn::Or(mix_fast<16>(w, colours), mix_exactly<24>(w, c)));
        return hn::IfThenElse(is_visible, mixed, c.p00);
    }

    void run_core(span columns) const {
        chunk_data data;
        for (std::uint32_t start = columns.start; start < columns.end; start += chunk) {
            const std::uint32_t count = std::min(chunk, columns.end - start);
            fetch({start, start + count}, data);
            const std::uint32_t whole = count / pair_lanes * pair_lanes;
            for (std::uint32_t i = 0; i < whole; i += pair_lanes) {
                hn::StoreU(mix_pixels(data, i), DW(), out + start + i);
            }
            if (whole == count) continue;
            HWY_ALIGN std::uint32_t pixels[pair_lanes];
            hn::Store(mix_pixels(data, whole), DW(), pixels);
            std::copy_n(pixels, count - whole, out + start + whole);
        }
    }

    HWY_INLINE void run_row(std::uint32_t row) {
        const double y = row + job.y_offset;
        y_sine = y * job.sine;
        y_cosine = y * job.cosine;
        out = static_cast<std::uint32_t*>(job.destination) + std::uint64_t{row} * job.width;
        const double width = job.source_width, height = job.source_height;
        constexpr double above_minus_one = -1.0 + 0x1p-53; // the double above -1
        const span inside = within({0, job.width}, above_minus_one, width, height);
        span core = within(inside, 0.0, width - 1.0, height - 1.0);
        if (core.start == core.end) core = {inside.end, inside.end};
        std::fill(out, out + inside.start, 0u);
        run_edge({inside.start, core.start});
        run_core(core);
        run_edge({core.end, inside.end});
        std::fill(out + inside.end, out + job.width, 0u);
    }
};

bool rotate_rgba_8(const rotate_job& job, row_range rows) {
    // Indices are signed 32-bit numbers.
    if (std::uint64_t{job.source_width} * job.source_height > INT32_MAX) return false;
    #if HWY_IS_BIG_ENDIAN
    return false;
    #endif
    kernel(job).run(rows);
    return true;
}

#endif

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(rotate_rgba_8);

template <>
bool rotate_rows<rgba_8>(const rotate_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(rotate_rgba_8)(job, rows);
}

} // namespace zarn::vector
#endif
