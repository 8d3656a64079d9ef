#include "kernels/vector/bspline.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "kernels/bspline_taps.h"
#include "kernels/pixel_format.h"
#include "kernels/pixel_word.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/bspline.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The result is defined by sums in double, in a fixed order. Here a sample is first estimated, columns before rows. Two
// weights and a product are rounded and three sums, twice over, and where the mean of the visible taps is filled in one
// more product and one more sum: at most 12 parts in 2^24 of full scale in 32-bit floats, less than 0.0002 of 255.
// Samples of 16 bits are estimated in double, whose parts in 2^53 make less than 1e-9 of 65535, as do those of the sum
// as it is defined. Only where the estimate lies closer than that to the step between two samples the sum is made as it
// is defined. Such samples are many: weights of simple ratios are simple fractions, and sums of them hit the step.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {
// Other sources have kernels of the same names.
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool bspline(const geometry_job&, row_range) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

template <class Sample>
struct estimate;
template <>
struct estimate<std::uint8_t> {
    using real = float;
    static constexpr double uncertainty = 0.00025;
    static constexpr std::uint32_t block = 1024;
};
template <>
struct estimate<std::uint16_t> {
    using real = double;
    static constexpr double uncertainty = 1.0e-8;
    static constexpr std::uint32_t block = 512;
};

constexpr std::uint32_t prefetch_distance = 512; // bytes

template <class Format>
class kernel {
public:
    explicit kernel(const geometry_job& what)
        : job(what) {
        if constexpr (Format::has_alpha) {
            std::memset(&state.number_of, 0, sizeof(state.number_of));
            for (unsigned rows = 0; rows < 1u << bspline_tap_count; ++rows) {
                for (unsigned m = 0; m < bspline_tap_count; ++m) {
                    state.number_of[rows][n - 1] += static_cast<real>(rows >> m & 1);
                }
            }
        }
    }

    void run(row_range rows) {
        for (std::uint64_t start = 0; start < job.width; start += columns.count) {
            place_columns(start);
            std::fill(std::begin(source.row), std::end(source.row), -1);
            for (std::uint32_t y = rows.start; y < rows.end; ++y) {
                lines = place_bspline_taps(y, job.source_height, job.height);
                for (unsigned m = 0; m < bspline_tap_count; ++m) {
                    slots[m] = lines.position[m] % bspline_tap_count;
                    if (source.row[slots[m]] == lines.position[m]) continue;
                    source.row[slots[m]] = lines.position[m];
                    convert_row(slots[m]);
                }
                out = static_cast<sample*>(job.destination) + (std::uint64_t{y} * job.width + start) * n;
                if (columns.are_close) {
                    run_row<true>();
                } else {
                    run_row<false>();
                }
            }
        }
    }

private:
    using sample = typename Format::sample;
    using values = estimate<sample>;
    using real = typename values::real;
    using word = pixel_word<Format>;
    using item = std::int32_t;          // a place in a row
    using lane = hwy::MakeSigned<real>; // of a permutation

    static constexpr std::uint32_t n = channels<Format>;
    static constexpr int n_bits = n / 2; // its binary logarithm
    static_assert(n == 1u << n_bits);
    static constexpr std::uint32_t block = values::block;        // destination columns worked on at a time
    static constexpr std::uint32_t largest_span = block * 5 / 4; // source columns they may touch

    // As many whole pixels as fill a vector.
    using D = hn::CappedTag<real, 16>;
    using V = hn::Vec<D>;
    using DI = hn::Rebind<std::int32_t, D>;
    static constexpr std::uint32_t group_samples = HWY_MIN(HWY_LANES(real), 16);
    static constexpr std::uint32_t group_pixels = group_samples / n;
    static constexpr std::uint32_t row_samples = (largest_span + 2 * group_pixels) * n;

    // Source pixels as floats, the invisible ones 0, for the rows under the kernel.
    struct source_rows {
        HWY_ALIGN real samples[bspline_tap_count][row_samples];
        HWY_ALIGN real mixed[bspline_tap_count][block * n];                   // by the weights of the block's columns
        std::uint8_t visible[bspline_tap_count][largest_span + group_pixels]; // 0 or 1
        bool has_invisible[bspline_tap_count];
        std::int64_t row[bspline_tap_count] = {-1, -1, -1, -1};
    };

    struct block_columns {
        std::uint32_t count;
        // Source columns are counted from `left`, which like the last may lie outside of the source: there the columns
        // at its edges stand again.
        std::int64_t left;
        std::uint32_t span;
        // The taps of each group of columns lie so close together that one load and one permutation fetch them.
        bool are_close;
        bspline_taps taps[block];
        HWY_ALIGN item first[block + group_pixels]; // tap
        std::uint32_t odd[block];                   // the columns whose taps are not four neighbours
        std::uint32_t odd_count;
        // The first column whose first tap is this source column or a later one.
        std::uint16_t start[largest_span + 1];
        HWY_ALIGN real weights[block / group_pixels + 1][bspline_tap_count][group_samples];
        // The permutation; where they lie too far apart the places of the first taps.
        HWY_ALIGN lane order[block / group_pixels + 1][group_samples];
        HWY_ALIGN double exact_weights[bspline_tap_count][block];
    };

    // What the rows under the kernel have in common, by columns of the source. The last two are set where visible and
    // invisible taps mix.
    struct column_state {
        std::uint8_t visible[largest_span];  // a bit for each row
        std::uint8_t is_mixed[largest_span]; // the four columns from here on
        HWY_ALIGN real plain[row_samples];   // sums of the visible taps' colours; in place of alpha their number
        HWY_ALIGN real invisible_weight[row_samples]; // 0 for alpha
        // By the bits of the visible rows: their number, in place of alpha, and the weight of the others.
        HWY_ALIGN real number_of[1 << bspline_tap_count][n];
        HWY_ALIGN real weight_of[1 << bspline_tap_count][n];
        // Groups of destination columns with pixels whose taps mix.
        struct {
            std::uint32_t start, end;
        } runs[block / group_pixels + 1];
        std::uint32_t run_count;
    };

    const geometry_job& job;
    block_columns columns;
    source_rows source;
    column_state state;
    bspline_taps lines;
    unsigned slots[bspline_tap_count];
    sample* out;
    HWY_ALIGN item doubtful[block * n + 16]; // samples to be made exactly
    std::uint32_t doubtful_count;

    // ---- Source ------------------------------------------------------------------------------------------------

    // Gives back whether all pixels are visible.
    HWY_INLINE static bool convert_pixels(const sample* pixels, word alpha, real* samples, std::uint8_t* visible) {
        const hn::Rebind<sample, D> ds;
        const hn::Repartition<word, decltype(ds)> dw;
        const hn::Rebind<std::uint8_t, decltype(dw)> db;
        const auto store = [samples](auto kept) HWY_ATTR {
            if constexpr (sizeof(real) == sizeof(float)) {
                hn::Store(hn::ConvertTo(D(), hn::PromoteTo(DI(), kept)), D(), samples);
            } else {
                hn::Store(hn::PromoteTo(D(), hn::PromoteTo(DI(), kept)), D(), samples);
            }
        };
        if constexpr (!Format::has_alpha) {
            store(hn::LoadU(ds, pixels));
            return true;
        } else {
            const auto whole = hn::BitCast(dw, hn::LoadU(ds, pixels));
            const auto is_visible = hn::Ne(hn::And(whole, hn::Set(dw, alpha)), hn::Zero(dw));
            hn::StoreU(hn::TruncateTo(db, hn::IfThenElseZero(is_visible, hn::Set(dw, 1))), db, visible);
            store(hn::BitCast(ds, hn::IfThenElseZero(is_visible, whole)));
            return hn::AllTrue(dw, is_visible);
        }
    }

    HWY_INLINE void convert_row(unsigned slot) {
        const sample* const line = static_cast<const sample*>(job.source) +
                                   static_cast<std::uint64_t>(source.row[slot]) * job.source_width * n;
        const word alpha = make_word<Format>(Format::has_alpha ? 0 : Format::full, Format::full);
        real* const samples = source.samples[slot];
        std::uint8_t* const visible = source.visible[slot];
        bool all = true;
        const auto convert_one_by_one = [&](std::uint32_t start, std::uint32_t stop) {
            for (std::uint32_t at = start; at < stop; at += group_pixels) {
                sample pixels[group_samples];
                for (std::uint32_t k = 0; k < group_pixels; ++k) {
                    const std::int64_t from = std::clamp<std::int64_t>(columns.left + at + k, 0, job.source_width - 1);
                    std::copy_n(line + from * n, n, pixels + k * n);
                }
                all &= convert_pixels(pixels, alpha, samples + at * n, visible + at);
            }
        };
        std::uint32_t i = columns.left < 0 ? group_pixels : 0;
        convert_one_by_one(0, i);
        const std::int64_t end = std::min<std::int64_t>(columns.left + columns.span, job.source_width);
        for (; columns.left + i + group_pixels <= end; i += group_pixels) {
            all &= convert_pixels(line + (columns.left + i) * n, alpha, samples + i * n, visible + i);
        }
        convert_one_by_one(i, columns.span);
        source.has_invisible[slot] = !all;
        real* const mixed = source.mixed[slot];
        if (columns.are_close) {
            for (std::uint32_t x = 0; x < columns.count; x += group_pixels) {
                hn::Store(weigh_taps<true>(samples, x), D(), mixed + x * n);
            }
        } else {
            for (std::uint32_t x = 0; x < columns.count; x += group_pixels) {
                hn::Store(weigh_taps<false>(samples, x), D(), mixed + x * n);
            }
        }
    }

    // ---- Exact form --------------------------------------------------------------------------------------------

    // The doubtful samples, all of whose taps are visible: row by row, sums in double.
    HWY_INLINE void write_doubtful() {
        const hn::CappedTag<double, 8> dd;
        const hn::Rebind<std::int32_t, decltype(dd)> di;
        const hn::RebindToSigned<decltype(dd)> dl;
        constexpr std::uint32_t lanes = HWY_MIN(HWY_LANES(double), 8);
        std::fill_n(doubtful + doubtful_count, lanes, item{0});
        for (std::uint32_t i = 0; i < doubtful_count; i += lanes) {
            const auto where = hn::LoadU(di, doubtful + i);
            const auto x = hn::ShiftRight<n_bits>(where);
            const auto place = hn::And(where, hn::Set(di, n - 1));
            const auto at = hn::Add(hn::ShiftLeft<n_bits>(hn::GatherIndex(di, columns.first, x)), place);
            hn::Vec<decltype(dd)> weights[bspline_tap_count];
            for (unsigned k = 0; k < bspline_tap_count; ++k) {
                weights[k] = hn::GatherIndex(dd, columns.exact_weights[k], hn::PromoteTo(dl, x));
            }
            auto sum = hn::Zero(dd);
            for (unsigned m = 0; m < bspline_tap_count; ++m) {
                if (lines.weight[m] == 0.0) continue; // it would add 0
                const auto line_weight = hn::Set(dd, lines.weight[m]);
                for (unsigned k = 0; k < bspline_tap_count; ++k) {
                    const real* const samples = source.samples[slots[m]] + k * n;
                    const auto weight = hn::Mul(line_weight, weights[k]);
                    if constexpr (sizeof(real) == sizeof(float)) {
                        const hn::Rebind<float, decltype(dd)> df;
                        const auto tap = hn::GatherIndex(df, samples, at);
                        sum = hn::Add(sum, hn::Mul(weight, hn::PromoteTo(dd, tap)));
                    } else {
                        sum = hn::Add(sum, hn::Mul(weight, hn::GatherIndex(dd, samples, hn::PromoteTo(dl, at))));
                    }
                }
            }
            HWY_ALIGN std::int32_t whole[lanes];
            hn::Store(hn::DemoteTo(di, hn::Add(sum, hn::Set(dd, 0.5))), di, whole);
            const std::uint32_t count = std::min(lanes, doubtful_count - i);
            for (std::uint32_t lane = 0; lane < count; ++lane)
                out[doubtful[i + lane]] = static_cast<sample>(whole[lane]);
        }
    }

    // One pixel, whatever its taps.
    HWY_NOINLINE void write_exact(std::uint32_t x) {
        const hn::CappedTag<double, n> dd;
        constexpr std::uint32_t lanes = HWY_MIN(HWY_LANES(double), n);
        constexpr std::uint32_t parts = n / lanes;
        const hn::CappedTag<real, n> dr;
        hn::Vec<decltype(dd)> sums[parts];
        for (auto& sum : sums) sum = hn::Zero(dd);
        auto plain = hn::Zero(dr); // whole numbers: exact
        std::uint32_t visible = 0;
        double invisible_weight = 0.0;
        // Without branches: which taps are visible cannot be guessed along an edge. Invisible ones add 0.
        for (unsigned m = 0; m < bspline_tap_count; ++m) {
            for (unsigned k = 0; k < bspline_tap_count; ++k) {
                const double weight = lines.weight[m] * columns.taps[x].weight[k];
                const auto at = static_cast<std::uint32_t>(columns.taps[x].position[k] - columns.left);
                const real* const pixel = source.samples[slots[m]] + at * n;
                for (std::uint32_t i = 0; i < parts; ++i) {
                    const auto samples = to_double(hn::LoadU(hn::Rebind<real, decltype(dd)>(), pixel + i * lanes));
                    sums[i] = hn::Add(sums[i], hn::Mul(hn::Set(dd, weight), samples));
                }
                plain = hn::Add(plain, hn::Load(dr, pixel));
                const std::uint8_t is_visible = Format::has_alpha ? source.visible[slots[m]][at] : std::uint8_t{1};
                visible += is_visible;
                invisible_weight += weight * (1.0 - is_visible);
            }
        }
        HWY_ALIGN double weighted[n];
        for (std::uint32_t i = 0; i < parts; ++i) hn::Store(sums[i], dd, weighted + i * lanes);
        if (invisible_weight > 0.0 && visible > 0) {
            // Invisible taps take the mean colour of the visible ones.
            HWY_ALIGN real colours[n];
            hn::Store(plain, dr, colours);
            for (std::uint32_t c = 0; c + 1 < n; ++c) {
                weighted[c] =
                    (static_cast<std::int32_t>(colours[c]) / static_cast<std::int32_t>(visible)) * invisible_weight +
                    weighted[c];
            }
        }
        for (std::uint32_t c = 0; c < n; ++c) {
            out[x * n + c] = static_cast<sample>(static_cast<std::int32_t>(weighted[c] + 0.5));
        }
    }

    template <class V4>
    HWY_INLINE static auto to_double(V4 v) {
        if constexpr (sizeof(real) == sizeof(float)) {
            return hn::PromoteTo(hn::CappedTag<double, HWY_MIN(HWY_LANES(double), n)>(), v);
        } else {
            return v;
        }
    }

    // ---- Estimate ----------------------------------------------------------------------------------------------

    // The k-th taps of a group's pixels side by side.
    template <bool AreClose>
    HWY_INLINE V load_taps(const real* samples, std::uint32_t group, unsigned k) const {
        const item* const first = columns.first + group;
        if constexpr (AreClose) {
            const V near = hn::LoadU(D(), samples + (first[0] + k) * n);
            if constexpr (group_pixels == 1) return near;
            return hn::TableLookupLanes(near, hn::SetTableIndices(D(), columns.order[group / group_pixels]));
        } else if constexpr (n < 4) {
            const hn::RebindToSigned<D> d;
            return hn::GatherIndex(D(), samples + k * n, hn::Load(d, columns.order[group / group_pixels]));
        } else {
            const hn::CappedTag<real, n> d4;
            const auto tap = [&](std::uint32_t pixel) { return hn::Load(d4, samples + (first[pixel] + k) * n); };
            const hn::CappedTag<real, 2 * n> d8;
            if constexpr (group_pixels == 1) {
                return tap(0);
            } else if constexpr (group_pixels == 2) {
                return hn::Combine(d8, tap(1), tap(0));
            } else {
                return hn::Combine(D(), hn::Combine(d8, tap(3), tap(2)), hn::Combine(d8, tap(1), tap(0)));
            }
        }
    }

    template <bool AreClose>
    HWY_INLINE V weigh_taps(const real* samples, std::uint32_t group) const {
        const auto& weights = columns.weights[group / group_pixels];
        V sum = hn::Mul(hn::Load(D(), weights[0]), load_taps<AreClose>(samples, group, 0));
        for (unsigned k = 1; k < bspline_tap_count; ++k) {
            sum = hn::MulAdd(hn::Load(D(), weights[k]), load_taps<AreClose>(samples, group, k), sum);
        }
        return sum;
    }

    // The four rows of a group by their weights.
    struct row_mixer {
        const real* from[bspline_tap_count];
        V weights[bspline_tap_count];

        HWY_INLINE V operator()(std::uint32_t group) const {
            V sum = hn::Mul(weights[0], hn::Load(D(), from[0] + group * n));
            for (unsigned m = 1; m < bspline_tap_count; ++m) {
                sum = hn::MulAdd(weights[m], hn::Load(D(), from[m] + group * n), sum);
            }
            return sum;
        }
    };

    HWY_INLINE row_mixer rows_of_line() const {
        row_mixer mixer;
        for (unsigned m = 0; m < bspline_tap_count; ++m) {
            mixer.from[m] = source.mixed[slots[m]];
            mixer.weights[m] = hn::Set(D(), static_cast<real>(lines.weight[m]));
        }
        return mixer;
    }

    // Adding it rounds a float of this size to a whole number and leaves that in the low bits.
    static constexpr real magic = sizeof(real) == sizeof(float) ? real(1 << 23) : real(std::uint64_t{1} << 52);

    HWY_INLINE static hn::Mask<DI> to_integer_mask(hn::Mask<D> mask) {
        if constexpr (sizeof(real) == sizeof(float)) {
            return hn::RebindMask(DI(), mask);
        } else {
            return hn::Ne(hn::DemoteTo(DI(), hn::IfThenElseZero(mask, hn::Set(D(), 1.0))), hn::Zero(DI()));
        }
    }

    // Where rounded estimates go, and the places of the doubtful ones.
    struct row_writer {
        sample* out;
        item* list;
        std::uint32_t listed;

        // `at` is the first sample's place in the row; only `count` samples are there.
        HWY_INLINE void write(V sum, std::uint32_t at, hn::Vec<DI> places, std::uint32_t count = group_samples) {
            const V moved = hn::Add(sum, hn::Set(D(), magic));
            const V from_whole = hn::Abs(hn::Sub(sum, hn::Sub(moved, hn::Set(D(), magic))));
            auto is_doubtful = hn::Gt(from_whole, hn::Set(D(), static_cast<real>(0.5 - values::uncertainty)));
            const hn::Rebind<sample, D> ds;
            const auto samples = hn::TruncateTo(ds, hn::BitCast(hn::RebindToUnsigned<D>(), moved));
            if (HWY_LIKELY(count >= group_samples)) {
                hn::StoreU(samples, ds, out + at);
            } else {
                sample last[group_samples];
                hn::StoreU(samples, ds, last);
                std::memcpy(out + at, last, count * sizeof(sample));
                is_doubtful = hn::And(is_doubtful, hn::FirstN(D(), count));
            }
            // Where compression takes many instructions.
            if (HWY_TARGET > HWY_AVX3 && HWY_LIKELY(hn::AllFalse(D(), is_doubtful))) return;
            hn::StoreU(hn::Compress(places, to_integer_mask(is_doubtful)), DI(), list + listed);
            listed += static_cast<std::uint32_t>(hn::CountTrue(D(), is_doubtful));
        }
    };

    // Groups [group, end) all of whose pixels have visible taps only, or invisible ones only; `count` pixels are in the
    // row. Apart and by value, so that all of it stays in registers.
    HWY_NOINLINE static std::uint32_t write_plain_groups(const row_mixer& rows, std::uint32_t group, std::uint32_t end,
                                                         std::uint32_t count, row_writer writer) {
        const row_mixer mixer = rows;
        const auto step = hn::Set(DI(), static_cast<item>(group_samples));
        auto places = hn::Add(hn::Iota(DI(), 0), hn::Set(DI(), static_cast<item>(group * n)));
        const std::uint32_t whole = std::min(end, count / group_pixels * group_pixels);
        for (; group < whole; group += group_pixels) {
            writer.write(mixer(group), group * n, places);
            // Stores would wait for their lines.
            hwy::Prefetch(writer.out + group * n + prefetch_distance / sizeof(sample));
            places = hn::Add(places, step);
        }
        if (group < end) writer.write(mixer(group), group * n, places, (count - group) * n);
        return writer.listed;
    }

    HWY_INLINE void write_plain(const row_mixer& mixer, std::uint32_t group, std::uint32_t end) {
        if (group >= end) return;
        doubtful_count = write_plain_groups(mixer, group, end, columns.count, {out, doubtful, doubtful_count});
    }

    // What the estimate of groups with pixels whose taps mix takes from the columns of the source.
    HWY_NOINLINE void mix_columns(std::uint32_t group, std::uint32_t end) {
        const hn::CappedTag<real, n> d4;
        const auto is_colour = hn::FirstN(d4, n - 1);
        const auto first = static_cast<std::uint32_t>(columns.first[group]);
        const auto last =
            static_cast<std::uint32_t>(columns.first[std::min(end, columns.count) - 1]) + bspline_tap_count;
        for (std::uint32_t i = first; i < std::min(last, columns.span); ++i) {
            auto plain = hn::Load(d4, source.samples[slots[0]] + i * n);
            for (unsigned m = 1; m < bspline_tap_count; ++m) {
                plain = hn::Add(plain, hn::Load(d4, source.samples[slots[m]] + i * n));
            }
            const std::uint8_t visible = state.visible[i];
            plain = hn::IfThenElse(is_colour, plain, hn::Load(d4, state.number_of[visible]));
            hn::Store(plain, d4, state.plain + i * n);
            hn::Store(hn::Load(d4, state.weight_of[visible]), d4, state.invisible_weight + i * n);
        }
    }

    // Groups with pixels whose taps mix.
    template <bool AreClose>
    HWY_NOINLINE void write_mixed_groups(const row_mixer& mixer, std::uint32_t group, std::uint32_t end) {
        HWY_ALIGN lane of_alpha[group_samples];
        for (std::uint32_t i = 0; i < group_samples; ++i) of_alpha[i] = static_cast<lane>(i | (n - 1));
        const auto lane_numbers = hn::Iota(DI(), 0);
        row_writer writer{out, doubtful, 0};
        for (; group < end; group += group_pixels) {
            V plain = load_taps<AreClose>(state.plain, group, 0);
            for (unsigned k = 1; k < bspline_tap_count; ++k) {
                plain = hn::Add(plain, load_taps<AreClose>(state.plain, group, k));
            }
            // The quotient is whole or at least 1 / 16 below the next whole number: its rounding does no harm.
            const V count = hn::TableLookupLanes(plain, hn::SetTableIndices(D(), of_alpha));
            const V mean = hn::Trunc(hn::Div(plain, hn::Max(count, hn::Set(D(), real(1)))));
            const V fill = weigh_taps<AreClose>(state.invisible_weight, group);
            const auto places = hn::Add(lane_numbers, hn::Set(DI(), static_cast<item>(group * n)));
            writer.write(hn::MulAdd(mean, fill, mixer(group)), group * n, places, (columns.count - group) * n);
        }
        for (std::uint32_t i = 0; i < writer.listed; ++i) write_exact(static_cast<std::uint32_t>(doubtful[i]) / n);
    }

    HWY_INLINE void weigh_invisible_rows() {
        const hn::CappedTag<real, n> d4;
        hn::Vec<decltype(d4)> sums[1 << bspline_tap_count];
        sums[0] = hn::Zero(d4);
        for (unsigned m = 0; m < bspline_tap_count; ++m) {
            const auto weight =
                hn::IfThenElseZero(hn::FirstN(d4, n - 1), hn::Set(d4, static_cast<real>(lines.weight[m])));
            for (unsigned rows = 0; rows < 1u << m; ++rows) sums[rows | 1u << m] = hn::Add(sums[rows], weight);
        }
        constexpr unsigned every = (1 << bspline_tap_count) - 1;
        for (unsigned rows = 0; rows <= every; ++rows) hn::Store(sums[rows], d4, state.weight_of[every - rows]);
    }

    // Finds the columns from which on visible and invisible taps mix; returns the number of columns looked at.
    HWY_INLINE std::uint32_t find_mixed() {
        const std::uint8_t* const from[] = {source.visible[slots[0]], source.visible[slots[1]],
                                            source.visible[slots[2]], source.visible[slots[3]]};
        for (std::uint32_t i = 0; i < columns.span; ++i) {
            state.visible[i] =
                static_cast<std::uint8_t>(from[0][i] | from[1][i] << 1 | from[2][i] << 2 | from[3][i] << 3);
        }
        if (columns.span < bspline_tap_count) return 0;
        constexpr unsigned every = (1 << bspline_tap_count) - 1;
        const std::uint32_t end = columns.span - (bspline_tap_count - 1);
        const std::uint8_t* const seen = state.visible;
        for (std::uint32_t i = 0; i < end; ++i) {
            const unsigned some = seen[i] | seen[i + 1] | seen[i + 2] | seen[i + 3];
            const unsigned all = seen[i] & seen[i + 1] & seen[i + 2] & seen[i + 3];
            state.is_mixed[i] = static_cast<std::uint8_t>((some != 0 ? 1 : 0) & (all != every ? 1 : 0));
        }
        return end;
    }

    template <bool AreClose>
    HWY_INLINE void run_row() {
        const row_mixer mixer = rows_of_line();
        doubtful_count = 0;
        state.run_count = 0;
        std::uint32_t group = 0;
        bool has_invisible = false;
        for (const unsigned slot : slots) has_invisible |= source.has_invisible[slot];
        if (Format::has_alpha && has_invisible) {
            const std::uint32_t end = find_mixed();
            weigh_invisible_rows();
            for (std::uint32_t i = 0; i < end;) {
                if (i + 8 <= end) {
                    std::uint64_t eight;
                    std::memcpy(&eight, state.is_mixed + i, sizeof(eight));
                    if (eight == 0) {
                        i += 8;
                        continue;
                    }
                }
                if (!state.is_mixed[i]) {
                    ++i;
                    continue;
                }
                const std::uint32_t from = std::max<std::uint32_t>(columns.start[i], group);
                while (i < end && state.is_mixed[i]) ++i;
                const std::uint32_t mixed = from / group_pixels * group_pixels;
                const std::uint32_t mixed_end = (columns.start[i] + group_pixels - 1) / group_pixels * group_pixels;
                if (mixed_end <= mixed) continue;
                mix_columns(mixed, mixed_end);
                write_plain(mixer, group, mixed);
                state.runs[state.run_count++] = {mixed, mixed_end};
                group = mixed_end;
            }
        }
        write_plain(mixer, group, columns.count);
        write_doubtful();
        // Late, when the columns' values have long been stored.
        for (std::uint32_t i = 0; i < state.run_count; ++i) {
            write_mixed_groups<AreClose>(mixer, state.runs[i].start, state.runs[i].end);
        }
        for (std::uint32_t i = 0; i < columns.odd_count; ++i) write_exact(columns.odd[i]);
    }

    // ---- Blocks ------------------------------------------------------------------------------------------------

    // Places a block of columns from `start` on.
    void place_columns(std::uint64_t start) {
        const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, job.width - start));
        std::int64_t right = 0;
        std::int64_t first[block];
        columns.odd_count = 0;
        for (columns.count = 0; columns.count < wanted; ++columns.count) {
            const std::uint32_t x = columns.count;
            bspline_taps& taps = columns.taps[x];
            taps = place_bspline_taps(static_cast<std::uint32_t>(start) + x, job.source_width, job.width);
            first[x] = std::int64_t{taps.position[1]} - 1;
            if (x == 0) columns.left = first[x];
            // A block ends early where its columns would touch more of the source than there is room for, and where
            // positions turn back.
            const std::int64_t last = first[x] + bspline_tap_count - 1;
            if (x > 0 && (first[x] < first[x - 1] || last - columns.left >= largest_span)) break;
            right = last;
            bool are_neighbours = true;
            for (unsigned k = 0; k < bspline_tap_count; ++k) {
                const std::int64_t neighbour = std::clamp<std::int64_t>(first[x] + k, 0, job.source_width - 1);
                are_neighbours &= neighbour == taps.position[k];
            }
            if (!are_neighbours) columns.odd[columns.odd_count++] = x;
        }
        columns.span = static_cast<std::uint32_t>(right - columns.left + 1);
        const std::uint32_t end = (columns.count + group_pixels - 1) / group_pixels * group_pixels;
        std::uint32_t filled = 0;
        for (std::uint32_t x = 0; x < end; ++x) {
            const bspline_taps& taps = columns.taps[std::min(x, columns.count - 1)];
            const auto away = static_cast<std::uint32_t>(first[std::min(x, columns.count - 1)] - columns.left);
            columns.first[x] = static_cast<item>(away);
            while (filled <= away) columns.start[filled++] = static_cast<std::uint16_t>(x);
            for (unsigned k = 0; k < bspline_tap_count; ++k) {
                real* const weights = columns.weights[x / group_pixels][k] + x % group_pixels * n;
                std::fill_n(weights, n, static_cast<real>(taps.weight[k]));
                if (x < columns.count) columns.exact_weights[k][x] = taps.weight[k];
            }
        }
        std::fill(columns.start + filled, std::end(columns.start), static_cast<std::uint16_t>(columns.count));
        columns.are_close = true;
        const auto away_in_group = [this](std::uint32_t x) {
            return columns.first[x] - columns.first[x / group_pixels * group_pixels];
        };
        for (std::uint32_t x = 0; x < end; ++x) columns.are_close &= away_in_group(x) < item{group_pixels};
        for (std::uint32_t x = 0; x < end; ++x) {
            const item place = (columns.are_close ? away_in_group(x) : columns.first[x]) * item{n};
            for (std::uint32_t c = 0; c < n; ++c) {
                columns.order[x / group_pixels][x % group_pixels * n + c] = place + static_cast<lane>(c);
            }
        }
    }
};

template <class Format>
bool bspline([[maybe_unused]] const geometry_job& job, [[maybe_unused]] row_range rows) {
    // A pixel must fit a vector.
    if constexpr (HWY_LANES(typename estimate<typename Format::sample>::real) < channels<Format>) {
        return false;
    } else {
        kernel<Format> all(job);
        all.run(rows);
        return true;
    }
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(bspline_rows, bspline, format, (const geometry_job& job, row_range rows), (job, rows))
#define ZARN_FORMATS ZARN_FOR_EACH_TABULABLE_FORMAT
#include "kernels/vector/dispatch.inc"
