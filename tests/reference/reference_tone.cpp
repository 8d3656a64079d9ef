#include "tests/reference/reference_tone.h"

#include <cmath>

#include "tests/reference/reference_colour.h"

namespace zarn_test {

namespace {

template <class Map>
void change_colours(reference_image& image, Map&& map) {
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        if (i % image.stride() < image.colours) image.samples[i] = map(image.samples[i]);
    }
}

// `map` takes and gives a real number; it is called with float or double.
template <class Map>
void change_reals(reference_image& image, Map&& map) {
    change_colours(image, [&](std::uint32_t c) {
        const double value = image.full > 65535 ? map(static_cast<double>(c)) : map(static_cast<float>(c));
        return to_sample(value, image.full);
    });
}

// Into 0..most; what is not a number becomes 0.
template <class Real>
Real clamped(Real value, Real most) {
    if (!(value > 0)) return 0;
    return value > most ? most : value;
}

float unit_factor(const reference_image& image) { return image.full == 255 ? 0.003921569f : 1.5259022e-05f; }

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
    const float exponent = 100.0f / (gamma * 100.0f);
    change_reals(image, [&](auto c) {
        using real = decltype(c);
        const real most = static_cast<real>(image.full);
        const real k =
            image.full > 65535 ? static_cast<real>(1.0 / 4294967295.0) : static_cast<real>(unit_factor(image));
        return clamped(std::pow(c * k, static_cast<real>(exponent)) * most, most);
    });
}

void reference_negative(reference_image& image, bool invert_colour, bool invert_alpha) {
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        const bool invert = i % image.stride() < image.colours ? invert_colour : invert_alpha;
        if (invert) image.samples[i] = static_cast<std::uint32_t>(image.full - image.samples[i]);
    }
}

void reference_grayscale(reference_image& image, float red_weight, float green_weight, float blue_weight) {
    for (std::size_t i = 0; i < image.samples.size(); i += image.stride()) {
        std::uint32_t* p = image.samples.data() + i;
        const float sum = (static_cast<float>(p[1]) * green_weight + static_cast<float>(p[0]) * red_weight) +
                          static_cast<float>(p[2]) * blue_weight;
        p[0] = p[1] = p[2] = to_sample(sum, image.full);
    }
}

void reference_normalize(reference_image& image) {
    const float k = unit_factor(image);
    const auto hsl_of = [&](const std::uint32_t* p) {
        return reference_rgb_to_hsl(static_cast<float>(p[0]) * k, static_cast<float>(p[1]) * k,
                                    static_cast<float>(p[2]) * k);
    };
    float least = 1.0f, greatest = 0.0f;
    for (std::size_t i = 0; i < image.samples.size(); i += image.stride()) {
        const std::uint32_t* p = image.samples.data() + i;
        if (!image.visible(p)) continue;
        const float lightness = hsl_of(p).lightness;
        if (lightness < least) least = lightness;
        if (lightness > greatest) greatest = lightness;
    }
    if (!(least < greatest)) return; // nothing visible, or all of one lightness
    for (std::size_t i = 0; i < image.samples.size(); i += image.stride()) {
        std::uint32_t* p = image.samples.data() + i;
        if (!image.visible(p)) continue;
        reference_hsl colour = hsl_of(p);
        colour.lightness = (colour.lightness - least) / (greatest - least);
        float rgb[3];
        reference_hsl_to_rgb(colour, rgb);
        for (unsigned c = 0; c < 3; ++c) p[c] = to_sample(rgb[c] * static_cast<float>(image.full), image.full);
    }
}

} // namespace zarn_test
