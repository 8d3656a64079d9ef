// What a test needs to drive a float image class without naming its sample. Typed tests run over `real_types`.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <zarn/image_real_16.h>
#include <zarn/image_real_32.h>

#include "tests/reference/reference_real.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

using lines = std::vector<std::wstring>;
using flag_values = std::vector<int>;

template <class Image>
constexpr bool is_half = std::is_same_v<Image, zarn_image_real_16>;
template <class Image>
using real_sample = std::conditional_t<is_half<Image>, half_float::half, float>;

// Samples as the class stores them.
template <class Image>
std::vector<real_sample<Image>> stored_samples(const std::vector<float>& samples) {
    std::vector<real_sample<Image>> stored;
    for (const float v : samples) stored.push_back(static_cast<real_sample<Image>>(v));
    return stored;
}

template <class Image>
class real_test : public ::testing::Test {
protected:
    // An argument as the class takes it, and as the plain form does.
    static real_sample<Image> in(float v) { return static_cast<real_sample<Image>>(v); }
    static float out(float v) { return static_cast<float>(in(v)); }

    // Messages of the float class as the class words them. Those of the box blurs and of flips are the float class's.
    static lines worded(lines texts) {
        for (std::wstring& text : texts) {
            const auto holds = [&](const wchar_t* part) { return text.find(part) != std::wstring::npos; };
            if (!is_half<Image>) text = reworded(text, {{L"flip array", L"zarn_real_32 array"}});
            if (!is_half<Image> || holds(L"temp pixel data") || holds(L"tal_blur()") || holds(L"cal_blur()")) continue;
            text = reworded(text, {{L"zarn_real_32 array", L"zarn_real_16 array"},
                                   {L"flip array", L"zarn_real_32 array"},
                                   {L"image_real_32", L"image_real_16"},
                                   {L"_r32_s", L"_r16_s"}});
        }
        return texts;
    }
    // is_grayscale, is_rasterized, is_sRGB, is_u8_max_256
    static flag_values flags(const Image& i) {
        return {static_cast<int>(i.is_grayscale()), static_cast<int>(i.is_rasterized()), static_cast<int>(i.is_sRGB()),
                i.is_u8_max_256()};
    }
    static void set_flags(Image& i) {
        i.set_if_is_rasterized(3);
        i.set_if_is_sRGB(1);
        i.set_if_is_u8_max_256(-5);
    }
    static void expect_empty(const Image& i) {
        EXPECT_EQ(i.is_valid() + i.get_width() + i.get_height(), 0u);
        EXPECT_EQ(i.get_pixel_array(), nullptr);
        EXPECT_EQ(flags(i), (flag_values{0, 0, 0, 0}));
    }
};

using real_types = ::testing::Types<zarn_image_real_32, zarn_image_real_16>;

struct real_type_names {
    template <class Image>
    static std::string GetName(int) {
        return is_half<Image> ? "zarn_image_real_16" : "zarn_image_real_32";
    }
};

// ---- Pictures ------------------------------------------------------------------------------------------------------

template <class Image>
real_picture read_real(const Image& image) {
    const auto* const samples = image.get_pixel_array();
    real_picture picture{0, 0, image.is_grayscale() != 0, {}, is_half<Image>};
    if (!samples) return picture;
    picture = picture.blank(image.get_width(), image.get_height());
    for (std::size_t i = 0; i < picture.samples.size(); ++i) picture.samples[i] = static_cast<float>(samples[i]);
    return picture;
}

// Of these samples over and over.
template <class Image>
real_picture real_picture_of(std::uint32_t width, std::uint32_t height, bool grey, const std::vector<float>& samples) {
    real_picture picture = real_picture{0, 0, grey, {}, is_half<Image>}.blank(width, height);
    for (std::size_t i = 0; i < picture.samples.size(); ++i)
        picture.samples[i] = picture.stored(static_cast<double>(samples[i % samples.size()]));
    return picture;
}

// Colours of low..high, invisible pixels' too; alpha of 0..1 or, with colours above 1, beyond.
template <class Image>
real_picture random_real(std::uint32_t width, std::uint32_t height, bool grey, alpha_kind kind, std::uint32_t seed,
                         float low = 0.0f, float high = 1.0f) {
    random_numbers random(seed);
    const auto unit = [&random] {
        if (random.below(8) == 0) return 0.5f * static_cast<float>(random.below(3)); // 0, a half, 1
        return static_cast<float>(random() >> 8) * 0x1p-24f;
    };
    const std::vector<std::uint32_t> odds = {1, 2, 4, 16, 0}; // by kind, of which alpha is kept
    const auto chance = odds[static_cast<std::size_t>(kind)];
    std::vector<float> samples;
    for (std::uint64_t i = 0; i < std::uint64_t{width} * height; ++i) {
        for (unsigned c = 0; c < (grey ? 1u : 3u); ++c) samples.push_back(low + (high - low) * unit());
        if (!grey && random.below(8) == 0) samples.end()[-2] = samples.end()[-3] = samples.back();
        const float partial = high > 1.0f ? 0.25f + unit() : 0.0625f + 0.9375f * unit();
        const bool visible = chance && (random.below(chance) == 0) != (kind == alpha_kind::any);
        samples.push_back(!visible ? 0.0f : kind <= alpha_kind::binary ? 1.0f : partial);
    }
    return real_picture_of<Image>(width, height, grey, samples);
}

// Samples of every nature: negative, above 1, infinite, no numbers.
template <class Image>
real_picture wild_real(bool grey) {
    return real_picture_of<Image>(17, 4, grey,
                                  {0.25f, -0.25f, 0.75f, 2.0f, 1.0f, 1.5f, -0.0f, 0.0f, not_a_number, 0.5f, infinity,
                                   -infinity, 100.0f, -3.0f, 1.0f, 0.5f, 0.125f});
}

struct real_case {
    real_picture picture;
    std::uint32_t thread_limit;
    std::string name;
};

// Pictures of awkward sizes with every kind of alpha in both layouts, and wild ones; thread limits take turns.
template <class Image>
std::vector<real_case> real_cases(float low = 0.0f, float high = 1.0f, bool wild = false) {
    constexpr std::uint32_t heights[] = {3, 1, 7, 12, 2, 9}, limits[] = {1, 2, 3, 40};
    std::vector<real_case> cases;
    for (const std::uint32_t width : {1u, 2u, 3u, 5u, 8u, 17u, 33u}) {
        for (std::uint32_t turn = 0; turn < 10; ++turn) {
            const std::uint32_t height = heights[(width + turn) % 6], limit = limits[(width + turn / 2) % 4];
            const auto picture =
                random_real<Image>(width, height, turn % 2, alpha_kinds[turn / 2], width * 10 + turn, low, high);
            cases.push_back({picture, limit, text(width, 'x', height, "turn", turn, "thread limit", limit)});
        }
    }
    for (const bool grey : {false, true})
        if (wild) cases.push_back({wild_real<Image>(grey), 3, text("wild, grey", grey)});
    return cases;
}

// ---- Running and comparing -----------------------------------------------------------------------------------------

// How far a result may be from the expected one: `ulps` of the class's sample at the greater of the expected value and
// `scale`. 0 asks for the same bits (of NaN: for NaN).
struct closeness {
    double ulps = 0.0;
    double scale = 0.0;
    bool visible_only = false; // colours that nobody sees may be any
    bool any_whole = false;    // whole numbers are lost, as integers lose what exceeds them
};
constexpr closeness same_bits{};
constexpr closeness power{1.0, 0.0}; // the last bit of powf is the C library's

inline bool is_close(float expected, float actual, bool half, closeness close) {
    if (std::isnan(expected) || std::isnan(actual)) return std::isnan(expected) && std::isnan(actual);
    if (std::memcmp(&expected, &actual, sizeof expected) == 0) return true;
    const double e = static_cast<double>(expected), apart = e - static_cast<double>(actual);
    const double difference = std::fabs(close.any_whole ? std::remainder(apart, 1.0) : apart);
    const double ulp = half ? 0x1p-10 : 0x1p-23, least = half ? 0x1p-24 : 0x1p-149;
    return close.ulps > 0.0 && !std::isinf(expected) &&
           difference <= std::max(close.ulps * ulp * std::max(std::fabs(e), close.scale), least);
}

// The numbers of the pixels that differ. Both have one size and layout.
inline std::vector<std::size_t> differing_pixels(const real_picture& expected, const real_picture& actual,
                                                 closeness close) {
    std::vector<std::size_t> pixels;
    for (std::size_t i = 0; i < expected.samples.size(); ++i) {
        const std::size_t pixel = i / expected.stride(), alpha = (pixel + 1) * expected.stride() - 1;
        if (close.visible_only && i != alpha && expected.samples[alpha] == 0.0f) continue;
        if (is_close(expected.samples[i], actual.samples[i], expected.is_half, close)) continue;
        if (pixels.empty() || pixels.back() != pixel) pixels.push_back(pixel);
    }
    return pixels;
}

template <class Image>
::testing::AssertionResult same_real(const real_picture& expected, const Image& image, closeness close = same_bits) {
    const real_picture actual = read_real(image);
    auto failure = ::testing::AssertionFailure();
    if (actual.width != expected.width || actual.height != expected.height || actual.is_grey != expected.is_grey)
        return failure << "got " << actual.width << " x " << actual.height << " grey " << actual.is_grey << " for "
                       << expected.width << " x " << expected.height << " grey " << expected.is_grey;
    const std::vector<std::size_t> pixels = differing_pixels(expected, actual, close);
    if (pixels.empty()) return ::testing::AssertionSuccess();
    failure << pixels.size() << " pixels differ, number " << pixels[0] << ": (expected, got)";
    for (std::size_t i = pixels[0] * expected.stride(), n = 0; n < expected.stride(); ++i, ++n)
        failure << " (" << expected.samples[i] << ", " << actual.samples[i] << ')';
    return failure;
}

// An image that holds a copy of `picture`.
template <class Image>
class loaded_real : public zarn_owned<Image> {
public:
    explicit loaded_real(const real_picture& picture, std::uint32_t thread_limit = 2) {
        auto samples = stored_samples<Image>(picture.samples);
        (*this)->set_thread_limit(thread_limit);
        EXPECT_EQ((*this)->create(picture.width, picture.height, picture.is_grey, 0, 0, samples.data(), 1), 1u);
    }
};

// Operations of the class, their plain forms, and how far results may be apart.
template <class Image>
class real_operations {
public:
    template <class Plain, class Run>
    void add(const std::string& name, closeness close, Plain plain, Run run) {
        ___all.push_back({name, close, plain, [run](Image& image) {
                              if constexpr (!std::is_void_v<decltype(run(image))>) return run(image);
                              return run(image), 1u;
                          }});
    }
    // Runs all on all: the results must agree, the operation push nothing and, where it gives a result, return 1.
    void compare(const std::vector<real_case>& cases) const {
        for (const real_case& one : cases) {
            for (const operation& each : ___all) {
                SCOPED_TRACE(one.name + "; " + each.name);
                real_picture expected = one.picture;
                each.plain(expected);
                loaded_real<Image> image(one.picture, one.thread_limit);
                EXPECT_EQ(each.run(*image), 1u);
                EXPECT_TRUE(same_real(expected, *image, each.close));
                EXPECT_TRUE(messages(*image).empty());
            }
        }
    }

private:
    struct operation {
        std::string name;
        closeness close;
        std::function<void(real_picture&)> plain;
        std::function<unsigned(Image&)> run;
    };
    std::vector<operation> ___all;
};

} // namespace zarn_test
