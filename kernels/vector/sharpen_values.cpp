// Sharpening of pixels of one value, with alpha and without. See sharpen.cpp for the staggered front of rows; here a
// lane is a row of the front, so that the pixels of a step come from a column each. They are turned in squares.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/pixel_word.h"
#include "kernels/vector/sharpen.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/sharpen_values.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {
// Other sources have kernels of the same names.
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128 || HWY_IS_BIG_ENDIAN

template <class Format>
bool sharpen(const sharpen_job&, row_range) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using DU = hn::RebindToUnsigned<DF>;
using VF = hn::Vec<DF>;
using VI = hn::Vec<DI>;

constexpr std::int64_t lanes = HWY_LANES(float);
constexpr std::int64_t front = 32; // rows
constexpr std::int64_t parts = front / lanes;
constexpr std::int64_t steps = 32; // worked on at a time

// Turns a square: to[y * to_step + x] becomes from[x][y].
template <class Word>
HWY_INLINE void turn(const Word* const* from, Word* const* to) {
    constexpr std::size_t side = 16 / sizeof(Word);
    const hn::Full128<Word> d;
    hn::Vec<decltype(d)> rows[side], mixed[side];
    for (std::size_t i = 0; i < side; ++i) rows[i] = hn::LoadU(d, from[i]);
    for (std::size_t round = 1; round < side; round *= 2) {
        for (std::size_t i = 0; i < side / 2; ++i) {
            mixed[2 * i] = hn::InterleaveLower(d, rows[i], rows[i + side / 2]);
            mixed[2 * i + 1] = hn::InterleaveUpper(d, rows[i], rows[i + side / 2]);
        }
        for (std::size_t i = 0; i < side; ++i) rows[i] = mixed[i];
    }
    for (std::size_t i = 0; i < side; ++i) hn::StoreU(rows[i], d, to[i]);
}

template <class Format>
class kernel {
public:
    explicit kernel(const sharpen_job& job)
        : width(job.width)
        , amount(job.amount) {}

    // rows[0] is the row above the front, rows[count + 1] the one below.
    void run(typename Format::sample* const* rows, std::int64_t count) {
        above = reinterpret_cast<word*>(rows[0]);
        for (std::int64_t k = 0; k <= front; ++k) here[k] = reinterpret_cast<word*>(rows[std::min(k, count) + 1]);
        rows_here = count;
        for (std::int64_t part = 0; part < parts; ++part) {
            left_terms[part] = hn::Zero(DF());
            pixels[part] = hn::Zero(DI());
        }
        // Row k is at column t - k. It takes up column 0 on its right.
        for (std::int64_t t = -1; t - front < width - 2; t += steps) {
            if (t >= front && t + steps < width) {
                fetch(t);
                run_steps<true>(t);
                store(t);
            } else {
                fetch_edge(t);
                run_steps<false>(t);
                store_edge(t);
            }
        }
    }

private:
    using word = pixel_word<Format>;
    static constexpr std::int64_t side = 16 / sizeof(word);
    static constexpr std::int64_t stride = front + side;

    std::int64_t width;
    float amount;
    const word* above;
    word* here[front + 1]; // the rows of the front and the one below
    std::int64_t rows_here;
    VF left_terms[parts];
    VI pixels[parts];
    HWY_ALIGN word incoming[steps * stride]; // by step and row: the pixel to the right
    HWY_ALIGN word made[steps * stride];
    word over[steps]; // the pixel above the first row

    void fetch(std::int64_t t) {
        const word* from[side];
        word* to[side];
        for (std::int64_t k = 0; k < front; k += side) {
            for (std::int64_t j = 0; j < steps; j += side) {
                for (std::int64_t i = 0; i < side; ++i) {
                    from[i] = here[k + i] + (t + j - (k + i) + 1);
                    to[i] = incoming + (j + i) * stride + k;
                }
                turn(from, to);
            }
        }
        for (std::int64_t j = 0; j < steps; ++j) incoming[j * stride + front] = here[front][t + j - front + 1];
        std::copy_n(above + t, steps, over);
    }

    void store(std::int64_t t) {
        const word* from[side];
        word* to[side];
        HWY_ALIGN word unused[side];
        for (std::int64_t k = 0; k < rows_here; k += side) {
            for (std::int64_t j = 0; j < steps; j += side) {
                for (std::int64_t i = 0; i < side; ++i) {
                    from[i] = made + (j + i) * stride + k;
                    to[i] = k + i < rows_here ? here[k + i] + (t + j - (k + i)) : unused;
                }
                turn(from, to);
            }
        }
    }

    word pixel_at(const word* row, std::int64_t column) const {
        return column >= 0 && column < width ? row[column] : 0;
    }

    void fetch_edge(std::int64_t t) {
        for (std::int64_t j = 0; j < steps; ++j) {
            for (std::int64_t k = 0; k <= front; ++k) incoming[j * stride + k] = pixel_at(here[k], t + j - k + 1);
            over[j] = pixel_at(above, t + j);
        }
    }

    void store_edge(std::int64_t t) {
        for (std::int64_t k = 0; k < rows_here; ++k) {
            const std::int64_t from = std::max<std::int64_t>(t, k + 1), end = std::min(t + steps, width - 1 + k);
            for (std::int64_t at = from; at < end; ++at) here[k][at - k] = made[(at - t) * stride + k];
        }
    }

    HWY_INLINE static VI load(const word* from) {
        const auto words = hn::LoadU(hn::Rebind<word, DU>(), from);
        if constexpr (sizeof(word) == 4) {
            return hn::BitCast(DI(), words);
        } else {
            return hn::BitCast(DI(), hn::PromoteTo(DU(), words));
        }
    }
    HWY_INLINE static VF value_of(VI pixel) {
        if constexpr (!Format::has_alpha) return hn::ConvertTo(DF(), pixel);
        return hn::ConvertTo(DF(), hn::And(pixel, hn::Set(DI(), Format::full)));
    }

    // `AreInside`: no row is at its first or last column or beyond.
    template <bool AreInside>
    HWY_INLINE void run_steps(std::int64_t t) {
        const DF d;
        const DI di;
        const VF side_weight = hn::Set(d, -amount), middle_weight = hn::Set(d, 4.0f * amount + 1.0f);
        const VF full = hn::Set(d, static_cast<float>(Format::full));
        HWY_ALIGN std::int32_t before[lanes];
        for (std::int64_t i = 0; i < lanes; ++i) before[i] = static_cast<std::int32_t>((i + lanes - 1) % lanes);
        const auto row_before = hn::SetTableIndices(d, before);
        const auto first = hn::FirstN(d, 1);
        VF left_term[parts];
        VI pixel[parts];
        for (std::int64_t part = 0; part < parts; ++part) {
            left_term[part] = left_terms[part];
            pixel[part] = pixels[part];
        }
        for (std::int64_t j = 0; j < steps; ++j) {
            const word* const next = incoming + j * stride;
            // What a row wrote the step before lies above the row below it.
            VF turned = hn::Mul(side_weight, hn::Set(d, static_cast<float>(over[j] & Format::full)));
            for (std::int64_t part = 0; part < parts; ++part) {
                const VF turned_here = hn::TableLookupLanes(left_term[part], row_before);
                const VF above_term = hn::IfThenElse(first, turned, turned_here);
                turned = turned_here;
                const VI right = load(next + part * lanes);
                VF sum = hn::Add(above_term, left_term[part]);
                sum = hn::Add(sum, hn::Mul(middle_weight, value_of(pixel[part])));
                sum = hn::Add(sum, hn::Mul(side_weight, value_of(right)));
                sum = hn::Add(sum, hn::Mul(side_weight, value_of(load(next + part * lanes + 1))));
                // The value stands first, so that NaN becomes 0.
                VI whole = hn::ConvertTo(di, hn::Min(hn::Max(sum, hn::Zero(d)), full));
                if constexpr (Format::has_alpha) {
                    whole = hn::Or(whole, hn::AndNot(hn::Set(di, Format::full), pixel[part]));
                }
                if constexpr (!AreInside) {
                    const auto column =
                        hn::Sub(hn::Set(di, static_cast<std::int32_t>(t + j - part * lanes)), hn::Iota(di, 0));
                    const auto is_inside = hn::And(hn::Gt(column, hn::Zero(di)),
                                                   hn::Lt(column, hn::Set(di, static_cast<std::int32_t>(width - 1))));
                    whole = hn::IfThenElse(is_inside, whole, pixel[part]);
                }
                const hn::Rebind<word, DU> d_word;
                if constexpr (sizeof(word) == 4) {
                    hn::StoreU(hn::BitCast(d_word, whole), d_word, made + j * stride + part * lanes);
                } else {
                    hn::StoreU(hn::TruncateTo(d_word, hn::BitCast(DU(), whole)), d_word,
                               made + j * stride + part * lanes);
                }
                left_term[part] = hn::Mul(side_weight, value_of(whole));
                pixel[part] = right;
            }
        }
        for (std::int64_t part = 0; part < parts; ++part) {
            left_terms[part] = left_term[part];
            pixels[part] = pixel[part];
        }
    }
};

template <class Format>
bool sharpen(const sharpen_job& job, row_range rows) {
    using sample = typename Format::sample;
    if (job.width > INT32_MAX / 2) return false; // columns are signed 32-bit numbers
    const std::uint64_t line = job.width * std::uint64_t{channels<Format>};
    auto* const pixels = static_cast<sample*>(job.pixels);
    // The copies are only read; one type of pointer serves all rows.
    auto* const borders = const_cast<sample*>(static_cast<const sample*>(job.border_rows)) + 2 * line * rows.band;
    const auto row_at = [&](std::uint32_t row) {
        if (row < rows.start) return borders;
        if (row >= rows.end) return borders + line;
        return pixels + line * memory_row(row, job.height, job.lower_left);
    };
    kernel<Format> all(job);
    for (std::uint32_t row = rows.start; row < rows.end;) {
        const std::uint32_t count = std::min<std::uint32_t>(front, rows.end - row);
        sample* strip[front + 2];
        for (std::uint32_t k = 0; k < count + 2; ++k) strip[k] = row_at(row + k - 1);
        all.run(strip, count);
        row += count;
    }
    return true;
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(sharpen_rows, sharpen, format, (const sharpen_job& job, row_range rows), (job, rows))
#define ZARN_FORMATS ZARN_FOR_EACH_NARROW_FORMAT
#include "kernels/vector/dispatch.inc"
