#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include <zarn/histogram.h>
#include <zarn/image_channel.h>

#include "core/owned_array.h"

namespace {

// Null for a channel that the histogram does not have.
const zarn_histogram_channel_s* chosen(const zarn_histogram_s& histogram, unsigned int channel) {
    if (channel > 5) return nullptr;
    const bool is_colour = histogram.channel[1].bins.count != 0;
    return &histogram.channel[is_colour || channel > 3 ? channel : 0];
}

// What heights of the tallest bar's unit are multiplied by, so that the 70th percentile of the bins reaches 5 % of it.
// Of the empty bins one at most is looked at. The counts are not all 0; they are put in another order.
float gain_of(std::uint32_t* counts, std::uint64_t bins, float pixel_count, float to_unit) {
    std::uint32_t* const end = counts + bins;
    std::uint32_t* first = std::partition(counts, end, [](std::uint32_t count) { return count == 0; });
    if (first != counts) --first;
    const auto length = static_cast<std::uint64_t>(end - first);
    const auto place = static_cast<std::uint64_t>(static_cast<float>(length - 1) * 0.7f + 0.5f);
    std::uint32_t* const at = first + std::min(place, length - 1);
    std::nth_element(first, at, end);
    const float percentile = static_cast<float>(*at) / pixel_count * to_unit;
    return percentile < 0.05f ? 0.05f / percentile : 1.0f;
}

} // namespace

unsigned int zarn_render_histogram_channel_to_image(const zarn_histogram_s& histogram, unsigned int channel,
                                                    unsigned char background, unsigned char bar, unsigned int height,
                                                    unsigned int, zarn_image_channel& image) {
    const zarn_histogram_channel_s* const shown = chosen(histogram, channel);
    if (!shown || shown->bins.count == 0 || height == 0) return 0;
    const std::uint32_t bins = shown->bins.count;
    const std::uint32_t* const counts = shown->bins.data;
    const auto scratch = zarn::allocate_array<std::uint32_t>(bins);
    if (!scratch || !image.create(bins, height, ZARN_ORIGIN_UPPER_LEFT, 0, nullptr, 1)) return 0;
    std::uint8_t* const pixels = image.get_pixel_array_8();
    std::memset(pixels, background, static_cast<std::uint64_t>(bins) * height);

    const std::uint32_t most = *std::max_element(counts, counts + bins);
    if (most == 0) return 1;
    const auto pixel_count = static_cast<float>(histogram.pixel_count);
    const float to_unit = 1.0f / (static_cast<float>(most) / pixel_count);
    std::copy_n(counts, bins, scratch.get());
    const float gain = gain_of(scratch.get(), bins, pixel_count, to_unit);
    for (std::uint32_t bin = 0; bin < bins; ++bin) {
        if (counts[bin] == 0) continue;
        const float stretched = gain * (static_cast<float>(counts[bin]) / pixel_count * to_unit);
        const float share = stretched < 1.0f ? stretched : 1.0f; // NaN, of a record without pixels, is a full bar
        const auto above_bottom = static_cast<std::uint64_t>(std::round(static_cast<float>(height - 1) * share));
        const std::uint64_t top = height - 1 - std::min<std::uint64_t>(above_bottom, height - 1);
        for (std::uint64_t y = top; y < height; ++y) pixels[y * bins + bin] = bar;
    }
    return 1;
}
