#include "operations/real_geometry.h"

#include "kernels/quarter_turn.h"
#include "operations/frame.h"

namespace zarn {

namespace {

template <class Format>
unsigned int do_rotate_by_90(image_state& image, unsigned turns) noexcept {
    constexpr unsigned bytes = pixel_bytes<Format>;
    using kernel = void (*)(const geometry_job&, row_range);
    constexpr kernel kernels[] = {nullptr, quarter_turn_rows<bytes>, half_turn_rows<bytes>,
                                  three_quarter_turn_rows<bytes>};
    const bool exchanged = turns % 2 != 0;
    const std::uint32_t width = exchanged ? image.height : image.width;
    const std::uint32_t height = exchanged ? image.width : image.height;
    replacement fresh(image, width, height, bytes, L"rotate_by_90", at_most_one_band_per_row(image, height));
    return fresh ? fresh.run(fresh.job(), kernels[turns], row_order::memory) : 0;
}

} // namespace

template <class Format>
unsigned int rotate_by_90(image_state& image, int quarter_turns) noexcept {
    if (!has_pixels(image)) return 0;
    const unsigned turns = static_cast<unsigned>(quarter_turns) % 4; // two's complement: 4 divides its range
    if (turns == 0) return 1;
    return do_rotate_by_90<Format>(image, turns) ? 1 : fail_method(image, L"___do_rotate_by_90().");
}

template unsigned int rotate_by_90<colour_real_32>(image_state&, int) noexcept;
template unsigned int rotate_by_90<grey_real_32>(image_state&, int) noexcept;

} // namespace zarn
