#include "kernels/export_rows.h"

#include <cmath>

namespace zarn {

template <class Format>
void export_row(const typename Format::sample* pixels, float* destination, std::uint32_t width,
                unsigned components) noexcept {
    for (std::uint32_t x = 0; x < width; ++x, pixels += channels<Format>, destination += components) {
        for (unsigned i = 0; i < components; ++i) {
            destination[i] = std::pow(static_cast<float>(pixels[i]) * Format::to_unit, 2.2f);
        }
    }
}

#define ZARN_INSTANTIATE(Format)                                                                                       \
    template void export_row<Format>(const Format::sample*, float*, std::uint32_t, unsigned) noexcept;
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

} // namespace zarn
