#include "kernels/coverage.h"

#include <algorithm>
#include <cstring>

#include <zarn/blend.h>

namespace zarn {

namespace {

template <class Format>
using sample_of = typename Format::sample;

template <class Format>
sample_of<Format>* first_pixel(const coverage_paint<Format>& paint, const coverage_span& span) {
    const std::uint64_t row = memory_row(span.y, paint.picture.height, paint.picture.lower_left);
    return paint.pixels + (row * paint.picture.width + span.x) * channels<Format>;
}

template <class Format>
void fill(sample_of<Format>* pixels, const sample_of<Format> (&colour)[channels<Format>], std::uint32_t length) {
    for (std::uint32_t x = 0; x < length; ++x) std::memcpy(pixels + x * channels<Format>, colour, pixel_bytes<Format>);
}

// Whether a source with this alpha (or opacity 1, without one) replaces what it is blended onto. At some depths the
// weight of full alpha is a rounding away from 1.
template <class Format>
bool replaces(sample_of<Format> alpha) {
    using real = typename Format::real;
    constexpr bool full_weighs_one = static_cast<real>(Format::full) * Format::to_unit == real{1};
    return !Format::has_alpha || (full_weighs_one && alpha == Format::full);
}

// One row of a source, composited onto a part of the picture.
template <class Format>
void composite_row(const coverage_paint<Format>& paint, const sample_of<Format>* source, std::uint32_t x,
                   std::uint32_t y, std::uint32_t length, double opacity) {
    blit_job job{};
    job.destination = paint.pixels;
    job.source = source;
    job.destination_picture = paint.picture;
    job.source_picture = {length, 1, false};
    job.columns = length;
    job.destination_x = x;
    job.destination_y = y;
    job.opacity = opacity;
    paint.composite(job, {0, 1, 0});
}

// The kernel of blits reads rows of pixels; spans are handed to it in pieces of this many.
constexpr std::uint32_t piece = 256;

template <class Format>
void composite_alpha(const coverage_paint<Format>& paint, const coverage_span& span) {
    sample_of<Format> source[piece * channels<Format>];
    fill<Format>(source, paint.colour, std::min(span.length, piece));
    for (std::uint32_t done = 0; done < span.length;) {
        const std::uint32_t length = std::min(span.length - done, piece);
        if (!span.is_uniform || !done) {
            for (std::uint32_t i = 0; i < length; ++i) {
                const std::uint8_t cover = span.covers[span.is_uniform ? 0 : done + i];
                source[i * channels<Format> + Format::colours] = paint.scaled[cover];
            }
        }
        composite_row(paint, source, span.x + done, span.y, length, 1.0);
        done += length;
    }
}

// One opacity serves one call of the kernel: runs of equal coverage.
template <class Format>
void composite_value(const coverage_paint<Format>& paint, const coverage_span& span) {
    sample_of<Format> source[piece * channels<Format>];
    fill<Format>(source, paint.colour, std::min(span.length, piece));
    for (std::uint32_t done = 0; done < span.length;) {
        const std::uint8_t cover = span.covers[span.is_uniform ? 0 : done];
        const std::uint32_t most = std::min(span.length - done, piece);
        std::uint32_t length = span.is_uniform ? most : 1;
        while (length < most && span.covers[done + length] == cover) ++length;
        composite_row(paint, source, span.x + done, span.y, length, cover / 255.0);
        done += length;
    }
}

} // namespace

template <class Format>
coverage_paint<Format> make_coverage_paint(void* pixels, const blit_picture& picture,
                                           const typename Format::sample* colour) noexcept {
    coverage_paint<Format> paint{};
    paint.pixels = static_cast<sample_of<Format>*>(pixels);
    paint.picture = picture;
    std::copy(colour, colour + channels<Format>, paint.colour);
    const std::uint64_t scaled = colour[channels<Format> - 1];
    for (std::uint64_t cover = 0; cover < 256; ++cover) {
        paint.scaled[cover] = static_cast<sample_of<Format>>(cover * scaled / 255);
    }
    paint.composite = blit_rows_for<Format>(ZARN_BLEND_NORMAL);
    return paint;
}

template <class Format>
void store_coverage(const void* context, const coverage_span& span) {
    const auto& paint = *static_cast<const coverage_paint<Format>*>(context);
    sample_of<Format>* pixel = first_pixel(paint, span) + (channels<Format> - 1);
    if (span.is_uniform) {
        const sample_of<Format> scaled = paint.scaled[*span.covers];
        for (std::uint32_t x = 0; x < span.length; ++x) pixel[x * channels<Format>] = scaled;
    } else {
        for (std::uint32_t x = 0; x < span.length; ++x) pixel[x * channels<Format>] = paint.scaled[span.covers[x]];
    }
}

template <class Format>
void composite_coverage(const void* context, const coverage_span& span) {
    const auto& paint = *static_cast<const coverage_paint<Format>*>(context);
    if (span.is_uniform && *span.covers == 255 && replaces<Format>(paint.scaled[255])) {
        fill<Format>(first_pixel(paint, span), paint.colour, span.length);
    } else if constexpr (Format::has_alpha) {
        composite_alpha(paint, span);
    } else {
        composite_value(paint, span);
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template coverage_paint<format> make_coverage_paint<format>(void*, const blit_picture&,                            \
                                                                const format::sample*) noexcept;                       \
    template void store_coverage<format>(const void*, const coverage_span&);                                           \
    template void composite_coverage<format>(const void*, const coverage_span&);
ZARN_FOR_EACH_INTEGER_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
