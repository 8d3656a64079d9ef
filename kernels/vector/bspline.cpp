#include "kernels/vector/bspline.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

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
constexpr std::uint32_t block = 256;        // destination columns worked on at a time
constexpr std::uint32_t largest_span = 320; // source columns they may touch
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

// The destination columns of a block, in groups of as many pixels as fill a vector.
using DG = hn::CappedTag<float, 16>;
using VG = hn::Vec<DG>;
constexpr std::uint32_t group_pixels = HWY_MIN(HWY_LANES(float), 16) / n;
constexpr std::uint32_t group_samples = group_pixels * n;

struct block_columns {
    std::uint32_t count;
    bspline_taps taps[block];
    std::uint32_t first[block + group_pixels]; // tap, within the block's source columns
    bool is_edge[block];                       // the taps are not four neighbours
    HWY_ALIGN float weights[block / group_pixels + 1][bspline_tap_count][group_samples];
};

// The k-th taps of a group's pixels side by side.
template <std::uint32_t Pixels>
HWY_INLINE VG load_taps(const float* mixed, const std::uint32_t* first, unsigned k) {
    const auto tap = [=](std::uint32_t pixel) { return hn::Load(DF(), mixed + (first[pixel] + k) * n); };
    const hn::CappedTag<float, 8> d8;
    if constexpr (Pixels == 1) {
        return tap(0);
    } else if constexpr (Pixels == 2) {
        return hn::Combine(d8, tap(1), tap(0));
    } else {
        return hn::Combine(DG(), hn::Combine(d8, tap(3), tap(2)), hn::Combine(d8, tap(1), tap(0)));
    }
}

// Which pixels of a group have to be made exactly because of their estimate: a bit each.
HWY_INLINE std::uint32_t uncertain_pixels(VG from_middle) {
    const auto uncertain = hn::Not(hn::Lt(hn::Abs(from_middle), hn::Set(DG(), 0.5f - uncertainty)));
    if (HWY_LIKELY(hn::AllFalse(DG(), uncertain))) return 0;
    std::uint8_t bytes[8] = {};
    hn::StoreMaskBits(DG(), uncertain, bytes);
    std::uint32_t pixels = 0;
    for (std::uint32_t p = 0; p < group_pixels; ++p) {
        if ((bytes[p / 2] >> (p % 2 * n)) & 0xF) pixels |= 1u << p;
    }
    return pixels;
}

// One destination row of a block.
HWY_INLINE void run_row(const source_rows& rows, const bspline_taps& lines, const unsigned (&slots)[bspline_tap_count],
                        const block_columns& columns, std::uint32_t left, std::uint32_t span, std::uint8_t* out) {
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
    std::uint8_t seen_at_all = 0;
    for (std::uint32_t i = 0; i < span; ++i) {
        const unsigned visible = rows.visible[slots[0]][i] + rows.visible[slots[1]][i] + rows.visible[slots[2]][i] +
                                 rows.visible[slots[3]][i];
        seen[i] = static_cast<std::uint8_t>((visible > 0 ? 1 : 0) | (visible < bspline_tap_count ? 2 : 0));
        seen_at_all |= seen[i];
    }
    const auto is_mixed = [&](std::uint32_t x) {
        const std::uint8_t* const at = seen + columns.first[x];
        return (at[0] | at[1] | at[2] | at[3]) == 3;
    };
    const bool has_mixed = seen_at_all == 3;
    // The pixels to be made exactly, kept for the end: which they are cannot be guessed, but how many can.
    std::uint32_t exact[block + 1];
    std::uint32_t exact_count = 0;
    const VG half = hn::Set(DG(), 0.5f);
    for (std::uint32_t group = 0; group < columns.count; group += group_pixels) {
        const auto& weights = columns.weights[group / group_pixels];
        const std::uint32_t* const first = columns.first + group;
        VG sum = hn::Mul(hn::Load(DG(), weights[0]), load_taps<group_pixels>(mixed, first, 0));
        for (unsigned k = 1; k < bspline_tap_count; ++k) {
            sum = hn::Add(sum, hn::Mul(hn::Load(DG(), weights[k]), load_taps<group_pixels>(mixed, first, k)));
        }
        const hn::Rebind<std::int32_t, DG> di;
        const hn::Rebind<std::uint8_t, DG> db;
        const VG rounded = hn::Add(sum, half);
        const auto whole = hn::ConvertTo(di, rounded);
        std::uint32_t uncertain = uncertain_pixels(hn::Sub(hn::Sub(rounded, hn::ConvertTo(DG(), whole)), half));
        const std::uint32_t count = std::min(group_pixels, columns.count - group);
        if (count == group_pixels) {
            hn::StoreU(hn::DemoteTo(db, whole), db, out + group * n);
        } else {
            std::uint8_t last[group_samples];
            hn::StoreU(hn::DemoteTo(db, whole), db, last);
            std::memcpy(out + group * n, last, count * n);
        }
        for (std::uint32_t p = 0; p < count; ++p, uncertain >>= 1) {
            const std::uint32_t x = group + p;
            exact[exact_count] = x;
            exact_count += (uncertain & 1) | columns.is_edge[x] | (has_mixed && is_mixed(x) ? 1 : 0);
        }
    }
    for (std::uint32_t i = 0; i < exact_count; ++i) {
        exact_pixel{rows, lines, columns.taps[exact[i]], left, slots}.write(out + exact[i] * n);
    }
}

bool bspline(const geometry_job& job, row_range rows) {
    block_columns columns;
    for (std::uint64_t start = 0; start < job.width;) {
        const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, job.width - start));
        std::uint32_t count = 0, first = UINT32_MAX, last = 0;
        for (; count < wanted; ++count) {
            bspline_taps& taps = columns.taps[count];
            taps = place_bspline_taps(static_cast<std::uint32_t>(start) + count, job.source_width, job.width);
            const auto [low, high] = std::minmax_element(taps.position, taps.position + bspline_tap_count);
            // A block ends early where its columns would touch more of the source than there is room for.
            if (std::max(last, *high) - std::min(first, *low) >= largest_span - HWY_LANES(float)) break;
            first = std::min(first, *low);
            last = std::max(last, *high);
        }
        columns.count = count;
        std::fill(std::begin(columns.first), std::end(columns.first), 0u);
        std::memset(columns.weights, 0, sizeof(columns.weights));
        for (std::uint32_t x = 0; x < count; ++x) {
            const bspline_taps& taps = columns.taps[x];
            columns.is_edge[x] = taps.position[bspline_tap_count - 1] - taps.position[0] != 3;
            if (columns.is_edge[x]) continue;
            columns.first[x] = taps.position[0] - first;
            for (unsigned k = 0; k < bspline_tap_count; ++k) {
                float* const weights = columns.weights[x / group_pixels][k] + x % group_pixels * n;
                std::fill_n(weights, n, static_cast<float>(taps.weight[k]));
            }
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
            run_row(source, lines, slots, columns, first, span,
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
