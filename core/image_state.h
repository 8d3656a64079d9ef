// The life of an image's contents, and the shapes of its messages.
#pragma once

#include <cstdint>
#include <memory>

#include <zarn/detail/image_state.h>

#include "core/image_names.h"

namespace zarn {

constexpr std::uint32_t origin_lower_left = 1537;
constexpr std::uint32_t origin_upper_left = 1538;

inline std::uint64_t pixel_count(const image_state& image) noexcept {
    return static_cast<std::uint64_t>(image.width) * image.height;
}
// How many pixels the array holds, whatever size the image says.
inline std::uint64_t pixel_capacity(const image_state& image) noexcept {
    if (!image.pixels) return 0;
    return image.capacity ? image.capacity : pixel_count(image);
}
inline bool has_pixels(const image_state& image) noexcept { return image.pixels && image.width && image.height; }
inline bool is_lower_left(const image_state& image) noexcept { return image.origin == origin_lower_left; }

// Gives the image its workers; they stay away when memory is short.
void make_workers(image_state& image) noexcept;
void release_workers(image_state& image) noexcept;
void set_thread_limit(image_state& image, std::uint32_t limit) noexcept;
std::uint32_t thread_limit(const image_state& image) noexcept; // 0 without workers

// Releases the pixels and forgets the size and origin; messages stay.
void release_pixels(image_state& image) noexcept;

// Releases pixels and messages.
void free_image(image_state& image) noexcept;

// Frees the image, then takes pixels, size, origin and messages of `source`, which is left empty.
void take_image(image_state& image, image_state& source) noexcept;

// A pixel array of `count` records of `pixel_bytes`, not cleared; null when memory is short.
void* allocate_pixels(std::uint64_t count, std::uint64_t pixel_bytes) noexcept;
void release_pixel_array(void* pixels) noexcept;

struct pixel_array_releaser {
    void operator()(void* pixels) const noexcept { release_pixel_array(pixels); }
};
using owned_pixels = std::unique_ptr<void, pixel_array_releaser>;

// Puts an array of width * height records in the place of the image's own, which is released.
void install_pixels(image_state& image, void* pixels, std::uint32_t width, std::uint32_t height) noexcept;

// Messages. Each appends one and returns 0, so that a failing operation can return it.
unsigned int fail(image_state& image, const wchar_t* message) noexcept;
unsigned int fail_allocation(image_state& image, const wchar_t* what, const wchar_t* what_end = L"") noexcept;
unsigned int fail_method(image_state& image, const wchar_t* method_and_reason) noexcept; // "Failed to <class>::..."

} // namespace zarn
