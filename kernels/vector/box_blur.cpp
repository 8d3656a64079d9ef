#include "kernels/vector/box_blur.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/vector/rgba_word.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/box_blur.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The division of a sum by the number of its samples, in 32-bit floats: a sum below 2^24 is exact, the quotient lies on
// a whole number or at least 1 / count below the next, and with count < 2^15 that is more than its rounding of at most
// 2^-17 (quotients are below 256). So truncation gives the whole part.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool box_pass_horizontal(const box_pass_job&, row_range) { return false; }
bool box_pass_vertical(const box_pass_job&, row_range) { return false; }

#else

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::uint32_t longest_span = 32767;
constexpr std::uint32_t quad = 4; // neighbouring lines that run together: their samples fill up to one vector

using DP = hn::CappedTag<std::uint32_t, quad>;    // four pixels
using DB = hn::Repartition<std::uint8_t, DP>;     // their sixteen samples
using DI = hn::CappedTag<std::int32_t, 4 * quad>; // the samples in 32 bits: one, two or four vectors
using DF = hn::Rebind<float, DI>;
using VP = hn::Vec<DP>;
using VI = hn::Vec<DI>;
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

// Running sums of four lines. The count of a colour is that of visible pixels, the count of alpha that of all.
struct span {
    HWY_ALIGN std::int32_t sums[4 * quad];
    HWY_ALIGN std::int32_t counts[4 * quad];
};

struct running {
    VI sums[parts];
    VI counts[parts];

    HWY_INLINE void load(const span& from) {
        for (std::uint32_t i = 0; i < parts; ++i) {
            sums[i] = hn::Load(DI(), from.sums + i * part_lanes);
            counts[i] = hn::Load(DI(), from.counts + i * part_lanes);
        }
    }
    HWY_INLINE void store(span& to) const {
        for (std::uint32_t i = 0; i < parts; ++i) {
            hn::Store(sums[i], DI(), to.sums + i * part_lanes);
            hn::Store(counts[i], DI(), to.counts + i * part_lanes);
        }
    }
    HWY_INLINE void clear() {
        for (std::uint32_t i = 0; i < parts; ++i) sums[i] = counts[i] = hn::Zero(DI());
    }
};

struct constants {
    VP alpha_bytes = hn::Set(DP(), rgba_word(0, 255));
    VP colour_ones = hn::Set(DP(), rgba_word(1, 0));
    VP alpha_ones = hn::Set(DP(), rgba_word(0, 1));
    VP kept; // bytes that stay as they are in the source

    explicit constants(const box_pass_job& job)
        : kept(hn::Set(DP(), rgba_word(job.blur_colour ? 0 : 255, job.blur_alpha ? 0 : 255))) {}
};

template <bool Entering>
HWY_INLINE void change(running& r, VP pixels, const constants& k) {
    const auto visible = hn::Ne(hn::And(pixels, k.alpha_bytes), hn::Zero(DP()));
    VI samples[parts], ones[parts];
    widen(hn::IfThenElseZero(visible, pixels), samples);
    widen(hn::Or(hn::IfThenElseZero(visible, k.colour_ones), k.alpha_ones), ones);
    for (std::uint32_t i = 0; i < parts; ++i) {
        r.sums[i] = Entering ? hn::Add(r.sums[i], samples[i]) : hn::Sub(r.sums[i], samples[i]);
        r.counts[i] = Entering ? hn::Add(r.counts[i], ones[i]) : hn::Sub(r.counts[i], ones[i]);
    }
}

// The blurred pixels; `pixels` are those of the source. Where nothing is visible colour is 0, kept or not.
template <bool KeepsSome>
HWY_INLINE VP blurred(const running& r, VP pixels, const constants& k) {
    VI quotients[parts];
    VI seen[parts];
    const VI one = hn::Set(DI(), 1);
    for (std::uint32_t i = 0; i < parts; ++i) {
        // Without visible pixels the sum is 0 too.
        const auto divisor = hn::ConvertTo(DF(), hn::Max(r.counts[i], one));
        quotients[i] = hn::ConvertTo(DI(), hn::Div(hn::ConvertTo(DF(), r.sums[i]), divisor));
        if (KeepsSome) seen[i] = hn::IfThenElseZero(hn::Gt(r.counts[i], hn::Zero(DI())), hn::Set(DI(), 255));
    }
    const VP fresh = narrow(quotients);
    if (!KeepsSome) return fresh;
    return hn::Or(hn::AndNot(k.kept, fresh), hn::And(hn::And(pixels, k.kept), narrow(seen)));
}

bool is_fit(const box_pass_job& job, std::uint64_t length) {
    const std::uint64_t span_length = std::min<std::uint64_t>(2ull * job.radius + 1, length);
    return span_length <= longest_span;
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
    HWY_INLINE void store(std::uint32_t* to, std::uint64_t line) {
        turn();
        for (std::uint32_t i = 0; i < quad; ++i) hn::StoreU(columns[i], DP(), to + i * line);
    }
};

template <bool KeepsSome>
HWY_INLINE void run_rows(const box_pass_job& job, std::uint64_t row, const constants& k) {
    const std::uint64_t line = job.width;
    const std::uint64_t radius = job.radius;
    const auto* source = static_cast<const std::uint32_t*>(job.source) + row * line;
    auto* out = static_cast<std::uint32_t*>(job.destination) + row * line;
    const auto column = [&](std::uint64_t x) {
        HWY_ALIGN std::uint32_t pixels[quad];
        for (std::uint64_t i = 0; i < quad; ++i) pixels[i] = source[i * line + x];
        return hn::Load(DP(), pixels);
    };
    running r;
    r.clear();
    for (std::uint64_t x = 0; x < std::min(radius, line); ++x) change<true>(r, column(x), k);
    const auto single_step = [&](std::uint64_t x) {
        if (x > radius) change<false>(r, column(x - radius - 1), k);
        if (x + radius < line) change<true>(r, column(x + radius), k);
        HWY_ALIGN std::uint32_t pixels[quad];
        hn::Store(blurred<KeepsSome>(r, column(x), k), DP(), pixels);
        for (std::uint64_t i = 0; i < quad; ++i) out[i * line + x] = pixels[i];
    };
    std::uint64_t x = 0;
    for (; x <= radius && x < line; ++x) single_step(x);
    for (; x + radius + quad <= line; x += quad) {
        square leaving, entering, pixels;
        leaving.load(source + x - radius - 1, line);
        entering.load(source + x + radius, line);
        if (KeepsSome) pixels.load(source + x, line);
        for (std::uint32_t i = 0; i < quad; ++i) {
            change<false>(r, leaving.columns[i], k);
            change<true>(r, entering.columns[i], k);
            pixels.columns[i] = blurred<KeepsSome>(r, KeepsSome ? pixels.columns[i] : entering.columns[i], k);
        }
        pixels.store(out + x, line);
    }
    for (; x < line; ++x) single_step(x);
}

bool box_pass_horizontal(const box_pass_job& job, row_range rows) {
    if (!is_fit(job, job.width) || rows.end - rows.start < quad) return false;
    const constants k(job);
    const bool keeps_some = !job.blur_colour || !job.blur_alpha;
    for (std::uint32_t start = rows.start; start < rows.end; start += quad) {
        // The last four rows overlap those before: all is read from the other array, so twice gives the same.
        const std::uint64_t row = std::min(start, rows.end - quad);
        keeps_some ? run_rows<true>(job, row, k) : run_rows<false>(job, row, k);
    }
    return true;
}

template <bool KeepsSome>
HWY_INLINE void run_columns(const box_pass_job& job, std::uint32_t left, std::uint32_t end, const constants& k) {
    constexpr std::uint32_t block = 32; // quads of columns whose spans stay in cache
    const std::uint64_t radius = job.radius;
    const std::uint64_t line = job.width;
    const std::uint32_t quads = std::min(block, (end - left + quad - 1) / quad);
    // The last four columns overlap those before, as the rows above.
    const auto column_of = [&](std::uint32_t q) { return std::min(left + q * quad, end - quad); };
    const auto* source = static_cast<const std::uint32_t*>(job.source);
    auto* out = static_cast<std::uint32_t*>(job.destination);
    span spans[block];
    std::memset(spans, 0, sizeof(spans));
    const auto for_each_quad = [&](auto work) {
        for (std::uint32_t q = 0; q < quads; ++q) {
            running r;
            r.load(spans[q]);
            work(r, column_of(q));
            r.store(spans[q]);
        }
    };
    for (std::uint64_t y = 0; y < std::min<std::uint64_t>(radius, job.height); ++y) {
        for_each_quad([&](running& r, std::uint32_t x) { change<true>(r, hn::LoadU(DP(), source + y * line + x), k); });
    }
    for (std::uint64_t y = 0; y < job.height; ++y) {
        const bool leaves = y > radius, enters = y + radius < job.height;
        for_each_quad([&](running& r, std::uint32_t x) {
            if (leaves) change<false>(r, hn::LoadU(DP(), source + (y - radius - 1) * line + x), k);
            if (enters) change<true>(r, hn::LoadU(DP(), source + (y + radius) * line + x), k);
            const VP pixels = hn::LoadU(DP(), source + y * line + x);
            hn::StoreU(blurred<KeepsSome>(r, pixels, k), DP(), out + y * line + x);
        });
    }
}

bool box_pass_vertical(const box_pass_job& job, row_range columns) {
    if (!is_fit(job, job.height) || columns.end - columns.start < quad) return false;
    const constants k(job);
    const bool keeps_some = !job.blur_colour || !job.blur_alpha;
    constexpr std::uint32_t step = 32 * quad;
    for (std::uint64_t left = columns.start; left < columns.end; left += step) {
        const auto at = static_cast<std::uint32_t>(left);
        keeps_some ? run_columns<true>(job, at, columns.end, k) : run_columns<false>(job, at, columns.end, k);
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

bool box_pass_horizontal_rgba_8(const box_pass_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(box_pass_horizontal)(job, rows);
}

bool box_pass_vertical_rgba_8(const box_pass_job& job, row_range columns) {
    return HWY_DYNAMIC_DISPATCH(box_pass_vertical)(job, columns);
}

} // namespace zarn::vector
#endif
