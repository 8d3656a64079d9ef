// The native file of a real image: type code, width, height, three flags, pixels.
#pragma once

#include <cstdint>

#include <zarn/detail/image_state.h>

namespace zarn {

// What the header says beside the size.
struct real_flags {
    std::uint32_t is_grayscale = 0;
    std::uint32_t is_rasterized = 0;
    std::uint32_t is_sRGB = 0;
};

template <class Sample>
unsigned int save_real_binary(image_state& image, const real_flags& flags, const wchar_t* path, bool compress) noexcept;

// Both free the image first. A half image takes files of floats too, truncating them.
template <class Sample>
unsigned int load_real_binary(image_state& image, real_flags& flags, const wchar_t* path) noexcept;

// `size` 0: not known, and bounds nothing.
template <class Sample>
unsigned int load_real_binary(image_state& image, real_flags& flags, const unsigned char* data,
                              std::uint32_t size) noexcept;

} // namespace zarn
