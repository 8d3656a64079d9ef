// The histogram of an image of half floats.
#pragma once

#include <zarn/detail/image_state.h>
#include <zarn/histogram.h>

namespace zarn {

// `image` is of the format colour_real_16 or grey_real_16; it may be empty. What is refused or short of memory leaves
// the histogram freed.
unsigned int build_histogram(image_state& image, bool is_grayscale, std::uint32_t bins,
                             zarn_histogram_s& histogram) noexcept;

} // namespace zarn
