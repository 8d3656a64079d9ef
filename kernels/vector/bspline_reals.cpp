// The cubic B-spline of real formats.

#include <algorithm>
#include <cstdint>
#include <limits>

#include "kernels/bspline_taps.h"
#include "kernels/vector/bspline.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/bspline_reals.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "kernels/vector/real_samples-inl.h"

// The sums of a pixel are made in doubles, tap by tap as they are defined; lanes are the samples of a pixel. Source
// rows are kept as doubles, what is invisible as 0, which changes no sum, as none is -0. A row of weight 0 adds 0 too,
// where all of it is finite.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool real_bspline(const geometry_job&, row_range) {
    return false;
}

#else

constexpr std::uint32_t taps = bspline_tap_count;
constexpr std::uint32_t prefetch_distance = 512; // bytes

template <class Format>
class real_kernel {
public:
    explicit real_kernel(const geometry_job& what)
        : ___job(what) {}

    void run(row_range rows) {
        for (std::uint64_t start = 0; start < ___job.width; start += ___count) {
            place_columns(static_cast<std::uint32_t>(start));
            for (source_row& row : ___rows) row.position = -1;
            for (std::uint32_t y = rows.start; y < rows.end; ++y) {
                ___lines = place_bspline_taps(y, ___job.source_height, ___job.height);
                convert_rows();
                run_row(static_cast<sample*>(___job.destination) + (std::uint64_t{y} * ___job.width + start) * n);
            }
        }
    }

private:
    using sample = typename Format::sample;

    static constexpr std::uint32_t n = channels<Format>;
    static constexpr std::uint32_t block = 256;        // destination columns worked on at a time
    static constexpr std::uint32_t largest_span = 256; // source columns they may touch

    using D = hn::CappedTag<double, n>;
    using DF = hn::Rebind<float, D>;
    using V = hn::Vec<D>;
    static constexpr D d{};
    static constexpr DF df{};
    static constexpr std::uint32_t lanes = HWY_MIN(HWY_LANES(double), n);
    static constexpr std::uint32_t parts = n / lanes; // vectors of a pixel

    struct source_row {
        HWY_ALIGN double samples[largest_span * n];
        std::uint16_t invisible[block]; // of each column's taps, one bit each
        bool has_invisible;
        bool is_finite;
        std::int64_t position;
    };

    // As many columns from `start` on as the room is for.
    void place_columns(std::uint32_t start) {
        const std::uint32_t wanted = std::min(block, ___job.width - start);
        std::uint32_t first = UINT32_MAX, last = 0;
        for (___count = 0; ___count < wanted; ++___count) {
            const bspline_taps column = place_bspline_taps(start + ___count, ___job.source_width, ___job.width);
            const std::uint32_t least = std::min(first, *std::min_element(column.position, column.position + taps));
            const std::uint32_t most = std::max(last, *std::max_element(column.position, column.position + taps));
            if (most - least >= largest_span) break;
            first = least;
            last = most;
            ___columns[___count] = column;
        }
        ___left = first;
        ___span = last - first + 1;
        ___some_end_in_0 = false;
        for (std::uint32_t x = 0; x < ___count; ++x) {
            for (std::uint32_t k = 0; k < taps; ++k) {
                ___at[x][k] = ___columns[x].position[k] - first;
                ___place[x][k] = ___at[x][k] * n;
                ___weight[x][k] = ___columns[x].weight[k];
            }
            ___ends_in_0[x] = ___weight[x][taps - 1] == 0.0;
            ___some_end_in_0 |= ___ends_in_0[x];
        }
    }

    void convert_rows() {
        for (unsigned m = 0; m < taps; ++m) {
            source_row& row = ___rows[___lines.position[m] % taps];
            ___of_line[m] = &row;
            if (row.position == ___lines.position[m]) continue;
            row.position = ___lines.position[m];
            convert(row);
        }
    }

    HWY_INLINE void convert(source_row& row) {
        const auto* pixel = static_cast<const sample*>(___job.source) +
                            (static_cast<std::uint64_t>(row.position) * ___job.source_width + ___left) * n;
        row.has_invisible = false;
        const auto limit = hn::Set(df, std::numeric_limits<float>::infinity());
        auto greatest = hn::Zero(df);
        auto finite = hn::Eq(greatest, greatest);
        std::uint16_t unseen[largest_span];
        for (std::uint32_t i = 0; i < ___span; ++i, pixel += n) {
            hwy::Prefetch(pixel + prefetch_distance / sizeof(sample));
            unseen[i] = is_seen(pixel + n - 1) ? 0 : 1;
            if (HWY_LIKELY(!unseen[i])) {
                for (std::uint32_t c = 0; c < n; c += lanes) {
                    const auto values = load_reals(df, pixel + c);
                    finite = hn::And(finite, hn::Lt(hn::Abs(values), limit));
                    hn::Store(hn::PromoteTo(d, values), d, row.samples + i * n + c);
                }
            } else {
                row.has_invisible = true;
                for (std::uint32_t c = 0; c < n; c += lanes) hn::Store(hn::Zero(d), d, row.samples + i * n + c);
            }
        }
        row.is_finite = hn::AllTrue(df, finite);
        if (!row.has_invisible) std::fill_n(row.invisible, ___count, std::uint16_t{0});
        for (std::uint32_t x = 0; row.has_invisible && x < ___count; ++x) {
            const std::uint32_t* const at = ___at[x];
            row.invisible[x] = static_cast<std::uint16_t>(unseen[at[0]] | unseen[at[1]] << 1 | unseen[at[2]] << 2 |
                                                          unseen[at[3]] << 3);
        }
    }

    HWY_INLINE void run_row(sample* out) {
        unsigned counted[taps], count = 0;
        bool has_invisible = false, are_finite = true;
        for (unsigned m = 0; m < taps; ++m) {
            const source_row& row = *___of_line[m];
            has_invisible |= row.has_invisible;
            are_finite &= row.is_finite;
            if (___lines.weight[m] != 0.0 || !row.is_finite) counted[count++] = m;
        }
        for (std::uint32_t x = 0; has_invisible && x < ___count; ++x) {
            ___invisible[x] =
                static_cast<std::uint16_t>(___of_line[0]->invisible[x] | ___of_line[1]->invisible[x] << 4 |
                                           ___of_line[2]->invisible[x] << 8 | ___of_line[3]->invisible[x] << 12);
        }
        const bool skips = are_finite && ___some_end_in_0;
        // Where positions are whole numbers, the last tap weighs 0.
        if (count == taps) {
            skips ? run_row<taps, true>(out, counted, has_invisible)
                  : run_row<taps, false>(out, counted, has_invisible);
        } else if (count == taps - 1) {
            skips ? run_row<taps - 1, true>(out, counted, has_invisible)
                  : run_row<taps - 1, false>(out, counted, has_invisible);
        } else {
            for (unsigned m = 0; m < taps; ++m) counted[m] = m;
            run_row<taps, false>(out, counted, has_invisible);
        }
    }

    template <unsigned Rows, bool Skips>
    HWY_INLINE void run_row(sample* out, const unsigned (&counted)[taps], bool has_invisible) {
        const double* rows[Rows];
        double line_weights[Rows];
        for (unsigned i = 0; i < Rows; ++i) {
            rows[i] = ___of_line[counted[i]]->samples;
            line_weights[i] = ___lines.weight[counted[i]];
        }
        for (std::uint32_t x = 0; x < ___count; ++x, out += n) {
            V sums[parts];
            if (Skips && ___ends_in_0[x]) {
                sum_taps<Rows, taps - 1>(x, rows, line_weights, sums);
            } else {
                sum_taps<Rows, taps>(x, rows, line_weights, sums);
            }
            if (has_invisible) {
                const unsigned invisible = ___invisible[x];
                if (HWY_UNLIKELY(invisible != 0 && invisible != 0xFFFF)) {
                    fill(x, invisible, sums, out);
                    continue;
                }
            }
            hwy::Prefetch(out + prefetch_distance / sizeof(sample)); // stores would wait for their lines
            for (std::uint32_t p = 0; p < parts; ++p) save_reals(hn::DemoteTo(df, sums[p]), df, out + p * lanes);
        }
    }

    template <unsigned Rows, unsigned Taps>
    HWY_INLINE void sum_taps(std::uint32_t x, const double* const (&rows)[Rows], const double (&line_weights)[Rows],
                             V (&sums)[parts]) const {
        const hn::CappedTag<double, taps> dw;
        HWY_ALIGN double weights[Rows * taps];
        HWY_UNROLL(4)
        for (unsigned i = 0; i < Rows; ++i) {
            for (unsigned k = 0; k < taps; k += hn::MaxLanes(dw))
                hn::Store(hn::Mul(hn::Set(dw, line_weights[i]), hn::Load(dw, ___weight[x] + k)), dw,
                          weights + i * taps + k);
        }
        for (V& sum : sums) sum = hn::Zero(d);
        HWY_UNROLL(4)
        for (unsigned i = 0; i < Rows; ++i) {
            HWY_UNROLL(4)
            for (unsigned k = 0; k < Taps; ++k) {
                const double* const pixel = rows[i] + ___place[x][k];
                HWY_UNROLL(4)
                for (std::uint32_t p = 0; p < parts; ++p) {
                    const V term = hn::Mul(hn::Set(d, weights[i * taps + k]), hn::Load(d, pixel + p * lanes));
                    sums[p] = hn::Add(sums[p], term);
                }
            }
        }
    }

    // Invisible taps take the mean colour of the visible ones.
    HWY_INLINE void fill(std::uint32_t x, unsigned invisible, V (&sums)[parts], sample* out) const {
        V plain[parts];
        for (V& sum : plain) sum = hn::Zero(d);
        double invisible_weight = 0.0;
        std::uint32_t visible = 0;
        for (unsigned m = 0; m < taps; ++m) {
            for (unsigned k = 0; k < taps; ++k) {
                if (invisible >> (m * taps + k) & 1) {
                    invisible_weight += ___lines.weight[m] * ___weight[x][k];
                    continue;
                }
                ++visible;
                for (std::uint32_t p = 0; p < parts; ++p) {
                    const double* const pixel = ___of_line[m]->samples + ___at[x][k] * n + p * lanes;
                    plain[p] = hn::Add(plain[p], hn::Load(d, pixel));
                }
            }
        }
        const bool fills = invisible_weight > 0.0;
        for (std::uint32_t p = 0; p < parts; ++p) {
            const V mean = hn::Div(plain[p], hn::Set(d, visible));
            const V filled = hn::Add(hn::Mul(mean, hn::Set(d, invisible_weight)), sums[p]);
            // All but the last sample, which is alpha.
            const auto is_colour = hn::FirstN(d, !fills ? 0 : p + 1 < parts ? lanes : lanes - 1);
            save_reals(hn::DemoteTo(df, hn::IfThenElse(is_colour, filled, sums[p])), df, out + p * lanes);
        }
    }

    const geometry_job& ___job;
    std::uint32_t ___count; // columns
    std::uint32_t ___left;  // the first source column
    std::uint32_t ___span;  // source columns
    bspline_taps ___lines;
    source_row* ___of_line[taps];
    bspline_taps ___columns[block];
    std::uint32_t ___at[block][taps];    // from the first source column on
    std::uint32_t ___place[block][taps]; // the same in samples
    HWY_ALIGN double ___weight[block][taps];
    bool ___ends_in_0[block];
    std::uint16_t ___invisible[block]; // of each column's taps, one bit each, row after row
    bool ___some_end_in_0;
    source_row ___rows[taps]; // each holds the rows whose position leaves its number as the rest
};

template <class Format>
bool real_bspline(const geometry_job& job, row_range rows) {
    // Where few of the source's columns are looked at, making all of them ready does not pay.
    if (job.source_width / 4 > job.width) return false;
    real_kernel<Format> kernel(job);
    kernel.run(rows);
    return true;
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(bspline_rows, real_bspline, format, (const geometry_job& job, row_range rows), (job, rows))
#define ZARN_FORMATS ZARN_FOR_EACH_REAL_FORMAT
#include "kernels/vector/dispatch.inc"
