#include "tests/reference/reference_filters.h"

#include <algorithm>
#include <cmath>

#include "tests/reference/reference_geometry.h"

namespace zarn_test {

namespace {

double gaussian_weight(std::int64_t distance, float sigma) {
    if (distance == 0) return 1.0; // also where the square of sigma is too small for a float
    const float d = static_cast<float>(distance);
    const float sigma_squared = sigma * sigma;
    return static_cast<double>(std::exp(-(d * d) / (2.0f * sigma_squared)));
}

// What the taps within `radius` of a line through a pixel add up to; Real sums weights of a Gaussian or whole pixels.
template <class Real>
struct tap_sums {
    Real samples[4] = {};
    Real all = 0, visible = 0;

    template <class Weight>
    tap_sums(const reference_image& image, std::uint32_t x, std::uint32_t row, bool horizontal, std::int64_t radius,
             Weight&& weight_of) {
        const std::int64_t position = horizontal ? x : row, length = horizontal ? image.width : image.height;
        const std::int64_t last = std::min(position + radius, length - 1);
        for (std::int64_t i = std::max<std::int64_t>(position - radius, 0); i <= last; ++i) {
            const auto at = static_cast<std::uint64_t>(i);
            const std::uint32_t* pixel = horizontal ? image.at(at, row) : image.at(x, at);
            const Real weight = weight_of(i - position);
            all += weight;
            if (!image.visible(pixel)) continue;
            visible += weight;
            for (unsigned s = 0; s < image.stride(); ++s) samples[s] += weight * pixel[s];
        }
    }
};

// One box pass; `horizontal` averages along rows, else along columns.
reference_image box_pass(const reference_image& source, std::uint32_t radius, bool blur_colour, bool blur_alpha,
                         bool horizontal) {
    reference_image result = source;
    result.each_pixel([&](std::uint32_t* out, std::uint32_t x, std::uint32_t row) {
        const tap_sums<std::uint64_t> sums(source, x, row, horizontal, radius, [](std::int64_t) { return 1u; });
        for (unsigned s = 0; s < source.colours; ++s) {
            if (sums.visible == 0) out[s] = 0;
            if (sums.visible && blur_colour) out[s] = static_cast<std::uint32_t>(sums.samples[s] / sums.visible);
        }
        if (blur_alpha && source.has_alpha)
            out[source.colours] = static_cast<std::uint32_t>(sums.samples[source.colours] / sums.all);
    });
    return result;
}

void remove_padding(reference_image& image, std::uint32_t p) {
    reference_crop(image, p, p, image.width - 2 * p, image.height - 2 * p);
}

// The 3 x 3 kernel at picture (x, y) of one sample, taken row by row. `before` is the picture before the operation and
// stands in for the rows above and below the band [first, last).
template <class Real>
std::uint32_t sharpened(const reference_image& image, const reference_image& before, std::uint32_t x, std::uint32_t y,
                        std::uint32_t first, std::uint32_t last, unsigned sample, Real amount) {
    const Real kernel[9] = {0, -amount, 0, -amount, 4 * amount + 1, -amount, 0, -amount, 0};
    Real sum = 0;
    for (unsigned i = 0; i < 9; ++i) {
        const std::uint32_t v = y + i / 3 - 1;
        const reference_image& from = v < first || v >= last ? before : image;
        sum += kernel[i] * static_cast<Real>(from.at_picture(x + i % 3 - 1, v)[sample]);
    }
    const Real full = static_cast<Real>(image.full);
    if (!(sum >= 0)) return 0;
    return to_sample(static_cast<double>(sum > full ? full : sum), image.full);
}

} // namespace

void reference_gaussian(reference_image& image, float sigma, bool blur_colour, bool blur_alpha) {
    sigma = std::min(sigma, 250.0f);
    const std::int64_t radius = static_cast<std::int64_t>(2.0f * sigma);
    const auto pass = [&](const reference_image& source, reference_image& result, bool horizontal, bool colour,
                          bool alpha) {
        result.each_pixel([&](std::uint32_t* out, std::uint32_t x, std::uint32_t y) {
            const tap_sums<double> sums(source, x, y, horizontal, radius,
                                        [&](std::int64_t distance) { return gaussian_weight(distance, sigma); });
            for (unsigned i = 0; i < image.colours && colour && sums.visible != 0.0; ++i)
                out[i] = to_sample(sums.samples[i] / sums.visible, image.full);
            if (alpha && image.has_alpha)
                out[image.colours] = to_sample(sums.samples[image.colours] / sums.all, image.full);
        });
    };
    reference_image temporary = image.blank(image.width, image.height);
    pass(image, temporary, true, true, true);
    pass(temporary, image, false, blur_colour, blur_alpha);
}

reference_image reference_pad_edges(const reference_image& image, std::uint32_t p) {
    reference_image padded = image.blank(image.width + 2 * p, image.height + 2 * p);
    padded.each_pixel([&](std::uint32_t* pixel, std::uint32_t x, std::uint32_t y) {
        const std::uint32_t u = std::min(std::max(x, p) - p, image.width - 1);
        const std::uint32_t v = std::min(std::max(y, p) - p, image.height - 1);
        padded.copy_pixel(pixel, image.at(u, v));
    });
    return padded;
}

void reference_box_passes(reference_image& image, std::uint32_t radius, bool blur_colour, bool blur_alpha) {
    image = box_pass(image, radius, blur_colour, blur_alpha, true);
    image = box_pass(image, radius, blur_colour, blur_alpha, false);
}

void reference_box_blur(reference_image& image, std::uint32_t radius, bool blur_colour, bool blur_alpha) {
    const std::uint32_t r = std::min({radius, image.width, image.height});
    image = reference_pad_edges(image, r + 4);
    reference_box_passes(image, r, blur_colour, blur_alpha);
    remove_padding(image, r + 4);
}

void reference_box_gaussian(reference_image& image, float sigma, bool blur_colour, bool blur_alpha,
                            unsigned iterations) {
    const std::uint32_t whole = static_cast<std::uint32_t>(sigma);
    const std::uint32_t part = static_cast<std::uint32_t>(3.0f * std::fmod(sigma, 1.0f));
    const std::uint32_t radii[3] = {std::min({whole, image.width, image.height}),
                                    std::min({whole, image.width, image.height}),
                                    std::min({whole + part, image.width, image.height})};
    image = reference_pad_edges(image, whole + 4);
    for (unsigned i = 0; i < iterations; ++i) reference_box_passes(image, radii[i], blur_colour, blur_alpha);
    remove_padding(image, whole + 4);
}

void reference_sharpen(reference_image& image, float amount, std::uint32_t thread_limit) {
    if (image.width < 3 || image.height < 3) return;
    const reference_image before = image;
    const std::uint32_t bands = std::min(thread_limit, image.height);
    const std::uint32_t rows = (image.height - 2) / bands;
    for (std::uint32_t band = 0; band < bands; ++band) {
        const std::uint32_t first = 1 + band * rows;
        const std::uint32_t last = band + 1 == bands ? image.height - 1 : first + rows;
        for (std::uint32_t y = first; y < last; ++y) {
            for (std::uint32_t x = 1; x < image.width - 1; ++x) {
                for (unsigned i = 0; i < image.colours; ++i) {
                    image.at_picture(x, y)[i] =
                        image.full > 65535
                            ? sharpened<double>(image, before, x, y, first, last, i, static_cast<double>(amount))
                            : sharpened<float>(image, before, x, y, first, last, i, amount);
                }
            }
        }
    }
}

void reference_expand_where_alpha(reference_image& image, std::uint32_t iterations, std::uint64_t threshold,
                                  bool keep_alpha) {
    const std::uint32_t opaque = static_cast<std::uint32_t>(image.full);
    const std::uint32_t marker = image.full == 255 ? 128u : opaque / 2;
    threshold = std::min(threshold, image.full - 1);
    const reference_image before = image;
    bool any = false;
    image.each_pixel([&](const std::uint32_t* p, auto, auto) { any = any || image.alpha(p) > threshold; });
    if (!any) return;

    const auto for_each_alpha = [&image](auto&& change) {
        image.each_pixel(
            [&](std::uint32_t* p, std::uint32_t x, std::uint32_t row) { change(p[image.colours], x, row); });
    };
    for_each_alpha([&](std::uint32_t& alpha, auto, auto) { alpha = alpha > threshold ? opaque : 0; });

    const std::int64_t width = image.width, height = image.height;
    for (std::uint32_t pass = 0; iterations == 0 || pass < iterations; ++pass) {
        bool filled = false;
        image.each_pixel([&](std::uint32_t* pixel, std::int64_t x, std::int64_t y) {
            if (image.visible(pixel)) return;
            std::uint64_t sums[3] = {}, count = 0;
            for (int n = 0; n < 9; ++n) {
                const std::int64_t dx = n % 3 - 1, dy = n / 3 - 1;
                if ((dx < 0 && x == 0) || (dx > 0 && x >= width - 2)) continue;
                if ((dy < 0 && y == 0) || (dy > 0 && y >= height - 2)) continue;
                const std::uint32_t* neighbour =
                    image.at(static_cast<std::uint64_t>(x + dx), static_cast<std::uint64_t>(y + dy));
                if (image.alpha(neighbour) != opaque) continue;
                for (unsigned i = 0; i < image.colours; ++i) sums[i] += neighbour[i];
                ++count;
            }
            if (count == 0) return;
            for (unsigned i = 0; i < image.colours; ++i) pixel[i] = static_cast<std::uint32_t>(sums[i] / count);
            pixel[image.colours] = marker;
            filled = true;
        });
        if (!filled) break;
        for_each_alpha([&](std::uint32_t& alpha, auto, auto) { alpha = alpha == marker ? opaque : alpha; });
    }
    for_each_alpha([&](std::uint32_t& alpha, std::uint32_t x, std::uint32_t row) {
        alpha = keep_alpha ? before.at(x, row)[image.colours] : opaque;
    });
}

} // namespace zarn_test
