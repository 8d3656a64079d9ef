// The true Gaussian in sums of doubles: integer formats of up to 16 bits a sample.

#include <algorithm>
#include <cstdint>

#include "kernels/pixel_word.h"
#include "kernels/vector/gaussian_blur.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/gaussian_doubles.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// A weight times 2^26 is a whole number of at most 27 bits, so sums of 1001 products with 16-bit samples are exact,
// whatever their order. A quotient S / W, W times 2^26 a whole number below 2^36, lies on a whole number or at least
// 2^-36 below the next; below 2^16 that is two units in the last place, so the rounding of a division passes no whole
// number. S * (1 / W) is off by less than 2^-36: where W * 2^26 < 2^33, adding 2^-35 before truncation gives the whole
// part.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool blur_along_rows(const gaussian_pass&, row_range) {
    return false;
}
template <class Format>
bool blur_along_columns(const gaussian_pass&, row_range) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

const hn::ScalableTag<double> d64;
const hn::Rebind<std::int32_t, hn::ScalableTag<double>> d32;
using V64 = hn::Vec<hn::ScalableTag<double>>;

constexpr std::uint32_t lanes = HWY_LANES(double);
constexpr std::uint32_t widest = 4; // vectors worked on at a time, where the taps of so many fit the cache

template <class Sample>
HWY_INLINE void widen(const Sample* from, double* to) {
    const hn::Rebind<Sample, hn::ScalableTag<double>> d_samples;
    hn::StoreU(hn::PromoteTo(d64, hn::PromoteTo(d32, hn::LoadU(d_samples, from))), d64, to);
}

template <class Sample>
HWY_INLINE void narrow(V64 from, Sample* to) {
    const hn::Rebind<Sample, hn::ScalableTag<double>> d_samples;
    hn::StoreU(hn::DemoteTo(d_samples, hn::DemoteTo(d32, from)), d_samples, to);
}

// `count` samples; both arrays reach to the end of the last vector.
template <class Sample>
HWY_INLINE void widen_row(const Sample* from, std::size_t count, double* to) {
    for (std::size_t i = 0; i < count; i += lanes) widen(from + i, to + i);
}

// The pixels with the invisible ones as 0; whether there were any.
template <class Format>
HWY_INLINE bool copy_visible(const pixel_word<Format>* from, std::size_t count, pixel_word<Format>* to) {
    if constexpr (!Format::has_alpha) {
        std::copy_n(from, count, to);
        return false;
    } else {
        const pixel_word<Format> alpha = make_word<Format>(0, Format::full);
        pixel_word<Format> holes = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const bool seen = (from[i] & alpha) != 0;
            to[i] = seen ? from[i] : pixel_word<Format>{0};
            holes |= seen ? pixel_word<Format>{0} : pixel_word<Format>{1};
        }
        return holes != 0;
    }
}

// 1 in every sample that counts: all of a visible pixel, alpha of an invisible one.
template <class Format>
HWY_INLINE void make_ones(const pixel_word<Format>* from, std::size_t count, pixel_word<Format>* to) {
    const pixel_word<Format> all = make_word<Format>(1, 1), alpha_only = make_word<Format>(0, 1);
    const pixel_word<Format> alpha = make_word<Format>(0, Format::full);
    for (std::size_t i = 0; i < count; ++i) {
        to[i] = !Format::has_alpha || (from[i] & alpha) != 0 ? all : alpha_only;
    }
}

template <std::uint32_t Vectors>
struct sums_of {
    V64 v[Vectors];
};

// The sums around `centre`, whose neighbours lie `step` samples apart. Taps at the same distance are added before they
// are weighed; two sums in turn, since each addition waits for the one before.
template <std::uint32_t Vectors>
HWY_INLINE sums_of<Vectors> sum_taps(const double* centre, std::size_t step, const gaussian_weights& weights) {
    sums_of<Vectors> even, odd;
    for (std::uint32_t i = 0; i < Vectors; ++i) {
        even.v[i] = hn::Mul(hn::LoadU(d64, centre + i * lanes), hn::Set(d64, weights.weight[0]));
        odd.v[i] = hn::Zero(d64);
    }
    const double* before = centre;
    const double* behind = centre;
    const auto add = [&](sums_of<Vectors>& sums, std::uint32_t distance) {
        before -= step;
        behind += step;
        const V64 weight = hn::Set(d64, weights.weight[distance]);
        for (std::uint32_t i = 0; i < Vectors; ++i) {
            const V64 both = hn::Add(hn::LoadU(d64, before + i * lanes), hn::LoadU(d64, behind + i * lanes));
            sums.v[i] = hn::MulAdd(both, weight, sums.v[i]);
        }
    };
    std::uint32_t distance = 1;
    for (; distance < weights.radius; distance += 2) {
        add(odd, distance);
        add(even, distance + 1);
    }
    if (distance == weights.radius) add(odd, distance);
    for (std::uint32_t i = 0; i < Vectors; ++i) even.v[i] = hn::Add(even.v[i], odd.v[i]);
    return even;
}

// A sum of weights that serves many samples.
struct divisor {
    double sum;
    double inverse; // 0 where the inverse is not exact enough

    divisor() = default;
    explicit divisor(double scaled)
        : sum(scaled / (1u << 26))
        , inverse(scaled < 8589934592.0 ? 1.0 / sum : 0.0) {}
};

template <std::uint32_t Vectors, class Sample>
HWY_INLINE void divide(const sums_of<Vectors>& sums, const divisor& by, Sample* to) {
    for (std::uint32_t i = 0; i < Vectors; ++i) {
        const V64 quotient = by.inverse > 0.0
                                 ? hn::MulAdd(sums.v[i], hn::Set(d64, by.inverse), hn::Set(d64, 1.0 / (1ull << 35)))
                                 : hn::Div(sums.v[i], hn::Set(d64, by.sum));
        narrow(quotient, to + i * lanes);
    }
}

// Every sample by the weights that count for it; 0 where none do. `any` gets full scale where some do, else 0.
template <std::uint32_t Vectors, class Sample>
HWY_INLINE void divide(const sums_of<Vectors>& sums, const sums_of<Vectors>& weights, Sample* to, Sample* any) {
    for (std::uint32_t i = 0; i < Vectors; ++i) {
        const auto some = hn::Gt(weights.v[i], hn::Zero(d64));
        narrow(hn::Div(sums.v[i], hn::IfThenElse(some, weights.v[i], hn::Set(d64, 1.0))), to + i * lanes);
        narrow(hn::IfThenElseZero(some, hn::Set(d64, static_cast<Sample>(~Sample{0}))), any + i * lanes);
    }
}

template <class Format>
bool blur_along_rows(const gaussian_pass& pass, row_range rows) {
    using sample = typename Format::sample;
    using word = pixel_word<Format>;
    constexpr std::uint32_t n = channels<Format>;
    constexpr std::uint32_t block = 256;                                           // pixels
    constexpr std::uint32_t slack = widest * lanes;                                // samples
    constexpr std::uint32_t longest = block + 2 * largest_gaussian_radius + slack; // pixels
    const gaussian_job& job = *pass.job;
    const gaussian_weights& weights = *job.weights;
    const std::uint32_t radius = weights.radius;
    const divisor inside(weights.sum(radius, radius));
    HWY_ALIGN word pixels[longest];
    HWY_ALIGN word made[longest]; // ones, then results
    HWY_ALIGN sample unused[slack];
    HWY_ALIGN double samples[longest * n + slack];
    HWY_ALIGN double ones[longest * n + slack];
    // How many of the pixels of the block up to here do not count.
    std::uint32_t holes_before[longest + 1];
    for (std::uint64_t start = 0; start < job.width; start += block) {
        const auto left = static_cast<std::uint32_t>(start);
        const std::uint32_t count = std::min(block, job.width - left);
        // What the taps reach; pixels beyond the row have neither samples nor ones.
        const std::uint32_t margin = radius - std::min(left, radius);
        const std::uint32_t from = left + margin - radius;
        const auto until =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(job.width, std::uint64_t{left} + count + radius));
        const std::uint32_t filled = margin + (until - from);
        const std::uint32_t length = count + 2 * radius;
        const bool at_edge = filled < length || margin;
        std::fill(pixels, pixels + margin, word{0});
        std::fill(pixels + filled, pixels + length + slack, word{0});
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            const auto* source = static_cast<const word*>(job.image) + std::uint64_t{row} * job.width + from;
            auto* out = static_cast<word*>(job.temporary) + pass.ring.place(row) * job.width + left;
            const bool holes = copy_visible<Format>(source, until - from, pixels + margin) || at_edge;
            widen_row(reinterpret_cast<const sample*>(pixels), std::size_t{length} * n, samples);
            if (holes) {
                std::fill(made, made + margin, word{0});
                std::fill(made + filled, made + length + slack, word{0});
                make_ones<Format>(source, until - from, made + margin);
                widen_row(reinterpret_cast<const sample*>(made), std::size_t{length} * n, ones);
                holes_before[0] = 0;
                const word all = make_word<Format>(1, 1);
                for (std::uint32_t i = 0; i < length; ++i) holes_before[i + 1] = holes_before[i] + (made[i] != all);
            }
            auto* blurred = reinterpret_cast<sample*>(made);
            for (std::uint32_t i = 0; i < count * n; i += widest * lanes) {
                const std::size_t centre = i + std::size_t{radius} * n;
                const auto sums = sum_taps<widest>(samples + centre, n, weights);
                const std::uint32_t first = i / n, last = std::min(count - 1, (i + widest * lanes - 1) / n);
                if (!holes || holes_before[last + 2 * radius + 1] == holes_before[first]) {
                    divide(sums, inside, blurred + i);
                } else {
                    divide(sums, sum_taps<widest>(ones + centre, n, weights), blurred + i, unused);
                }
            }
            // The vertical pass wants invisible pixels without colour.
            copy_visible<Format>(made, count, out);
        }
    }
    return true;
}

// A stretch of columns, `Vectors` wide.
template <class Format, std::uint32_t Vectors>
HWY_INLINE void blur_stretch(const gaussian_pass& pass, row_range rows, std::uint64_t left, const divisor* in_row,
                             double* samples, double* ones) {
    using sample = typename Format::sample;
    using word = pixel_word<Format>;
    constexpr std::uint32_t n = channels<Format>;
    constexpr std::uint32_t stride = Vectors * lanes;           // samples
    constexpr std::uint32_t stretch = std::max(1u, stride / n); // pixels; a vector may be less than one
    static_assert(stride % n == 0, "a stretch is made of whole pixels");
    const gaussian_job& job = *pass.job;
    const gaussian_weights& weights = *job.weights;
    const std::uint32_t radius = weights.radius, height = rows.end - rows.start;
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(stretch, job.width - left));
    // Rows beyond the picture have neither samples nor ones.
    const std::uint32_t above = radius - std::min(radius, rows.start);
    const std::uint32_t first = rows.start + above - radius;
    const auto last = static_cast<std::uint32_t>(std::min<std::uint64_t>(job.height, std::uint64_t{rows.end} + radius));
    const std::uint32_t filled = above + (last - first), length = height + 2 * radius;
    HWY_ALIGN word pixels[stretch];
    std::fill(pixels + count, pixels + stretch, make_word<Format>(Format::full, Format::full));
    // How many of the rows up to here have invisible pixels.
    std::uint32_t holes_before[gaussian_strip + 2 * largest_gaussian_radius + 1];
    std::fill(holes_before, holes_before + above + 1, 0u);
    const auto load = [&](std::uint32_t row) {
        const auto* source = static_cast<const word*>(job.temporary) + pass.ring.place(row) * job.width + left;
        if (count == stretch) {
            std::copy_n(source, stretch, pixels);
        } else {
            std::copy_n(source, count, pixels);
        }
    };
    const auto any_holes = [&] {
        if constexpr (!Format::has_alpha) return false;
        const word alpha = make_word<Format>(0, Format::full);
        bool holes = false;
        for (std::uint32_t i = 0; i < stretch; ++i) holes |= (pixels[i] & alpha) == 0;
        return holes;
    };
    for (std::uint32_t row = first; row < last; ++row) {
        const std::uint32_t at = above + (row - first);
        load(row);
        holes_before[at + 1] = holes_before[at] + any_holes();
        widen_row(reinterpret_cast<const sample*>(pixels), stride, samples + at * stride);
    }
    std::fill(holes_before + filled + 1, holes_before + length + 1, holes_before[filled]);
    std::fill(samples, samples + above * stride, 0.0);
    std::fill(samples + filled * stride, samples + length * stride, 0.0);
    if (holes_before[length]) {
        for (std::uint32_t row = first; row < last; ++row) {
            load(row);
            make_ones<Format>(pixels, stretch, pixels);
            widen_row(reinterpret_cast<const sample*>(pixels), stride, ones + (above + (row - first)) * stride);
        }
        std::fill(ones, ones + above * stride, 0.0);
        std::fill(ones + filled * stride, ones + length * stride, 0.0);
    }
    const word colour_mask = make_word<Format>(job.blur_colour ? Format::full : 0, 0);
    const word alpha_mask = Format::has_alpha ? make_word<Format>(0, job.blur_alpha ? Format::full : 0) : word{0};
    HWY_ALIGN word blurred[stretch];
    HWY_ALIGN word seen[stretch];
    for (std::uint32_t i = 0; i < height; ++i) {
        const std::size_t centre = (i + radius) * std::size_t{stride};
        const auto sums = sum_taps<Vectors>(samples + centre, stride, weights);
        auto* out = static_cast<word*>(job.image) + std::uint64_t{rows.start + i} * job.width + left;
        auto* to = reinterpret_cast<sample*>(blurred);
        if (holes_before[i + 2 * radius + 1] == holes_before[i]) {
            divide(sums, in_row[i], to);
            std::fill_n(seen, stretch, make_word<Format>(Format::full, Format::full));
        } else {
            // Where no tap is visible, colour stays.
            divide(sums, sum_taps<Vectors>(ones + centre, stride, weights), to, reinterpret_cast<sample*>(seen));
        }
        for (std::uint32_t p = 0; p < count; ++p) {
            const auto replaced = static_cast<word>((seen[p] & colour_mask) | alpha_mask);
            out[p] = static_cast<word>((out[p] & ~replaced) | (blurred[p] & replaced));
        }
    }
}

template <class Format>
bool blur_along_columns(const gaussian_pass& pass, row_range rows) {
    const gaussian_job& job = *pass.job;
    const std::uint32_t height = rows.end - rows.start, radius = job.weights->radius;
    if (height > gaussian_strip) return false;
    constexpr std::uint32_t n = channels<Format>;
    constexpr std::uint32_t narrowest = std::max(1u, n / lanes); // vectors that hold a whole pixel
    constexpr std::uint32_t longest = gaussian_strip + 2 * largest_gaussian_radius;
    constexpr std::uint32_t room = longest * lanes * narrowest;
    divisor in_row[gaussian_strip];
    for (std::uint32_t i = 0; i < height; ++i) {
        const std::uint32_t row = rows.start + i;
        in_row[i] = divisor(job.weights->sum(std::min(radius, row), std::min(radius, job.height - 1 - row)));
    }
    HWY_ALIGN double samples[room];
    HWY_ALIGN double ones[room];
    const bool wide = (height + 2 * radius) * widest * lanes <= room;
    const std::uint32_t stretch = (wide ? widest : narrowest) * lanes / n;
    for (std::uint64_t left = 0; left < job.width; left += stretch) {
        if (wide) {
            blur_stretch<Format, widest>(pass, rows, left, in_row, samples, ones);
        } else {
            blur_stretch<Format, narrowest>(pass, rows, left, in_row, samples, ones);
        }
    }
    return true;
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(gaussian_horizontal, blur_along_rows, format, (const gaussian_pass& pass, row_range rows), (pass, rows))     \
        apply(gaussian_vertical, blur_along_columns, format, (const gaussian_pass& pass, row_range rows),              \
              (pass, rows))
#define ZARN_FORMATS ZARN_FOR_EACH_DOUBLE_GAUSSIAN_FORMAT
#include "kernels/vector/dispatch.inc"
