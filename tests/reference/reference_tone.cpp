#include "tests/reference/reference_tone.h"

#include <cmath>

#include "tests/reference/reference_colour.h"

namespace zarn_test {

namespace {

// Every colour sample becomes what `map` gives for it, a real number; it is called with float or double.
template <class Map>
void change_reals(reference_image& image, Map&& map) {
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        std::uint32_t& c = image.samples[i];
        if (!image.is_colour(i)) continue;
        c = to_sample(image.full > 65535 ? map(static_cast<double>(c)) : map(static_cast<float>(c)), image.full);
    }
}

// Into 0..most; what is not a number becomes 0.
template <class Real>
Real clamped(Real value, Real most) {
    if (!(value > 0)) return 0;
    return value > most ? most : value;
}

float unit_factor(const reference_image& image) { return image.full == 255 ? 0.003921569f : 1.5259022e-05f; }

std::uint32_t widened_to_16(std::uint32_t v, std::uint64_t full) {
    if (full == 255) return to_sample(static_cast<float>(v) * 0.003921569f * 65535.0f, 65535);
    if (full == 65535) return v;
    return to_sample(v * (1.0 / 4294967295.0) * 65535.0, 65535);
}

std::uint32_t narrowed_from_16(std::uint32_t v, std::uint64_t full) {
    if (full == 255) return to_sample(static_cast<float>(v) * 1.5259022e-05f * 255.0f, full);
    if (full == 65535) return v;
    return to_sample(v * (1.0 / 65535.0) * 4294967295.0, full);
}

void normalize_values(reference_image& image) {
    std::vector<reference_hsl> colours;
    float least = 1.0f, greatest = 0.0f;
    std::uint32_t grey = 0;
    for (std::size_t i = 0; i < image.samples.size(); i += image.stride()) {
        grey = widened_to_16(image.samples[i], image.full);
        const float v = static_cast<float>(grey) * 1.5259022e-05f;
        colours.push_back(reference_rgb_to_hsl(v, v, v));
        const float lightness = colours.back().lightness;
        if (!(lightness >= least)) least = lightness;
        if (lightness > greatest) greatest = lightness;
    }
    if (!(least < greatest)) return;
    for (std::size_t pixel = 0; pixel < colours.size(); ++pixel) {
        image.samples[pixel * image.stride()] = narrowed_from_16(grey, image.full); // of the pixel before
        reference_hsl colour = colours[pixel];
        colour.lightness = (colour.lightness - least) / (greatest - least);
        float rgb[3];
        reference_hsl_to_rgb(colour, rgb);
        grey = to_sample(rgb[0] * 65535.0f, 65535);
    }
}

} // namespace

void reference_exposure(reference_image& image, float factor) {
    change_reals(image, [&](auto c) {
        using real = decltype(c);
        const real most = static_cast<real>(image.full);
        const real value = c * static_cast<real>(factor);
        return value <= most ? value : most; // no lower bound
    });
}

void reference_brightness(reference_image& image, float amount) {
    change_reals(image, [&](auto c) {
        using real = decltype(c);
        const real most = static_cast<real>(image.full);
        return clamped(c + static_cast<real>(amount) * most, most);
    });
}

void reference_contrast(reference_image& image, float factor) {
    change_reals(image, [&](auto c) {
        using real = decltype(c);
        // 127, 32766 or 2147483646: only the first is half of full scale, on purpose.
        const real pivot = static_cast<real>(image.full == 255 ? 127 : image.full / 2 - 1);
        return clamped((c - pivot) * static_cast<real>(factor) + pivot, static_cast<real>(image.full));
    });
}

void reference_gamma(reference_image& image, float gamma) {
    change_reals(image, [&](auto c) {
        using real = decltype(c);
        const real most = static_cast<real>(image.full);
        const real k =
            image.full > 65535 ? static_cast<real>(1.0 / 4294967295.0) : static_cast<real>(unit_factor(image));
        const real exponent = static_cast<real>(100) / (static_cast<real>(gamma) * static_cast<real>(100));
        return clamped(std::pow(c * k, exponent) * most, most);
    });
}

void reference_negative(reference_image& image, bool invert_colour, bool invert_alpha) {
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        if (image.is_colour(i) ? invert_colour : invert_alpha)
            image.samples[i] = static_cast<std::uint32_t>(image.full - image.samples[i]);
    }
}

void reference_grayscale(reference_image& image, float red_weight, float green_weight, float blue_weight) {
    image.each_pixel([&](std::uint32_t* p, auto, auto) {
        const float sum = (static_cast<float>(p[1]) * green_weight + static_cast<float>(p[0]) * red_weight) +
                          static_cast<float>(p[2]) * blue_weight;
        p[0] = p[1] = p[2] = to_sample(sum, image.full);
    });
}

void reference_normalize(reference_image& image) {
    if (image.colours == 1) return normalize_values(image);
    const float k = unit_factor(image);
    const auto hsl_of = [&](const std::uint32_t* p) {
        return reference_rgb_to_hsl(static_cast<float>(p[0]) * k, static_cast<float>(p[1]) * k,
                                    static_cast<float>(p[2]) * k);
    };
    float least = 1.0f, greatest = 0.0f;
    image.each_pixel([&](const std::uint32_t* p, auto, auto) {
        if (!image.visible(p)) return;
        const float lightness = hsl_of(p).lightness;
        if (lightness < least) least = lightness;
        if (lightness > greatest) greatest = lightness;
    });
    if (!(least < greatest)) return; // nothing visible, or all of one lightness
    image.each_pixel([&](std::uint32_t* p, auto, auto) {
        if (!image.visible(p)) return;
        reference_hsl colour = hsl_of(p);
        colour.lightness = (colour.lightness - least) / (greatest - least);
        float rgb[3];
        reference_hsl_to_rgb(colour, rgb);
        for (unsigned c = 0; c < 3; ++c) p[c] = to_sample(rgb[c] * static_cast<float>(image.full), image.full);
    });
}

} // namespace zarn_test
