// Colour conversions against their plain form, bit for bit, and single pixels of bare arrays.

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <zarn/colour.h>
#include <zarn/half_pixels.h>

#include "tests/reference/reference_colour.h"
#include "tests/reference/reference_image.h"

namespace zarn_test {

namespace {

// The pixel formats of the conversions.
struct bits_8 {
    static constexpr const char* name = "bits_8";
    using pixel = zarn_pixel_8_s;
    using sample = std::uint8_t;
    static constexpr float factor = 0.003921569f;
    static constexpr auto to_hsl = rgb_to_hsl_8;
    static constexpr auto to_rgb = hsl_to_rgb_8;
    static constexpr auto get = array_get_pixel_8;
    static constexpr auto set = array_set_pixel_8;
};
struct bits_16 {
    static constexpr const char* name = "bits_16";
    using pixel = zarn_pixel_16_s;
    using sample = std::uint16_t;
    static constexpr float factor = 1.5259022e-05f;
    static constexpr auto to_hsl = rgb_to_hsl_16;
    static constexpr auto to_rgb = hsl_to_rgb_16;
    static constexpr auto get = array_get_pixel_16;
    static constexpr auto set = array_set_pixel_16;
};
struct real_32 {
    static constexpr const char* name = "real_32";
    using sample = float;
    static constexpr auto to_hsl = rgb_to_hsl_r32;
    static constexpr auto to_rgb = hsl_to_rgb_r32;
};
struct real_16 {
    static constexpr const char* name = "real_16";
    using sample = half_float::half;
    static constexpr auto to_hsl = rgb_to_hsl_r16;
    static constexpr auto to_rgb = hsl_to_rgb_r16;
};

struct format_names {
    template <class Format>
    static std::string GetName(int) {
        return Format::name;
    }
};

template <class Format>
struct integer_colour : ::testing::Test {
    static constexpr std::uint64_t full = std::numeric_limits<typename Format::sample>::max();
};
using integer_formats = ::testing::Types<bits_8, bits_16>;
TYPED_TEST_SUITE(integer_colour, integer_formats, format_names);

template <class Format>
struct real_colour : ::testing::Test {};
using real_formats = ::testing::Types<real_32, real_16>;
TYPED_TEST_SUITE(real_colour, real_formats, format_names);

::testing::AssertionResult same(const reference_hsl& a, const reference_hsl& b) {
    if (a.hue == b.hue && a.saturation == b.saturation && a.lightness == b.lightness) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << a.hue << ' ' << a.saturation << ' ' << a.lightness << " against " << b.hue
                                         << ' ' << b.saturation << ' ' << b.lightness;
}

// Colours inside the unit cube, at every threshold of the conversion, and beyond.
std::vector<reference_hsl> telling_colours() {
    std::vector<reference_hsl> colours;
    std::vector<float> hues = {-3, -0.5f, -1.0e-8f, 1.0e-8f, 1.5f, 40};
    for (int i = 0; i <= 72; ++i) hues.push_back(static_cast<float>(i) / 72);
    for (const float threshold : {1.0f / 6, 1.0f / 3, 0.5f, 2.0f / 3, 5.0f / 6, 1.0f}) {
        hues.push_back(std::nextafter(threshold, 0.0f));
        hues.push_back(std::nextafter(threshold, 2.0f));
    }
    for (const float hue : hues) {
        for (const float saturation : {0.0f, 1.0e-7f, 0.25f, 0.8f, 1.0f, 1.7f, -0.5f}) {
            for (const float lightness : {0.0f, 0.003f, 0.3f, 0.49999997f, 0.5f, 0.71f, 1.0f, 1.2f, -0.4f, 3.0e4f}) {
                colours.push_back({hue, saturation, lightness});
            }
        }
    }
    return colours;
}

} // namespace

TYPED_TEST(integer_colour, from_rgb) {
    using sample = typename TypeParam::sample;
    std::mt19937 random(1);
    const auto check = [](std::uint32_t r, std::uint32_t g, std::uint32_t b) {
        const auto unit = [](sample c) { return static_cast<float>(c) * TypeParam::factor; };
        const typename TypeParam::pixel pixel(static_cast<sample>(r), static_cast<sample>(g), static_cast<sample>(b),
                                              3);
        reference_hsl actual = {9, 9, 9};
        TypeParam::to_hsl(pixel, actual.hue, actual.saturation, actual.lightness);
        ASSERT_TRUE(same(reference_rgb_to_hsl(unit(pixel.r), unit(pixel.g), unit(pixel.b)), actual))
            << r << ' ' << g << ' ' << b;
    };
    for (std::uint32_t i = 0; i < 36 * 36 * 36; ++i) { // steps of full / 35, the full scale among them
        const auto step = [](std::uint32_t n) { return static_cast<std::uint32_t>(n % 36 * TestFixture::full / 35); };
        check(step(i), step(i / 36), step(i / 36 / 36));
    }
    for (int i = 0; i < 100000; ++i) {
        const std::uint32_t a = static_cast<std::uint32_t>(random()), b = a + static_cast<std::uint32_t>(i % 3);
        check(a, b, i % 2 ? a : static_cast<std::uint32_t>(random()));
    }
}

TYPED_TEST(integer_colour, to_rgb_keeps_low_bits_and_alpha) {
    using sample = typename TypeParam::sample;
    for (const reference_hsl& colour : telling_colours()) {
        float rgb[3];
        reference_hsl_to_rgb(colour, rgb);
        sample expected[3];
        for (unsigned c = 0; c < 3; ++c) {
            expected[c] =
                static_cast<sample>(to_sample(rgb[c] * static_cast<float>(TestFixture::full), TestFixture::full));
        }
        typename TypeParam::pixel pixel(1, 2, 3, 4);
        TypeParam::to_rgb(colour.hue, colour.saturation, colour.lightness, pixel);
        ASSERT_TRUE(pixel.r == expected[0] && pixel.g == expected[1] && pixel.b == expected[2] && pixel.a == 4)
            << colour.hue << ' ' << colour.saturation << ' ' << colour.lightness;
    }
}

TYPED_TEST(integer_colour, pixels_of_an_array) {
    using pixel = typename TypeParam::pixel;
    for (const std::uint32_t origin : {lower_left, upper_left, 0u}) {
        std::vector<pixel> array(4 * 3);
        for (unsigned x = 0; x < 4; ++x) {
            for (unsigned y = 0; y < 3; ++y) {
                const std::size_t at = (origin == lower_left ? 2 - y : y) * 4 + x;
                const auto value = static_cast<typename TypeParam::sample>(at + 1);
                TypeParam::set(array.data(), x, y, 4, 3, pixel(value, 2, 3, 4), origin);
                EXPECT_TRUE(array[at].r == value && array[at].g == 2 && array[at].b == 3 && array[at].a == 4);
                EXPECT_EQ(&TypeParam::get(array.data(), x, y, 4, 3, origin), &array[at]);
            }
        }
    }
}

TYPED_TEST(real_colour, from_rgb) {
    using sample = typename TypeParam::sample;
    std::mt19937 random(1);
    const auto check = [](float r, float g, float b) {
        const sample rgb[3] = {sample(r), sample(g), sample(b)};
        const auto real = [&](unsigned c) { return static_cast<float>(rgb[c]); };
        reference_hsl actual = {9, 9, 9};
        TypeParam::to_hsl(0, rgb, actual.hue, actual.saturation, actual.lightness);
        ASSERT_TRUE(same(reference_rgb_to_hsl(real(0), real(1), real(2)), actual)) << r << ' ' << g << ' ' << b;
        TypeParam::to_hsl(2, rgb + 2, actual.hue, actual.saturation, actual.lightness); // reads one component
        ASSERT_TRUE(same({0, 0, real(2)}, actual)) << b;
    };
    for (int i = 0; i < 100000; ++i) {
        const auto real = [&] { return static_cast<float>(random() % 4097) / (i % 7 ? 4096.0f : 1024.0f); };
        const float a = real(), b = real();
        check(a, b, i % 3 ? real() : i % 2 ? a : b);
    }
}

TYPED_TEST(real_colour, to_rgb_clamps) {
    using sample = typename TypeParam::sample;
    std::vector<reference_hsl> colours = telling_colours();
    colours.push_back({0.1f, 1.0f, std::numeric_limits<float>::infinity()});
    for (const reference_hsl& colour : colours) {
        float rgb[3];
        reference_hsl_to_rgb(colour, rgb);
        for (const unsigned grayscale : {0u, 1u, 256u}) {
            sample actual[4] = {sample(9.0f), sample(9.0f), sample(9.0f), sample(9.0f)};
            TypeParam::to_rgb(grayscale, colour.hue, colour.saturation, colour.lightness, actual);
            for (unsigned c = 0; c < 4; ++c) {
                const bool written = c < (grayscale ? 1u : 3u);
                const float expected = written ? (rgb[c] > 0.0f ? std::min(rgb[c], 1.0f) : 0.0f) : 9.0f;
                ASSERT_EQ(static_cast<float>(actual[c]), static_cast<float>(sample(expected)))
                    << colour.hue << ' ' << colour.saturation << ' ' << colour.lightness << ", component " << c;
            }
        }
    }
}

} // namespace zarn_test
