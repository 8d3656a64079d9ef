// Operations that change size, placement or orientation of the pixel grid. Results and messages as the image classes
// document them.
#pragma once

#include <cstdint>

#include <zarn/detail/image_state.h>

namespace zarn {

template <class Format>
unsigned int crop(image_state& image, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                  std::uint32_t height) noexcept;

// The crop itself; the rectangle lies inside the image and is not empty.
template <class Format>
unsigned int do_crop(image_state& image, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                     std::uint32_t height) noexcept;

template <class Format>
unsigned int crop_to_pixels(image_state& image, std::uint32_t& left, std::uint32_t& top) noexcept;

// `colour` is one pixel of the format. Positions: 0 bottom left, 1 bottom right, 2 top left, 3 top right, 4 centre.
template <class Format>
unsigned int resize_canvas(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t position,
                           const void* colour) noexcept;

template <class Format>
unsigned int resize_canvas(image_state& image, std::uint32_t left, std::uint32_t right, std::uint32_t top,
                           std::uint32_t bottom, const void* colour) noexcept;

// The canvas itself, by position; no side of the new size is smaller than the old.
template <class Format>
unsigned int do_resize_canvas(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t position,
                              const void* colour) noexcept;

template <class Format>
unsigned int flip_horizontal(image_state& image) noexcept;

template <class Format>
unsigned int flip_vertical(image_state& image) noexcept;

template <class Format>
unsigned int set_origin(image_state& image, std::uint32_t origin) noexcept;

template <class Format>
unsigned int resample(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t mode) noexcept;

template <class Format>
unsigned int rotate(image_state& image, double angle, bool with_feathering) noexcept;

} // namespace zarn
