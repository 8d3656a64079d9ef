#include "operations/real_blit.h"

#include "operations/real_forms.h"

namespace zarn {

template <class Sample>
unsigned int blit_reals(image_state& image, bool is_grayscale, const image_state& source, bool source_is_grayscale,
                        const blit_placement& placement, const blit_mixing& mixing) noexcept {
    return with_layout<Sample>(is_grayscale, [&](auto format) {
        return with_layout<Sample>(source_is_grayscale, [&](auto from) {
            return blit<decltype(format), decltype(from)>(image, source, placement, mixing);
        });
    });
}

#define ZARN_INSTANTIATE(sample)                                                                                       \
    template unsigned int blit_reals<sample>(image_state&, bool, const image_state&, bool, const blit_placement&,      \
                                             const blit_mixing&) noexcept;
ZARN_INSTANTIATE(float)
ZARN_INSTANTIATE(half_float::half)

} // namespace zarn
