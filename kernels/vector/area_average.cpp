#include "kernels/vector/area_average.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kernels/area_box.h"
#include "kernels/pixel_word.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/area_average.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// The rows of a box are summed first, for all columns of the source that a block of destination columns touches. Where
// boxes are small, the means of all boxes that a source column could start are made next, as if all their pixels were
// visible or none, and each destination pixel takes one. Those whose box mixes visible and invisible pixels are made
// one by one.
//
// Without alpha every pixel is visible.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {
// Other sources have kernels of the same names.
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool area_average(const geometry_job&, row_range) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::uint32_t block = 512;         // destination columns worked on at a time
constexpr std::uint32_t largest_span = 1024; // source columns they may touch
constexpr std::uint32_t most_columns = 8;    // of a small box

template <class Sample>
struct arithmetic;

template <>
struct arithmetic<std::uint8_t> {
    using sum = std::uint16_t;
    static constexpr std::uint64_t most_rows = 257;   // their sums fit
    static constexpr std::uint64_t most_area = 32767; // of a box
    static constexpr std::uint32_t most_small = 128;  // area of a small box; the least is 2

    // Divides sums of `area` samples: times a 16-bit reciprocal m / 2^(16 + shift), where 2^shift < area <= 2^(shift +
    // 1). Rounded up it exceeds 1 / area by less than 1 / 2^(16 + shift), and a sum of at most 255 * 128 times that is
    // less than 1 / area: the quotient does not reach the next whole number.
    struct divider {
        std::uint16_t reciprocal;
        int shift;

        explicit divider(std::uint32_t area)
            : shift(0) {
            while (2u << shift < area) ++shift;
            reciprocal = static_cast<std::uint16_t>(((65536u << shift) + area - 1) / area);
        }
        template <class D>
        HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> sums) const {
            return hn::ShiftRightSame(hn::MulHigh(sums, hn::Set(d, reciprocal)), shift);
        }
    };

    // The division in 32-bit floats gives the whole part of the quotient: a sum below 2^24 is exact, and the quotient
    // lies on a whole number or at least 1 / most_area below the next, more than its rounding.
    template <std::uint32_t n>
    HWY_INLINE static void write_mean(const sum* samples, std::uint32_t columns, std::uint32_t visible,
                                      std::uint32_t area, std::uint8_t* out) {
        const hn::CappedTag<std::int32_t, n> d;
        const hn::Rebind<float, decltype(d)> df;
        const hn::Rebind<std::uint16_t, decltype(d)> d16;
        const hn::Rebind<std::uint8_t, decltype(d)> d8;
        auto total = hn::Zero(d);
        for (std::uint32_t x = 0; x < columns; ++x) {
            total = hn::Add(total, hn::PromoteTo(d, hn::LoadU(d16, samples + x * n)));
        }
        const auto of_colour = hn::Set(d, static_cast<std::int32_t>(visible));
        const auto of_alpha = hn::Set(d, static_cast<std::int32_t>(area));
        const auto divisor = hn::ConvertTo(df, hn::IfThenElse(hn::FirstN(d, n - 1), of_colour, of_alpha));
        hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(d, hn::Div(hn::ConvertTo(df, total), divisor))), d8, out);
    }
};

template <>
struct arithmetic<std::uint16_t> {
    using sum = std::uint32_t;
    static constexpr std::uint64_t most_rows = 65537;
    static constexpr std::uint64_t most_area = 1 << 24;
    static constexpr std::uint32_t most_small = 64;

    // Multiplies by a 32-bit float that is no less than 1 / area and exceeds it by no more than 2^-23 of itself. A sum
    // of up to 64 samples is exact; with the product's rounding the quotient is off by less than 65535 * 2^-22 < 1 /
    // 64, and upwards only where it is whole: it does not reach the next whole number.
    struct divider {
        float reciprocal;

        explicit divider(std::uint32_t area)
            : reciprocal(1.0f / static_cast<float>(area)) {
            if (double{reciprocal} * area < 1.0) reciprocal = std::nextafter(reciprocal, 1.0f);
        }
        template <class D>
        HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> sums) const {
            const hn::RebindToSigned<D> di;
            const hn::RebindToFloat<D> df;
            const auto quotient = hn::Mul(hn::ConvertTo(df, hn::BitCast(di, sums)), hn::Set(df, reciprocal));
            return hn::BitCast(d, hn::ConvertTo(di, quotient));
        }
    };

    template <std::uint32_t n>
    HWY_INLINE static void write_mean(const sum* samples, std::uint32_t columns, std::uint32_t visible,
                                      std::uint32_t area, std::uint16_t* out) {
        std::uint64_t total[n] = {};
        for (std::uint32_t i = 0; i < columns * n; ++i) total[i % n] += samples[i];
        for (std::uint32_t c = 0; c + 1 < n; ++c) out[c] = static_cast<std::uint16_t>(total[c] / visible);
        out[n - 1] = static_cast<std::uint16_t>(total[n - 1] / area);
    }
};

template <class Format>
class kernel {
public:
    explicit kernel(const geometry_job& what)
        : job(what) {
        std::memset(&sums.samples, 0, sizeof(sums.samples));
    }

    // False if boxes are too large.
    bool run(row_range rows) {
        const area_box_placement columns(job.source_width, job.width);
        const area_box_placement lines(job.source_height, job.height);
        // Beyond 2^24 pixels a side the floats of the placement may leave the source.
        const bool fits = lines.longest() <= values::most_rows &&
                          columns.longest() * lines.longest() <= values::most_area &&
                          columns.longest() + group_pixels < largest_span && job.source_width >= group_pixels &&
                          job.source_width < (1u << 24) && job.source_height < (1u << 24);
        if (!fits) return false;
        for (std::uint64_t start = 0; start < job.width; start += count) {
            place_columns(columns, start);
            for (std::uint32_t row = rows.start; row < rows.end; ++row) {
                out = static_cast<sample*>(job.destination) +
                      (std::uint64_t{memory_row(row, job.height, job.lower_left)} * job.width + start) * n;
                run_row(lines(row));
            }
        }
        return true;
    }

private:
    using sample = typename Format::sample;
    using values = arithmetic<sample>;
    using sum = typename values::sum;
    using word = pixel_word<Format>;
    using DS = hn::ScalableTag<sum>;
    using DP = hn::Rebind<sample, DS>;    // the samples themselves
    using DW = hn::Repartition<word, DP>; // the same as pixels
    static constexpr std::uint32_t n = channels<Format>;
    static constexpr std::uint32_t group_pixels = HWY_LANES(sum) / n;
    static constexpr std::uint32_t most_groups = largest_span / group_pixels + 1;

    enum : std::uint8_t { has_visible = 1, has_invisible = 2, is_mixed = 3 };

    struct column_sums {
        HWY_ALIGN sum samples[(largest_span + most_columns + group_pixels) * n];
        HWY_ALIGN word visible[largest_span];
        std::uint8_t kind[most_groups]; // of the pixels of each group of columns
    };

    const geometry_job& job;
    sample* out;
    std::uint32_t count;                          // destination columns of the block
    std::uint32_t first, span;                    // source columns of the block
    std::uint32_t width;                          // of most boxes
    std::uint16_t start_of[block], end_of[block]; // the boxes, within the block's source columns
    std::uint16_t touching[most_groups + 1];      // the first box that reaches into a group, or a later one
    std::uint16_t clipped[block];                 // boxes of another width
    std::uint32_t clipped_count;
    struct {
        std::uint32_t start, end, step;
    } even; // boxes that start so many source columns apart
    column_sums sums;
    HWY_ALIGN sample means[(largest_span + 2 * group_pixels) * n];

    void place_columns(const area_box_placement& columns, std::uint64_t start) {
        const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, job.width - start));
        area_box placed[block];
        std::uint32_t low = UINT32_MAX, high = 0;
        for (count = 0; count < wanted; ++count) {
            placed[count] = columns(static_cast<std::uint32_t>(start) + count);
            const std::uint32_t next_low = std::min(low, placed[count].start);
            const std::uint32_t next_high = std::max(high, placed[count].end);
            if (count > 0 && next_high - next_low + group_pixels > largest_span) break;
            low = next_low;
            high = next_high;
        }
        // Vectors must not reach beyond the row.
        first = std::min(low, job.source_width - group_pixels);
        span = std::max(high - first, group_pixels);
        width = placed[count / 2].end - placed[count / 2].start;
        clipped_count = 0;
        std::uint32_t group = 0;
        for (std::uint32_t x = 0; x < count; ++x) {
            start_of[x] = static_cast<std::uint16_t>(placed[x].start - first);
            end_of[x] = static_cast<std::uint16_t>(placed[x].end - first);
            if (placed[x].end - placed[x].start != width) clipped[clipped_count++] = static_cast<std::uint16_t>(x);
            while (group <= most_groups && group * group_pixels < end_of[x]) {
                touching[group++] = static_cast<std::uint16_t>(x);
            }
        }
        std::fill(touching + group, touching + most_groups + 1, static_cast<std::uint16_t>(count));
        find_even();
    }

    // The longest run of boxes that start two source columns apart, or else four.
    void find_even() {
        for (const std::uint32_t step : {2u, 4u}) {
            even = {0, 0, step};
            std::uint32_t start = 0;
            for (std::uint32_t x = 1; x < count; ++x) {
                if (start_of[x] != start_of[x - 1] + step) start = x;
                if (x + 1 - start > even.end - even.start) even = {start, x + 1, step};
            }
            if (even.end - even.start >= group_pixels) return;
        }
    }

    // `Rows`: the box's, 0 for any number.
    template <std::uint32_t Rows>
    HWY_INLINE void sum_rows(area_box box) {
        const DS ds;
        const DP dp;
        const DW dw;
        const std::int64_t line = job.lower_left ? -std::int64_t{job.source_width} : std::int64_t{job.source_width};
        const word* const top =
            static_cast<const word*>(job.source) +
            std::uint64_t{memory_row(box.start, job.source_height, job.lower_left)} * job.source_width + first;
        for (std::uint32_t group = 0; group < span; group += group_pixels) {
            const std::uint32_t i = std::min(group, span - group_pixels);
            auto total = hn::Zero(ds);
            const word* at = top + i;
            if constexpr (!Format::has_alpha) {
                const std::uint32_t count_of_rows = Rows ? Rows : box.end - box.start;
                for (std::uint32_t row = 0; row < count_of_rows; ++row, at += line) {
                    total = hn::Add(total, hn::PromoteTo(ds, hn::LoadU(dp, at)));
                }
                hn::StoreU(total, ds, sums.samples + i);
            } else {
                const auto alpha = hn::Set(dw, alpha_bits<Format>()), one = hn::Set(dw, 1);
                auto visible = hn::Zero(dw);
                for (std::uint32_t row = box.start; row < box.end; ++row, at += line) {
                    const auto loaded = hn::LoadU(dw, at);
                    const auto seen = hn::Ne(hn::And(loaded, alpha), hn::Zero(dw));
                    total = hn::Add(total, hn::PromoteTo(ds, hn::BitCast(dp, hn::IfThenElseZero(seen, loaded))));
                    visible = hn::Add(visible, hn::IfThenElseZero(seen, one));
                }
                hn::StoreU(total, ds, sums.samples + i * n);
                hn::StoreU(visible, dw, sums.visible + i);
                const auto all = hn::Eq(visible, hn::Set(dw, box.end - box.start));
                const auto none = hn::Eq(visible, hn::Zero(dw));
                sums.kind[group / group_pixels] = hn::AllTrue(dw, all)    ? has_visible
                                                  : hn::AllTrue(dw, none) ? has_invisible
                                                                          : is_mixed;
            }
        }
    }

    HWY_INLINE void write_mean(std::uint32_t x, std::uint32_t height) const {
        const std::uint32_t columns = end_of[x] - start_of[x];
        std::uint32_t visible = columns * height;
        if constexpr (Format::has_alpha) {
            visible = 0;
            for (std::uint32_t i = start_of[x]; i < end_of[x]; ++i) visible += sums.visible[i];
        }
        // Without visible pixels the sums of colour are 0 too, without any all sums.
        values::template write_mean<n>(sums.samples + start_of[x] * n, columns, std::max(visible, 1u),
                                       std::max(columns * height, 1u), out + x * n);
    }

    HWY_INLINE void write_of_start(std::uint32_t x) const {
        std::memcpy(out + x * n, means + start_of[x] * n, sizeof(word));
    }

    HWY_INLINE void write_small(std::uint32_t height) {
        const DS ds;
        const DP dp;
        const typename values::divider divide(width * height);
        const auto make_means = [&](auto columns) HWY_ATTR {
            for (std::uint32_t i = 0; i < span; i += group_pixels) {
                auto total = hn::LoadU(ds, sums.samples + i * n);
                for (std::uint32_t k = 1; k < columns; ++k) {
                    total = hn::Add(total, hn::LoadU(ds, sums.samples + (i + k) * n));
                }
                hn::StoreU(hn::TruncateTo(dp, divide(ds, total)), dp, means + i * n);
            }
        };
        if (width == 3) {
            make_means(std::integral_constant<std::uint32_t, 3>());
        } else {
            make_means(width);
        }
        std::uint32_t x = 0;
        for (; x < even.start; ++x) write_of_start(x);
        if constexpr (group_pixels > 1) {
            const DW dw;
            const auto* const from = reinterpret_cast<const word*>(means);
            const auto halved = [&](std::uint32_t i) HWY_ATTR {
                return hn::ConcatEven(dw, hn::LoadU(dw, from + i + group_pixels), hn::LoadU(dw, from + i));
            };
            for (; even.end - x >= group_pixels; x += group_pixels) {
                auto pixels = halved(start_of[x]);
                if (even.step == 4) pixels = hn::ConcatEven(dw, halved(start_of[x] + 2 * group_pixels), pixels);
                hn::StoreU(pixels, dw, reinterpret_cast<word*>(out) + x);
            }
        }
        for (; x < count; ++x) write_of_start(x);
        for (std::uint32_t i = 0; i < clipped_count; ++i) write_mean(clipped[i], height);
        if constexpr (Format::has_alpha) write_mixed(height);
    }

    HWY_INLINE void write_mixed(std::uint32_t height) {
        // A box reaches into the group that it starts in and into the next, or further where groups are narrow.
        const std::uint32_t groups = (span + group_pixels - 1) / group_pixels;
        std::uint32_t done = 0;
        for (std::uint32_t group = 0; group < groups; ++group) {
            const std::uint8_t next = sums.kind[std::min(group + 1, groups - 1)];
            if (HWY_LIKELY((sums.kind[group] | next) != is_mixed)) continue;
            done = std::max<std::uint32_t>(done, touching[group]);
            const std::uint32_t end = (group + 1) * group_pixels;
            for (; done < count && start_of[done] < end; ++done) write_mean(done, height);
        }
    }

    HWY_INLINE void run_row(area_box box) {
        const std::uint32_t height = box.end - box.start;
        if (!Format::has_alpha && height == 3) {
            sum_rows<3>(box); // the least, which all boxes of halves have
        } else {
            sum_rows<0>(box);
        }
        const std::uint32_t area = width * height;
        if (width <= most_columns && area > 1 && area <= values::most_small) {
            write_small(height);
        } else {
            for (std::uint32_t x = 0; x < count; ++x) write_mean(x, height);
        }
    }
};

template <class Format>
bool area_average(const geometry_job& job, row_range rows) {
    return kernel<Format>(job).run(rows);
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(area_average_rows, area_average, format, (const geometry_job& job, row_range rows), (job, rows))
#define ZARN_FORMATS ZARN_FOR_EACH_TABULABLE_FORMAT
#include "kernels/vector/dispatch.inc"
