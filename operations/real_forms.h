// The layouts of real images, turned into pixel formats in this one place.
#pragma once

#include <type_traits>

#include "core/image_names.h"
#include "kernels/pixel_format.h"

namespace zarn {

template <class Sample>
using colour_real = std::conditional_t<std::is_same_v<Sample, float>, colour_real_32, colour_real_16>;
template <class Sample>
using grey_real = std::conditional_t<std::is_same_v<Sample, float>, grey_real_32, grey_real_16>;

// Calls call(format).
template <class Sample, class Call>
auto with_layout(bool is_grayscale, Call call) {
    return is_grayscale ? call(grey_real<Sample>()) : call(colour_real<Sample>());
}

// How the class of a sample type is called.
template <class Sample>
struct real_class;

template <>
struct real_class<float> {
    static constexpr image_names names{
        L"zarn_image_real_32",
        L"r32",
        L"zarn_real_32 array.",
        L"___pixel_d_array.",
        L"zarn_image_real_32::",
        L"zarn_image_real_32 temp pixel data.",
        L"zarn_image_real_32 temp pixel data.",
        L"zarn_real_32 array.",
        L"zarn_image_real_32",
        L"zarn_image_real_32",
        L"zarn_real_32 array.",
    };
};

// Some texts name the float class; hosts read them as they stand.
template <>
struct real_class<half_float::half> {
    static constexpr image_names names{
        L"zarn_image_real_16",
        L"r16",
        L"zarn_real_16 array.",
        L"___pixel_d_array.",
        L"zarn_image_real_16::",
        L"zarn_image_real_32 temp pixel data.",
        L"zarn_image_real_32 temp pixel data.",
        L"zarn_real_16 array.",
        L"zarn_image_real_32",
        L"zarn_image_real_32",
        L"zarn_real_32 array.",
    };
};

} // namespace zarn
