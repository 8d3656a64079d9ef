#include "operations/blit.h"

#include <algorithm>

#include <zarn/blend.h>

#include "operations/frame.h"

namespace zarn {

namespace {

// The part of a line of the source that lands on a line of the destination.
struct visible_span {
    std::int64_t start; // in the source
    std::int64_t end;
    std::int64_t destination;
};

visible_span clip(std::uint32_t source_start, std::uint32_t length, std::uint32_t source_length,
                  std::int32_t destination_start, std::uint32_t destination_length) noexcept {
    const std::int64_t at = destination_start;
    const std::int64_t fitting = std::min<std::int64_t>(length, destination_length - at);
    return {source_start - std::min<std::int64_t>(at, 0), std::min<std::int64_t>(source_start + fitting, source_length),
            std::max<std::int64_t>(at, 0)};
}

// The job's part of the source, in an array of its own that the job then reads. Null when memory is short.
template <class Format>
owned_pixels copy_source(blit_job& job, std::uint32_t rows) noexcept {
    owned_pixels copy(allocate_pixels(std::uint64_t{job.columns} * rows, pixel_bytes<Format>));
    if (!copy) return copy;
    crop_job cut{};
    cut.source = job.source;
    cut.destination = copy.get();
    cut.source_width = job.source_picture.width;
    cut.source_height = job.source_picture.height;
    cut.width = job.columns;
    cut.height = rows;
    cut.lower_left = job.source_picture.lower_left;
    cut.left = job.source_x;
    cut.top = job.source_y;
    crop_rows<pixel_bytes<Format>>(cut, {job.source_y, job.source_y + rows, 0});
    job.source = copy.get();
    job.source_picture.width = job.columns;
    job.source_picture.height = rows;
    job.source_x = job.source_y = 0;
    return copy;
}

template <class Format, class Source>
unsigned int do_blit(image_state& image, blit_job job, std::uint32_t rows, const blit_mixing& mixing) noexcept {
    if (mixing.mode == ZARN_BLEND_CUSTOM && !mixing.custom.host_callback) {
        return fail_method(image, L"___do_blit(). ZARN_BLEND_CUSTOM without blend_callback.");
    }
    owned_pixels copy;
    if (job.source == job.destination) {
        copy = copy_source<Source>(job, rows);
        if (!copy) return fail_allocation(image, image.names->pixel_array);
    }
    operation_bands bands(image, L"blit", job.source_y, job.source_y + rows, at_most_one_band_per_row(image, rows));
    if (!bands) return 0;
    bands.run(job, blit_rows_for<Format, Source>(mixing.mode));
    return 1;
}

} // namespace

template <class Format, class Source>
unsigned int blit(image_state& image, const image_state& source, const blit_placement& placement,
                  const blit_mixing& mixing) noexcept {
    if (!has_pixels(image) || !has_pixels(source)) return 1;
    const visible_span columns =
        clip(placement.source_x, placement.width, source.width, placement.destination_x, image.width);
    const visible_span rows =
        clip(placement.source_y, placement.height, source.height, placement.destination_y, image.height);
    if (columns.start >= columns.end || rows.start >= rows.end) return 1;

    // Within the sizes of the images, hence within 32 bits.
    const auto narrow = [](std::int64_t value) { return static_cast<std::uint32_t>(value); };
    blit_job job{};
    job.destination = image.pixels;
    job.source = source.pixels;
    job.destination_picture = {image.width, image.height, is_lower_left(image)};
    job.source_picture = {source.width, source.height, is_lower_left(source)};
    job.columns = narrow(columns.end - columns.start);
    job.source_x = narrow(columns.start);
    job.source_y = narrow(rows.start);
    job.destination_x = narrow(columns.destination);
    job.destination_y = narrow(rows.destination);
    job.opacity = mixing.opacity;
    job.keep_alpha = mixing.keep_alpha;
    job.custom = &mixing.custom;
    return do_blit<Format, Source>(image, job, narrow(rows.end - rows.start), mixing);
}

#define ZARN_INSTANTIATE(format, source)                                                                               \
    template unsigned int blit<format, source>(image_state&, const image_state&, const blit_placement&,                \
                                               const blit_mixing&) noexcept;
#define ZARN_INSTANTIATE_SAME(format) ZARN_INSTANTIATE(format, format)
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE_SAME)
ZARN_INSTANTIATE(colour_real_32, grey_real_32)
ZARN_INSTANTIATE(grey_real_32, colour_real_32)
ZARN_INSTANTIATE(colour_real_16, grey_real_16)
ZARN_INSTANTIATE(grey_real_16, colour_real_16)

} // namespace zarn
