#include "operations/filters.h"

#include <cstring>

#include "core/owned_array.h"
#include "kernels/alpha_expansion.h"
#include "kernels/sharpen.h"
#include "operations/frame.h"

namespace zarn {

namespace {

// Copies, for every band, the picture rows above its first and below its last row.
template <class Format>
void copy_border_rows(const image_state& image, const row_bands& bands, sample_of<Format>* copies) noexcept {
    const std::uint64_t line = image.width * std::uint64_t{channels<Format>};
    const auto copy_row = [&](std::uint32_t row) {
        const std::uint64_t memory_y = memory_row(row, image.height, is_lower_left(image));
        std::memcpy(copies, samples<Format>(image) + memory_y * line, line * sizeof(sample_of<Format>));
        copies += line;
    };
    for (std::uint32_t band = 0; band < bands.count(); ++band) {
        copy_row(bands[band].start - 1);
        copy_row(bands[band].end);
    }
}

// The greatest sample below full scale.
template <class Format>
sample_of<Format> below_full() noexcept {
    if constexpr (!is_real<Format>) {
        return Format::full - 1;
    } else if constexpr (sizeof(sample_of<Format>) == sizeof(float)) {
        return 0.99999994f;
    } else {
        return sample_of<Format>(0.99951172f);
    }
}

} // namespace

template <class Format>
void sharpen(image_state& image, float amount) noexcept {
    if (!has_pixels(image) || image.width < 3 || image.height < 3) return;
    operation_bands bands(image, L"adjust", 1, image.height - 1, at_most_one_band_per_row(image, image.height));
    if (!bands) return;
    const std::uint64_t line = image.width * std::uint64_t{channels<Format>};
    const auto borders = allocate_array<sample_of<Format>>(2 * line * bands.bands().count());
    if (!borders) {
        fail_record_allocation(image, L"adjust");
        return;
    }
    copy_border_rows<Format>(image, bands.bands(), borders.get());
    const sharpen_job job{image.pixels, image.width, image.height, is_lower_left(image), amount, borders.get()};
    bands.run(job, sharpen_rows<Format>);
}

template <class Format>
unsigned int expand_where_alpha(image_state& image, std::uint32_t iterations, typename Format::sample threshold,
                                bool keep_alpha) noexcept {
    using sample = sample_of<Format>;
    const auto above = std::min(threshold, below_full<Format>());
    const std::uint64_t count = pixel_count(image);
    sample* const pixels = samples<Format>(image);
    if (!has_pixels(image) || !has_alpha_above<Format>(pixels, count, above)) return 1;

    const std::uint64_t set_words = pixel_set::word_count(count);
    const auto words = allocate_array<std::uint64_t>(2 * set_words);
    const auto saved = keep_alpha ? allocate_array<sample>(count) : nullptr;
    if (!words || (keep_alpha && !saved)) return fail_allocation(image, image.names->saved_alpha);
    std::fill_n(words.get(), 2 * set_words, 0);
    pixel_set filled(words.get(), count);
    pixel_set fresh(words.get() + set_words, count);

    if (keep_alpha) save_alpha<Format>(pixels, count, saved.get());
    binarise_alpha<Format>(pixels, count, above);
    expand_colour<Format>(pixels, image.width, image.height, iterations, filled, fresh);
    if (keep_alpha) {
        restore_alpha<Format>(pixels, count, saved.get());
    } else {
        make_opaque<Format>(pixels, count);
    }
    return 1;
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void sharpen<format>(image_state&, float) noexcept;                                                       \
    template unsigned int expand_where_alpha<format>(image_state&, std::uint32_t, format::sample, bool) noexcept;
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
