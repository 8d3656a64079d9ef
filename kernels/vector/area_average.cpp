#include "kernels/vector/area_average.h"

#include <algorithm>
#include <cstdint>

#include "kernels/area_box.h"
#include "kernels/pixel_format.h"
#include "kernels/vector/rgba_word.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/area_average.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The rows of a box are summed first, for all columns of the source that a block of destination columns touches. Sums
// of up to 257 rows fit 16 bits. The division in 32-bit floats gives the whole part of the quotient: a sum below 2^24
// is exact, and the quotient lies on a whole number or at least 1 / count > 2^-15 below the next, more than its
// rounding.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool area_average(const geometry_job&, row_range) { return false; }

#else

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::uint32_t n = 4;
constexpr std::uint32_t block = 64;          // destination columns worked on at a time
constexpr std::uint32_t largest_span = 1024; // source columns they may touch
constexpr std::uint64_t largest_rows = 257;
constexpr std::uint64_t largest_area = 32767;

using D16 = hn::ScalableTag<std::uint16_t>;
using D8 = hn::Rebind<std::uint8_t, D16>;      // the same samples in 8 bits
using DP = hn::Repartition<std::uint32_t, D8>; // the same as pixels
constexpr std::uint32_t group_pixels = HWY_LANES(std::uint16_t) / n;

struct column_sums {
    HWY_ALIGN std::uint16_t samples[largest_span * n];
    HWY_ALIGN std::uint32_t visible[largest_span];
};

// `pixels` is the first row's; rows lie `line` pixels apart (backwards for pictures stored bottom up).
HWY_INLINE void sum_rows(const std::uint32_t* pixels, std::int64_t line, std::uint32_t rows, std::uint32_t span,
                         column_sums& out) {
    const D16 d16;
    const DP dp;
    const auto alpha = hn::Set(dp, rgba_word(0, 255)), one = hn::Set(dp, 1);
    for (std::uint32_t group = 0; group < span; group += group_pixels) {
        const std::uint32_t i = std::min(group, span - group_pixels);
        auto sum = hn::Zero(d16);
        auto visible = hn::Zero(dp);
        const std::uint32_t* at = pixels + i;
        for (std::uint32_t row = 0; row < rows; ++row, at += line) {
            const auto loaded = hn::LoadU(dp, at);
            const auto seen = hn::Ne(hn::And(loaded, alpha), hn::Zero(dp));
            sum = hn::Add(sum, hn::PromoteTo(d16, hn::BitCast(D8(), hn::IfThenElseZero(seen, loaded))));
            visible = hn::Add(visible, hn::IfThenElseZero(seen, one));
        }
        hn::StoreU(sum, d16, out.samples + i * n);
        hn::StoreU(visible, dp, out.visible + i);
    }
}

// The mean of the columns [start, end) of a block's sums.
HWY_INLINE void write_mean(const column_sums& sums, std::uint32_t start, std::uint32_t end, std::uint32_t rows,
                           std::uint8_t* out) {
    const hn::CappedTag<std::int32_t, n> d;
    const hn::Rebind<float, decltype(d)> df;
    const hn::Rebind<std::uint16_t, decltype(d)> d16;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    auto sum = hn::Zero(d);
    std::uint32_t visible = 0;
    for (std::uint32_t x = start; x < end; ++x) {
        sum = hn::Add(sum, hn::PromoteTo(d, hn::Load(d16, sums.samples + x * n)));
        visible += sums.visible[x];
    }
    // Without visible pixels the sums of colour are 0 too.
    const auto colour = hn::Set(d, static_cast<std::int32_t>(std::max(visible, 1u)));
    const auto all = hn::Set(d, static_cast<std::int32_t>((end - start) * rows));
    const auto is_alpha = hn::Not(hn::FirstN(d, n - 1));
    const auto divisor = hn::ConvertTo(df, hn::IfThenElse(is_alpha, all, colour));
    hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(d, hn::Div(hn::ConvertTo(df, sum), divisor))), d8, out);
}

bool area_average(const geometry_job& job, row_range rows) {
    const area_box_placement columns(job.source_width, job.width);
    const area_box_placement lines(job.source_height, job.height);
    // Beyond 2^24 pixels a side the floats of the placement may leave the source.
    const bool fits = lines.longest() <= largest_rows && columns.longest() * lines.longest() <= largest_area &&
                      columns.longest() + group_pixels < largest_span && job.source_width >= group_pixels &&
                      job.source_width < (1u << 24) && job.source_height < (1u << 24);
    if (!fits) return false;

    const auto* const source = static_cast<const std::uint32_t*>(job.source);
    const std::int64_t line = job.lower_left ? -std::int64_t{job.source_width} : std::int64_t{job.source_width};
    column_sums sums;
    area_box placed[block];
    for (std::uint64_t start = 0; start < job.width;) {
        const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, job.width - start));
        std::uint32_t count = 0, first = UINT32_MAX, end = 0;
        for (; count < wanted; ++count) {
            placed[count] = columns(static_cast<std::uint32_t>(start) + count);
            const std::uint32_t low = std::min(first, placed[count].start), high = std::max(end, placed[count].end);
            if (count > 0 && high - low + group_pixels > largest_span) break;
            first = low;
            end = high;
        }
        // Vectors must not reach beyond the row.
        first = std::min(first, job.source_width - group_pixels);
        const std::uint32_t span = std::max(end - first, group_pixels);
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            const area_box box = lines(row);
            const std::uint32_t height = box.end - box.start;
            const std::uint64_t top = memory_row(box.start, job.source_height, job.lower_left);
            sum_rows(source + top * job.source_width + first, line, height, span, sums);
            auto* out = static_cast<std::uint8_t*>(job.destination) +
                        (std::uint64_t{memory_row(row, job.height, job.lower_left)} * job.width + start) * n;
            for (std::uint32_t i = 0; i < count; ++i, out += n) {
                write_mean(sums, placed[i].start - first, placed[i].end - first, height, out);
            }
        }
        start += count;
    }
    return true;
}

#endif

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(area_average);

bool area_average_rgba_8(const geometry_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(area_average)(job, rows);
}

} // namespace zarn::vector
#endif
