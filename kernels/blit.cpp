#include "kernels/blit.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <type_traits>

#include <zarn/blend.h>

#include "kernels/pixel_format.h"
#include "kernels/store.h"
#include "kernels/vector/blit.h"

namespace zarn {

namespace {

#include "kernels/blend_modes.inc.h"

template <class Sample>
struct integer_math {
    using number = std::conditional_t<sizeof(Sample) == 1, std::uint32_t, std::uint64_t>;

    static constexpr bool real = false;
    static constexpr number full_scale = static_cast<Sample>(~Sample{0});

    static constexpr number zero() { return 0; }
    static constexpr number full() { return full_scale; }
    static constexpr number half() { return full_scale / 2 + 1; }
    static constexpr number quarter() { return full_scale / 4 + 1; }
    static constexpr number above() { return full_scale + 1; }
    static constexpr number twice_above_less_one() { return 2 * full_scale + 1; }
    static number choose(bool condition, number a, number b) { return condition ? a : b; }
    static number times_above(number x) { return x * above(); }
    static number halved(number x) { return x / 2; }
    static number quotient(number a, number b) { return b ? a / b : 0; }
    static number over_above(number x) { return x / above(); }
    static number over_full(number x) { return x / full(); }
    static number twice_over_full(number x) {
        if constexpr (sizeof(Sample) < 4) return 2 * x / full();
        // Twice the product of two 32-bit samples may need 65 bits.
        return 2 * (x / full()) + (2 * (x % full()) >= full() ? 1 : 0);
    }
};

struct real_math {
    using number = float;

    static constexpr bool real = true;

    static constexpr number zero() { return 0.0f; }
    static constexpr number full() { return 1.0f; }
    static constexpr number half() { return 0.5f; }
    static constexpr number quarter() { return 0.25f; }
    static constexpr number above() { return 1.0f; }
    static constexpr number twice_above_less_one() { return 2.0f; }
    static number choose(bool condition, number a, number b) { return condition ? a : b; }
    static number times_above(number x) { return x; }
    static number halved(number x) { return x / 2.0f; }
    static number quotient(number a, number b) { return a / b; }
    static number over_above(number x) { return x; }
    static number over_full(number x) { return x; }
    static number twice_over_full(number x) { return 2.0f * x; }
};

template <class Format>
using math_of = std::conditional_t<is_real<Format>, real_math, integer_math<typename Format::sample>>;

// Calls work(destination, source) for every row.
template <class Format, class Source, class Work>
void for_each_row(const blit_job& job, row_range rows, Work work) {
    using sample = typename Format::sample;
    const auto at = [](const blit_picture& picture, std::uint32_t x, std::uint32_t y) {
        return static_cast<std::uint64_t>(memory_row(y, picture.height, picture.lower_left)) * picture.width + x;
    };
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        const std::uint32_t destination_row = job.destination_y + (row - job.source_y);
        work(static_cast<sample*>(job.destination) +
                 at(job.destination_picture, job.destination_x, destination_row) * channels<Format>,
             static_cast<const sample*>(job.source) + at(job.source_picture, job.source_x, row) * channels<Source>);
    }
}

// The same for every pair of pixels, after the alpha rule.
template <class Format, class Source, class Work>
void for_each_pixel(const blit_job& job, row_range rows, Work work) {
    using sample = typename Format::sample;
    for_each_row<Format, Source>(job, rows, [&job, &work](sample* destination, const sample* source) {
        for (std::uint32_t x = 0; x < job.columns; ++x) {
            if constexpr (Format::has_alpha) {
                sample& alpha = destination[Format::colours];
                if (!job.keep_alpha) alpha = std::max(alpha, source[Source::colours]);
            }
            work(destination, source);
            destination += channels<Format>;
            source += channels<Source>;
        }
    });
}

// A colour of a source pixel, as a destination of the other layout takes it: the value, or the luma.
template <class Format, class Source>
auto colour_of(const typename Source::sample* source, unsigned c) {
    if constexpr (Source::colours == Format::colours) {
        return source[c];
    } else if constexpr (Source::colours == 1) {
        return source[0];
    } else {
        return 0.299f * number(source[0]) + 0.587f * number(source[1]) + 0.114f * number(source[2]);
    }
}

// How far the destination moves towards the blended colour.
template <class Format>
typename Format::real weight_of(const blit_job& job, const typename Format::sample* source) {
    using real = typename Format::real;
    if constexpr (Format::has_alpha) {
        const real alpha = static_cast<real>(source[Format::colours]) * static_cast<real>(Format::to_unit);
        return alpha * static_cast<real>(job.opacity);
    }
    return static_cast<real>(job.opacity);
}

// The modes' codes.
#define ZARN_BLEND_CODE(name) name,
enum class blend_code : std::uint32_t { ZARN_FOR_EACH_BLEND_MODE(ZARN_BLEND_CODE) };
#undef ZARN_BLEND_CODE

template <class Format>
bool blend_in_vectors(blend_code mode, const blit_job& job, row_range rows) {
    const auto code = static_cast<std::uint32_t>(mode);
    if constexpr (std::is_same_v<Format, rgba_8>) return vector::blend_rgba_8(code, job, rows);
    if constexpr (std::is_same_v<Format, rgba_16>) return vector::blend_rgba_16(code, job, rows);
    return false;
}

template <class Format, class Source, class Mode, blend_code code>
void blend_rows(const blit_job& job, row_range rows) {
    if (blend_in_vectors<Format>(code, job, rows)) return;
    using sample = typename Format::sample;
    using math = math_of<Format>;
    using number = typename math::number;
    using real = typename Format::real;
    for_each_pixel<Format, Source>(job, rows, [&job](sample* destination, const sample* source) {
        const real weight = weight_of<Source>(job, source);
        const real rest = real{1} - weight;
        for (unsigned c = 0; c < Format::colours; ++c) {
            const number blended = Mode::template apply<math>(
                static_cast<number>(destination[c]), static_cast<number>(colour_of<Format, Source>(source, c)));
            destination[c] =
                stored<Format>(static_cast<real>(destination[c]) * rest + static_cast<real>(blended) * weight);
        }
    });
}

template <class Format, class Source>
void replace_rows(const blit_job& job, row_range rows) {
    using sample = typename Format::sample;
    for_each_row<Format, Source>(job, rows, [&job](sample* destination, const sample* source) {
        if constexpr (std::is_same_v<Format, Source>) {
            std::memcpy(destination, source, static_cast<std::size_t>(job.columns) * pixel_bytes<Format>);
        } else {
            for (std::uint32_t x = 0; x < job.columns; ++x) {
                for (unsigned c = 0; c < Format::colours; ++c)
                    *destination++ = static_cast<sample>(colour_of<Format, Source>(source, c));
                *destination++ = source[Source::colours];
                source += channels<Source>;
            }
        }
    });
}

template <class Format, class Source>
void custom_rows(const blit_job& job, row_range rows) {
    using sample = typename Format::sample;
    sample result[channels<Format>] = {};
    for_each_pixel<Format, Source>(job, rows, [&](sample* destination, const sample* source) {
        const auto weight = static_cast<float>(weight_of<Source>(job, source));
        // Reals are handed the destination itself, of integers the result is another pixel.
        if constexpr (is_real<Format>) std::copy_n(destination, channels<Format>, result);
        const void* const shown = is_real<Format> ? result : destination;
        job.custom->call(*job.custom, weight, shown, source, result);
        std::copy(std::begin(result), std::end(result), destination);
    });
}

template <class Format, class Source>
void alpha_rows(const blit_job& job, row_range rows) {
    for_each_pixel<Format, Source>(job, rows, [](auto*, const auto*) {});
}

} // namespace

template <class Format, class Source>
blit_rows blit_rows_for(std::uint32_t mode) noexcept {
#define ZARN_BLEND_ROWS(name) blend_rows<Format, Source, name, blend_code::name>,
    static constexpr blit_rows kernels[] = {ZARN_FOR_EACH_BLEND_MODE(ZARN_BLEND_ROWS)};
#undef ZARN_BLEND_ROWS
    static_assert(std::size(kernels) == ZARN_BLEND_REPLACE);
    if (mode < std::size(kernels)) return kernels[mode];
    if (mode == ZARN_BLEND_REPLACE) return replace_rows<Format, Source>;
    return mode == ZARN_BLEND_CUSTOM ? custom_rows<Format, Source> : alpha_rows<Format, Source>;
}

#define ZARN_INSTANTIATE(format) template blit_rows blit_rows_for<format, format>(std::uint32_t) noexcept;
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

#define ZARN_INSTANTIATE(colour, grey)                                                                                 \
    template blit_rows blit_rows_for<colour, grey>(std::uint32_t) noexcept;                                            \
    template blit_rows blit_rows_for<grey, colour>(std::uint32_t) noexcept;
ZARN_INSTANTIATE(colour_real_32, grey_real_32)
ZARN_INSTANTIATE(colour_real_16, grey_real_16)

} // namespace zarn
