// The operations that change an image's picture, once for all classes: whatever runs over all of them takes them from
// here. An operation that a class does not have by design is missing from its list.
#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <zarn/image_real_16.h>
#include <zarn/image_real_32.h>

#include "tests/support/image_traits.h"

namespace zarn_test {

template <class Image>
struct table_operation {
    std::string name;
    void (*run)(Image&);
    bool depends_on_bands = false; // its result follows from how the rows are cut into bands
};

// Arguments as the class takes them: floats, and a colour.
template <class Image>
struct arguments_of {
    static constexpr bool is_real = false;
    static float number(float value) { return value; }
    static auto colour() { return image_traits<Image>::make(9, 8, 7, 6); }
    static auto threshold() { return static_cast<typename image_traits<Image>::sample>(40); }
};
template <class Sample>
struct real_arguments {
    static constexpr bool is_real = true;
    static Sample number(float value) { return static_cast<Sample>(value); }
    static const Sample* colour() {
        static const Sample samples[] = {number(0.25f), number(0.5f), number(0.75f), number(0.625f)};
        return samples;
    }
    static Sample threshold() { return number(0.25f); }
    static const Sample* levels() { return colour(); } // low, high
};
template <>
struct arguments_of<zarn_image_real_32> : real_arguments<float> {};
template <>
struct arguments_of<zarn_image_real_16> : real_arguments<half_float::half> {};

template <class Image>
std::vector<table_operation<Image>> operations_of_every_class() {
    using a = arguments_of<Image>;
    return {
        {"crop", [](Image& i) { i.crop(2, 1, i.get_width() - 5, i.get_height() - 3); }},
        {"crop_to_pixels",
         [](Image& i) {
             unsigned left, top;
             i.crop_to_pixels(left, top);
         }},
        {"resize_canvas", [](Image& i) { i.resize_canvas(3, 2, 1, 4, a::colour()); }},
        {"flip_horizontal", [](Image& i) { i.flip_horizontal(); }},
        {"flip_vertical", [](Image& i) { i.flip_vertical(); }},
        {"resample, area", [](Image& i) { i.resample(i.get_width() / 3 + 1, i.get_height() / 2 + 1, 0); }},
        {"resample, nearest", [](Image& i) { i.resample(i.get_width() * 3 / 2 + 1, i.get_height() + 1, 1); }},
        {"resample, B-spline", [](Image& i) { i.resample(i.get_width() * 2 + 1, i.get_height() + 3, 2); }},
        {"rotate", [](Image& i) { i.rotate(0.7, 0); }},
        {"box_blur", [](Image& i) { i.box_blur(3, 1, 1); }},
        {"gaussian_blur", [](Image& i) { i.gaussian_blur(a::number(2.25f), 0, 1, 1); }},
        {"gaussian_blur, fast", [](Image& i) { i.gaussian_blur(a::number(4.0f), 1, 1, 1); }},
        {"sharpen", [](Image& i) { i.sharpen(a::number(0.75f)); }, true},
        {"clear", [](Image& i) { i.clear(a::colour(), 0); }},
        {"exposure", [](Image& i) { i.exposure(a::number(1.25f)); }},
        {"brightness", [](Image& i) { i.brightness(a::number(-0.25f)); }},
        {"contrast", [](Image& i) { i.contrast(a::number(1.75f)); }},
        {"gamma", [](Image& i) { i.gamma(a::number(1.75f)); }},
        {"negative", [](Image& i) { i.negative(1, 0); }},
        {"normalize", [](Image& i) { i.normalize(); }},
        {"auto_contrast", [](Image& i) { i.auto_contrast(); }},
    };
}

// What the float classes have beyond the others.
template <class Image>
std::vector<table_operation<Image>> grading_operations() {
    using a = arguments_of<Image>;
    std::vector<table_operation<Image>> operations = {
        {"convert_to_linear_space",
         [](Image& i) {
             i.set_if_is_sRGB(1);
             i.convert_to_linear_space();
         }},
        {"convert_to_sRGB_space", [](Image& i) { i.convert_to_sRGB_space(); }},
        {"convert_to_grayscale",
         [](Image& i) { i.convert_to_grayscale(a::number(0.3f), a::number(0.6f), a::number(0.1f)); }},
        {"convert_to_rgba", [](Image& i) { i.convert_to_rgba(); }},
        {"clear_alpha", [](Image& i) { i.clear_alpha(a::number(0.5f)); }},
        {"adjust_levels", [](Image& i) { i.adjust_levels(a::levels(), a::levels() + 1); }},
        {"adjust_color", [](Image& i) { i.adjust_color(a::number(0.125f), a::number(-0.25f), a::number(0.5f)); }},
        {"adjust_color_ex",
         [](Image& i) {
             i.adjust_color_ex(a::number(0.5f), a::number(-0.25f), a::number(0.125f), a::number(0.0f), a::number(1.0f),
                               a::number(-0.5f));
         }},
        {"hue_saturation", [](Image& i) { i.hue_saturation(a::number(0.25f), a::number(1.5f)); }},
    };
    if constexpr (std::is_same_v<Image, zarn_image_real_32>) {
        operations.push_back({"brightness_2", [](Image& i) { i.brightness_2(0.25f); }});
        operations.push_back({"contrast_2", [](Image& i) { i.contrast_2(0.5f); }});
        operations.push_back({"gaussian_blur_2", [](Image& i) { i.gaussian_blur_2(1.5f, 1, 1); }});
        operations.push_back({"rotate_by_90", [](Image& i) { i.rotate_by_90(1); }});
    }
    return operations;
}

template <unsigned Mode, class Image>
void blend_with_itself(Image& image) {
    image.blit(image, 1, 2, image.get_width(), image.get_height(), arguments_of<Image>::number(0.75f), 0, 0, Mode,
               Mode % 2, nullptr, nullptr);
}

template <class Image, unsigned... Modes>
std::vector<table_operation<Image>> blend_operations(std::integer_sequence<unsigned, Modes...>) {
    return {{"blit, mode " + std::to_string(Modes), blend_with_itself<Modes, Image>}...};
}

template <class Image>
std::vector<table_operation<Image>> operations_of() {
    using a = arguments_of<Image>;
    std::vector<table_operation<Image>> all = operations_of_every_class<Image>();
    const auto add = [&all](const std::vector<table_operation<Image>>& more) {
        all.insert(all.end(), more.begin(), more.end());
    };
    if constexpr (a::is_real) {
        add(grading_operations<Image>());
        add({{"expand_where_alpha", [](Image& i) { i.expand_where_alpha(3, a::threshold(), 1); }}});
    } else {
        if constexpr (image_traits<Image>::is_rgba) add({{"grayscale", [](Image& i) { i.grayscale(); }}});
        if constexpr (image_traits<Image>::has_alpha)
            add({{"expand_where_alpha", [](Image& i) { i.expand_where_alpha(3, a::threshold(), 1); }}});
        if constexpr (!image_traits<Image>::has_alpha) {
            add({{"distance_transform", [](Image& i) { i.distance_transform(); }}, {"normalize_subsets", [](Image& i) {
                                                                                        i.calculate_subset_list(0);
                                                                                        i.normalize_subsets();
                                                                                    }}});
        }
    }
    add(blend_operations<Image>(std::make_integer_sequence<unsigned, ZARN_BLEND_CUSTOM>()));
    return all;
}

} // namespace zarn_test
