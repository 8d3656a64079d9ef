#include "kernels/vector/rotate.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/pixel_word.h"
#include "kernels/store.h"

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

// Where the columns of a destination row lie in the source.
class row_positions {
public:
    explicit row_positions(const rotate_job& what)
        : job(what) {}

protected:
    struct span {
        std::uint32_t start, end;
    };
    // Columns with a position inside of the source, and those of them whose four pixels all are.
    struct row_spans {
        span inside, core;
    };

    const rotate_job& job;
    double y_sine, y_cosine;

    row_spans place_row(std::uint32_t row) {
        const double y = row + job.y_offset;
        y_sine = y * job.sine;
        y_cosine = y * job.cosine;
        const double width = job.source_width, height = job.source_height;
        constexpr double above_minus_one = -1.0 + 0x1p-53; // the double above -1
        const span inside = within({0, job.width}, above_minus_one, width, height);
        const span core = within(inside, 0.0, width - 1.0, height - 1.0);
        return {inside, core.start == core.end ? span{inside.end, inside.end} : core};
    }

    double x_at(std::uint32_t column) const { return (column + job.x_offset) * job.cosine + y_sine; }
    double y_at(std::uint32_t column) const { return y_cosine - (column + job.x_offset) * job.sine; }

private:
    // The columns of a span for which a condition holds that changes once at most. Every operation of a position rounds
    // monotonically, so that all conditions on positions are such.
    // `guess` is about where.
    template <class Condition>
    HWY_INLINE static void narrow(span& columns, double guess, Condition holds) {
        if (columns.start == columns.end) return;
        const bool at_start = holds(columns.start), at_end = holds(columns.end - 1);
        if (at_start && at_end) return;
        if (!at_start && !at_end) {
            columns.end = columns.start;
            return;
        }
        std::uint32_t low = columns.start, high = columns.end - 1; // the change lies between
        if (guess > low + 2.0 && guess < high - 2.0) {
            const auto near = static_cast<std::uint32_t>(guess);
            (holds(near - 1) == at_start ? low : high) = near - 1;
            (holds(near + 2) == at_start ? low : high) = near + 2;
        }
        while (high - low > 1) {
            const std::uint32_t middle = low + (high - low) / 2;
            (holds(middle) == at_start ? low : high) = middle;
        }
        (at_start ? columns.end : columns.start) = high;
    }

    // The columns whose positions lie in [lowest, width) x [lowest, height).
    HWY_INLINE span within(span columns, double lowest, double width, double height) const {
        const auto where_x = [this](double x) { return (x - y_sine) / job.cosine - job.x_offset; };
        const auto where_y = [this](double y) { return (y_cosine - y) / job.sine - job.x_offset; };
        narrow(columns, where_x(lowest), [&](std::uint32_t column) { return x_at(column) >= lowest; });
        narrow(columns, where_y(lowest), [&](std::uint32_t column) { return y_at(column) >= lowest; });
        narrow(columns, where_x(width), [&](std::uint32_t column) { return x_at(column) < width; });
        narrow(columns, where_y(height), [&](std::uint32_t column) { return y_at(column) < height; });
        return columns;
    }
};

template <class Format>
class kernel : row_positions {
public:
    explicit kernel(const rotate_job& what)
        : row_positions(what)
        , source(static_cast<const word*>(what.source)) {}

    void run_row(std::uint32_t row) {
        const auto [inside, core] = place_row(row);
        out = static_cast<word*>(job.destination) + std::uint64_t{row} * job.width;
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

    // Where a chunk's columns lie, and the pixels under them two by two.
    struct chunk_data {
        fraction at[chunk / lanes];
        HWY_ALIGN word upper[2 * chunk];
        HWY_ALIGN word lower[2 * chunk];
    };

    const word* source;
    word* out;

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

// Pixels of one sample or two, of at most 4 bytes: all is made as it is defined.
template <class Format>
class narrow_kernel : row_positions {
public:
    explicit narrow_kernel(const rotate_job& what)
        : row_positions(what)
        , source(static_cast<const std::uint8_t*>(what.source)) {}

    void run_row(std::uint32_t row) {
        const auto [inside, core] = place_row(row);
        out = static_cast<word*>(job.destination) + std::uint64_t{row} * job.width;
        std::fill(out, out + inside.start, word{0});
        for (std::uint32_t column = inside.start; column < core.start; ++column) mix_one(column);
        mix_core(core);
        for (std::uint32_t column = core.end; column < inside.end; ++column) mix_one(column);
        std::fill(out + inside.end, out + job.width, word{0});
    }

private:
    using sample = typename Format::sample;
    using word = pixel_word<Format>;
    using DW = hn::RebindToUnsigned<DI>;
    using VW = hn::Vec<DW>;
    using pair_word = typename word_of_bytes<2 * sizeof(word)>::type;
    static constexpr int word_bits = 8 * sizeof(word);
    static constexpr std::uint32_t chunk = 128; // destination columns that go through each step together

    // Where a chunk's columns lie, and the pixels under them two by two.
    struct chunk_data {
        fraction at[chunk / lanes];
        HWY_ALIGN pair_word upper[chunk];
        HWY_ALIGN pair_word lower[chunk];
    };

    const std::uint8_t* source;
    word* out;

    // One pixel, wherever it lies.
    void mix_one(std::uint32_t column) const {
        const double x = x_at(column), y = y_at(column);
        const auto x0 = static_cast<std::uint32_t>(x > 0.0 ? x : 0.0),
                   y0 = static_cast<std::uint32_t>(y > 0.0 ? y : 0.0);
        const std::uint64_t right = x0 + 1 < job.source_width ? 1 : 0;
        const std::uint64_t below = y0 + 1 < job.source_height ? job.source_width : 0;
        const std::uint64_t place = std::uint64_t{y0} * job.source_width + x0;
        sample p00[channels<Format>], p10[channels<Format>], p01[channels<Format>], p11[channels<Format>];
        const auto load = [this](std::uint64_t at, sample* pixel) {
            std::memcpy(pixel, source + at * sizeof(word), sizeof(word));
        };
        load(place, p00);
        load(place + right, p10);
        load(place + below, p01);
        load(place + below + right, p11);
        if (!is_visible<Format>(p00)) {
            std::memcpy(out + column, p00, sizeof(word));
            return;
        }
        const double fx = x - x0, fy = y - y0;
        const double w00 = (1.0 - fx) * (1.0 - fy), w10 = fx * (1.0 - fy), w01 = (1.0 - fx) * fy, w11 = fx * fy;
        const auto mix = [=](sample a, sample b, sample c, sample d) {
            return stored<Format>(w00 * a + w10 * b + w01 * c + w11 * d);
        };
        sample mixed[channels<Format>];
        mixed[0] = mix(p00[0], is_visible<Format>(p10) ? p10[0] : p00[0], is_visible<Format>(p01) ? p01[0] : p00[0],
                       is_visible<Format>(p11) ? p11[0] : p00[0]);
        if constexpr (Format::has_alpha) mixed[1] = mix(p00[1], p10[1], p01[1], p11[1]);
        std::memcpy(out + column, mixed, sizeof(word));
    }

    template <int Channel>
    HWY_INLINE static V sample_of(VW pixel) {
        const auto lowered = Channel == 0 ? pixel : hn::ShiftRight<Channel * 8 * sizeof(sample)>(pixel);
        if constexpr (channels<Format> == 1) return hn::PromoteTo(D(), hn::BitCast(DI(), pixel));
        return hn::PromoteTo(D(), hn::BitCast(DI(), hn::And(lowered, hn::Set(DW(), Format::full))));
    }

    HWY_INLINE static VW truncated(V mix) { return hn::BitCast(DW(), hn::DemoteTo(DI(), mix)); }

    // Two neighbours of each lane.
    struct neighbours {
        VW left, right;

        HWY_INLINE explicit neighbours(const pair_word* pairs) {
            const DW d;
            const hn::Rebind<pair_word, D> d_pair;
            const auto both = hn::Load(d_pair, pairs);
            if constexpr (sizeof(pair_word) == 8) {
                left = hn::TruncateTo(d, both);
                right = hn::TruncateTo(d, hn::ShiftRight<32>(both));
            } else {
                const VW wide = [&] {
                    if constexpr (sizeof(pair_word) == 4)
                        return both;
                    else
                        return hn::PromoteTo(d, both);
                }();
                left = hn::And(wide, hn::Set(d, (1u << word_bits % 32) - 1));
                right = hn::ShiftRight<word_bits % 32>(wide);
            }
        }
    };

    HWY_INLINE static VW mix(fraction f, neighbours upper, neighbours lower) {
        const corner_weights w(f);
        const VW p00 = upper.left, p10 = upper.right, p01 = lower.left, p11 = lower.right;
        if constexpr (!Format::has_alpha) {
            return truncated(w(sample_of<0>(p00), sample_of<0>(p10), sample_of<0>(p01), sample_of<0>(p11)));
        } else {
            constexpr int alpha_shift = 8 * sizeof(sample);
            const auto is_seen = [](VW p) HWY_ATTR { return hn::Ne(hn::ShiftRight<alpha_shift>(p), hn::Zero(DW())); };
            // Invisible neighbours lend the first pixel's colour.
            const auto colour = [&](VW p) HWY_ATTR { return sample_of<0>(hn::IfThenElse(is_seen(p), p, p00)); };
            const VW value = truncated(w(sample_of<0>(p00), colour(p10), colour(p01), colour(p11)));
            const VW alpha = truncated(w(sample_of<1>(p00), sample_of<1>(p10), sample_of<1>(p01), sample_of<1>(p11)));
            return hn::IfThenElse(is_seen(p00), hn::Or(value, hn::ShiftLeft<alpha_shift>(alpha)), p00);
        }
    }

    // Finds the pixels under columns all of whose four pixels are inside.
    HWY_INLINE void fetch(span columns, chunk_data& data) const {
        const D d;
        const std::uint8_t* const below = source + job.source_width * sizeof(word);
        const V last = hn::Set(d, columns.end - 1.0), line = hn::Set(d, static_cast<double>(job.source_width));
        for (std::uint32_t i = 0; i < columns.end - columns.start; i += lanes) {
            // Columns are whole numbers, so that the sum with the offset rounds once, as for a single pixel.
            const V column = hn::Min(hn::Add(hn::Iota(d, 0), hn::Set(d, columns.start + i)), last);
            const V x = hn::Add(column, hn::Set(d, job.x_offset));
            const V source_x = hn::Add(hn::Mul(x, hn::Set(d, job.cosine)), hn::Set(d, y_sine));
            const V source_y = hn::Sub(hn::Set(d, y_cosine), hn::Mul(x, hn::Set(d, job.sine)));
            const V x0 = hn::Trunc(source_x), y0 = hn::Trunc(source_y);
            data.at[i / lanes] = {hn::Sub(source_x, x0), hn::Sub(source_y, y0)};
            HWY_ALIGN std::int32_t place[lanes];
            hn::Store(hn::DemoteTo(DI(), hn::MulAdd(y0, line, x0)), DI(), place); // whole numbers
            for (std::uint32_t lane = 0; lane < lanes; ++lane) {
                const std::uint64_t at = static_cast<std::uint32_t>(place[lane]) * std::uint64_t{sizeof(word)};
                std::memcpy(data.upper + i + lane, source + at, sizeof(pair_word));
                std::memcpy(data.lower + i + lane, below + at, sizeof(pair_word));
            }
        }
    }

    HWY_INLINE void mix_core(span columns) const {
        const hn::Rebind<word, D> d_out;
        chunk_data data;
        for (std::uint32_t start = columns.start; start < columns.end; start += chunk) {
            const std::uint32_t count = std::min(chunk, columns.end - start);
            fetch({start, start + count}, data);
            for (std::uint32_t i = 0; i < count; i += lanes) {
                const VW wide = mix(data.at[i / lanes], neighbours(data.upper + i), neighbours(data.lower + i));
                const auto mixed = [&] {
                    if constexpr (sizeof(word) == 4)
                        return wide;
                    else
                        return hn::TruncateTo(d_out, wide);
                }();
                if (HWY_LIKELY(count - i >= lanes)) {
                    hn::StoreU(mixed, d_out, out + start + i);
                } else {
                    HWY_ALIGN word last[lanes];
                    hn::Store(mixed, d_out, last);
                    std::copy_n(last, count - i, out + start + i);
                }
            }
        }
    }
};

template <class Format>
bool rotate(const rotate_job& job, row_range rows) {
    // Places of pixels are signed 32-bit numbers.
    if (std::uint64_t{job.source_width} * job.source_height > INT32_MAX) return false;
    std::conditional_t<Format::colours == 1, narrow_kernel<Format>, kernel<Format>> all(job);
    for (std::uint32_t row = rows.start; row < rows.end; ++row) all.run_row(row);
    return true;
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(rotate_rows, rotate, format, (const rotate_job& job, row_range rows), (job, rows))
#define ZARN_FORMATS ZARN_FOR_EACH_TABULABLE_FORMAT
#include "kernels/vector/dispatch.inc"
