// Making, copying and turning over the contents of an image.
#pragma once

#include <cstdint>

#include <zarn/detail/image_state.h>

namespace zarn {

// Gives an empty image a pixel array, not cleared, and its size and origin; on failure pushes the message of create.
bool allocate_contents(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t origin,
                       std::uint64_t bytes_per_pixel) noexcept;

unsigned int create_copy(image_state& image, const image_state& source, std::uint64_t bytes_per_pixel) noexcept;

unsigned int create_from_memory(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t origin,
                                void* data, bool copy, std::uint64_t bytes_per_pixel) noexcept;

// What assignment does: a copy of pixels and messages.
void assign_image(image_state& image, const image_state& source, std::uint64_t bytes_per_pixel) noexcept;

} // namespace zarn
