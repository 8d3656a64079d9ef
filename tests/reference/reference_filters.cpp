#include "tests/reference/reference_filters.h"

#include <algorithm>
#include <cmath>

#include "tests/reference/reference_geometry.h"

namespace zarn_test {

namespace {

// What the taps of a Gaussian add up to.
struct weighted_sums {
    double samples[4] = {};
    double all = 0.0;
    double visible = 0.0;

    void add(const reference_image& image, const std::uint32_t* pixel, double weight) {
        all += weight;
        if (!image.visible(pixel)) return;
        visible += weight;
        for (unsigned i = 0; i < image.stride(); ++i) samples[i] += weight * pixel[i];
    }
};

double gaussian_weight(std::int64_t distance, float sigma) {
    if (distance == 0) return 1.0; // also where the square of sigma is too small for a float
    const float d = static_cast<float>(distance);
    const float sigma_squared = sigma * sigma;
    return static_cast<double>(std::exp(-(d * d) / (2.0f * sigma_squared)));
}

// One box pass; `horizontal` averages along rows, else along columns.
reference_image box_pass(const reference_image& source, std::uint32_t radius, bool blur_colour, bool blur_alpha,
                         bool horizontal) {
    reference_image result = source;
    const std::int64_t length = horizontal ? source.width : source.height;
    for (std::uint32_t row = 0; row < source.height; ++row) {
        for (std::uint32_t x = 0; x < source.width; ++x) {
            const std::int64_t position = horizontal ? x : row;
            std::uint64_t sums[4] = {};
            std::uint64_t visible = 0;
            std::uint64_t all = 0;
            for (std::int64_t i = std::max<std::int64_t>(position - radius, 0);
                 i <= std::min<std::int64_t>(position + radius, length - 1); ++i) {
                const std::uint64_t at = static_cast<std::uint64_t>(i);
                const std::uint32_t* pixel = horizontal ? source.at(at, row) : source.at(x, at);
                ++all;
                if (!source.visible(pixel)) continue;
                ++visible;
                for (unsigned s = 0; s < source.stride(); ++s) sums[s] += pixel[s];
            }
            std::uint32_t* out = result.at(x, row);
            for (unsigned s = 0; s < source.colours; ++s) {
                if (visible == 0) {
                    out[s] = 0;
                } else if (blur_colour) {
                    out[s] = static_cast<std::uint32_t>(sums[s] / visible);
                }
            }
            if (blur_alpha && source.has_alpha) {
                out[source.colours] = static_cast<std::uint32_t>(sums[source.colours] / all);
            }
        }
    }
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
    const std::int64_t width = image.width;
    const std::int64_t height = image.height;

    reference_image temporary = image.blank(image.width, image.height);
    for (std::uint32_t y = 0; y < image.height; ++y) {
        for (std::uint32_t x = 0; x < image.width; ++x) {
            weighted_sums sums;
            for (std::int64_t u = std::max<std::int64_t>(x - radius, 0); u <= std::min(width - 1, x + radius); ++u) {
                sums.add(image, image.at(static_cast<std::uint64_t>(u), y), gaussian_weight(u - x, sigma));
            }
            std::uint32_t* out = temporary.at(x, y);
            for (unsigned i = 0; i < image.colours; ++i) {
                out[i] = sums.visible != 0.0 ? to_sample(sums.samples[i] / sums.visible, image.full) : 0;
            }
            if (image.has_alpha) {
                out[image.colours] = to_sample(sums.samples[image.colours] / sums.all, image.full);
            }
        }
    }
    for (std::uint32_t y = 0; y < image.height; ++y) {
        for (std::uint32_t x = 0; x < image.width; ++x) {
            weighted_sums sums;
            for (std::int64_t v = std::max<std::int64_t>(y - radius, 0); v <= std::min(height - 1, y + radius); ++v) {
                sums.add(temporary, temporary.at(x, static_cast<std::uint64_t>(v)), gaussian_weight(v - y, sigma));
            }
            std::uint32_t* out = image.at(x, y);
            if (blur_colour && sums.visible != 0.0) {
                for (unsigned i = 0; i < image.colours; ++i) {
                    out[i] = to_sample(sums.samples[i] / sums.visible, image.full);
                }
            }
            if (blur_alpha && image.has_alpha) {
                out[image.colours] = to_sample(sums.samples[image.colours] / sums.all, image.full);
            }
        }
    }
}

reference_image reference_pad_edges(const reference_image& image, std::uint32_t p) {
    reference_image padded = image.blank(image.width + 2 * p, image.height + 2 * p);
    for (std::uint32_t y = 0; y < padded.height; ++y) {
        for (std::uint32_t x = 0; x < padded.width; ++x) {
            const std::uint32_t u = std::min(std::max(x, p) - p, image.width - 1);
            const std::uint32_t v = std::min(std::max(y, p) - p, image.height - 1);
            padded.copy_pixel(padded.at(x, y), image.at(u, v));
        }
    }
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
    for (std::uint32_t row = 0; row < image.height; ++row) {
        for (std::uint32_t x = 0; x < image.width; ++x) any = any || image.alpha(image.at(x, row)) > threshold;
    }
    if (!any) return;

    const auto for_each_alpha = [&image](auto&& change) {
        for (std::uint32_t row = 0; row < image.height; ++row) {
            for (std::uint32_t x = 0; x < image.width; ++x) change(image.at(x, row)[image.colours], x, row);
        }
    };
    for_each_alpha([&](std::uint32_t& alpha, auto, auto) { alpha = alpha > threshold ? opaque : 0; });

    const std::int64_t width = image.width;
    const std::int64_t height = image.height;
    for (std::uint32_t pass = 0; iterations == 0 || pass < iterations; ++pass) {
        bool filled = false;
        for (std::int64_t y = 0; y < height; ++y) {
            for (std::int64_t x = 0; x < width; ++x) {
                std::uint32_t* pixel = image.at(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
                if (image.visible(pixel)) continue;
                std::uint64_t sums[3] = {};
                std::uint64_t count = 0;
                for (std::int64_t dy = -1; dy <= 1; ++dy) {
                    for (std::int64_t dx = -1; dx <= 1; ++dx) {
                        if (dx < 0 && !(x > 0)) continue;
                        if (dx > 0 && !(x < width - 2)) continue;
                        if (dy < 0 && !(y > 0)) continue;
                        if (dy > 0 && !(y < height - 2)) continue;
                        const std::uint32_t* neighbour =
                            image.at(static_cast<std::uint64_t>(x + dx), static_cast<std::uint64_t>(y + dy));
                        if (image.alpha(neighbour) != opaque) continue;
                        for (unsigned i = 0; i < image.colours; ++i) sums[i] += neighbour[i];
                        ++count;
                    }
                }
                if (count == 0) continue;
                for (unsigned i = 0; i < image.colours; ++i) pixel[i] = static_cast<std::uint32_t>(sums[i] / count);
                pixel[image.colours] = marker;
                filled = true;
            }
        }
        if (!filled) break;
        for_each_alpha([&](std::uint32_t& alpha, auto, auto) { alpha = alpha == marker ? opaque : alpha; });
    }
    for_each_alpha([&](std::uint32_t& alpha, std::uint32_t x, std::uint32_t row) {
        alpha = keep_alpha ? before.at(x, row)[image.colours] : opaque;
    });
}

} // namespace zarn_test
