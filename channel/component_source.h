// The component of an RGBA image that a channel or grayscale image is made from.
#pragma once

#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/image_8_16.h>

#include "kernels/sample_depth.h"

namespace zarn {

constexpr unsigned rgba_channels = 4;

// An RGBA image of either depth as far as its components are taken; without pixels for an empty one.
struct rgba_source {
    const void* pixels;
    std::uint32_t sample_bytes;
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t origin;

    template <class Image>
    explicit rgba_source(const zarn_rgba_image<Image>& image)
        : rgba_source(image, image.get_pixel_array(), sizeof(Image) / rgba_channels) {}
    explicit rgba_source(const zarn_image_8_16& image)
        : rgba_source(image,
                      image.get_image_type() == 0 ? static_cast<const void*>(image.get_pixel_array_8())
                                                  : image.get_pixel_array_16(),
                      image.get_image_type() == 0 ? 1 : 2) {}

    const_sample_run component(unsigned index) const {
        return {pixels ? static_cast<const unsigned char*>(pixels) + std::size_t{index} * sample_bytes : nullptr,
                rgba_channels, sample_bytes};
    }

private:
    template <class Image>
    rgba_source(const Image& image, const void* array, std::uint32_t bytes)
        : pixels(array)
        , sample_bytes(bytes)
        , width(image.get_width())
        , height(image.get_height())
        , origin(image.get_origin()) {}
};

} // namespace zarn
