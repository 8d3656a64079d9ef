#include "kernels/vector/sharpen.h"

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kernels/pixel_format.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/sharpen.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "kernels/vector/real_samples-inl.h"

// A pixel waits for its left and its upper neighbour, so a row is one long chain of dependent sums. Several rows run
// in a staggered front instead: at step t row k of the front is at column t - k. Its left neighbour came out of the
// step before in the same row, its upper one in the row above; its right neighbour is its own next pixel, and its lower
// one is the right neighbour of the row below at the same step. So a step loads one new pixel a row.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {
// Other sources have kernels of the same names.
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool sharpen(const sharpen_job&, row_range) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// The samples of one pixel.
using DF = hn::CappedTag<float, 4>;
using DI = hn::Rebind<std::int32_t, DF>;
using V = hn::Vec<DF>;

constexpr std::uint32_t front = 8; // rows of the front
constexpr std::uint64_t n = 4;

struct weights {
    V side, middle, full;
};

template <class Sample>
HWY_INLINE V load_pixel(const Sample* pixel) {
    if constexpr (!std::is_integral_v<Sample>)
        return load_reals(DF(), pixel);
    else
        return hn::ConvertTo(DF(), hn::PromoteTo(DI(), hn::LoadU(hn::Rebind<Sample, DF>(), pixel)));
}

// Writes the colours of a pixel and keeps its alpha; gives back what was written.
template <class Sample>
HWY_INLINE V store_colours(V sum, const weights& w, Sample* pixel) {
    if constexpr (!std::is_integral_v<Sample>) {
        // NaN becomes 0, and -0 stays.
        const V above_zero = hn::IfThenElseZero(hn::Ge(sum, hn::Zero(DF())), sum);
        const auto stored = as_stored<Sample>(DF(), hn::IfThenElse(hn::Le(above_zero, w.full), above_zero, w.full));
        const stored_tag<Sample, DF> ds;
        save_stored(hn::IfThenElse(hn::FirstN(ds, n - 1), stored, load_stored(DF(), pixel)), DF(), pixel);
        return as_floats(DF(), stored);
    } else {
        const hn::Rebind<Sample, DF> ds;
        // The value stands first, so that NaN becomes 0.
        const auto whole = hn::ConvertTo(DI(), hn::Min(hn::Max(sum, hn::Zero(DF())), w.full));
        Sample samples[n];
        hn::StoreU(hn::DemoteTo(ds, whole), ds, samples);
        samples[n - 1] = pixel[n - 1];
        std::memcpy(pixel, samples, sizeof(samples));
        return hn::ConvertTo(DF(), whole);
    }
}

// The first terms of the sum, products of the side's weight, come in from outside.
HWY_INLINE V weigh(V above_term, V left_term, V here, V right_term, V below_term, const weights& w) {
    V sum = hn::Add(above_term, left_term);
    sum = hn::Add(sum, hn::Mul(w.middle, here));
    sum = hn::Add(sum, right_term);
    return hn::Add(sum, below_term);
}

// Columns [start, end) of one row.
template <class Sample>
HWY_INLINE void sharpen_span(const Sample* above, Sample* here, const Sample* below, std::uint64_t start,
                             std::uint64_t end, const weights& w) {
    if (start >= end) return;
    V left = load_pixel(here + (start - 1) * n);
    V middle = load_pixel(here + start * n);
    for (std::uint64_t x = start; x < end; ++x) {
        const V right = load_pixel(here + (x + 1) * n);
        const V sum = weigh(hn::Mul(w.side, load_pixel(above + x * n)), hn::Mul(w.side, left), middle,
                            hn::Mul(w.side, right), hn::Mul(w.side, load_pixel(below + x * n)), w);
        left = store_colours(sum, w, here + x * n);
        middle = right;
    }
}

// `rows` holds the row above the front, its rows and the row below.
template <class Sample>
HWY_INLINE void sharpen_front(Sample* const (&rows)[front + 2], std::uint64_t width, const weights& w) {
    // The front enters at a slant and leaves at one; the corners are done row by row.
    const std::uint64_t first = front + 1;
    const std::uint64_t last = width - 1; // of the top row, exclusive
    for (std::uint32_t k = 0; k < front; ++k) {
        sharpen_span(rows[k], rows[k + 1], rows[k + 2], 1, first - k, w);
    }
    V left_term[front], here[front];
    Sample* at[front];
    for (std::uint32_t k = 0; k < front; ++k) {
        at[k] = rows[k + 1] + (first - k) * n;
        left_term[k] = hn::Mul(w.side, load_pixel(at[k] - n));
        here[k] = load_pixel(at[k]);
    }
    const Sample* above = rows[0] + first * n;
    const Sample* below = rows[front + 1] + (first - (front - 1)) * n;
    for (std::uint64_t t = first; t < last; ++t) {
        V right[front], right_term[front + 1];
        for (std::uint32_t k = 0; k < front; ++k) {
            right[k] = load_pixel(at[k] + n);
            right_term[k] = hn::Mul(w.side, right[k]);
        }
        right_term[front] = hn::Mul(w.side, load_pixel(below));
        V above_term = hn::Mul(w.side, load_pixel(above));
        for (std::uint32_t k = 0; k < front; ++k) {
            const V sum = weigh(above_term, left_term[k], here[k], right_term[k], right_term[k + 1], w);
            above_term = left_term[k]; // what row k wrote the step before lies above row k + 1
            left_term[k] = hn::Mul(w.side, store_colours(sum, w, at[k]));
            here[k] = right[k];
            at[k] += n;
        }
        above += n;
        below += n;
    }
    for (std::uint32_t k = 0; k < front; ++k) {
        sharpen_span(rows[k], rows[k + 1], rows[k + 2], last - k, width - 1, w);
    }
}

template <class Format>
bool sharpen(const sharpen_job& job, row_range rows) {
    using sample = typename Format::sample;
    const std::uint64_t line = job.width * n;
    const weights w{hn::Set(DF(), -job.amount), hn::Set(DF(), 4.0f * job.amount + 1.0f),
                    hn::Set(DF(), static_cast<float>(Format::full))};
    auto* const pixels = static_cast<sample*>(job.pixels);
    // The copies are only read; one type of pointer serves all rows.
    auto* const borders = const_cast<sample*>(static_cast<const sample*>(job.border_rows)) + 2 * line * rows.band;
    const auto row_at = [&](std::uint32_t row) {
        if (row < rows.start) return borders;
        if (row >= rows.end) return borders + line;
        return pixels + line * memory_row(row, job.height, job.lower_left);
    };
    std::uint32_t row = rows.start;
    if (job.width > 4 * front) {
        for (; rows.end - row >= front; row += front) {
            sample* strip[front + 2];
            for (std::uint32_t k = 0; k < front + 2; ++k) strip[k] = row_at(row + k - 1);
            sharpen_front(strip, job.width, w);
        }
    }
    for (; row < rows.end; ++row) sharpen_span(row_at(row - 1), row_at(row), row_at(row + 1), 1, job.width - 1, w);
    return true;
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(sharpen_rows, sharpen, format, (const sharpen_job& job, row_range rows), (job, rows))
#define ZARN_FORMATS(apply) ZARN_FOR_EACH_RGBA_FORMAT(apply) ZARN_FOR_EACH_REAL_COLOUR_FORMAT(apply)
#include "kernels/vector/dispatch.inc"
