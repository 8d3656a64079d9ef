#include "operations/tone.h"

#include <cfloat>
#include <cstring>

#include "core/owned_array.h"
#include "kernels/normalize.h"
#include "operations/frame.h"

namespace zarn {

namespace {

// False, with the message, when the records cannot be allocated.
template <class Job>
bool adjust(image_state& image, const Job& job, void (*kernel)(const Job&, row_range)) noexcept {
    if (!has_pixels(image)) return true;
    operation_bands bands(image, L"adjust", 0, image.height, at_most_one_band_per_row(image, image.height));
    if (!bands) return false;
    bands.run(job, kernel);
    return true;
}

} // namespace

template <class Format>
void clear(image_state& image, const void* colour, bool with_alpha) noexcept {
    // The caller's pixel may be one of the image's own.
    sample_of<Format> copy[channels<Format>];
    std::memcpy(copy, colour, sizeof(copy));
    if (with_alpha) {
        adjust(image, fill_job{image.pixels, image.width, copy}, fill_rows<pixel_bytes<Format>>);
    } else {
        adjust(image, clear_colour_job{image.pixels, image.width, copy}, clear_colour_rows<Format>);
    }
}

template <class Format>
void adjust_tone(image_state& image, tone_curve curve, float amount) noexcept {
    if constexpr (is_tabulable<Format>) {
        using sample = sample_of<Format>;
        constexpr std::uint64_t values = std::uint64_t{Format::full} + 1;
        // A table saves arithmetic where there are more pixels than values; without memory for it the arithmetic
        // serves. Looking into a long one costs more than any curve but the power.
        const bool is_worthwhile = curve == tone_curve::gamma || values == 256;
        if (is_worthwhile && pixel_count(image) > values) {
            if (const auto table = allocate_array<sample>(values)) {
                tabulate_tone<Format>(curve, amount, table.get());
                adjust(image, map_colour_job{image.pixels, image.width, table.get()}, map_colour_rows<Format>);
                return;
            }
        }
    }
    adjust(image, tone_job{image.pixels, image.width, curve, amount}, tone_rows<Format>);
}

template <class Format>
void grayscale(image_state& image, float red_weight, float green_weight, float blue_weight) noexcept {
    adjust(image, grayscale_job{image.pixels, image.width, red_weight, green_weight, blue_weight},
           grayscale_rows<Format>);
}

template <class Format>
void negative(image_state& image, bool invert_colour, bool invert_alpha) noexcept {
    adjust(image, negative_job{image.pixels, image.width, invert_colour, invert_alpha}, negative_rows<Format>);
}

template <class Format>
void normalize(image_state& image, float low, float high) noexcept {
    if (!has_pixels(image)) return;
    // A row at a time: the colours of the whole image are never needed together.
    const auto row_colours = allocate_array<hsl_colour>(image.width);
    if (!row_colours) {
        fail_allocation(image, image.names->image_class, L" lum_array.");
        return;
    }
    lightness_span span;
    if constexpr (is_real<Format>) span = {FLT_MAX, -FLT_MAX, low, high};
    widen_lightness_span<Format>(samples<Format>(image), pixel_count(image), span);
    if (!(span.least < span.greatest)) return;
    for (std::uint32_t row = 0; row < image.height; ++row) {
        auto* pixels = samples<Format>(image) + std::uint64_t{row} * image.width * channels<Format>;
        stretch_lightness<Format>(pixels, image.width, span, row_colours.get());
    }
}

template <class Format>
bool raise_to_power(image_state& image, float exponent) noexcept {
    return adjust(image, power_job{image.pixels, image.width, exponent}, power_rows<Format>);
}

template <class Format>
void clear_alpha(image_state& image, typename Format::sample alpha) noexcept {
    adjust(image, clear_alpha_job{image.pixels, image.width, &alpha}, clear_alpha_rows<Format>);
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void clear<format>(image_state&, const void*, bool) noexcept;                                             \
    template void adjust_tone<format>(image_state&, tone_curve, float) noexcept;                                       \
    template void negative<format>(image_state&, bool, bool) noexcept;
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

#define ZARN_INSTANTIATE(format) template void grayscale<format>(image_state&, float, float, float) noexcept;
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

#define ZARN_INSTANTIATE(format) template void normalize<format>(image_state&, float, float) noexcept;
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)
ZARN_FOR_EACH_REAL_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

#define ZARN_INSTANTIATE(format)                                                                                       \
    template bool raise_to_power<format>(image_state&, float) noexcept;                                                \
    template void clear_alpha<format>(image_state&, format::sample) noexcept;
ZARN_FOR_EACH_REAL_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
