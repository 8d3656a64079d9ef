// The true Gaussian of real formats.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/vector/gaussian_blur.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/gaussian_reals.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "kernels/vector/real_samples-inl.h"

// The sums of a pixel are made in doubles, tap by tap as they are defined. Lanes are samples of neighbouring lines, so
// no order changes. A weight and a sample are floats: their product is exact, and a fused multiply-add rounds as a sum
// does. An invisible pixel adds 0, which changes no sum, as none is -0. Sums of weights are exact in any order.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool blur_real_rows(const gaussian_pass&, row_range) {
    return false;
}
template <class Format>
bool blur_real_columns(const gaussian_pass&, row_range) {
    return false;
}

#else

using D = hn::ScalableTag<double>;
using DF = hn::Rebind<float, D>;
using V = hn::Vec<D>;

constexpr D d;
constexpr DF df;
constexpr std::uint32_t lanes = HWY_LANES(double);

// As many neighbouring lines as there are lanes, blurred along themselves.
template <class Format>
class line_blur {
public:
    using sample = typename Format::sample;
    static constexpr std::uint32_t n = channels<Format>;
    static constexpr std::uint32_t width = n * lanes;  // samples of all lines in one position
    static constexpr std::uint32_t at_a_time = 8 / n;  // positions
    static constexpr std::uint32_t most_results = 128; // positions
    static constexpr std::uint32_t longest = most_results + 2 * largest_gaussian_radius + at_a_time;

    explicit line_blur(const gaussian_weights& weights)
        : ___weights(weights)
        , ___radius(weights.radius) {
        for (std::uint32_t i = 0; i <= ___radius; ++i)
            ___mirrored[___radius - i] = ___mirrored[___radius + i] = weights.weight[i];
        std::int64_t line_of[width];
        std::uint64_t is_alpha[width];
        for (std::uint32_t i = 0; i < width; ++i) {
            line_of[i] = i / n;
            is_alpha[i] = i % n + 1 == n ? ~std::uint64_t{0} : 0;
        }
        std::copy_n(line_of, width, ___line_of);
        std::copy_n(is_alpha, width, ___is_alpha);
        ___holes_before[0] = 0;
    }

    // Positions that lines of `length` have around `count` results from `start` on: [first(), end()) are to be put.
    void begin(std::uint64_t start, std::uint32_t count, std::uint64_t length) {
        ___start = start;
        ___count = count;
        ___length = length;
        ___first = start - std::min<std::uint64_t>(start, ___radius);
        ___end = std::min<std::uint64_t>(length, start + count + ___radius);
        const auto clear = [this](std::uint32_t from, std::uint32_t until) {
            std::fill(___samples + from * width, ___samples + until * width, 0.0);
            std::fill(___ones + from * lanes, ___ones + until * lanes, 0.0);
        };
        const std::uint32_t filled = slot(___end);
        clear(0, slot(___first));
        clear(filled, count + 2 * ___radius + at_a_time);
        ___has_holes = false;
        std::fill(___holes, ___holes + count + 2 * ___radius + at_a_time, std::uint8_t{0});
    }
    std::uint64_t first() const { return ___first; }
    std::uint64_t end() const { return ___end; }

    // The pixel of a line at a position.
    HWY_INLINE void put(std::uint64_t position, std::uint32_t line, const sample* pixel) {
        const std::uint32_t at = slot(position);
        double* const to = ___samples + at * width + line * n;
        const hn::CappedTag<double, n> dp;
        constexpr std::uint32_t step = HWY_MIN(lanes, n);
        if (HWY_LIKELY(is_seen(pixel + n - 1))) {
            for (std::uint32_t c = 0; c < n; c += step) {
                const auto values = load_reals(hn::Rebind<float, decltype(dp)>(), pixel + c);
                hn::StoreU(hn::PromoteTo(dp, values), dp, to + c);
            }
            ___ones[at * lanes + line] = 1.0;
        } else {
            std::fill_n(to, n, 0.0);
            ___ones[at * lanes + line] = 0.0;
            ___holes[at] = 1;
            ___has_holes = true;
        }
    }

    // Calls write(position, samples, counts) with the results of each position: those of all lines, and for every line
    // the weight of its visible taps, or null where all are visible.
    template <class Write>
    HWY_INLINE void run(Write write) {
        for (std::uint32_t i = 0; ___has_holes && i < ___count + 2 * ___radius + at_a_time; ++i)
            ___holes_before[i + 1] = ___holes_before[i] + ___holes[i];
        if (2 * ___radius + 1 < at_a_time) {
            for (std::uint32_t i = 0; i < ___count; ++i) run_step<1>(i, write);
        } else {
            for (std::uint32_t i = 0; i < ___count; i += at_a_time) run_step<at_a_time>(i, write);
        }
    }

private:
    std::uint32_t slot(std::uint64_t position) const {
        return static_cast<std::uint32_t>(position + ___radius - ___start);
    }

    // The sums of `Vectors` vectors in `Positions` positions from `samples` on, each over its own taps in their order.
    template <std::uint32_t Positions, std::uint32_t Vectors>
    HWY_INLINE void sum_taps(const double* samples, V (&sums)[Positions][Vectors]) const {
        // Sums stay in registers where every index of them is a constant.
        constexpr std::uint32_t stride = Vectors * lanes;
        const auto add = [&](std::uint32_t tap, std::uint32_t p, V(&of_position)[Vectors]) HWY_ATTR {
            const V weight = hn::Set(d, ___mirrored[tap - p]);
            HWY_UNROLL(8)
            for (std::uint32_t v = 0; v < Vectors; ++v)
                of_position[v] = hn::MulAdd(hn::Load(d, samples + tap * stride + v * lanes), weight, of_position[v]);
        };
        HWY_UNROLL(8)
        for (std::uint32_t p = 0; p < Positions; ++p) {
            for (V& sum : sums[p]) sum = hn::Zero(d);
            HWY_UNROLL(8)
            for (std::uint32_t tap = p; tap + 1 < Positions; ++tap) add(tap, p, sums[p]);
        }
        const std::uint32_t last = 2 * ___radius;
        for (std::uint32_t tap = Positions - 1; tap <= last; ++tap) {
            HWY_UNROLL(8)
            for (std::uint32_t p = 0; p < Positions; ++p) add(tap, p, sums[p]);
        }
        HWY_UNROLL(8)
        for (std::uint32_t p = 1; p < Positions; ++p) {
            HWY_UNROLL(8)
            for (std::uint32_t i = 1; i <= p; ++i) add(last + i, p, sums[p]);
        }
    }

    template <std::uint32_t Positions, class Write>
    HWY_INLINE void run_step(std::uint32_t i, Write write) {
        V sums[Positions][n], weights[Positions][1];
        sum_taps(___samples + std::size_t{i} * width, sums);
        const bool holes = ___has_holes && ___holes_before[i + 2 * ___radius + Positions] != ___holes_before[i];
        if (holes) sum_taps(___ones + std::size_t{i} * lanes, weights);
        for (std::uint32_t p = 0; p < Positions && i + p < ___count; ++p) {
            const std::uint64_t position = ___start + i + p;
            const auto before = static_cast<std::uint32_t>(std::min<std::uint64_t>(position, ___radius));
            const auto after = static_cast<std::uint32_t>(std::min<std::uint64_t>(___length - 1 - position, ___radius));
            const V all = hn::Set(d, ___weights.sum(before, after) / (1u << 26));
            HWY_ALIGN sample results[width];
            HWY_ALIGN double counts[lanes];
            if (holes) {
                hn::Store(weights[p][0], d, counts);
                // Without visible taps the sum is 0 too.
                const V visible = hn::IfThenElse(hn::Gt(weights[p][0], hn::Zero(d)), weights[p][0], hn::Set(d, 1.0));
                for (std::uint32_t v = 0; v < n; ++v) {
                    const auto line_of = hn::SetTableIndices(d, ___line_of + v * lanes);
                    const V is_alpha = hn::BitCast(d, hn::Load(hn::RebindToUnsigned<D>(), ___is_alpha + v * lanes));
                    const V by = hn::IfVecThenElse(is_alpha, all, hn::TableLookupLanes(visible, line_of));
                    save_reals(hn::DemoteTo(df, hn::Div(sums[p][v], by)), df, results + v * lanes);
                }
            } else {
                for (std::uint32_t v = 0; v < n; ++v)
                    save_reals(hn::DemoteTo(df, hn::Div(sums[p][v], all)), df, results + v * lanes);
            }
            write(position, results, holes ? counts : nullptr);
        }
    }

    const gaussian_weights& ___weights;
    const std::uint32_t ___radius;
    std::uint64_t ___start;
    std::uint32_t ___count;
    std::uint64_t ___length;
    std::uint64_t ___first;
    std::uint64_t ___end;
    bool ___has_holes;
    double ___mirrored[2 * largest_gaussian_radius + 1];
    HWY_ALIGN std::int64_t ___line_of[width];
    HWY_ALIGN std::uint64_t ___is_alpha[width];
    // By positions: from `radius` before the first result on. Beyond the lines there is nothing.
    HWY_ALIGN double ___samples[std::size_t{longest} * width];
    HWY_ALIGN double ___ones[std::size_t{longest} * lanes];
    std::uint8_t ___holes[longest]; // whether some line has an invisible pixel
    std::uint32_t ___holes_before[longest + 1];
};

template <class Format>
bool blur_real_rows(const gaussian_pass& pass, row_range rows) {
    using sample = typename Format::sample;
    constexpr std::uint32_t n = channels<Format>, block = line_blur<Format>::most_results;
    const gaussian_job& job = *pass.job;
    const std::uint64_t line = std::uint64_t{job.width} * n;
    line_blur<Format> blur(*job.weights);
    for (std::uint32_t row = rows.start; row < rows.end; row += std::min(lanes, rows.end - row)) {
        const std::uint32_t count = std::min(lanes, rows.end - row);
        const sample* source[lanes];
        sample* out[lanes];
        for (std::uint32_t i = 0; i < lanes; ++i) {
            const std::uint32_t at = row + std::min(i, count - 1);
            source[i] = static_cast<const sample*>(job.image) + at * line;
            out[i] = static_cast<sample*>(job.temporary) + pass.ring.place(at) * line;
        }
        for (std::uint64_t start = 0; start < job.width; start += block) {
            blur.begin(start, static_cast<std::uint32_t>(std::min<std::uint64_t>(block, job.width - start)), job.width);
            for (std::uint64_t x = blur.first(); x < blur.end(); ++x)
                for (std::uint32_t i = 0; i < lanes; ++i) blur.put(x, i, source[i] + x * n);
            blur.run([&](std::uint64_t x, const sample* results, const double*) HWY_ATTR {
                for (std::uint32_t i = 0; i < count; ++i)
                    std::memcpy(static_cast<void*>(out[i] + x * n), results + i * n, n * sizeof(sample));
            });
        }
    }
    return true;
}

template <class Format>
bool blur_real_columns(const gaussian_pass& pass, row_range rows) {
    using sample = typename Format::sample;
    constexpr std::uint32_t n = channels<Format>;
    const gaussian_job& job = *pass.job;
    const std::uint32_t height = rows.end - rows.start;
    if (height > line_blur<Format>::most_results) return false;
    const std::uint64_t line = std::uint64_t{job.width} * n;
    line_blur<Format> blur(*job.weights);
    for (std::uint64_t left = 0; left < job.width; left += lanes) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(lanes, job.width - left));
        blur.begin(rows.start, height, job.height);
        for (std::uint64_t y = blur.first(); y < blur.end(); ++y) {
            const sample* const source = static_cast<const sample*>(job.temporary) +
                                         pass.ring.place(static_cast<std::uint32_t>(y)) * line + left * n;
            for (std::uint32_t i = 0; i < lanes; ++i) blur.put(y, i, source + std::min(i, count - 1) * n);
        }
        blur.run([&](std::uint64_t y, const sample* results, const double* counts) HWY_ATTR {
            sample* const out = static_cast<sample*>(job.image) + y * line + left * n;
            if (!counts && job.blur_colour && job.blur_alpha && count == lanes) {
                std::memcpy(static_cast<void*>(out), results, lanes * n * sizeof(sample));
                return;
            }
            for (std::uint32_t i = 0; i < count; ++i) {
                // Where no tap is visible, colour stays.
                if (job.blur_colour && (!counts || counts[i] > 0.0)) std::copy_n(results + i * n, n - 1, out + i * n);
                if (job.blur_alpha) out[i * n + n - 1] = results[i * n + n - 1];
            }
        });
    }
    return true;
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(gaussian_horizontal, blur_real_rows, format, (const gaussian_pass& pass, row_range rows), (pass, rows))      \
        apply(gaussian_vertical, blur_real_columns, format, (const gaussian_pass& pass, row_range rows), (pass, rows))
#define ZARN_FORMATS ZARN_FOR_EACH_REAL_FORMAT
#include "kernels/vector/dispatch.inc"
