// Drawing of shapes into integer formats: what the coverage of a pixel, 0 to 255, does to a picture. With an alpha
// sample the coverage scales the colour's alpha, without one its value; products are truncated.
#pragma once

#include <cstdint>

#include "core/coverage_span.h"
#include "kernels/blit.h"
#include "kernels/pixel_format.h"

namespace zarn {

template <class Format>
struct coverage_paint {
    using sample = typename Format::sample;

    sample* pixels;
    blit_picture picture;
    sample colour[channels<Format>]; // at full coverage
    sample scaled[256];              // its alpha, or its value without alpha, at each coverage
    blit_rows composite;
};

// `colour` is one pixel.
template <class Format>
coverage_paint<Format> make_coverage_paint(void* pixels, const blit_picture& picture,
                                           const typename Format::sample* colour) noexcept;

// Both are for span_painter, their context a coverage_paint<Format>.
//
// Writes alpha, or the value without alpha, and leaves the colour.
template <class Format>
void store_coverage(const void* context, const coverage_span& span);

// Composites the colour as a blit in normal mode does. Without alpha the coverage is the opacity, from 0 to 1.
template <class Format>
void composite_coverage(const void* context, const coverage_span& span);

} // namespace zarn
