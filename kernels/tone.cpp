#include "kernels/tone.h"

#include <cfloat>
#include <cmath>
#include <type_traits>

#include "kernels/pixel_format.h"
#include "kernels/store.h"
#include "kernels/vector/byte_table.h"
#include "kernels/vector/real_tone.h"
#include "kernels/vector/tone.h"

namespace zarn {

namespace {

// The band's pixels lie in one run of memory.
template <class Format, class Work>
void for_each_pixel(void* pixels, std::uint32_t width, row_range rows, Work work) {
    auto* pixel = static_cast<typename Format::sample*>(pixels) +
                  static_cast<std::uint64_t>(rows.start) * width * channels<Format>;
    const std::uint64_t count = static_cast<std::uint64_t>(rows.end - rows.start) * width;
    for (std::uint64_t i = 0; i < count; ++i, pixel += channels<Format>) work(pixel);
}

// The band's pixels as vector code takes them.
template <class Format>
vector::sample_run<typename Format::sample> band_samples(void* pixels, std::uint32_t width, row_range rows) {
    const std::uint64_t row_samples = std::uint64_t{width} * channels<Format>;
    return {static_cast<typename Format::sample*>(pixels) + rows.start * row_samples,
            (rows.end - rows.start) * row_samples, channels<Format>, Format::has_alpha};
}

// Written so that NaN falls to the lower bound.
template <class Format>
typename Format::sample clamped_sample(typename Format::real value) {
    using real = typename Format::real;
    constexpr auto full = static_cast<real>(Format::full);
    const real above_zero = value >= real{0} ? value : real{0};
    return stored<Format>(above_zero <= full ? above_zero : full);
}

// Calls work(curve) with the curve as a function of one sample, so that no loop asks which curve it is.
template <class Format, class Work>
void with_curve(tone_curve curve, float amount, Work work) {
    using sample = typename Format::sample;
    using real = typename Format::real;
    constexpr auto full = static_cast<real>(Format::full);
    const real by = amount;
    switch (curve) {
    case tone_curve::proportional_brightness:
        if constexpr (is_real<Format>) {
            work([=](sample value) {
                const real v = value;
                return stored<Format>(by < 0.0f ? v * (by + 1.0f) : v + (1.0f - v) * by);
            });
        }
        break;
    case tone_curve::exposure:
        work([=](sample value) {
            const real exposed = static_cast<real>(value) * by;
            return stored<Format>(exposed <= full ? exposed : full);
        });
        break;
    case tone_curve::brightness: {
        const real shift = by * full;
        work([=](sample value) { return clamped_sample<Format>(static_cast<real>(value) + shift); });
        break;
    }
    case tone_curve::contrast: {
        constexpr auto pivot = static_cast<real>(Format::contrast_pivot);
        work([=](sample value) { return clamped_sample<Format>((static_cast<real>(value) - pivot) * by + pivot); });
        break;
    }
    case tone_curve::gamma: {
        // Reals take the exponent as it is.
        const real exponent = is_real<Format> ? by : real{100} / (by * real{100});
        work([=](sample value) {
            return clamped_sample<Format>(std::pow(static_cast<real>(value) * Format::to_unit, exponent) * full);
        });
        break;
    }
    }
}

} // namespace

template <class Format>
void clear_colour_rows(const clear_colour_job& job, row_range rows) {
    using sample = typename Format::sample;
    sample colour[Format::colours];
    for (unsigned c = 0; c < Format::colours; ++c) colour[c] = static_cast<const sample*>(job.colour)[c];
    for_each_pixel<Format>(job.pixels, job.width, rows, [&colour](sample* pixel) {
        for (unsigned c = 0; c < Format::colours; ++c) pixel[c] = colour[c];
    });
}

template <class Format>
void tabulate_tone(tone_curve curve, float amount, typename Format::sample* table) {
    static_assert(is_tabulable<Format>);
    with_curve<Format>(curve, amount, [=](auto apply) {
        for (std::uint32_t value = 0; value <= Format::full; ++value)
            table[value] = apply(static_cast<typename Format::sample>(value));
    });
}

template <class Format>
void map_colour_rows(const map_colour_job& job, row_range rows) {
    using sample = typename Format::sample;
    const auto* table = static_cast<const sample*>(job.table);
    if constexpr (sizeof(sample) == 1) {
        if (vector::look_up(band_samples<Format>(job.pixels, job.width, rows), table)) return;
    }
    for_each_pixel<Format>(job.pixels, job.width, rows, [table](sample* pixel) {
        for (unsigned c = 0; c < Format::colours; ++c) pixel[c] = table[pixel[c]];
    });
}

// The curves in vectors. Of 16 bits those without a power are one (of 8 bits there are tables): a pivot of 0, a factor
// of 1 and a shift of 0 change no bit. Exposure is not clamped below, and infinity times 0 ends at full scale.
template <class Format>
bool map_in_vectors(const tone_job& job, row_range rows) {
    if constexpr (is_real<Format>) {
        return vector::map_curve(band_samples<Format>(job.pixels, job.width, rows), job.curve, job.amount);
    } else if constexpr (std::is_same_v<typename Format::sample, std::uint16_t>) {
        constexpr auto full = static_cast<float>(Format::full);
        constexpr auto pivot = static_cast<float>(Format::contrast_pivot);
        const auto band = band_samples<Format>(job.pixels, job.width, rows);
        switch (job.curve) {
        case tone_curve::exposure:
            return job.amount >= 0.0f && job.amount <= FLT_MAX && vector::map_affine(band, {0.0f, job.amount, 0.0f});
        case tone_curve::brightness:
            return vector::map_affine(band, {0.0f, 1.0f, job.amount * full});
        case tone_curve::contrast:
            return vector::map_affine(band, {pivot, job.amount, pivot});
        case tone_curve::gamma:
        case tone_curve::proportional_brightness:
            break;
        }
    }
    return false;
}

template <class Format>
void tone_rows(const tone_job& job, row_range rows) {
    if (map_in_vectors<Format>(job, rows)) return;
    with_curve<Format>(job.curve, job.amount, [&](auto apply) {
        for_each_pixel<Format>(job.pixels, job.width, rows, [apply](typename Format::sample* pixel) {
            for (unsigned c = 0; c < Format::colours; ++c) pixel[c] = apply(pixel[c]);
        });
    });
}

template <class Format>
void grayscale_rows(const grayscale_job& job, row_range rows) {
    using sample = typename Format::sample;
    const float weights[3] = {job.red_weight, job.green_weight, job.blue_weight};
    const bool within_range =
        weights[0] >= 0.0f && weights[1] >= 0.0f && weights[2] >= 0.0f && weights[0] + weights[1] + weights[2] <= 1.0f;
    if (within_range && vector::map_grey(band_samples<Format>(job.pixels, job.width, rows), weights)) return;
    for_each_pixel<Format>(job.pixels, job.width, rows, [&job](sample* pixel) {
        const float sum =
            (static_cast<float>(pixel[1]) * job.green_weight + static_cast<float>(pixel[0]) * job.red_weight) +
            static_cast<float>(pixel[2]) * job.blue_weight;
        const auto grey = stored<Format>(sum);
        for (unsigned c = 0; c < Format::colours; ++c) pixel[c] = grey;
    });
}

namespace {

template <class Format>
void flip_samples(const negative_job& job, row_range rows) {
    using sample = typename Format::sample;
    // Full scale less a sample is its complement.
    sample mask[channels<Format>] = {};
    for (unsigned c = 0; c < channels<Format>; ++c) {
        if (c < Format::colours ? job.invert_colour : job.invert_alpha) mask[c] = Format::full;
    }
    const auto band = band_samples<Format>(job.pixels, job.width, rows);
    if (vector::flip_bits(band.samples, band.count * sizeof(sample), mask, sizeof(mask))) return;
    for_each_pixel<Format>(job.pixels, job.width, rows, [&mask](sample* pixel) {
        for (unsigned c = 0; c < channels<Format>; ++c) pixel[c] = static_cast<sample>(pixel[c] ^ mask[c]);
    });
}

} // namespace

template <class Format>
void negative_rows(const negative_job& job, row_range rows) {
    using sample = typename Format::sample;
    if constexpr (is_real<Format>) {
        const auto band = band_samples<Format>(job.pixels, job.width, rows);
        if (vector::complement(band, job.invert_colour, job.invert_alpha)) return;
        for_each_pixel<Format>(job.pixels, job.width, rows, [&job](sample* pixel) {
            for (unsigned c = 0; c < channels<Format>; ++c) {
                if (c < Format::colours ? job.invert_colour : job.invert_alpha) {
                    pixel[c] = stored<Format>(Format::full - number(pixel[c]));
                }
            }
        });
    } else {
        flip_samples<Format>(job, rows);
    }
}

template <class Format>
void power_rows(const power_job& job, row_range rows) {
    auto band = band_samples<Format>(job.pixels, job.width, rows);
    band.has_alpha = false; // alpha is raised too
    if (vector::raise(band, job.exponent)) return;
    for_each_pixel<Format>(job.pixels, job.width, rows, [&job](typename Format::sample* pixel) {
        for (unsigned c = 0; c < channels<Format>; ++c) {
            pixel[c] = stored<Format>(std::pow(number(pixel[c]), job.exponent));
        }
    });
}

template <class Format>
void clear_alpha_rows(const clear_alpha_job& job, row_range rows) {
    const auto alpha = *static_cast<const typename Format::sample*>(job.alpha);
    for_each_pixel<Format>(job.pixels, job.width, rows,
                           [alpha](typename Format::sample* pixel) { pixel[Format::colours] = alpha; });
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void clear_colour_rows<format>(const clear_colour_job&, row_range);                                       \
    template void tone_rows<format>(const tone_job&, row_range);                                                       \
    template void negative_rows<format>(const negative_job&, row_range);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void tabulate_tone<format>(tone_curve, float, format::sample*);                                           \
    template void map_colour_rows<format>(const map_colour_job&, row_range);
ZARN_FOR_EACH_TABULABLE_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void power_rows<format>(const power_job&, row_range);                                                     \
    template void clear_alpha_rows<format>(const clear_alpha_job&, row_range);
ZARN_FOR_EACH_REAL_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

#define ZARN_INSTANTIATE(format) template void grayscale_rows<format>(const grayscale_job&, row_range);
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
