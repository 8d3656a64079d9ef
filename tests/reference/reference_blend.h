// Compositing in its plainest form, one pixel at a time: what the library's results are compared with.
#pragma once

#include <functional>

#include "tests/reference/reference_image.h"

namespace zarn_test {

// The blended value B of blend modes 0 to 24 for a destination and a source sample of full scale `full`.
std::uint64_t reference_blend(unsigned mode, std::uint64_t destination, std::uint64_t source, std::uint64_t full);

struct reference_blit_call {
    std::uint32_t source_x = 0, source_y = 0, width = 0, height = 0;
    double opacity = 1.0;
    std::int32_t x = 0, y = 0;
    std::uint32_t mode = 0, flags = 0;
    // Stands in for the caller's callback: weight, destination, source, result.
    std::function<void(float, const std::uint32_t*, const std::uint32_t*, std::uint32_t*)> custom = {};
};

// Calls work(destination pixel, source pixel) for every pixel of the source that the call draws; pictures of any kind.
template <class Picture, class PixelAt, class Work>
void each_drawn_pixel(Picture& destination, Picture& source, const reference_blit_call& call, PixelAt&& at,
                      Work&& work) {
    for (std::int64_t v = call.source_y; v < source.height && v - call.source_y < call.height; ++v) {
        for (std::int64_t u = call.source_x; u < source.width && u - call.source_x < call.width; ++u) {
            const std::int64_t x = call.x + (u - call.source_x), y = call.y + (v - call.source_y);
            if (x < 0 || y < 0 || x >= destination.width || y >= destination.height) continue;
            work(at(destination, static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)),
                 at(source, static_cast<std::uint64_t>(u), static_cast<std::uint64_t>(v)));
        }
    }
}

// Both pictures have the same format; the source is a copy, so a picture can be drawn on itself.
void reference_blit(reference_image& destination, reference_image source, const reference_blit_call& call);

} // namespace zarn_test
