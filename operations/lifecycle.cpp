#include "operations/lifecycle.h"

#include <cstring>

#include "core/error_stack.h"
#include "core/image_state.h"

namespace zarn {

namespace {

// A pixel array of the image's own, not cleared.
void* allocate_contents(image_state& image, std::uint64_t count, std::uint64_t bytes_per_pixel) noexcept {
    void* pixels = allocate_pixels(count, bytes_per_pixel);
    if (!pixels) {
        push_error(image.errors, {L"Memory Allocation Error: Failed to allocate ", image.names->image_class, L"::",
                                  image.names->pixel_member});
    }
    return pixels;
}

} // namespace

unsigned int create_copy(image_state& image, const image_state& source, std::uint64_t bytes_per_pixel) noexcept {
    if (&image == &source) {
        clear_errors(image.errors);
        return 1;
    }
    free_image(image);
    if (!has_pixels(source)) return 1;
    const std::uint64_t count = pixel_count(source);
    image.pixels = allocate_contents(image, count, bytes_per_pixel);
    if (!image.pixels) return 0;
    std::memcpy(image.pixels, source.pixels, static_cast<std::size_t>(count * bytes_per_pixel));
    image.origin = source.origin;
    image.width = source.width;
    image.height = source.height;
    return 1;
}

unsigned int create_from_memory(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t origin,
                                void* data, bool copy, std::uint64_t bytes_per_pixel) noexcept {
    // The caller's memory may lie in the image's own array, so that is released last then.
    void* const before = data ? image.pixels : nullptr;
    if (data) image.pixels = nullptr;
    free_image(image);
    image.pixels = data;
    if (copy) {
        const std::uint64_t count = static_cast<std::uint64_t>(width) * height;
        image.pixels = allocate_contents(image, count, bytes_per_pixel);
        if (image.pixels) {
            const auto bytes = static_cast<std::size_t>(count * bytes_per_pixel);
            if (data) {
                std::memcpy(image.pixels, data, bytes);
            } else {
                std::memset(image.pixels, 0, bytes);
            }
        }
    }
    if (before != image.pixels) release_pixel_array(before);
    if (copy && !image.pixels) return 0;
    image.origin = origin;
    image.width = width;
    image.height = height;
    return 1;
}

void assign_image(image_state& image, const image_state& source, std::uint64_t bytes_per_pixel) noexcept {
    if (&image == &source) return;
    if (create_copy(image, source, bytes_per_pixel)) copy_errors(image.errors, source.errors);
}

} // namespace zarn
