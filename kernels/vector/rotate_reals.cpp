// Bilinear rotation of real formats.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/vector/rotate.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/rotate_reals.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "kernels/vector/real_samples-inl.h"

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool real_rotation(const rotate_job&, row_range) {
    return false;
}

#else

constexpr std::uint32_t prefetch_distance = 512; // bytes

// Lanes are the samples of a pixel.
template <class Format>
class real_mixer {
public:
    using sample = typename Format::sample;

    // Of four corners, each a pixel; fx and fy tell how far to the right and below the result lies.
    HWY_INLINE static void mix(const sample* p00, const sample* p10, const sample* p01, const sample* p11, double fx,
                               double fy, sample* out) {
        if (HWY_LIKELY(is_seen(p00 + a) && is_seen(p10 + a) && is_seen(p01 + a) && is_seen(p11 + a))) {
            mix_seen(p00, p10, p01, p11, fx, fy, out);
        } else if (is_seen(p00 + a)) {
            // Invisible neighbours lend the first pixel's colour.
            sample c10[n], c01[n], c11[n];
            const auto lend = [p00](const sample* pixel, sample* to) {
                std::copy_n(is_seen(pixel + a) ? pixel : p00, n, to);
                to[a] = pixel[a];
            };
            lend(p10, c10);
            lend(p01, c01);
            lend(p11, c11);
            mix_seen(p00, c10, c01, c11, fx, fy, out);
        } else {
            std::memcpy(static_cast<void*>(out), p00, n * sizeof(sample));
        }
    }

private:
    static constexpr std::uint32_t n = channels<Format>, a = n - 1;
    using D = hn::CappedTag<double, n>;
    using DF = hn::Rebind<float, D>;

    // As the mix is defined.
    HWY_INLINE static void mix_seen(const sample* p00, const sample* p10, const sample* p01, const sample* p11,
                                    double fx, double fy, sample* out) {
        const D d;
        const DF df;
        const auto w00 = hn::Set(d, (1.0 - fx) * (1.0 - fy)), w10 = hn::Set(d, fx * (1.0 - fy));
        const auto w01 = hn::Set(d, (1.0 - fx) * fy), w11 = hn::Set(d, fx * fy);
        for (std::uint32_t c = 0; c < n; c += hn::MaxLanes(d)) {
            const auto at = [&](const sample* pixel) HWY_ATTR { return hn::PromoteTo(d, load_reals(df, pixel + c)); };
            auto sum = hn::Mul(w00, at(p00));
            sum = hn::Add(sum, hn::Mul(w10, at(p10)));
            sum = hn::Add(sum, hn::Mul(w01, at(p01)));
            sum = hn::Add(sum, hn::Mul(w11, at(p11)));
            save_reals(hn::DemoteTo(df, sum), df, out + c);
        }
    }
};

template <class Format>
bool real_rotation(const rotate_job& job, row_range rows) {
    using sample = typename Format::sample;
    constexpr std::uint32_t n = channels<Format>;
    const double width = job.source_width, height = job.source_height;
    const std::uint64_t line = std::uint64_t{job.source_width} * n;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        sample* out = static_cast<sample*>(job.destination) + std::uint64_t{row} * job.width * n;
        const double y = row + job.y_offset;
        const double y_sine = y * job.sine, y_cosine = y * job.cosine;
        for (std::uint32_t column = 0; column < job.width; ++column, out += n) {
            hwy::Prefetch(out + prefetch_distance / sizeof(sample)); // stores would wait for their lines
            const double x = column + job.x_offset;
            const double source_x = x * job.cosine + y_sine;
            const double source_y = y_cosine - x * job.sine;
            if (!(source_x > -1.0 && source_x < width && source_y > -1.0 && source_y < height)) {
                std::memset(static_cast<void*>(out), 0, n * sizeof(sample));
                continue;
            }
            // Coordinates in (-1, 0) count as column or row 0 and extrapolate.
            const auto x0 = static_cast<std::uint32_t>(source_x > 0.0 ? source_x : 0.0);
            const auto y0 = static_cast<std::uint32_t>(source_y > 0.0 ? source_y : 0.0);
            const std::uint64_t right = x0 + 1 < job.source_width ? n : 0;
            const std::uint64_t below = y0 + 1 < job.source_height ? line : 0;
            const sample* const p00 = static_cast<const sample*>(job.source) + y0 * line + std::uint64_t{x0} * n;
            real_mixer<Format>::mix(p00, p00 + right, p00 + below, p00 + below + right, source_x - x0, source_y - y0,
                                    out);
        }
    }
    return true;
}

#endif

} // namespace

#define ZARN_KERNELS(apply, format)                                                                                    \
    apply(rotate_rows, real_rotation, format, (const rotate_job& job, row_range rows), (job, rows))
#define ZARN_FORMATS ZARN_FOR_EACH_REAL_FORMAT
#include "kernels/vector/dispatch.inc"
