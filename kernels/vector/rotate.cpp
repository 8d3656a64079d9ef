#include "kernels/vector/rotate.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/vector/pixel_word.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/rotate.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {
// Other sources have kernels of the same names.
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128 || HWY_IS_BIG_ENDIAN

template <class Format>
bool rotate(const rotate_job&, row_range) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// A lane is a destination pixel.
using D = hn::ScalableTag<double>;
using DI = hn::Rebind<std::int32_t, D>;
using V = hn::Vec<D>;

constexpr std::uint32_t lanes = HWY_LANES(double);
constexpr std::uint32_t prefetch_distance = 512; // bytes

// Where pixels lie between the four that they are mixed from.
struct fraction {
    V x, y;
};

struct corner_weights {
    V w00, w10, w01, w11;

    HWY_INLINE explicit corner_weights(fraction f) {
        const V one = hn::Set(D(), 1.0);
        const V gx = hn::Sub(one, f.x), gy = hn::Sub(one, f.y);
        w00 = hn::Mul(gx, gy);
        w10 = hn::Mul(f.x, gy);
        w01 = hn::Mul(gx, f.y);
        w11 = hn::Mul(f.x, f.y);
    }

    // As the mix is defined, but for the truncation.
    HWY_INLINE V operator()(V s00, V s10, V s01, V s11) const {
        V sum = hn::Mul(w00, s00);
        sum = hn::Add(sum, hn::Mul(w10, s10));
        sum = hn::Add(sum, hn::Mul(w01, s01));
        return hn::Add(sum, hn::Mul(w11, s11));
    }
};

// Four pixels of each lane.
template <class D_>
struct corners {
    using Vec = hn::Vec<D_>;
    Vec p00, p10, p01, p11;

    // Two neighbours side by side, upper and lower ones, for as many pixels as there are lanes.
    HWY_INLINE corners(const hn::TFromD<D_>* upper, const hn::TFromD<D_>* lower) {
        const D_ d;
        const std::size_t count = hn::Lanes(d);
        p00 = hn::ConcatEven(d, hn::Load(d, upper + count), hn::Load(d, upper));
        p10 = hn::ConcatOdd(d, hn::Load(d, upper + count), hn::Load(d, upper));
        p01 = hn::ConcatEven(d, hn::Load(d, lower + count), hn::Load(d, lower));
        p11 = hn::ConcatOdd(d, hn::Load(d, lower + count), hn::Load(d, lower));
    }

    HWY_INLINE Vec in_all() const { return hn::And(hn::And(p00, p10), hn::And(p01, p11)); }

    // Invisible neighbours lend the first pixel's colour.
    HWY_INLINE corners colours(Vec alpha) const {
        const D_ d;
        const auto colour_of = [&](Vec p) { return hn::IfThenElse(hn::Eq(hn::And(p, alpha), hn::Zero(d)), p00, p); };
        corners result = *this;
        result.p10 = colour_of(p10);
        result.p01 = colour_of(p01);
        result.p11 = colour_of(p11);
        return result;
    }
};

template <class Format>
struct mixer;

template <>
struct mixer<rgba_16> {
    using D_ = hn::ScalableTag<std::uint64_t>;
    using Vec = hn::Vec<D_>;
    static constexpr std::uint32_t pixels = lanes;      // at a time
    static constexpr double magic = 6755399441055744.0; // 1.5 * 2^52: leaves a whole number in a double's low bits

    template <int Shift>
    HWY_INLINE static V sample_of(Vec p) {
        const D_ d;
        const V offset = hn::Set(D(), 4503599627370496.0); // 2^52
        const Vec sample = hn::And(hn::ShiftRight<Shift>(p), hn::Set(d, 0xFFFF));
        return hn::Sub(hn::BitCast(D(), hn::Or(sample, hn::BitCast(d, offset))), offset);
    }

    // The low bits of the truncated mix, where the sample lies in its pixel.
    template <int Shift>
    HWY_INLINE static Vec mix_sample(const corner_weights& w, const corners<D_>& c) {
        const V sum =
            w(sample_of<Shift>(c.p00), sample_of<Shift>(c.p10), sample_of<Shift>(c.p01), sample_of<Shift>(c.p11));
        const V moved = hn::Add(hn::Trunc(sum), hn::Set(D(), magic));
        return hn::ShiftLeft<Shift>(hn::And(hn::BitCast(D_(), moved), hn::Set(D_(), 0xFFFF)));
    }

    template <bool AreWithin>
    HWY_INLINE static Vec mix(const fraction* f, const corners<D_>& c) {
        const D_ d;
        const Vec alpha = hn::Set(d, std::uint64_t{0xFFFF} << 48);
        const corner_weights w(*f);
        const auto is_visible = hn::Ne(hn::And(c.p00, alpha), hn::Zero(d));
        const corners<D_> colours = c.colours(alpha);
        const Vec mixed = hn::Or(hn::Or(mix_sample<0>(w, colours), mix_sample<16>(w, colours)),
                                 hn::Or(mix_sample<32>(w, colours), mix_sample<48>(w, c)));
        return hn::IfThenElse(is_visible, mixed, c.p00);
    }
};

// A sample is first estimated in 32-bit floats, and made as it is defined where the estimate lies close to a whole
// number.
template <>
struct mixer<rgba_8> {
    using D_ = hn::ScalableTag<std::uint32_t>;
    using DF = hn::RebindToFloat<D_>;
    using DH = hn::Half<D_>;
    using Vec = hn::Vec<D_>;
    using VF = hn::Vec<DF>;
    static constexpr std::uint32_t pixels = 2 * lanes;

    // How far an estimate may be from the mix as it is defined. A fraction of the position and what it leaves of 1 are
    // off by at most 2^-24 each in a 32-bit float, a weight by 2^-23, with the products' and the sums' roundings the
    // mix of samples up to 255 by less than 255 * 2^-20. So it is inside of the source, where weights are no less than
    // 0.
    static constexpr float uncertainty = 0.0003f;

    // What the pixels weigh in both precisions.
    struct weights {
        corner_weights first, second; // halves of the lanes
        VF w00, w10, w01, w11;

        HWY_INLINE explicit weights(const fraction* f)
            : first(f[0])
            , second(f[1]) {
            const DF d;
            const hn::Rebind<float, D> dh;
            const VF x = hn::Combine(d, hn::DemoteTo(dh, f[1].x), hn::DemoteTo(dh, f[0].x));
            const VF y = hn::Combine(d, hn::DemoteTo(dh, f[1].y), hn::DemoteTo(dh, f[0].y));
            const VF gx = hn::Sub(hn::Set(d, 1.0f), x), gy = hn::Sub(hn::Set(d, 1.0f), y);
            w00 = hn::Mul(gx, gy);
            w10 = hn::Mul(x, gy);
            w01 = hn::Mul(gx, y);
            w11 = hn::Mul(x, y);
        }
    };

    template <int Shift>
    HWY_INLINE static hn::Vec<hn::RebindToSigned<D_>> sample_of(Vec p) {
        return hn::BitCast(hn::RebindToSigned<D_>(), hn::And(hn::ShiftRight<Shift>(p), hn::Set(D_(), 0xFF)));
    }

    // The low bits of the truncated mix, where the sample lies in its pixel.
    template <int Shift>
    HWY_INLINE static Vec mix_exactly(const weights& w, const corners<D_>& c) {
        const auto s00 = sample_of<Shift>(c.p00), s10 = sample_of<Shift>(c.p10);
        const auto s01 = sample_of<Shift>(c.p01), s11 = sample_of<Shift>(c.p11);
        const auto first = [](auto v) { return hn::PromoteTo(D(), hn::LowerHalf(DI(), v)); };
        const auto second = [](auto v) { return hn::PromoteTo(D(), hn::UpperHalf(DI(), v)); };
        return pack<Shift>(w.first(first(s00), first(s10), first(s01), first(s11)),
                           w.second(second(s00), second(s10), second(s01), second(s11)));
    }

    template <int Shift>
    HWY_INLINE static Vec pack(V first, V second) {
        const auto whole = hn::Combine(hn::RebindToSigned<D_>(), hn::DemoteTo(DI(), second), hn::DemoteTo(DI(), first));
        return hn::ShiftLeft<Shift>(hn::And(hn::BitCast(D_(), whole), hn::Set(D_(), 0xFF)));
    }

    template <int Shift>
    HWY_INLINE static Vec mix_estimated(const weights& w, const corners<D_>& c) {
        const DF d;
        const VF half = hn::Set(d, 0.5f), magic = hn::Set(d, 12582912.0f); // 1.5 * 2^23
        VF sum = hn::MulSub(w.w00, hn::ConvertTo(d, sample_of<Shift>(c.p00)), half);
        sum = hn::MulAdd(w.w10, hn::ConvertTo(d, sample_of<Shift>(c.p10)), sum);
        sum = hn::MulAdd(w.w01, hn::ConvertTo(d, sample_of<Shift>(c.p01)), sum);
        sum = hn::MulAdd(w.w11, hn::ConvertTo(d, sample_of<Shift>(c.p11)), sum);
        // The sum less a half, rounded: the whole part of the sum, unless that is doubtful.
        const VF moved = hn::Add(sum, magic);
        const VF from_whole = hn::Abs(hn::Sub(sum, hn::Sub(moved, magic)));
        if (HWY_LIKELY(hn::AllFalse(d, hn::Gt(from_whole, hn::Set(d, 0.5f - uncertainty))))) {
            return hn::ShiftLeft<Shift>(hn::And(hn::BitCast(D_(), moved), hn::Set(D_(), 0xFF)));
        }
        return mix_exactly<Shift>(w, c);
    }

    template <bool AreWithin>
    HWY_INLINE static Vec mix(const fraction* f, const corners<D_>& c) {
        const D_ d;
        const Vec alpha = hn::Set(d, 0xFF000000u);
        const weights w(f);
        if (HWY_LIKELY(AreWithin && hn::AllTrue(d, hn::Eq(hn::And(c.in_all(), alpha), alpha)))) {
            // The weights may add up to a little less than 1, so that full alpha has to be made exactly too.
            const V full = hn::Set(D(), 255.0);
            return hn::Or(hn::Or(mix_estimated<0>(w, c), mix_estimated<8>(w, c)),
                          hn::Or(mix_estimated<16>(w, c),
                                 pack<24>(w.first(full, full, full, full), w.second(full, full, full, full))));
        }
        const auto is_visible = hn::Ne(hn::And(c.p00, alpha), hn::Zero(d));
        if (hn::AllFalse(d, is_visible)) return c.p00;
        const corners<D_> colours = c.colours(alpha);
        Vec mixed = mix_exactly<24>(w, c);
        if constexpr (AreWithin) {
            mixed = hn::Or(hn::Or(mixed, mix_estimated<0>(w, colours)),
                           hn::Or(mix_estimated<8>(w, colours), mix_estimated<16>(w, colours)));
        } else {
            mixed = hn::Or(hn::Or(mixed, mix_exactly<0>(w, colours)),
                           hn::Or(mix_exactly<8>(w, colours), mix_exactly<16>(w, colours)));
        }
        return hn::IfThenElse(is_visible, mixed, c.p00);
    }
};

template <class Format>
class kernel {
public:
    explicit kernel(const rotate_job& what)
        : job(what)
        , source(static_cast<const word*>(what.source)) {}

    void run_row(std::uint32_t row) {
        const double y = row + job.y_offset;
        y_sine = y * job.sine;
        y_cosine = y * job.cosine;
        out = static_cast<word*>(job.destination) + std::uint64_t{row} * job.width;
        const double width = job.source_width, height = job.source_height;
        constexpr double above_minus_one = -1.0 + 0x1p-53; // the double above -1
        const span inside = within({0, job.width}, above_minus_one, width, height);
        span core = within(inside, 0.0, width - 1.0, height - 1.0);
        if (core.start == core.end) core = {inside.end, inside.end};
        std::fill(out, out + inside.start, word{0});
        mix_span<false>({inside.start, core.start});
        mix_span<true>(core);
        mix_span<false>({core.end, inside.end});
        std::fill(out + inside.end, out + job.width, word{0});
    }

private:
    using word = pixel_word<Format>;
    using mixing = mixer<Format>;
    static constexpr std::uint32_t chunk = 128; // destination columns that go through each step together

    struct span {
        std::uint32_t start, end;
    };

    // Where a chunk's columns lie, and the pixels under them two by two.
    struct chunk_data {
        fraction at[chunk / lanes];
        HWY_ALIGN word upper[2 * chunk];
        HWY_ALIGN word lower[2 * chunk];
    };

    const rotate_job& job;
    const word* source;
    double y_sine, y_cosine;
    word* out;

    double x_at(std::uint32_t column) const { return (column + job.x_offset) * job.cosine + y_sine; }
    double y_at(std::uint32_t column) const { return y_cosine - (column + job.x_offset) * job.sine; }

    // The columns of a span for which a condition holds that changes once at most. Every operation of a position rounds
    // monotonically, so that all conditions on positions are such.
    template <class Condition>
    HWY_INLINE static void narrow(span& columns, Condition holds) {
        if (columns.start == columns.end) return;
        const bool at_start = holds(columns.start), at_end = holds(columns.end - 1);
        if (at_start && at_end) return;
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

    // Plain loads and stores of pixels: the instructions that gather take longer.
    template <bool AreWithin>
    HWY_INLINE void fetch(span columns, chunk_data& data) const {
        const D d;
        const auto line = hn::Set(DI(), static_cast<std::int32_t>(job.source_width));
        const V numbers = hn::Iota(d, 0), last = hn::Set(d, columns.end - 1.0);
        const word* const below = source + job.source_width;
        const std::uint32_t count =
            (columns.end - columns.start + mixing::pixels - 1) / mixing::pixels * mixing::pixels;
        for (std::uint32_t i = 0; i < count; i += lanes) {
            // Columns are whole numbers, so that the sum with the offset rounds once, as for a single pixel.
            const V column = hn::Min(hn::Add(numbers, hn::Set(d, columns.start + i)), last);
            const V x = hn::Add(column, hn::Set(d, job.x_offset));
            const V source_x = hn::Add(hn::Mul(x, hn::Set(d, job.cosine)), hn::Set(d, y_sine));
            const V source_y = hn::Sub(hn::Set(d, y_cosine), hn::Mul(x, hn::Set(d, job.sine)));
            // Coordinates in (-1, 0) count as column or row 0 and extrapolate.
            const auto x0 = hn::DemoteTo(DI(), hn::Max(source_x, hn::Zero(d)));
            const auto y0 = hn::DemoteTo(DI(), hn::Max(source_y, hn::Zero(d)));
            data.at[i / lanes] = {hn::Sub(source_x, hn::PromoteTo(d, x0)), hn::Sub(source_y, hn::PromoteTo(d, y0))};
            HWY_ALIGN std::int32_t place[lanes];
            hn::Store(hn::Add(hn::Mul(y0, line), x0), DI(), place);
            if constexpr (AreWithin) {
                for (std::uint32_t lane = 0; lane < lanes; ++lane) {
                    std::memcpy(data.upper + 2 * (i + lane), source + place[lane], 2 * sizeof(word));
                    std::memcpy(data.lower + 2 * (i + lane), below + place[lane], 2 * sizeof(word));
                }
            } else {
                HWY_ALIGN std::int32_t column_at[lanes], row_at[lanes];
                hn::Store(x0, DI(), column_at);
                hn::Store(y0, DI(), row_at);
                for (std::uint32_t lane = 0; lane < lanes; ++lane) {
                    const auto x1 = static_cast<std::uint32_t>(column_at[lane]) + 1;
                    const auto y1 = static_cast<std::uint32_t>(row_at[lane]) + 1;
                    const word* const upper = source + place[lane];
                    const word* const lower = upper + (y1 < job.source_height ? job.source_width : 0);
                    const std::uint32_t right = x1 < job.source_width ? 1 : 0;
                    word* const to_upper = data.upper + 2 * (i + lane);
                    word* const to_lower = data.lower + 2 * (i + lane);
                    to_upper[0] = upper[0];
                    to_upper[1] = upper[right];
                    to_lower[0] = lower[0];
                    to_lower[1] = lower[right];
                }
            }
        }
    }

    // Columns inside of the source; `AreWithin` tells that all four pixels are, so that nothing is extrapolated.
    template <bool AreWithin>
    HWY_INLINE void mix_span(span columns) const {
        const typename mixing::D_ d;
        chunk_data data;
        for (std::uint32_t start = columns.start; start < columns.end; start += chunk) {
            const std::uint32_t count = std::min(chunk, columns.end - start);
            fetch<AreWithin>({start, start + count}, data);
            for (std::uint32_t i = 0; i < count; i += mixing::pixels) {
                const corners<typename mixing::D_> c(data.upper + 2 * i, data.lower + 2 * i);
                const auto mixed = mixing::template mix<AreWithin>(data.at + i / lanes, c);
                hwy::Prefetch(out + start + i + prefetch_distance / sizeof(word)); // stores would wait for their lines
                if (HWY_LIKELY(count - i >= mixing::pixels)) {
                    hn::StoreU(mixed, d, out + start + i);
                } else {
                    HWY_ALIGN word last[mixing::pixels];
                    hn::Store(mixed, d, last);
                    std::copy_n(last, count - i, out + start + i);
                }
            }
        }
    }
};

template <class Format>
bool rotate(const rotate_job& job, row_range rows) {
    // Indices are signed 32-bit numbers.
    if (std::uint64_t{job.source_width} * job.source_height > INT32_MAX) return false;
    kernel<Format> all(job);
    for (std::uint32_t row = rows.start; row < rows.end; ++row) all.run_row(row);
    return true;
}

#endif

} // namespace

// Dispatch takes functions, not templates.
bool rotate_rgba_8(const rotate_job& job, row_range rows) { return rotate<rgba_8>(job, rows); }
bool rotate_rgba_16(const rotate_job& job, row_range rows) { return rotate<rgba_16>(job, rows); }

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(rotate_rgba_8);
HWY_EXPORT(rotate_rgba_16);

template <>
bool rotate_rows<rgba_8>(const rotate_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(rotate_rgba_8)(job, rows);
}

template <>
bool rotate_rows<rgba_16>(const rotate_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(rotate_rgba_16)(job, rows);
}

} // namespace zarn::vector
#endif
