#include "operations/normalize_values.h"

#include "core/owned_array.h"
#include "kernels/normalize_values.h"
#include "operations/frame.h"

namespace zarn {

template <class Format>
void normalize_values(image_state& image) noexcept {
    if (!has_pixels(image)) return;
    const auto lightness = allocate_array<float>(image.width);
    if (!lightness) {
        fail_allocation(image, image.names->image_class, L" lum_array.");
        return;
    }
    // A row at a time: its lightness is known before its pixels change, that of the whole image is never needed.
    const std::uint64_t line = std::uint64_t{image.width} * channels<Format>;
    sample_of<Format>* const end = samples<Format>(image) + line * image.height;
    lightness_span span;
    for (auto* row = samples<Format>(image); row != end; row += line) {
        value_lightness<Format>(row, image.width, lightness.get());
        widen_lightness_span(lightness.get(), image.width, span);
    }
    if (!(span.least < span.greatest)) return;
    std::uint16_t carried = widened_value<Format>(end[-static_cast<std::ptrdiff_t>(channels<Format>)]);
    for (auto* row = samples<Format>(image); row != end; row += line) {
        value_lightness<Format>(row, image.width, lightness.get());
        store_stretched<Format>(lightness.get(), image.width, span, carried, row);
    }
}

#define ZARN_INSTANTIATE(format) template void normalize_values<format>(image_state&) noexcept;
ZARN_FOR_EACH_VALUE_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
