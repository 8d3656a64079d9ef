// Box passes of one-value formats: every pixel counts, so a span is a sum and a number of pixels.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kernels/vector/box_blur.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/box_values.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {
// Other sources have kernels of the same names.
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

constexpr std::uint64_t block = 1024; // columns whose sums stay in cache

// Sums of 8-bit samples in 16 bits, by a number c of samples from 2 to 128: times m / 2^(16 + shift), m rounded up,
// where 2^shift < c <= 2^(shift + 1). That exceeds 1 / c by less than 2^-(16 + shift), and a sum of at most 255 * c
// times the excess is less than 255 / 2^15 < 1 / 128: the quotient does not reach the next whole number.
struct short_sums {
    using sum = std::uint16_t;
    static constexpr std::uint64_t longest_span = 128;

    std::uint16_t reciprocal;
    int shift = 0;

    explicit short_sums(std::uint32_t count) {
        while (2u << shift < count) ++shift;
        reciprocal = static_cast<std::uint16_t>(((65536u << shift) + count - 1) / count);
    }
    template <class D>
    HWY_INLINE hn::Vec<D> divide(D d, hn::Vec<D> sums) const {
        return hn::ShiftRightSame(hn::MulHigh(sums, hn::Set(d, reciprocal)), shift);
    }
};

// The whole number nearest to one from -1 to 2^17. Added to 1.5 * 2^23 a float leaves it in its low bits.
template <class DF>
HWY_INLINE hn::Vec<hn::RebindToSigned<DF>> nearest_whole(DF d, hn::Vec<DF> value) {
    const hn::RebindToSigned<DF> di;
    const auto offset = hn::Set(d, 12582912.0f);
    return hn::Sub(hn::BitCast(di, hn::Add(value, offset)), hn::BitCast(di, offset));
}

// Sums of up to 44 samples of up to 16 bits are exact in 32-bit floats. Times the reciprocal they are off by less than
// 2^16 * 1.5 * 2^-24, and the sum with 0.0125 - 0.5 rounds by at most 2^-9: altogether by less than 0.008. As the
// quotient is at least 1 / 44 below the next whole number, all that lies less than 0.5 from its whole part.
struct middle_sums {
    using sum = std::uint32_t;
    static constexpr std::uint64_t longest_span = 44;

    float reciprocal;

    explicit middle_sums(std::uint32_t pixels)
        : reciprocal(1.0f / static_cast<float>(pixels)) {}
    template <class D>
    HWY_INLINE hn::Vec<D> divide(D d, hn::Vec<D> sums) const {
        const hn::RebindToFloat<D> df;
        const auto sum = hn::ConvertTo(df, hn::BitCast(hn::RebindToSigned<D>(), sums));
        const auto quotient = hn::MulAdd(sum, hn::Set(df, reciprocal), hn::Set(df, 0.0125f - 0.5f));
        return hn::BitCast(d, nearest_whole(df, quotient));
    }
};

// Sums of up to 2^15 samples of up to 16 bits fit 31 bits. A sum times the reciprocal in 32-bit floats is off by less
// than 2^16 * 3.1 * 2^-24 < 0.013, and adding 0.02 - 0.5 rounds by at most 2^-8: the nearest whole number is the whole
// part of the quotient or 1 more. The sign of the remainder tells which.
struct long_sums {
    using sum = std::uint32_t;
    static constexpr std::uint64_t longest_span = 32767;

    std::int32_t count;
    float reciprocal;

    explicit long_sums(std::uint32_t pixels)
        : count(static_cast<std::int32_t>(pixels))
        , reciprocal(1.0f / static_cast<float>(pixels)) {}
    template <class D>
    HWY_INLINE hn::Vec<D> divide(D d, hn::Vec<D> sums) const {
        const hn::RebindToSigned<D> di;
        const hn::RebindToFloat<D> df;
        const auto sum = hn::BitCast(di, sums);
        const auto quotient = hn::MulAdd(hn::ConvertTo(df, sum), hn::Set(df, reciprocal), hn::Set(df, 0.02f - 0.5f));
        const auto whole = nearest_whole(df, quotient);
        const auto rest = hn::Sub(sum, hn::Mul(whole, hn::Set(di, count)));
        return hn::BitCast(d, hn::Add(whole, hn::ShiftRight<31>(rest)));
    }
};

std::uint32_t pixels_in_span(const box_line& line, std::uint64_t i) {
    return static_cast<std::uint32_t>(std::min(line.length, i + line.radius + 1) - (i - std::min(i, line.radius)));
}

// Adds to `sum` the differences up to each position; gives back the last sum. Both arrays reach to the end of the last
// vector.
template <class Sample, class Sum>
HWY_INLINE Sum run_sums(const Sample* entering, const Sample* leaving, std::uint64_t count, Sum sum, Sum* sums) {
    const hn::CappedTag<Sum, 32 / sizeof(Sum)> d; // of one 16-byte block or two
    const hn::Rebind<Sample, decltype(d)> ds;
    constexpr std::uint64_t block_lanes = 16 / sizeof(Sum);
    constexpr std::uint64_t lanes = std::min<std::uint64_t>(HWY_LANES(Sum), 2 * block_lanes);
    constexpr int last = static_cast<int>(block_lanes) - 1;
    auto before = hn::Set(d, sum);
    for (std::uint64_t i = 0; i < count; i += lanes) {
        auto run = hn::Sub(hn::PromoteTo(d, hn::LoadU(ds, entering + i)), hn::PromoteTo(d, hn::LoadU(ds, leaving + i)));
        run = hn::Add(run, hn::ShiftLeftLanes<1>(d, run));
        run = hn::Add(run, hn::ShiftLeftLanes<2>(d, run));
        if constexpr (block_lanes == 8) run = hn::Add(run, hn::ShiftLeftLanes<4>(d, run));
        if constexpr (lanes == block_lanes) {
            hn::StoreU(hn::Add(before, run), d, sums + i);
            before = hn::Add(before, hn::Broadcast<last>(run));
        } else {
            run = hn::Add(run, hn::Broadcast<last>(hn::ConcatLowerLower(d, run, hn::Zero(d))));
            hn::StoreU(hn::Add(before, run), d, sums + i);
            before = hn::Add(before, hn::Broadcast<last>(hn::ConcatUpperUpper(d, run, run)));
        }
    }
    return sums[count - 1];
}

template <class Sample, class Sums>
void run_row(const box_line& line, const Sample* source, Sample* out) {
    using sum = typename Sums::sum;
    const hn::ScalableTag<sum> d;
    const hn::Rebind<Sample, decltype(d)> ds;
    constexpr std::uint64_t lanes = HWY_LANES(sum), stretch = 256;
    // A last vector of sums may start before the end of a stretch, wherever that is.
    HWY_ALIGN Sample copies[2][stretch + lanes];
    HWY_ALIGN sum sums[stretch + lanes];
    const Sums whole(static_cast<std::uint32_t>(line.span_length()));
    const std::uint64_t radius = line.radius;
    sum before = 0;
    for (std::uint64_t i = line.start_of_first_span(); i < line.end_of_first_span(); ++i) {
        before = static_cast<sum>(before + source[line.in_source(i)]);
    }
    // The pixels at [first, first + count) of the padded picture, 0 beyond its end.
    const auto copy = [&](std::uint64_t first, std::uint64_t count, Sample* to) {
        const std::uint64_t end = first + count, until = std::clamp(line.length, first, end);
        const std::uint64_t inside = std::clamp(line.source_first, first, until);
        const std::uint64_t beyond = std::clamp(line.source_end, inside, until);
        std::fill(to, to + (inside - first), source[0]);
        if (inside < beyond) // else it may lie before the source
            std::memcpy(to + (inside - first), source + (inside - line.source_first),
                        (beyond - inside) * sizeof(Sample));
        std::fill(to + (beyond - first), to + (until - first), source[line.source_end - line.source_first - 1]);
        std::fill(to + (until - first), to + count, Sample{0});
    };
    const auto are_there = [&](std::uint64_t first, std::uint64_t count) {
        return first >= line.source_first && first + count + lanes <= line.source_end;
    };
    for (std::uint64_t x = line.first; x < line.end; x += stretch) {
        const std::uint64_t count = std::min(stretch, line.end - x);
        const Sample* entering = copies[0];
        if (are_there(x + radius, count)) {
            entering = source + (x + radius - line.source_first);
        } else {
            copy(x + radius, count, copies[0]);
        }
        // Nothing leaves at the first position, nor as long as the span reaches the picture's start.
        const std::uint64_t none = x > radius ? (x == line.first ? 1 : 0) : std::min(count, radius + 1 - x);
        const std::uint64_t first_leaving = x + none - std::min(x + none, radius + 1);
        const Sample* leaving = copies[1];
        if (!none && are_there(first_leaving, count)) {
            leaving = source + (first_leaving - line.source_first);
        } else {
            std::fill(copies[1], copies[1] + none, Sample{0});
            copy(first_leaving, count - none, copies[1] + none);
        }
        before = run_sums(entering, leaving, count, before, sums);
        Sample* const to = out + (x - line.first);
        std::uint64_t i = 0;
        for (; count - i >= lanes; i += lanes) {
            hn::StoreU(hn::TruncateTo(ds, whole.divide(d, hn::Load(d, sums + i))), ds, to + i);
        }
        if (i < count) {
            Sample last[lanes];
            hn::StoreU(hn::TruncateTo(ds, whole.divide(d, hn::Load(d, sums + i))), ds, last);
            std::copy_n(last, count - i, to + i);
        }
        // Spans that the ends of the picture cut.
        const std::uint64_t cut_end = std::clamp(std::min(radius, line.length), x, x + count);
        const std::uint64_t cut_start = std::clamp(line.length - std::min(radius, line.length), cut_end, x + count);
        const auto write_cut = [&](std::uint64_t at) {
            to[at - x] = static_cast<Sample>(sums[at - x] / pixels_in_span(line, at));
        };
        for (std::uint64_t at = x; at < cut_end; ++at) write_cut(at);
        for (std::uint64_t at = cut_start; at < x + count; ++at) write_cut(at);
    }
}

// Columns [left, left + width) of all rows, at least as many as sums fill a vector.
template <class Sample, class Sums>
void run_block(const box_pass_job& job, const box_line& line, std::uint64_t left, std::uint64_t width) {
    using sum = typename Sums::sum;
    const hn::ScalableTag<sum> d;
    const hn::Rebind<Sample, decltype(d)> ds;
    constexpr std::uint64_t lanes = HWY_LANES(sum);
    HWY_ALIGN sum sums[block + lanes];
    const Sample zeros[block] = {};
    const auto* const source = static_cast<const Sample*>(job.source.pixels) + (job.destination.left - job.source.left);
    const auto row_at = [&](std::uint64_t y) { return source + job.source_row(y) * job.source.width + left; };
    auto* out = static_cast<Sample*>(job.destination.pixels) + left;
    // The last vector overlaps the one before: all is read from another array, so twice gives the same. Its sums stand
    // behind those of the one before.
    const auto each_vector = [width](auto work) HWY_ATTR {
        std::uint64_t at = 0;
        for (; width - at >= lanes; at += lanes) work(at, at);
        if (at < width) work(at, width - lanes);
    };
    std::memset(sums, 0, sizeof(sums));
    for (std::uint64_t y = line.start_of_first_span(); y < line.end_of_first_span(); ++y) {
        const Sample* const entering = row_at(line.in_source(y));
        each_vector([&](std::uint64_t at, std::uint64_t x) HWY_ATTR {
            const auto pixels = hn::PromoteTo(d, hn::LoadU(ds, entering + x));
            hn::Store(hn::Add(hn::Load(d, sums + at), pixels), d, sums + at);
        });
    }
    for (std::uint64_t y = line.first; y < line.end; ++y, out += job.destination.width) {
        const Sample* const leaving = line.leaves(y) ? row_at(line.leaving(y)) : zeros;
        const Sample* const entering = line.enters(y) ? row_at(line.entering(y)) : zeros;
        const Sums all(pixels_in_span(line, y));
        each_vector([&](std::uint64_t at, std::uint64_t x) HWY_ATTR {
            const auto change =
                hn::Sub(hn::PromoteTo(d, hn::LoadU(ds, entering + x)), hn::PromoteTo(d, hn::LoadU(ds, leaving + x)));
            const auto total = hn::Add(hn::Load(d, sums + at), change);
            hn::Store(total, d, sums + at);
            hn::StoreU(hn::TruncateTo(ds, all.divide(d, total)), ds, out + x);
        });
    }
}

// Calls work(sums) with the narrowest sums that hold every span; false where none do.
template <class Sample, class Work>
bool with_sums(const box_line& line, Work work) {
    const std::uint64_t longest = line.span_length(), shortest = std::min(line.length, line.radius + 1);
    if constexpr (sizeof(Sample) == 1) {
        if (shortest >= 2 && longest <= short_sums::longest_span) {
            work(short_sums(2));
            return true;
        }
    }
    if (longest <= middle_sums::longest_span) {
        work(middle_sums(1));
        return true;
    }
    if (longest > long_sums::longest_span) return false;
    work(long_sums(1));
    return true;
}

template <class Format>
bool run_rows(const box_pass_job& job, row_range rows) {
    using sample = typename Format::sample;
    const box_line line = box_line::of_rows(job);
    const box_area &from = job.source, &to = job.destination;
    return job.blur_colour && with_sums<sample>(line, [&](auto kind) {
               for (std::uint32_t row = rows.start; row < rows.end; ++row) {
                   run_row<sample, decltype(kind)>(
                       line, static_cast<const sample*>(from.pixels) + std::uint64_t{row - from.top} * from.width,
                       static_cast<sample*>(to.pixels) + (job.ring.place(row) - to.top) * to.width);
               }
           });
}

template <class Format>
bool run_columns(const box_pass_job& job) {
    using sample = typename Format::sample;
    const std::uint64_t width = job.destination.width;
    constexpr std::uint64_t lanes = HWY_LANES(std::uint16_t); // the most there may be
    const box_line line = box_line::of_columns(job);
    return job.blur_colour && width >= lanes && with_sums<sample>(line, [&](auto kind) {
               for (std::uint64_t x = 0; x < width; x += block) {
                   const std::uint64_t left = std::min(x, width - lanes);
                   run_block<sample, decltype(kind)>(job, line, left, std::min(block, width - left));
               }
           });
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(box_pass_horizontal, run_rows, format, (const box_pass_job& job, row_range rows), (job, rows))               \
        apply(box_pass_vertical, run_columns, format, (const box_pass_job& job), (job))
#define ZARN_FORMATS(apply) apply(value_8) apply(value_16)
#include "kernels/vector/dispatch.inc"
