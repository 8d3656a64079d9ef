#include "kernels/vector/box_blur.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/pixel_word.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/box_blur.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The division of a sum S by the number c of its samples: S < 2^16 * 2^15 fits 31 bits. S * (1 / c) in 32-bit floats is
// off by less than 2^16 * 3.1 * 2^-24 < 0.013, and adding 0.02 rounds by at most 2^-8: truncation gives the whole part
// of S / c or 1 more. The sign of the remainder tells which.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool run_rows(const box_pass_job&, row_range) {
    return false;
}
template <class Format>
bool run_columns(const box_pass_job&) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::uint32_t longest_span = 32767;

const hn::ScalableTag<std::int32_t> d32;
const hn::ScalableTag<float> df;
using V32 = hn::Vec<hn::ScalableTag<std::int32_t>>;
using VF = hn::Vec<hn::ScalableTag<float>>;
constexpr std::uint32_t lanes = HWY_LANES(std::int32_t);

// Pixels whose samples fill a vector in 32 bits: as many lines run together.
template <class Format>
struct pixels_of {
    using word = pixel_word<Format>;
    using DS = hn::Rebind<typename Format::sample, hn::ScalableTag<std::int32_t>>;
    using D = hn::Repartition<word, DS>;
    using V = hn::Vec<D>;
    static constexpr std::uint32_t count = lanes / channels<Format>;

    static HWY_INLINE V load(const word* from) { return hn::LoadU(D(), from); }
    static HWY_INLINE V all_of(word pixel) { return hn::Set(D(), pixel); }
    static HWY_INLINE V32 widen(V pixels) { return hn::PromoteTo(d32, hn::BitCast(DS(), pixels)); }
    static HWY_INLINE V narrow(V32 samples) { return hn::BitCast(D(), hn::DemoteTo(DS(), samples)); }
    static HWY_INLINE hn::Mask<D> visible(V pixels) {
        return hn::Ne(hn::And(pixels, all_of(make_word<Format>(0, Format::full))), hn::Zero(D()));
    }
};

// Running sums of neighbouring lines, kept in memory. The count of a colour is that of visible pixels, the count of
// alpha that of all.
struct span {
    HWY_ALIGN std::int32_t sums[lanes];
    HWY_ALIGN std::int32_t counts[lanes];
    HWY_ALIGN float inverses[lanes];
};

// The same in registers.
template <class Format>
struct running {
    using pixels = pixels_of<Format>;
    using V = typename pixels::V;

    V32 sums;
    V32 counts;
    VF inverses;

    HWY_INLINE void load(const span& from) {
        sums = hn::Load(d32, from.sums);
        counts = hn::Load(d32, from.counts);
        inverses = hn::Load(df, from.inverses);
    }
    HWY_INLINE void clear() {
        sums = counts = hn::Zero(d32);
        inverses = hn::Zero(df);
    }
    HWY_INLINE void store_sums(span& to) const { hn::Store(sums, d32, to.sums); }
    HWY_INLINE void store(span& to) const {
        store_sums(to);
        hn::Store(counts, d32, to.counts);
        hn::Store(inverses, df, to.inverses);
    }

    HWY_INLINE void invert_counts() {
        // Without visible pixels the sum is 0 too.
        inverses = hn::Div(hn::Set(df, 1.0f), hn::ConvertTo(df, hn::Max(counts, hn::Set(d32, 1))));
    }

    // One pixel of each line. Leaves the inverses behind.
    template <bool Entering>
    HWY_INLINE void change(V changed) {
        const auto seen = pixels::visible(changed);
        const V32 samples = pixels::widen(hn::IfThenElseZero(seen, changed));
        const V32 ones = pixels::widen(
            hn::IfThenElse(seen, pixels::all_of(make_word<Format>(1, 1)), pixels::all_of(make_word<Format>(0, 1))));
        sums = Entering ? hn::Add(sums, samples) : hn::Sub(sums, samples);
        counts = Entering ? hn::Add(counts, ones) : hn::Sub(counts, ones);
    }

    // One pixel of each line for another; whether counts changed.
    HWY_INLINE bool exchange(V leaving, V entering) {
        const auto left_seen = pixels::visible(leaving), entered_seen = pixels::visible(entering);
        if (HWY_UNLIKELY(!hn::AllFalse(typename pixels::D(), hn::Xor(left_seen, entered_seen)))) {
            change<false>(leaving);
            change<true>(entering);
            invert_counts();
            return true;
        }
        sums = hn::Add(sums, hn::Sub(pixels::widen(hn::IfThenElseZero(left_seen, entering)),
                                     pixels::widen(hn::IfThenElseZero(left_seen, leaving))));
        return false;
    }

    // The blurred pixels; `kept` are samples that stay as they are in the source. Where nothing is visible colour is 0,
    // kept or not.
    HWY_INLINE V blurred(V source, V kept, bool keeps_some) const {
        const V32 t = hn::ConvertTo(d32, hn::MulAdd(hn::ConvertTo(df, sums), inverses, hn::Set(df, 0.02f)));
        const V fresh = pixels::narrow(hn::Add(t, hn::ShiftRight<31>(hn::Sub(sums, hn::Mul(t, counts)))));
        if (!keeps_some) return fresh;
        const V seen = pixels::narrow(
            hn::IfThenElseZero(hn::Gt(counts, hn::Zero(d32)), hn::Set(d32, static_cast<std::int32_t>(Format::full))));
        return hn::Or(hn::AndNot(kept, fresh), hn::And(hn::And(source, kept), seen));
    }
};

bool keeps_some(const box_pass_job& job) { return !job.blur_colour || !job.blur_alpha; }

template <class Format>
HWY_INLINE typename pixels_of<Format>::V kept_samples(const box_pass_job& job) {
    return pixels_of<Format>::all_of(
        make_word<Format>(job.blur_colour ? 0 : Format::full, job.blur_alpha ? 0 : Format::full));
}

// Neighbouring rows run together. Stretches of them are turned, so that a column of them stands in a row.
template <class Format>
bool run_rows(const box_pass_job& job, row_range rows) {
    using pixels = pixels_of<Format>;
    using word = typename pixels::word;
    constexpr std::uint32_t count = pixels::count;
    constexpr std::uint64_t stretch = 64;
    const box_line line = box_line::of_rows(job);
    if (line.span_length() > longest_span || rows.end - rows.start < count) return false;
    const auto kept = kept_samples<Format>(job);
    const bool keeps = keeps_some(job);
    HWY_ALIGN word entering[stretch * count], leaving[stretch * count], here[stretch * count];
    for (std::uint64_t start = rows.start; start < rows.end; start += count) {
        // The last rows overlap those before: all is read from the other array, so twice gives the same.
        const std::uint64_t row = std::min<std::uint64_t>(start, rows.end - count);
        const word* source[count];
        word* out[count];
        for (std::uint32_t i = 0; i < count; ++i) {
            source[i] = static_cast<const word*>(job.source.pixels) + (row + i - job.source.top) * job.source.width;
            out[i] =
                static_cast<word*>(job.destination.pixels) +
                (job.ring.place(static_cast<std::uint32_t>(row + i)) - job.destination.top) * job.destination.width;
        }
        // Positions [first, first + length) of the padded picture, which may lie beyond the source.
        const auto turn = [&](std::uint64_t first, std::uint64_t length, word* to) {
            if (first >= line.source_first && first + length <= line.source_end) {
                for (std::uint64_t x = 0; x < length; ++x) {
                    for (std::uint32_t i = 0; i < count; ++i) {
                        to[x * count + i] = source[i][first - line.source_first + x];
                    }
                }
                return;
            }
            for (std::uint64_t x = 0; x < length; ++x) {
                const std::uint64_t at = line.in_source(first + x);
                for (std::uint32_t i = 0; i < count; ++i) to[x * count + i] = source[i][at];
            }
        };
        running<Format> r;
        r.clear();
        for (std::uint64_t x = line.start_of_first_span(); x < line.end_of_first_span();) {
            const std::uint64_t length = std::min(stretch, line.end_of_first_span() - x);
            turn(x, length, entering);
            for (std::uint64_t i = 0; i < length; ++i) r.template change<true>(pixels::load(entering + i * count));
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
                    if (i == 0) r.invert_counts();
                    r.exchange(pixels::load(leaving + i * count), pixels::load(entering + i * count));
                } else {
                    if (leaves) r.template change<false>(pixels::load(leaving + i * count));
                    if (enters) r.template change<true>(pixels::load(entering + i * count));
                    r.invert_counts();
                }
                const auto blurred = r.blurred(keeps ? pixels::load(here + i * count) : kept, kept, keeps);
                hn::StoreU(blurred, typename pixels::D(), here + i * count);
            }
            for (std::uint64_t i = 0; i < length; ++i) {
                for (std::uint32_t j = 0; j < count; ++j) out[j][x - line.first + i] = here[i * count + j];
            }
            x = end;
        }
    }
    return true;
}

template <class Format>
bool run_columns(const box_pass_job& job) {
    using pixels = pixels_of<Format>;
    using word = typename pixels::word;
    constexpr std::uint32_t count = pixels::count;
    constexpr std::uint32_t block = 64; // groups of columns whose spans stay in cache
    const box_line line = box_line::of_columns(job);
    const std::uint64_t width = job.destination.width;
    if (line.span_length() > longest_span || width < count) return false;
    const auto kept = kept_samples<Format>(job);
    const bool keeps = keeps_some(job);
    const auto* source = static_cast<const word*>(job.source.pixels) + (job.destination.left - job.source.left);
    span spans[block];
    for (std::uint64_t left = 0; left < width; left += block * count) {
        const std::uint64_t groups = std::min<std::uint64_t>(block, (width - left + count - 1) / count);
        // The last columns overlap those before, as the rows above.
        const auto column_of = [&](std::uint64_t group) { return std::min(left + group * count, width - count); };
        const auto row_at = [&](std::uint64_t y) { return source + job.source_row(y) * job.source.width; };
        std::memset(spans, 0, sizeof(spans));
        for (std::uint64_t y = line.start_of_first_span(); y < line.end_of_first_span(); ++y) {
            const word* const entering = row_at(line.in_source(y));
            for (std::uint64_t g = 0; g < groups; ++g) {
                running<Format> r;
                r.load(spans[g]);
                r.template change<true>(pixels::load(entering + column_of(g)));
                r.store(spans[g]);
            }
        }
        for (std::uint64_t y = line.first; y < line.end; ++y) {
            const bool leaves = line.leaves(y), enters = line.enters(y);
            const word* const here = row_at(line.in_source(y));
            const word* const leaving = leaves ? row_at(line.leaving(y)) : here;
            const word* const entering = enters ? row_at(line.entering(y)) : here;
            word* const out = static_cast<word*>(job.destination.pixels) + (y - line.first) * width;
            for (std::uint64_t g = 0; g < groups; ++g) {
                const std::uint64_t x = column_of(g);
                running<Format> r;
                r.load(spans[g]);
                if (HWY_LIKELY(leaves && enters)) {
                    if (r.exchange(pixels::load(leaving + x), pixels::load(entering + x))) r.store(spans[g]);
                    r.store_sums(spans[g]);
                } else {
                    if (leaves) r.template change<false>(pixels::load(leaving + x));
                    if (enters) r.template change<true>(pixels::load(entering + x));
                    r.invert_counts();
                    r.store(spans[g]);
                }
                hn::StoreU(r.blurred(keeps ? pixels::load(here + x) : kept, kept, keeps), typename pixels::D(),
                           out + x);
            }
        }
    }
    return true;
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(box_pass_horizontal, run_rows, format, (const box_pass_job& job, row_range rows), (job, rows))               \
        apply(box_pass_vertical, run_columns, format, (const box_pass_job& job), (job))
#define ZARN_FORMATS ZARN_FOR_EACH_VECTOR_BOX_FORMAT
#include "kernels/vector/dispatch.inc"
