// The run-time forms of channel and grayscale images, turned into pixel formats in this one place.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/image_names.h"
#include "core/image_state.h"
#include "kernels/pixel_format.h"

namespace zarn {

constexpr unsigned image_type_count = 3;

// By image type; grayscale behind channel.
extern const image_names form_names[2 * image_type_count];
inline constexpr const image_names* channel_names = form_names;
inline constexpr const image_names* grayscale_names = form_names + image_type_count;

constexpr std::uint32_t sample_bytes(std::uint32_t image_type) noexcept { return 1u << image_type; }

// An image's form is told by the names it bears. Calls call(format) with the format of that form.
template <class Call>
auto with_format(const image_state& image, Call call) {
    switch (image.names - form_names) {
    case 0:
        return call(value_8());
    case 1:
        return call(value_16());
    case 2:
        return call(value_32());
    case 3:
        return call(grey_8());
    case 4:
        return call(grey_16());
    default:
        return call(grey_32());
    }
}

inline std::uint64_t value_pixel_bytes(const image_state& image) noexcept {
    return with_format(image, [](auto format) { return pixel_bytes<decltype(format)>; });
}

// The names of the same class at another image type.
inline const image_names* names_at(const image_state& image, std::uint32_t image_type) noexcept {
    const bool is_channel = image.names - form_names < static_cast<std::ptrdiff_t>(image_type_count);
    return (is_channel ? channel_names : grayscale_names) + image_type;
}
inline std::uint32_t image_type_of(const image_state& image) noexcept {
    return static_cast<std::uint32_t>(image.names - form_names) % image_type_count;
}

} // namespace zarn
