#include "kernels/vector/box_blur.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/vector/rgba_word.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/box_blur.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The division of a sum S by the number c of its samples, in 32-bit floats: S < 2^24 is exact, S * (1 / c) with both
// roundings is off by less than 2^-15 (quotients are below 256), and adding 2^-14 rounds by at most 2^-17. The exact
// quotient lies on a whole number or at least 1 / c below the next; with c < 2^13 that is more than 2^-14 + 2^-15 +
// 2^-17, so truncation gives its whole part.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool box_pass_horizontal(const box_pass_job&, row_range) { return false; }
bool box_pass_vertical(const box_pass_job&) { return false; }

#else

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::uint32_t longest_span = (1u << 13) - 1;
constexpr std::uint32_t quad = 4; // neighbouring lines that run together: their samples fill up to one vector

using DP = hn::CappedTag<std::uint32_t, quad>;    // four pixels
using DB = hn::Repartition<std::uint8_t, DP>;     // their sixteen samples
using DI = hn::CappedTag<std::int32_t, 4 * quad>; // the samples in 32 bits: one, two or four vectors
using DF = hn::Rebind<float, DI>;
using VP = hn::Vec<DP>;
using VI = hn::Vec<DI>;
using VF = hn::Vec<DF>;
constexpr std::uint32_t part_lanes = HWY_MIN(HWY_LANES(std::int32_t), 4 * quad);
constexpr std::uint32_t parts = 4 * quad / part_lanes;

// The samples of four pixels widened to 32 bits.
template <std::uint32_t Parts, class Bytes>
HWY_INLINE void widen_bytes(Bytes bytes, VI* out) {
    if constexpr (Parts == 1) {
        out[0] = hn::PromoteTo(DI(), bytes);
    } else if constexpr (Parts == 2) {
        out[0] = hn::PromoteTo(DI(), hn::LowerHalf(bytes));
        out[1] = hn::PromoteTo(DI(), hn::UpperHalf(hn::Half<DB>(), bytes));
    } else {
        const hn::Repartition<std::uint16_t, DP> d16;
        const auto none = hn::Zero(DB());
        const auto low = hn::BitCast(d16, hn::InterleaveLower(DB(), bytes, none));
        const auto high = hn::BitCast(d16, hn::InterleaveUpper(DB(), bytes, none));
        const auto none16 = hn::Zero(d16);
        out[0] = hn::BitCast(DI(), hn::InterleaveLower(d16, low, none16));
        out[1] = hn::BitCast(DI(), hn::InterleaveUpper(d16, low, none16));
        out[2] = hn::BitCast(DI(), hn::InterleaveLower(d16, high, none16));
        out[3] = hn::BitCast(DI(), hn::InterleaveUpper(d16, high, none16));
    }
}

HWY_INLINE void widen(VP pixels, VI* out) { widen_bytes<parts>(hn::BitCast(DB(), pixels), out); }

template <std::uint32_t Parts, class Samples>
HWY_INLINE VP narrow_samples(const Samples* samples) {
    const hn::Rebind<std::uint8_t, DI> db;
    if constexpr (Parts == 1) {
        return hn::BitCast(DP(), hn::DemoteTo(db, samples[0]));
    } else {
        HWY_ALIGN std::uint8_t bytes[16];
        for (std::uint32_t i = 0; i < parts; ++i) hn::StoreU(hn::DemoteTo(db, samples[i]), db, bytes + i * part_lanes);
        return hn::BitCast(DP(), hn::Load(DB(), bytes));
    }
}

HWY_INLINE VP narrow(const VI* samples) { return narrow_samples<parts>(samples); }

// Running sums of four lines, kept in memory. The count of a colour is that of visible pixels, the count of alpha that
// of all.
struct span {
    HWY_ALIGN std::int32_t sums[4 * quad];
    HWY_ALIGN std::int32_t counts[4 * quad];
    HWY_ALIGN float inverses[4 * quad];
};

struct constants {
    VP alpha_bytes = hn::Set(DP(), rgba_word(0, 255));
    VP colour_ones = hn::Set(DP(), rgba_word(1, 0));
    VP alpha_ones = hn::Set(DP(), rgba_word(0, 1));
    VP kept; // bytes that stay as they are in the source

    explicit constants(const box_pass_job& job)
        : kept(hn::Set(DP(), rgba_word(job.blur_colour ? 0 : 255, job.blur_alpha ? 0 : 255))) {}
};

// The same in registers, with the inverses of the counts.
struct running {
    VI sums[parts];
    VI counts[parts];
    VF inverses[parts];

    HWY_INLINE void load(const span& from) {
        for (std::uint32_t i = 0; i < parts; ++i) {
            sums[i] = hn::Load(DI(), from.sums + i * part_lanes);
            counts[i] = hn::Load(DI(), from.counts + i * part_lanes);
            inverses[i] = hn::Load(DF(), from.inverses + i * part_lanes);
        }
    }
    HWY_INLINE void store_sums(span& to) const {
        for (std::uint32_t i = 0; i < parts; ++i) hn::Store(sums[i], DI(), to.sums + i * part_lanes);
    }
    HWY_INLINE void store(span& to) const {
        store_sums(to);
        for (std::uint32_t i = 0; i < parts; ++i) {
            hn::Store(counts[i], DI(), to.counts + i * part_lanes);
            hn::Store(inverses[i], DF(), to.inverses + i * part_lanes);
        }
    }
    HWY_INLINE void clear() {
        for (std::uint32_t i = 0; i < parts; ++i) {
            sums[i] = counts[i] = hn::Zero(DI());
            inverses[i] = hn::Zero(DF());
        }
    }
    HWY_INLINE void invert_counts() {
        for (std::uint32_t i = 0; i < parts; ++i) {
            // Without visible pixels the sum is 0 too.
            const auto divisor = hn::ConvertTo(DF(), hn::Max(counts[i], hn::Set(DI(), 1)));
            inverses[i] = hn::Div(hn::Set(DF(), 1.0f), divisor);
        }
    }

    // One pixel of each line. Leaves the inverses behind.
    template <bool Entering>
    HWY_INLINE void change(VP pixels, const constants& k) {
        const auto visible = hn::Ne(hn::And(pixels, k.alpha_bytes), hn::Zero(DP()));
        VI samples[parts], ones[parts];
        widen(hn::IfThenElseZero(visible, pixels), samples);
        widen(hn::Or(hn::IfThenElseZero(visible, k.colour_ones), k.alpha_ones), ones);
        for (std::uint32_t i = 0; i < parts; ++i) {
            sums[i] = Entering ? hn::Add(sums[i], samples[i]) : hn::Sub(sums[i], samples[i]);
            counts[i] = Entering ? hn::Add(counts[i], ones[i]) : hn::Sub(counts[i], ones[i]);
        }
    }

    // One pixel of each line for another; whether counts changed.
    HWY_INLINE bool exchange(VP leaving, VP entering, const constants& k) {
        const auto left_seen = hn::Ne(hn::And(leaving, k.alpha_bytes), hn::Zero(DP()));
        const auto entered_seen = hn::Ne(hn::And(entering, k.alpha_bytes), hn::Zero(DP()));
        if (HWY_UNLIKELY(!hn::AllFalse(DP(), hn::Xor(left_seen, entered_seen)))) {
            change<false>(leaving, k);
            change<true>(entering, k);
            invert_counts();
            return true;
        }
        VI less[parts], more[parts];
        widen(hn::IfThenElseZero(left_seen, leaving), less);
        widen(hn::IfThenElseZero(left_seen, entering), more);
        for (std::uint32_t i = 0; i < parts; ++i) sums[i] = hn::Add(sums[i], hn::Sub(more[i], less[i]));
        return false;
    }
};

// The blurred pixels; `pixels` are those of the source. Where nothing is visible colour is 0, kept or not.
template <bool KeepsSome>
HWY_INLINE VP blurred(const running& r, VP pixels, const constants& k) {
    VI quotients[parts];
    VI seen[parts];
    const VF bias = hn::Set(DF(), 1.0f / (1 << 14));
    for (std::uint32_t i = 0; i < parts; ++i) {
        quotients[i] = hn::ConvertTo(DI(), hn::MulAdd(hn::ConvertTo(DF(), r.sums[i]), r.inverses[i], bias));
        if (KeepsSome) seen[i] = hn::IfThenElseZero(hn::Gt(r.counts[i], hn::Zero(DI())), hn::Set(DI(), 255));
    }
    const VP fresh = narrow(quotients);
    if (!KeepsSome) return fresh;
    return hn::Or(hn::AndNot(k.kept, fresh), hn::And(hn::And(pixels, k.kept), narrow(seen)));
}

// Four pixels of four rows each, turned so that a vector holds one column.
struct square {
    VP columns[quad];

    HWY_INLINE void turn() {
        using D64 = hn::Repartition<std::uint64_t, DP>;
        const DP d;
        const D64 d64;
        const auto low01 = hn::BitCast(d64, hn::InterleaveLower(d, columns[0], columns[1]));
        const auto high01 = hn::BitCast(d64, hn::InterleaveUpper(d, columns[0], columns[1]));
        const auto low23 = hn::BitCast(d64, hn::InterleaveLower(d, columns[2], columns[3]));
        const auto high23 = hn::BitCast(d64, hn::InterleaveUpper(d, columns[2], columns[3]));
        columns[0] = hn::BitCast(d, hn::InterleaveLower(d64, low01, low23));
        columns[1] = hn::BitCast(d, hn::InterleaveUpper(d64, low01, low23));
        columns[2] = hn::BitCast(d, hn::InterleaveLower(d64, high01, high23));
        columns[3] = hn::BitCast(d, hn::InterleaveUpper(d64, high01, high23));
    }
    HWY_INLINE void load(const std::uint32_t* from, std::uint64_t line) {
        for (std::uint32_t i = 0; i < quad; ++i) columns[i] = hn::LoadU(DP(), from + i * line);
        turn();
    }
    HWY_INLINE void store(std::uint32_t* const* to, std::uint64_t at) {
        turn();
        for (std::uint32_t i = 0; i < quad; ++i) hn::StoreU(columns[i], DP(), to[i] + at);
    }
};

template <bool KeepsSome>
HWY_INLINE void run_rows(const box_pass_job& job, std::uint64_t row, const constants& k) {
    const box_line line = box_line::of_rows(job);
    const std::uint64_t radius = line.radius;
    const std::uint64_t stride = job.source.width, out_stride = job.destination.width;
    const auto* source = static_cast<const std::uint32_t*>(job.source.pixels) + (row - job.source.top) * stride;
    std::uint32_t* out[quad];
    for (std::uint64_t i = 0; i < quad; ++i) {
        const std::uint64_t place = job.ring.place(static_cast<std::uint32_t>(row + i)) - job.destination.top;
        out[i] = static_cast<std::uint32_t*>(job.destination.pixels) + place * out_stride;
    }
    const auto column = [&](std::uint64_t x) {
        HWY_ALIGN std::uint32_t pixels[quad];
        for (std::uint64_t i = 0; i < quad; ++i) pixels[i] = source[i * stride + x];
        return hn::Load(DP(), pixels);
    };
    running r;
    r.clear();
    for (std::uint64_t x = line.start_of_first_span(); x < line.end_of_first_span(); ++x) {
        r.change<true>(column(line.in_source(x)), k);
    }
    const auto single_step = [&](std::uint64_t x) {
        if (line.leaves(x)) r.change<false>(column(line.leaving(x)), k);
        if (line.enters(x)) r.change<true>(column(line.entering(x)), k);
        r.invert_counts();
        HWY_ALIGN std::uint32_t pixels[quad];
        hn::Store(blurred<KeepsSome>(r, column(line.in_source(x)), k), DP(), pixels);
        for (std::uint64_t i = 0; i < quad; ++i) out[i][x - line.first] = pixels[i];
    };
    // Inside, all that leaves, enters or is kept stands in the source.
    const std::uint64_t inside = std::min(line.end, std::max(line.first, line.source_first + radius) + 1);
    std::uint64_t x = line.first;
    for (; x < inside; ++x) single_step(x);
    for (; x + quad <= line.end && x + radius + quad <= line.source_end; x += quad) {
        square leaving, entering, pixels;
        leaving.load(source + (x - radius - 1 - line.source_first), stride);
        entering.load(source + (x + radius - line.source_first), stride);
        if (KeepsSome) pixels.load(source + (x - line.source_first), stride);
        for (std::uint32_t i = 0; i < quad; ++i) {
            r.exchange(leaving.columns[i], entering.columns[i], k);
            pixels.columns[i] = blurred<KeepsSome>(r, KeepsSome ? pixels.columns[i] : entering.columns[i], k);
        }
        pixels.store(out, x - line.first);
    }
    for (; x < line.end; ++x) single_step(x);
}

bool box_pass_horizontal(const box_pass_job& job, row_range rows) {
    if (box_line::of_rows(job).span_length() > longest_span || rows.end - rows.start < quad) return false;
    const constants k(job);
    const bool keeps_some = !job.blur_colour || !job.blur_alpha;
    for (std::uint64_t start = rows.start; start < rows.end; start += quad) {
        // The last four rows overlap those before: all is read from the other array, so twice gives the same.
        const std::uint64_t row = std::min<std::uint64_t>(start, rows.end - quad);
        keeps_some ? run_rows<true>(job, row, k) : run_rows<false>(job, row, k);
    }
    return true;
}

constexpr std::uint32_t column_block = 64; // quads of columns whose spans stay in cache

template <bool KeepsSome>
HWY_INLINE void run_columns(const box_pass_job& job, std::uint64_t left, std::uint64_t end, const constants& k) {
    const box_line line = box_line::of_columns(job);
    const std::uint64_t stride = job.source.width, out_stride = job.destination.width;
    const auto quads =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(column_block, (end - left + quad - 1) / quad));
    // The last four columns overlap those before, as the rows above.
    const auto column_of = [&](std::uint32_t q) { return std::min(left + q * quad, end - quad); };
    const auto* source = static_cast<const std::uint32_t*>(job.source.pixels);
    auto* out = static_cast<std::uint32_t*>(job.destination.pixels);
    span spans[column_block];
    std::memset(spans, 0, sizeof(spans));
    const auto pixels_at = [&](std::uint64_t y, std::uint64_t x) {
        return hn::LoadU(DP(), source + job.source_row(y) * stride + (x - job.source.left));
    };
    for (std::uint64_t y = line.start_of_first_span(); y < line.end_of_first_span(); ++y) {
        const std::uint64_t entering = line.in_source(y);
        for (std::uint32_t q = 0; q < quads; ++q) {
            running r;
            r.load(spans[q]);
            r.change<true>(pixels_at(entering, column_of(q)), k);
            r.store(spans[q]);
        }
    }
    for (std::uint64_t y = line.first; y < line.end; ++y) {
        const bool leaves = line.leaves(y), enters = line.enters(y);
        const std::uint64_t leaving = leaves ? line.leaving(y) : 0, entering = enters ? line.entering(y) : 0;
        const std::uint64_t here = line.in_source(y);
        std::uint32_t* const out_row = out + (y - line.first) * out_stride;
        for (std::uint32_t q = 0; q < quads; ++q) {
            const std::uint64_t x = column_of(q);
            running r;
            r.load(spans[q]);
            if (HWY_LIKELY(leaves && enters)) {
                if (r.exchange(pixels_at(leaving, x), pixels_at(entering, x), k)) r.store(spans[q]);
                r.store_sums(spans[q]);
            } else {
                if (leaves) r.change<false>(pixels_at(leaving, x), k);
                if (enters) r.change<true>(pixels_at(entering, x), k);
                r.invert_counts();
                r.store(spans[q]);
            }
            const VP pixels = pixels_at(KeepsSome ? here : entering, x);
            hn::StoreU(blurred<KeepsSome>(r, pixels, k), DP(), out_row + (x - job.destination.left));
        }
    }
}

bool box_pass_vertical(const box_pass_job& job) {
    const std::uint64_t left = job.destination.left, end = left + job.destination.width;
    if (box_line::of_columns(job).span_length() > longest_span || end - left < quad) return false;
    const constants k(job);
    const bool keeps_some = !job.blur_colour || !job.blur_alpha;
    for (std::uint64_t x = left; x < end; x += column_block * quad) {
        keeps_some ? run_columns<true>(job, x, end, k) : run_columns<false>(job, x, end, k);
    }
    return true;
}

#endif

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(box_pass_horizontal);
HWY_EXPORT(box_pass_vertical);

template <>
bool box_pass_horizontal<rgba_8>(const box_pass_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(box_pass_horizontal)(job, rows);
}

template <>
bool box_pass_vertical<rgba_8>(const box_pass_job& job) {
    return HWY_DYNAMIC_DISPATCH(box_pass_vertical)(job);
}

} // namespace zarn::vector
#endif
