#include "operations/real_blit.h"

#include <zarn/blend.h>

#include "kernels/layout.h"
#include "operations/frame.h"
#include "operations/real_forms.h"

namespace zarn {

template <class Sample>
unsigned int blit_reals(image_state& image, bool is_grayscale, const image_state& source, bool source_is_grayscale,
                        const blit_placement& placement, const blit_mixing& mixing) noexcept {
    return with_layout<Sample>(is_grayscale, [&](auto format) -> unsigned int {
        using Format = decltype(format);
        if (mixing.mode == ZARN_BLEND_CUSTOM) {
            const blit_rows kernel = with_layout<Sample>(
                source_is_grayscale, [](auto from) -> blit_rows { return custom_real_rows<Format, decltype(from)>; });
            return blit<Format>(image, source, placement, mixing, kernel);
        }
        if (is_grayscale == source_is_grayscale || !has_pixels(image) || !has_pixels(source)) {
            return blit<Format>(image, source, placement, mixing);
        }
        image_state converted(*image.names);
        const owned_pixels pixels(allocate_pixels(pixel_count(source), pixel_bytes<Format>));
        if (!pixels) return fail_allocation(image, image.names->pixel_array);
        const auto* const from = static_cast<const Sample*>(source.pixels);
        auto* const to = static_cast<Sample*>(pixels.get());
        if (is_grayscale) {
            mix_lumas<grey_real<Sample>>(from, to, pixel_count(source));
        } else {
            spread_greys<grey_real<Sample>>(from, to, pixel_count(source));
        }
        converted.pixels = pixels.get();
        converted.width = source.width;
        converted.height = source.height;
        converted.origin = source.origin;
        return blit<Format>(image, converted, placement, mixing);
    });
}

#define ZARN_INSTANTIATE(sample)                                                                                       \
    template unsigned int blit_reals<sample>(image_state&, bool, const image_state&, bool, const blit_placement&,      \
                                             const blit_mixing&) noexcept;
ZARN_INSTANTIATE(float)
ZARN_INSTANTIATE(half_float::half)

} // namespace zarn
