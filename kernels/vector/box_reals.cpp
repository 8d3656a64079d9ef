// The box passes of real formats.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/vector/box_blur.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/box_reals.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "kernels/vector/real_samples-inl.h"

// Running sums in doubles, in the order in which they are defined: lanes are samples of neighbouring lines. What is
// invisible adds 0, which changes no sum, as none is -0. Numbers that a sum could not be rid of again are left to the
// plain form: a pass that meets one ends there, and is done anew.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool run_real_rows(const box_pass_job&, row_range) {
    return false;
}
template <class Format>
bool run_real_columns(const box_pass_job&) {
    return false;
}

#else

using D = hn::ScalableTag<double>;
using V = hn::Vec<D>;

constexpr D d;
constexpr std::uint32_t lanes = HWY_LANES(double);
constexpr std::uint32_t vectors = 4;               // worked on at a time
constexpr std::uint32_t samples = vectors * lanes; // of neighbouring lines
constexpr float tame_bound = 1.0e9f;

// Sums and counts of neighbouring lines, kept in memory. The count of a colour is that of visible pixels, the count of
// alpha that of all.
struct span {
    HWY_ALIGN double sums[samples];
    HWY_ALIGN double counts[samples];
    HWY_ALIGN double inverses[samples]; // of the counts
};

// The quotient of a sum and a count, with the count's inverse: what a division gives, but sooner. A first quotient is
// off by less than two units in the last place, one corrected by its remainder by less than one; and such a one,
// corrected by its remainder, is the division's: the inverse is rounded to nearest, and counts are too short for the
// one case where that is not enough. Sums are tame, so nothing comes near the ends of the range.
HWY_INLINE V divide(V sum, V count, V inverse) {
    #if HWY_NATIVE_FMA
    V quotient = hn::Mul(sum, inverse);
    quotient = hn::MulAdd(hn::NegMulAdd(quotient, count, sum), inverse, quotient);
    return hn::MulAdd(hn::NegMulAdd(quotient, count, sum), inverse, quotient);
    #else
    (void)inverse;
    return hn::Div(sum, count);
    #endif
}

template <class Format>
class running {
public:
    using sample = typename Format::sample;
    static constexpr std::uint32_t n = channels<Format>;
    static constexpr std::uint32_t lines = samples / n;

    HWY_INLINE void clear() {
        for (V& sum : ___sums) sum = hn::Zero(d);
        for (V& count : ___counts) count = hn::Zero(d);
        for (V& inverse : ___inverses) inverse = hn::Zero(d);
    }
    HWY_INLINE void load(const span& from) {
        HWY_UNROLL(8)
        for (std::uint32_t v = 0; v < vectors; ++v) {
            ___sums[v] = hn::Load(d, from.sums + v * lanes);
            ___counts[v] = hn::Load(d, from.counts + v * lanes);
            ___inverses[v] = hn::Load(d, from.inverses + v * lanes);
        }
    }
    HWY_INLINE void store_sums(span& to) const {
        HWY_UNROLL(8)
        for (std::uint32_t v = 0; v < vectors; ++v) hn::Store(___sums[v], d, to.sums + v * lanes);
    }
    HWY_INLINE void store(span& to) const {
        store_sums(to);
        HWY_UNROLL(8)
        for (std::uint32_t v = 0; v < vectors; ++v) {
            hn::Store(___counts[v], d, to.counts + v * lanes);
            hn::Store(___inverses[v], d, to.inverses + v * lanes);
        }
    }

    HWY_INLINE void invert_counts() {
        HWY_UNROLL(8)
        for (std::uint32_t v = 0; v < vectors; ++v) ___inverses[v] = hn::Div(hn::Set(d, 1.0), divisor(v));
    }

    // One pixel of each line. False where one is visible and not tame. Leaves the inverses behind.
    template <bool Entering>
    HWY_INLINE bool change(const sample* pixels) {
        const piece of(pixels);
        ___change<Entering>(of);
        return !Entering || of.are_tame();
    }

    // One pixel of each line for another; `counts_change` is set where visible ones take the place of others.
    HWY_INLINE bool exchange(const sample* leaving, const sample* entering, bool& counts_change) {
        const piece left(leaving), entered(entering);
        counts_change = false;
        HWY_UNROLL(8)
        for (std::uint32_t p = 0; p < parts; ++p)
            counts_change |= !hn::AllFalse(dp, hn::Xor(left.seen[p], entered.seen[p]));
        if (HWY_UNLIKELY(counts_change)) {
            ___change<false>(left);
            ___change<true>(entered);
            invert_counts();
        } else {
            HWY_UNROLL(8)
            for (std::uint32_t v = 0; v < vectors; ++v)
                ___sums[v] = hn::Add(hn::Sub(___sums[v], left.doubles(v)), entered.doubles(v));
        }
        return entered.are_tame();
    }

    // The means of all lines. Of `pixels`, those in the middle of the spans, samples that are not blurred are kept;
    // where nothing is visible colour is 0, kept or not.
    HWY_INLINE void write(const box_pass_job& job, const sample* pixels, sample* out) const {
        HWY_UNROLL(8)
        for (std::uint32_t v = 0; v < vectors; ++v) {
            const V mean = divide(___sums[v], divisor(v), ___inverses[v]);
            const hn::Rebind<float, D> df;
            save_reals(hn::DemoteTo(df, mean), df, out + v * lanes);
        }
        if (job.blur_colour && job.blur_alpha) return;
        span state;
        store(state);
        for (std::uint32_t i = 0; i < samples; ++i) {
            if (i % n + 1 == n ? job.blur_alpha : job.blur_colour) continue;
            out[i] = state.counts[i] > 0.0 ? pixels[i] : sample(0.0f);
        }
    }

private:
    // Floats of whole pixels that make one or two vectors of doubles.
    static constexpr std::uint32_t part = HWY_MAX(lanes, n), parts = samples / part;
    using DP = hn::CappedTag<float, part>;
    using VP = hn::Vec<DP>;
    using MP = hn::Mask<DP>;
    static constexpr DP dp{};

    // Without visible pixels the sum is 0 too.
    HWY_INLINE V divisor(std::uint32_t v) const { return hn::Max(___counts[v], hn::Set(d, 1.0)); }

    HWY_INLINE static VP alphas(VP pixels) {
        if constexpr (n == 2) {
            return hn::DupOdd(pixels);
        } else {
            return hn::Broadcast<3>(pixels);
        }
    }
    HWY_INLINE static V promoted(const VP (&floats)[parts], std::uint32_t v) {
        if constexpr (part == lanes) {
            return hn::PromoteTo(d, floats[v]);
        } else {
            const hn::Half<DP> half;
            return hn::PromoteTo(d, v % 2 ? hn::UpperHalf(half, floats[v / 2]) : hn::LowerHalf(half, floats[v / 2]));
        }
    }

    // One pixel of each line, the invisible ones as 0.
    struct piece {
        VP values[parts];
        MP seen[parts];

        HWY_INLINE explicit piece(const sample* pixels) {
            HWY_UNROLL(8)
            for (std::uint32_t p = 0; p < parts; ++p) {
                const VP all = load_reals(dp, pixels + p * part);
                seen[p] = hn::Not(hn::Eq(alphas(all), hn::Zero(dp))); // of NaN too, which hn::Ne may deny
                values[p] = hn::IfThenElseZero(seen[p], all);
            }
        }
        HWY_INLINE V doubles(std::uint32_t v) const { return promoted(values, v); }
        HWY_INLINE bool are_tame() const {
            VP greatest = hn::Zero(dp);
            MP tame = hn::Eq(greatest, greatest);
            HWY_UNROLL(8)
            for (std::uint32_t p = 0; p < parts; ++p)
                tame = hn::And(tame, hn::Lt(hn::Abs(values[p]), hn::Set(dp, tame_bound)));
            return hn::AllTrue(dp, tame);
        }
    };

    template <bool Entering>
    HWY_INLINE void ___change(const piece& of) {
        VP ones[parts];
        HWY_UNROLL(8)
        for (std::uint32_t p = 0; p < parts; ++p) {
            const MP is_alpha = hn::RebindMask(
                dp, hn::Eq(hn::And(hn::Iota(hn::RebindToSigned<DP>(), 0), hn::Set(hn::RebindToSigned<DP>(), n - 1)),
                           hn::Set(hn::RebindToSigned<DP>(), n - 1)));
            ones[p] = hn::IfThenElseZero(hn::Or(of.seen[p], is_alpha), hn::Set(dp, 1.0f));
        }
        HWY_UNROLL(8)
        for (std::uint32_t v = 0; v < vectors; ++v) {
            const V added = of.doubles(v), count = promoted(ones, v);
            ___sums[v] = Entering ? hn::Add(___sums[v], added) : hn::Sub(___sums[v], added);
            ___counts[v] = Entering ? hn::Add(___counts[v], count) : hn::Sub(___counts[v], count);
        }
    }

    V ___sums[vectors];
    V ___counts[vectors];
    V ___inverses[vectors];
};

// Neighbouring rows run together. Stretches of them are turned, so that a column of them stands in a row.
template <class Format>
bool run_real_rows(const box_pass_job& job, row_range rows) {
    using sample = typename Format::sample;
    constexpr std::uint32_t n = channels<Format>, count = running<Format>::lines;
    constexpr std::uint64_t stretch = 64;
    const box_line line = box_line::of_rows(job);
    const bool keeps = !job.blur_colour || !job.blur_alpha;
    HWY_ALIGN sample entering[stretch * samples], leaving[stretch * samples], here[stretch * samples];
    HWY_ALIGN sample results[stretch * samples];
    for (std::uint32_t row = rows.start; row < rows.end; row += std::min(count, rows.end - row)) {
        const sample* source[count];
        sample* out[count];
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint32_t at = std::min(row + i, rows.end - 1);
            source[i] = static_cast<const sample*>(job.source.pixels) +
                        std::uint64_t{at - job.source.top} * job.source.width * n;
            out[i] = static_cast<sample*>(job.destination.pixels) +
                     (job.ring.place(at) - job.destination.top) * job.destination.width * n;
        }
        // Positions [first, first + length) of the padded picture, which may lie beyond the source.
        const auto turn = [&](std::uint64_t first, std::uint64_t length, sample* to) {
            for (std::uint64_t x = 0; x < length; ++x) {
                const std::uint64_t at = line.in_source(first + x);
                for (std::uint32_t i = 0; i < count; ++i)
                    std::memcpy(static_cast<void*>(to + x * samples + i * n), source[i] + at * n, n * sizeof(sample));
            }
        };
        running<Format> r;
        r.clear();
        bool tame = true;
        for (std::uint64_t x = line.start_of_first_span(); x < line.end_of_first_span();) {
            const std::uint64_t length = std::min(stretch, line.end_of_first_span() - x);
            turn(x, length, entering);
            for (std::uint64_t i = 0; i < length; ++i) tame &= r.template change<true>(entering + i * samples);
            x += length;
        }
        for (std::uint64_t x = line.first; x < line.end;) {
            // A stretch ends where pixels begin to leave or cease to enter.
            const bool leaves = line.leaves(x), enters = line.enters(x);
            std::uint64_t end = std::min(line.end, x + stretch);
            if (!leaves) end = std::min(end, std::max(line.first, line.radius) + 1);
            if (enters) end = std::min(end, line.length - line.radius);
            const std::uint64_t length = end - x;
            if (leaves) turn(x - line.radius - 1, length, leaving);
            if (enters) turn(x + line.radius, length, entering);
            if (keeps) turn(x, length, here);
            for (std::uint64_t i = 0; i < length; ++i) {
                if (HWY_LIKELY(leaves && enters)) {
                    bool counts_change;
                    tame &= r.exchange(leaving + i * samples, entering + i * samples, counts_change);
                } else {
                    if (leaves) r.template change<false>(leaving + i * samples);
                    if (enters) tame &= r.template change<true>(entering + i * samples);
                    r.invert_counts();
                }
                r.write(job, here + i * samples, results + i * samples);
            }
            if (!tame) return false;
            for (std::uint64_t i = 0; i < length; ++i) {
                for (std::uint32_t j = 0; j < count; ++j)
                    std::memcpy(static_cast<void*>(out[j] + (x - line.first + i) * n), results + i * samples + j * n,
                                n * sizeof(sample));
            }
            x = end;
        }
    }
    return true;
}

template <class Format>
bool run_real_columns(const box_pass_job& job) {
    using sample = typename Format::sample;
    constexpr std::uint32_t n = channels<Format>, count = running<Format>::lines;
    constexpr std::uint32_t block = 32; // groups of columns whose spans stay in cache
    const box_line line = box_line::of_columns(job);
    const std::uint64_t width = job.destination.width;
    if (width < count) return false;
    const auto* source =
        static_cast<const sample*>(job.source.pixels) + std::uint64_t{job.destination.left - job.source.left} * n;
    span spans[block];
    for (std::uint64_t left = 0; left < width; left += std::uint64_t{block} * count) {
        const std::uint64_t groups = std::min<std::uint64_t>(block, (width - left + count - 1) / count);
        // The last columns overlap those before: what is read is not what is written.
        const auto column_of = [&](std::uint64_t group) { return std::min(left + group * count, width - count) * n; };
        const auto row_at = [&](std::uint64_t y) { return source + job.source_row(y) * job.source.width * n; };
        std::memset(spans, 0, sizeof(spans));
        bool tame = true;
        for (std::uint64_t y = line.start_of_first_span(); y < line.end_of_first_span(); ++y) {
            const sample* const entering = row_at(line.in_source(y));
            for (std::uint64_t g = 0; g < groups; ++g) {
                running<Format> r;
                r.load(spans[g]);
                tame &= r.template change<true>(entering + column_of(g));
                r.store(spans[g]);
            }
        }
        for (std::uint64_t y = line.first; y < line.end && tame; ++y) {
            const bool leaves = line.leaves(y), enters = line.enters(y);
            const sample* const here = row_at(line.in_source(y));
            const sample* const leaving = leaves ? row_at(line.leaving(y)) : here;
            const sample* const entering = enters ? row_at(line.entering(y)) : here;
            sample* const out = static_cast<sample*>(job.destination.pixels) + (y - line.first) * width * n;
            for (std::uint64_t g = 0; g < groups; ++g) {
                const std::uint64_t at = column_of(g);
                running<Format> r;
                r.load(spans[g]);
                if (HWY_LIKELY(leaves && enters)) {
                    bool counts_change;
                    tame &= r.exchange(leaving + at, entering + at, counts_change);
                    if (counts_change) r.store(spans[g]);
                    r.store_sums(spans[g]);
                } else {
                    if (leaves) r.template change<false>(leaving + at);
                    if (enters) tame &= r.template change<true>(entering + at);
                    r.invert_counts();
                    r.store(spans[g]);
                }
                r.write(job, here + at, out + at);
            }
        }
        if (!tame) return false;
    }
    return true;
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(box_pass_horizontal, run_real_rows, format, (const box_pass_job& job, row_range rows), (job, rows))          \
        apply(box_pass_vertical, run_real_columns, format, (const box_pass_job& job), (job))
#define ZARN_FORMATS ZARN_FOR_EACH_REAL_FORMAT
#include "kernels/vector/dispatch.inc"
