// What a test needs to drive an image class without naming its pixel format. Typed tests run over `image_types`.
#pragma once

#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/image_channel.h>
#include <zarn/image_grayscale.h>
#include <zarn/owned.h>

#include "tests/reference/reference_image.h"

namespace zarn_test {

// ---- Forms of the images of one value ------------------------------------------------------------------------------

// zarn_image_channel or zarn_image_grayscale at one image type, with the signatures of the RGBA classes, so that one
// test runs on all. Switches, flags and callbacks that the class does not have are not looked at.
template <class Base, class Pixel, unsigned Type>
class value_form : public Base {
    static constexpr bool has_alpha = !std::is_integral_v<Pixel>;

public:
    using Base::create;
    unsigned create(const value_form& source) { return Base::create(source, Type); }
    unsigned create(unsigned width, unsigned height, unsigned origin, void* data, unsigned copy) {
        return Base::create(width, height, origin, Type, data, copy);
    }
    // Null where the image has another type.
    const Pixel* get_pixel_array() const {
        if constexpr (Type == 0) return this->get_pixel_array_8();
        if constexpr (Type == 1) return this->get_pixel_array_16();
        if constexpr (Type == 2) return this->get_pixel_array_32();
    }
    Pixel* get_pixel_array() {
        if constexpr (Type == 0) return this->get_pixel_array_8();
        if constexpr (Type == 1) return this->get_pixel_array_16();
        if constexpr (Type == 2) return this->get_pixel_array_32();
    }
    Pixel get_pixel(unsigned x, unsigned y) const {
        if constexpr (Type == 0) return this->get_pixel_8(x, y);
        if constexpr (Type == 1) return this->get_pixel_16(x, y);
        if constexpr (Type == 2) return this->get_pixel_32(x, y);
    }
    void set_pixel(unsigned x, unsigned y, const Pixel& pixel) {
        if constexpr (Type == 0) this->set_pixel_8(x, y, pixel);
        if constexpr (Type == 1) this->set_pixel_16(x, y, pixel);
        if constexpr (Type == 2) this->set_pixel_32(x, y, pixel);
    }
    void clear(const Pixel& pixel, unsigned with_alpha) {
        if constexpr (has_alpha) Base::clear(pixel.value, pixel.alpha, with_alpha);
        if constexpr (!has_alpha) Base::clear(pixel);
    }
    unsigned resize_canvas(unsigned width, unsigned height, unsigned position, const Pixel& pixel) {
        if constexpr (has_alpha) return Base::resize_canvas(width, height, position, pixel.value, pixel.alpha);
        if constexpr (!has_alpha) return Base::resize_canvas(width, height, position, pixel);
    }
    // Margins, which these classes take as the place of the old picture on the new canvas.
    unsigned resize_canvas(unsigned left, unsigned right, unsigned top, unsigned bottom, const Pixel& pixel) {
        const unsigned width = left + right + this->get_width(), height = top + bottom + this->get_height();
        if constexpr (has_alpha) return Base::resize_canvas(width, height, left, top, pixel.value, pixel.alpha);
        if constexpr (!has_alpha) return Base::resize_canvas(width, height, left, top, pixel);
    }
    unsigned gaussian_blur(float sigma, unsigned fast, unsigned blur_colour, unsigned blur_alpha) {
        if constexpr (has_alpha) return Base::gaussian_blur(sigma, fast, blur_colour, blur_alpha);
        if constexpr (!has_alpha) return Base::gaussian_blur(sigma, fast);
    }
    unsigned box_blur(unsigned radius, unsigned blur_colour, unsigned blur_alpha) {
        if constexpr (has_alpha) return Base::box_blur(radius, blur_colour, blur_alpha);
        if constexpr (!has_alpha) return Base::box_blur(radius);
    }
    void negative(unsigned, unsigned) { Base::negative(); }
    // From any depth.
    template <class Callback>
    unsigned blit(const Base& source, unsigned source_x, unsigned source_y, unsigned width, unsigned height,
                  float opacity, int x, int y, unsigned mode, unsigned flags, Callback, void*) {
        auto& from = const_cast<Base&>(source);
        if constexpr (has_alpha) {
            return Base::blit(from, source_x, source_y, width, height, opacity, x, y, mode, flags);
        }
        if constexpr (!has_alpha) return Base::blit(from, source_x, source_y, width, height, opacity, x, y, mode);
    }
};

using channel_8 = value_form<zarn_image_channel, std::uint8_t, 0>;
using channel_16 = value_form<zarn_image_channel, std::uint16_t, 1>;
using channel_32 = value_form<zarn_image_channel, std::uint32_t, 2>;
using grayscale_8 = value_form<zarn_image_grayscale, zarn_grayscale_pixel_8_s, 0>;
using grayscale_16 = value_form<zarn_image_grayscale, zarn_grayscale_pixel_16_s, 1>;
using grayscale_32 = value_form<zarn_image_grayscale, zarn_grayscale_pixel_32_s, 2>;

// ---- Traits --------------------------------------------------------------------------------------------------------

template <class Image>
struct image_traits;

// Two texts, the second of which takes the place of the first.
using wording = std::pair<std::wstring, std::wstring>;

inline std::wstring reworded(std::wstring text, const std::vector<wording>& wordings) {
    for (const auto& [from, to] : wordings) {
        for (std::size_t at = 0; (at = text.find(from, at)) != std::wstring::npos; at += to.size()) {
            text.replace(at, from.size(), to);
        }
    }
    return text;
}

template <class Image, class Pixel, class Sample, unsigned Colours, bool Alpha>
struct common_traits {
    using pixel = Pixel;
    using sample = Sample;
    static constexpr unsigned colours = Colours;
    static constexpr bool has_alpha = Alpha;
    static constexpr unsigned stride = Colours + (Alpha ? 1u : 0u);
    static constexpr bool is_rgba = Colours == 3;
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
        const auto at = [s](unsigned i) { return static_cast<Sample>(s[i]); };
        if constexpr (is_rgba) return Pixel(at(0), at(1), at(2), at(3));
        if constexpr (!is_rgba && Alpha) return Pixel(at(0), at(1));
        if constexpr (!Alpha) return at(0);
    }
    static void from_pixel(const Pixel& p, std::uint32_t* s) {
        if constexpr (is_rgba) s[0] = p.r, s[1] = p.g, s[2] = p.b, s[3] = p.a;
        if constexpr (!is_rgba && Alpha) s[0] = p.value, s[1] = p.alpha;
        if constexpr (!Alpha) s[0] = p;
    }
    // A pixel of the first of these samples, as many as it has.
    static Pixel make(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
        const std::uint32_t samples[4] = {a, b, c, d};
        return to_pixel(samples);
    }
    // Replaces the contents by a copy of `picture`; clears the messages.
    static bool load(Image& image, const reference_image& picture) {
        std::vector<Pixel> pixels(std::uint64_t{picture.width} * picture.height);
        for (std::uint64_t i = 0; i < pixels.size(); ++i) pixels[i] = to_pixel(picture.samples.data() + i * stride);
        return image.create(picture.width, picture.height, picture.origin, pixels.data(), 1) == 1;
    }
    static reference_image read(const Image& image) {
        reference_image picture = blank(image.get_width(), image.get_height(), image.get_origin());
        if (!image.get_pixel_array()) return picture.blank(0, 0);
        for (std::uint64_t i = 0; i < picture.samples.size() / stride; ++i) {
            from_pixel(image.get_pixel_array()[i], picture.samples.data() + i * stride);
        }
        return picture;
    }
};

template <>
struct image_traits<zarn_image_8> : common_traits<zarn_image_8, zarn_pixel_8_s, std::uint8_t, 3, true> {
    static constexpr const char* name = "zarn_image_8";
    // A message of the 8-bit class as this class words it.
    static std::wstring message(const std::wstring& of_image_8) { return of_image_8; }
};

template <>
struct image_traits<zarn_image_16> : common_traits<zarn_image_16, zarn_pixel_16_s, std::uint16_t, 3, true> {
    static constexpr const char* name = "zarn_image_16";
    static std::wstring message(const std::wstring& of_image_8) {
        // Texts that differ in more than the names of the class and its records come first.
        return reworded(of_image_8, {{L"zarn_pixel_8_s temp pixel data.", L"zarn_image_16 temp pixel data."},
                                     {L"zarn_uchar_8 array.", L"zarn_uint_16 array."},
                                     {L"Failed to v::", L"Failed to zarn_image_16::"},
                                     {L"zarn_image_8", L"zarn_image_16"},
                                     {L"_8_s", L"_16_s"}});
    }
};

template <class Image, class Base, class Pixel, class Sample, unsigned Type>
struct value_traits : common_traits<Image, Pixel, Sample, 1, !std::is_integral_v<Pixel>> {
    static constexpr bool alpha = !std::is_integral_v<Pixel>;
    using base = Base;
    static constexpr unsigned type = Type;
    static std::wstring message(const std::wstring& of_image_8) {
        constexpr const wchar_t* arrays[] = {L"zarn_uchar_8 array.", L"zarn_uint_16 array.", L"zarn_uint_32 array."};
        const std::wstring depth = std::to_wstring(8u << Type);
        const std::wstring owner = alpha ? L"zarn_image_grayscale" : L"zarn_image_channel";
        const std::wstring scratch = L"temp_pixel_" + depth + L"_data.";
        return reworded(of_image_8, {{L"zarn_pixel_8_s temp pixel data.", scratch},
                                     {L"zarn_image_16 temp pixel data.", scratch},
                                     {L"zarn_uchar_8 array.", arrays[Type]},
                                     {L"zarn_pixel_8_s array.", alpha ? L"zarn_grayscale_pixel_" + depth + L"_s array."
                                                                      : std::wstring(arrays[Type])},
                                     {L"_thread_data_8_s", alpha ? L"_thread_data_g_s" : L"_thread_data_c_s"},
                                     {L"___pixel_d_array", L"___pixel_" + depth + L"_d_array"},
                                     {L"Failed to v::", L"Failed to " + owner + L"::"},
                                     {L"zarn_image_8", owner}});
    }
};

template <class Sample, unsigned Type>
struct image_traits<value_form<zarn_image_channel, Sample, Type>>
    : value_traits<value_form<zarn_image_channel, Sample, Type>, zarn_image_channel, Sample, Sample, Type> {
    static constexpr const char* name = Type == 0 ? "channel_8" : Type == 1 ? "channel_16" : "channel_32";
};

template <class Pixel, unsigned Type>
struct image_traits<value_form<zarn_image_grayscale, Pixel, Type>>
    : value_traits<value_form<zarn_image_grayscale, Pixel, Type>, zarn_image_grayscale, Pixel, decltype(Pixel::value),
                   Type> {
    static constexpr const char* name = Type == 0 ? "grayscale_8" : Type == 1 ? "grayscale_16" : "grayscale_32";
};

using rgba_image_types = ::testing::Types<zarn_image_8, zarn_image_16>;
using alpha_image_types = ::testing::Types<zarn_image_8, zarn_image_16, grayscale_8, grayscale_16, grayscale_32>;
using value_image_types = ::testing::Types<grayscale_8, grayscale_16, grayscale_32, channel_8, channel_16, channel_32>;
using image_types = ::testing::Types<zarn_image_8, zarn_image_16, grayscale_8, grayscale_16, grayscale_32, channel_8,
                                     channel_16, channel_32>;

struct image_type_names {
    template <class Image>
    static std::string GetName(int) {
        return image_traits<Image>::name;
    }
};

template <class... Values>
std::string text(const Values&... values) {
    std::ostringstream out;
    (void(out << values << ' '), ...);
    return out.str();
}

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

// Colours of invisible pixels are random too. Without alpha it is the value that is full, zero or anything: zero is
// what counts as blank there.
template <class Image>
reference_image random_picture(std::uint32_t width, std::uint32_t height, std::uint32_t origin, alpha_kind kind,
                               std::uint32_t seed) {
    using traits = image_traits<Image>;
    reference_image picture = traits::blank(width, height, origin);
    random_numbers random(seed);
    const auto sample = [&random] { return random() & static_cast<std::uint32_t>(traits::full); };
    for (std::uint64_t i = 0; i < std::uint64_t{width} * height; ++i) {
        std::uint32_t* pixel = picture.samples.data() + i * picture.stride();
        if (!picture.has_alpha && kind == alpha_kind::opaque) {
            pixel[0] = sample();
            continue;
        }
        for (unsigned c = 0; c + 1 < picture.stride(); ++c) pixel[c] = sample();
        std::uint32_t& alpha = pixel[picture.stride() - 1];
        const auto full = static_cast<std::uint32_t>(traits::full);
        if (kind == alpha_kind::opaque) alpha = full;
        if (kind == alpha_kind::binary) alpha = random() % 2 ? full : 0;
        if (kind == alpha_kind::any) alpha = random() % 4 ? sample() : 0;
        if (kind == alpha_kind::sparse) alpha = random() % 16 ? 0 : sample() | 1u;
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
    std::size_t i = 0;
    while (i + 1 < expected.samples.size() && expected.samples[i] == actual.samples[i]) ++i;
    const std::size_t pixel = i / expected.stride();
    return failure << "; pixel " << pixel % expected.width << ", memory row " << pixel / expected.width << ", sample "
                   << i % expected.stride() << ": expected " << expected.samples[i] << ", got " << actual.samples[i];
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
                const std::uint32_t height = heights[turn % 7], origin = origins[(turn + round) % 3];
                const std::uint32_t limit = limits[(turn + turn / 8) % 8];
                cases.push_back({random_picture<Image>(width, height, origin, kind, 1000 + turn), limit,
                                 text(width, 'x', height, "origin", origin, "alpha kind", static_cast<int>(kind),
                                      "thread limit", limit)});
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

} // namespace zarn_test
