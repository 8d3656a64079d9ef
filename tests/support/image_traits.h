// What a test needs to drive an image class without naming its pixel format. Typed tests run over `image_types`.
#pragma once

#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/owned.h>

#include "tests/reference/reference_image.h"

namespace zarn_test {

template <class Image>
struct image_traits;

// The RGBA classes, which differ in their sample alone.
template <class Image, class Pixel, class Sample>
struct rgba_traits {
    using pixel = Pixel;
    using sample = Sample;
    static constexpr unsigned colours = 3;
    static constexpr bool has_alpha = true;
    static constexpr std::uint64_t full = static_cast<Sample>(~Sample{0});

    static reference_image blank(std::uint32_t width, std::uint32_t height, std::uint32_t origin) {
        reference_image format;
        format.origin = origin;
        format.colours = colours;
        format.has_alpha = has_alpha;
        format.full = full;
        return format.blank(width, height);
    }
    static Pixel to_pixel(const std::uint32_t* s) {
        return Pixel(static_cast<Sample>(s[0]), static_cast<Sample>(s[1]), static_cast<Sample>(s[2]),
                     static_cast<Sample>(s[3]));
    }
    static void from_pixel(const Pixel& p, std::uint32_t* s) {
        s[0] = p.r;
        s[1] = p.g;
        s[2] = p.b;
        s[3] = p.a;
    }
    // Replaces the contents by a copy of `picture`; clears the messages.
    static bool load(Image& image, const reference_image& picture) {
        std::vector<Pixel> pixels(std::uint64_t{picture.width} * picture.height);
        for (std::uint64_t i = 0; i < pixels.size(); ++i) pixels[i] = to_pixel(picture.samples.data() + i * 4);
        return image.create(picture.width, picture.height, picture.origin, pixels.data(), 1) == 1;
    }
    static reference_image read(const Image& image) {
        reference_image picture = blank(image.get_width(), image.get_height(), image.get_origin());
        if (!image.get_pixel_array()) return picture.blank(0, 0);
        for (std::uint64_t i = 0; i < picture.samples.size() / 4; ++i) {
            from_pixel(image.get_pixel_array()[i], picture.samples.data() + i * 4);
        }
        return picture;
    }
};

template <>
struct image_traits<zarn_image_8> : rgba_traits<zarn_image_8, zarn_pixel_8_s, std::uint8_t> {
    static constexpr const char* name = "zarn_image_8";
    // A message of the 8-bit class as this class words it.
    static std::wstring message(const std::wstring& of_image_8) { return of_image_8; }
};

template <>
struct image_traits<zarn_image_16> : rgba_traits<zarn_image_16, zarn_pixel_16_s, std::uint16_t> {
    static constexpr const char* name = "zarn_image_16";
    static std::wstring message(std::wstring text) {
        // Texts that differ in more than the names of the class and its records come first.
        constexpr const wchar_t* wordings[][2] = {
            {L"zarn_pixel_8_s temp pixel data.", L"zarn_image_16 temp pixel data."},
            {L"zarn_uchar_8 array.", L"zarn_uint_16 array."},
            {L"Failed to v::", L"Failed to zarn_image_16::"},
            {L"zarn_image_8", L"zarn_image_16"},
            {L"_8_s", L"_16_s"}};
        for (const auto& wording : wordings) {
            const std::wstring from = wording[0];
            for (std::size_t at; (at = text.find(from)) != std::wstring::npos;)
                text.replace(at, from.size(), wording[1]);
        }
        return text;
    }
};

using image_types = ::testing::Types<zarn_image_8, zarn_image_16>;

struct image_type_names {
    template <class Image>
    static std::string GetName(int) {
        return image_traits<Image>::name;
    }
};

// ---- Random pictures -----------------------------------------------------------------------------------------------

enum class alpha_kind { opaque, binary, any, sparse, transparent };
constexpr alpha_kind alpha_kinds[] = {alpha_kind::opaque, alpha_kind::binary, alpha_kind::any, alpha_kind::sparse,
                                      alpha_kind::transparent};

// The same numbers for the same seed on every platform.
class random_numbers {
public:
    explicit random_numbers(std::uint32_t seed)
        : m_engine(seed) {}
    std::uint32_t operator()() { return static_cast<std::uint32_t>(m_engine()); }
    std::uint32_t below(std::uint32_t end) { return (*this)() % end; }

private:
    std::mt19937 m_engine;
};

// Colours of invisible pixels are random too.
template <class Image>
reference_image random_picture(std::uint32_t width, std::uint32_t height, std::uint32_t origin, alpha_kind kind,
                               std::uint32_t seed) {
    using traits = image_traits<Image>;
    reference_image picture = traits::blank(width, height, origin);
    random_numbers random(seed);
    const auto sample = [&random] { return random() & static_cast<std::uint32_t>(traits::full); };
    for (std::uint64_t i = 0; i < std::uint64_t{width} * height; ++i) {
        std::uint32_t* pixel = picture.samples.data() + i * picture.stride();
        for (unsigned c = 0; c < picture.colours; ++c) pixel[c] = sample();
        if (!picture.has_alpha) continue;
        std::uint32_t& alpha = pixel[picture.colours];
        switch (kind) {
        case alpha_kind::opaque:
            alpha = static_cast<std::uint32_t>(traits::full);
            break;
        case alpha_kind::binary:
            alpha = random() % 2 ? static_cast<std::uint32_t>(traits::full) : 0;
            break;
        case alpha_kind::any:
            alpha = random() % 4 ? sample() : 0;
            break;
        case alpha_kind::sparse:
            alpha = random() % 16 ? 0 : sample() | 1u;
            break;
        case alpha_kind::transparent:
            break;
        }
    }
    return picture;
}

// ---- Running and comparing -----------------------------------------------------------------------------------------

template <class Image>
std::vector<std::wstring> messages(const Image& image) {
    const zarn_list<wchar_t*>* stack = image.get_error_stack();
    std::vector<std::wstring> texts;
    for (unsigned int i = 0; i < stack->get_count(); ++i) texts.emplace_back((*stack)[i]);
    return texts;
}

// The first pixel in which the image differs from the expected picture, in memory order.
template <class Image>
::testing::AssertionResult same_picture(const reference_image& expected, const Image& image) {
    const reference_image actual = image_traits<Image>::read(image);
    if (expected == actual) return ::testing::AssertionSuccess();
    ::testing::AssertionResult failure = ::testing::AssertionFailure();
    failure << "expected " << expected.width << " x " << expected.height << " origin " << expected.origin << ", got "
            << actual.width << " x " << actual.height << " origin " << actual.origin;
    if (expected.samples.size() != actual.samples.size() || expected.width != actual.width) return failure;
    std::uint64_t differing = 0;
    for (std::uint64_t i = 0; i < expected.samples.size(); i += expected.stride()) {
        bool same = true;
        for (unsigned s = 0; s < expected.stride(); ++s)
            same = same && expected.samples[i + s] == actual.samples[i + s];
        if (same || differing++) continue;
        const std::uint64_t pixel = i / expected.stride();
        failure << "; pixel " << pixel % expected.width << ", memory row " << pixel / expected.width << ": expected";
        for (unsigned s = 0; s < expected.stride(); ++s) failure << ' ' << expected.samples[i + s];
        failure << ", got";
        for (unsigned s = 0; s < expected.stride(); ++s) failure << ' ' << actual.samples[i + s];
    }
    return failure << "; " << differing << " pixels differ";
}

// One picture to try an operation on, and the thread limit to run it with.
struct picture_case {
    reference_image picture;
    std::uint32_t thread_limit;
    std::string name;
};

// Pictures of awkward widths with every kind of alpha; heights, origins and thread limits take turns.
template <class Image>
std::vector<picture_case> picture_cases() {
    constexpr std::uint32_t widths[] = {1, 2, 3, 4, 5, 7, 8, 15, 16, 17, 31, 33, 63, 65, 70};
    constexpr std::uint32_t heights[] = {1, 2, 3, 5, 9, 12, 17};
    constexpr std::uint32_t origins[] = {lower_left, upper_left, 0};
    constexpr std::uint32_t limits[] = {1, 2, 3, 4, 5, 6, 7, 40};
    std::vector<picture_case> cases;
    std::uint32_t turn = 0;
    for (unsigned round = 0; round < 3; ++round) {
        for (const std::uint32_t width : widths) {
            for (const alpha_kind kind : alpha_kinds) {
                const std::uint32_t height = heights[turn % 7];
                const std::uint32_t origin = origins[(turn + round) % 3];
                const std::uint32_t limit = limits[(turn + turn / 8) % 8];
                cases.push_back({random_picture<Image>(width, height, origin, kind, 1000 + turn), limit,
                                 std::to_string(width) + " x " + std::to_string(height) + ", origin " +
                                     std::to_string(origin) + ", alpha kind " + std::to_string(static_cast<int>(kind)) +
                                     ", thread limit " + std::to_string(limit)});
                ++turn;
            }
        }
    }
    return cases;
}

// An image that holds `picture`, ready for an operation.
template <class Image>
class loaded_image : public zarn_owned<Image> {
public:
    loaded_image(const reference_image& picture, std::uint32_t thread_limit) {
        (*this)->set_thread_limit(thread_limit);
        EXPECT_TRUE(image_traits<Image>::load(**this, picture));
    }
};

// Runs `operation` on an image of the case and `expected` on its picture: the results must agree, the operation return
// 1 and push nothing. `parameters` names the run where it fails.
template <class Image, class Expected, class Operation>
void compare(const picture_case& one, const std::string& parameters, Expected&& expected, Operation&& operation) {
    reference_image picture = one.picture;
    expected(picture);
    loaded_image<Image> image(one.picture, one.thread_limit);
    EXPECT_EQ(operation(*image), 1u) << one.name << "; " << parameters;
    EXPECT_TRUE(same_picture(picture, *image)) << one.name << "; " << parameters;
    EXPECT_TRUE(messages(*image).empty()) << one.name << "; " << parameters;
}

template <class... Values>
std::string text(const Values&... values) {
    std::ostringstream out;
    (void(out << values << ' '), ...);
    return out.str();
}

} // namespace zarn_test
