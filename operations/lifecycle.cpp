#include "operations/lifecycle.h"

#include <cstring>

#include "core/error_stack.h"
#include "core/image_state.h"

namespace zarn {

bool allocate_contents(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t origin,
                       std::uint64_t bytes_per_pixel) noexcept {
    void* const pixels = allocate_pixels(static_cast<std::uint64_t>(width) * height, bytes_per_pixel);
    if (!pixels) {
        fail_allocation(image, image.names->member_owner, image.names->pixel_member);
        return false;
    }
    install_pixels(image, pixels, width, height);
    image.origin = origin;
    return true;
}

unsigned int create_copy(image_state& image, const image_state& source, std::uint64_t bytes_per_pixel) noexcept {
    if (&image == &source) {
        clear_errors(image.errors);
        return 1;
    }
    free_image(image);
    if (!has_pixels(source)) return 1;
    if (!allocate_contents(image, source.width, source.height, source.origin, bytes_per_pixel)) return 0;
    std::memcpy(image.pixels, source.pixels, static_cast<std::size_t>(pixel_count(source) * bytes_per_pixel));
    return 1;
}

unsigned int create_from_memory(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t origin,
                                void* data, bool copy, std::uint64_t bytes_per_pixel) noexcept {
    // The caller's memory may lie in the image's own array, so that is released last then.
    void* const before = data && !image.borrowed ? image.pixels : nullptr;
    if (data) image.pixels = nullptr;
    free_image(image);
    bool created = true;
    if (!copy) {
        install_pixels(image, data, width, height);
        image.origin = origin;
    } else if (allocate_contents(image, width, height, origin, bytes_per_pixel)) {
        const auto bytes = static_cast<std::size_t>(pixel_count(image) * bytes_per_pixel);
        if (data) {
            std::memcpy(image.pixels, data, bytes);
        } else {
            std::memset(image.pixels, 0, bytes);
        }
    } else {
        created = false;
    }
    if (before != image.pixels) release_pixel_array(before);
    return created ? 1 : 0;
}

void assign_image(image_state& image, const image_state& source, std::uint64_t bytes_per_pixel) noexcept {
    if (&image == &source) return;
    if (create_copy(image, source, bytes_per_pixel)) copy_errors(image.errors, source.errors);
}

} // namespace zarn
