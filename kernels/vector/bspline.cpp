#include "kernels/vector/bspline.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/bspline_taps.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/bspline.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The result is defined by sums in double, in a fixed order. Here a pixel is first estimated in 32-bit floats, rows
// before columns: two weights and a product are rounded and three sums, twice over, which together are off by at most
// 10 parts in 2^24, less than 0.0002 of 255. Only where the estimate lies closer than that to the step between two
// samples, or where visible and invisible taps mix, the sums are made as they are defined.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool bspline(const geometry_job&, row_range) { return false; }

#else

namespace hn = hwy::HWY_NAMESPACE;

// The samples of one pixel.
using DF = hn::CappedTag<float, 4>;
using DI = hn::Rebind<std::int32_t, DF>;
using DB = hn::Rebind<std::uint8_t, DF>;
using VF = hn::Vec<DF>;
using DD = hn::CappedTag<double, 4>; // the same in double: one or two vectors
constexpr std::uint32_t double_lanes = HWY_MIN(HWY_LANES(double), 4);

constexpr std::uint32_t n = 4;
constexpr std::uint32_t block = 64;         // destination columns worked on at a time
constexpr std::uint32_t largest_span = 160; // source columns they may touch
constexpr float uncertainty = 0.00025f;

// Source pixels as floats, the invisible ones 0, for the rows under the kernel.
struct source_rows {
    HWY_ALIGN float samples[bspline_tap_count][largest_span * n];
    std::uint8_t visible[bspline_tap_count][largest_span];
    std::int64_t row[bspline_tap_count] = {-1, -1, -1, -1};
};

HWY_INLINE void convert_row(const std::uint8_t* source, std::uint32_t span, float* samples, std::uint8_t* visible) {
    for (std::uint32_t i = 0; i < span; ++i, source += n) {
        const VF pixel = hn::ConvertTo(DF(), hn::PromoteTo(DI(), hn::LoadU(DB(), source)));
        visible[i] = source[3] ? 1 : 0;
        hn::Store(source[3] ? pixel : hn::Zero(DF()), DF(), samples + i * n);
    }
}

// One pixel as it is defined: taps row by row, sums in double.
struct exact_pixel {
    const source_rows& rows;
    const bspline_taps& lines;
    const bspline_taps& columns;
    std::uint32_t left; // the source column at the start of `rows`
    const unsigned (&slots)[bspline_tap_count];

    HWY_INLINE void write(std::uint8_t* out) const {
        constexpr std::uint32_t parts = n / double_lanes;
        hn::Vec<DD> sums[parts];
        for (std::uint32_t i = 0; i < parts; ++i) sums[i] = hn::Zero(DD());
        VF plain = hn::Zero(DF()); // whole numbers: exact
        double invisible_weight = 0.0;
        std::uint32_t visible = 0;
        // Without branches: which taps are visible cannot be guessed along an edge. Invisible ones add 0.
        for (unsigned m = 0; m < bspline_tap_count; ++m) {
            for (unsigned k = 0; k < bspline_tap_count; ++k) {
                const double weight = lines.weight[m] * columns.weight[k];
                const std::uint32_t at = columns.position[k] - left;
                const float* const pixel = rows.samples[slots[m]] + at * n;
                for (std::uint32_t i = 0; i < parts; ++i) {
                    const hn::Rebind<float, DD> df;
                    const auto samples = hn::PromoteTo(DD(), hn::LoadU(df, pixel + i * double_lanes));
                    sums[i] = hn::Add(sums[i], hn::Mul(hn::Set(DD(), weight), samples));
                }
                plain = hn::Add(plain, hn::Load(DF(), pixel));
                const std::uint8_t is_visible = rows.visible[slots[m]][at];
                visible += is_visible;
                invisible_weight += weight * (1.0 - is_visible);
            }
        }
        HWY_ALIGN double weighted[n];
        for (std::uint32_t i = 0; i < parts; ++i) hn::Store(sums[i], DD(), weighted + i * double_lanes);
        if (invisible_weight > 0.0 && visible > 0) {
            // Invisible taps take the mean colour of the visible ones.
            HWY_ALIGN std::int32_t mean[n];
            hn::Store(hn::ConvertTo(DI(), plain), DI(), mean);
            for (std::uint32_t c = 0; c + 1 < n; ++c) {
                weighted[c] = (static_cast<std::uint32_t>(mean[c]) / visible) * invisible_weight + weighted[c];
            }
        }
        for (std::uint32_t c = 0; c < n; ++c) {
            out[c] = static_cast<std::uint8_t>(static_cast<std::int64_t>(weighted[c] + 0.5));
        }
    }
};

// A destination column of a block.
struct block_column {
    bspline_taps taps;
    float weight[bspline_tap_count];
    std::uint32_t first; // tap, within the block's source columns
    bool is_edge;        // its taps are not four neighbours
};

constexpr std::uint32_t all_bytes(std::uint32_t byte) { return byte * 0x01010101u; }

// One destination row of a block.
HWY_INLINE void run_row(const source_rows& rows, const bspline_taps& lines, const unsigned (&slots)[bspline_tap_count],
                        const block_column* columns, std::uint32_t count, std::uint32_t left, std::uint32_t span,
                        std::uint8_t* out) {
    // The four rows together, by columns of the source.
    HWY_ALIGN float mixed[largest_span * n];
    std::uint8_t seen[largest_span]; // bit 0: a visible pixel, bit 1: an invisible one
    const hn::ScalableTag<float> d;
    const float* const row[] = {rows.samples[slots[0]], rows.samples[slots[1]], rows.samples[slots[2]],
                                rows.samples[slots[3]]};
    for (std::uint32_t i = 0; i < span * n; i += hn::Lanes(d)) {
        auto sum = hn::Mul(hn::Set(d, static_cast<float>(lines.weight[0])), hn::Load(d, row[0] + i));
        for (unsigned m = 1; m < bspline_tap_count; ++m) {
            sum = hn::Add(sum, hn::Mul(hn::Set(d, static_cast<float>(lines.weight[m])), hn::Load(d, row[m] + i)));
        }
        hn::Store(sum, d, mixed + i);
    }
    for (std::uint32_t i = 0; i < span; ++i) {
        const unsigned visible = rows.visible[slots[0]][i] + rows.visible[slots[1]][i] + rows.visible[slots[2]][i] +
                                 rows.visible[slots[3]][i];
        seen[i] = static_cast<std::uint8_t>((visible > 0 ? 1 : 0) | (visible < bspline_tap_count ? 2 : 0));
    }
    const VF half = hn::Set(DF(), 0.5f), certain = hn::Set(DF(), 0.5f - uncertainty);
    for (std::uint32_t x = 0; x < count; ++x, out += n) {
        const block_column& column = columns[x];
        if (column.is_edge) {
            exact_pixel{rows, lines, column.taps, left, slots}.write(out);
            continue;
        }
        const float* const taps = mixed + column.first * n;
        VF sum = hn::Mul(hn::Set(DF(), column.weight[0]), hn::Load(DF(), taps));
        for (unsigned k = 1; k < bspline_tap_count; ++k) {
            sum = hn::Add(sum, hn::Mul(hn::Set(DF(), column.weight[k]), hn::Load(DF(), taps + k * n)));
        }
        const VF rounded = hn::Add(sum, half);
        const auto whole = hn::ConvertTo(DI(), rounded);
        const VF from_middle = hn::Abs(hn::Sub(hn::Sub(rounded, hn::ConvertTo(DF(), whole)), half));
        std::uint32_t what;
        std::memcpy(&what, seen + column.first, sizeof(what));
        const bool is_mixed = (what & all_bytes(1)) && (what & all_bytes(2));
        if (is_mixed || !hn::AllTrue(DF(), hn::Lt(from_middle, certain))) {
            exact_pixel{rows, lines, column.taps, left, slots}.write(out);
        } else {
            hn::StoreU(hn::DemoteTo(DB(), whole), DB(), out);
        }
    }
}

bool bspline(const geometry_job& job, row_range rows) {
    block_column columns[block];
    for (std::uint64_t start = 0; start < job.width;) {
        const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, job.width - start));
        std::uint32_t count = 0, first = UINT32_MAX, last = 0;
        for (; count < wanted; ++count) {
            bspline_taps& taps = columns[count].taps;
            taps = place_bspline_taps(static_cast<std::uint32_t>(start) + count, job.source_width, job.width);
            const auto [low, high] = std::minmax_element(taps.position, taps.position + bspline_tap_count);
            // A block ends early where its columns would touch more of the source than there is room for.
            if (std::max(last, *high) - std::min(first, *low) >= largest_span - HWY_LANES(float)) break;
            first = std::min(first, *low);
            last = std::max(last, *high);
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            block_column& column = columns[i];
            column.is_edge = column.taps.position[bspline_tap_count - 1] - column.taps.position[0] != 3;
            column.first = column.is_edge ? 0 : column.taps.position[0] - first;
            std::copy_n(column.taps.weight, bspline_tap_count, column.weight);
        }
        const std::uint32_t span = last - first + 1;
        source_rows source;
        std::memset(source.samples, 0, sizeof(source.samples));
        for (std::uint32_t y = rows.start; y < rows.end; ++y) {
            const bspline_taps lines = place_bspline_taps(y, job.source_height, job.height);
            unsigned slots[bspline_tap_count];
            for (unsigned m = 0; m < bspline_tap_count; ++m) {
                const std::uint32_t row = lines.position[m];
                slots[m] = row % bspline_tap_count;
                if (source.row[slots[m]] == row) continue;
                source.row[slots[m]] = row;
                convert_row(static_cast<const std::uint8_t*>(job.source) +
                                (std::uint64_t{row} * job.source_width + first) * n,
                            span, source.samples[slots[m]], source.visible[slots[m]]);
            }
            run_row(source, lines, slots, columns, count, first, span,
                    static_cast<std::uint8_t*>(job.destination) + (std::uint64_t{y} * job.width + start) * n);
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

HWY_EXPORT(bspline);

bool bspline_rgba_8(const geometry_job& job, row_range rows) { return HWY_DYNAMIC_DISPATCH(bspline)(job, rows); }

} // namespace zarn::vector
#endif
