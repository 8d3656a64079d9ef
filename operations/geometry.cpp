#include "operations/geometry.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "kernels/resample.h"
#include "kernels/rotate.h"
#include "kernels/trim.h"
#include "operations/frame.h"
#include "operations/turned_canvas.h"

namespace zarn {

// ---- Crop ----------------------------------------------------------------------------------------------------------

template <class Format>
unsigned int do_crop(image_state& image, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                     std::uint32_t height) noexcept {
    replacement fresh(image, width, height, pixel_bytes<Format>, L"crop", at_most_one_band_per_row(image, height), y);
    if (!fresh) return 0;
    const crop_job job{fresh.job(), x, y};
    return fresh.run(job, crop_rows<pixel_bytes<Format>>, row_order::picture);
}

template <class Format>
unsigned int crop(image_state& image, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                  std::uint32_t height) noexcept {
    const bool fits = has_pixels(image) && std::uint64_t{x} + width <= image.width &&
                      std::uint64_t{y} + height <= image.height && width && height;
    if (!fits) return fail_method(image, L"crop(). Invalid size.");
    return do_crop<Format>(image, x, y, width, height) ? 1 : fail_method(image, L"___do_crop().");
}

template <class Format>
unsigned int crop_to_pixels(image_state& image, std::uint32_t& left, std::uint32_t& top) noexcept {
    left = top = 0;
    invisible_margins margins;
    if (!has_pixels(image) || !find_visible_area<Format>(samples<Format>(image), image.width, image.height, margins)) {
        free_image(image);
        return 1;
    }
    const std::uint32_t rows = margins.first_rows + margins.last_rows;
    const std::uint32_t columns = margins.left_columns + margins.right_columns;
    left = margins.left_columns;
    top = is_lower_left(image) ? margins.last_rows : margins.first_rows;
    if (rows == 0 && columns == 0) return 1;
    return crop<Format>(image, left, top, image.width - columns, image.height - rows);
}

// ---- Canvas --------------------------------------------------------------------------------------------------------

namespace {

constexpr std::uint32_t position_count = 5;

replacement new_canvas(image_state& image, std::uint32_t width, std::uint32_t height,
                       std::uint64_t bytes_per_pixel) noexcept {
    return {image, width, height, bytes_per_pixel, L"resize_canvas", at_most_one_band_per_row(image, height)};
}

// An empty image has no picture to place, whatever size it claims.
std::uint32_t picture_width(const image_state& image) noexcept { return has_pixels(image) ? image.width : 0; }
std::uint32_t picture_height(const image_state& image) noexcept { return has_pixels(image) ? image.height : 0; }

template <class Format>
unsigned int place_on_canvas(replacement& canvas, const image_state& image, std::uint32_t left, std::uint32_t top,
                             const void* colour) noexcept {
    canvas_job job{canvas.job(), left, top, colour};
    job.source_width = picture_width(image);
    job.source_height = picture_height(image);
    return canvas.run(job, canvas_rows<pixel_bytes<Format>>, row_order::picture);
}

} // namespace

template <class Format>
unsigned int do_resize_canvas(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t position,
                              const void* colour) noexcept {
    replacement canvas = new_canvas(image, width, height, pixel_bytes<Format>);
    if (!canvas) return 0;
    if (position >= position_count) return fail_method(image, L"___do_resize_canvas(). Unknown position.");
    const std::uint32_t dw = width - picture_width(image);
    const std::uint32_t dh = height - picture_height(image);
    const std::uint32_t left[position_count] = {0, dw, 0, dw, dw / 2};
    const std::uint32_t top[position_count] = {dh, dh, 0, 0, dh / 2};
    return place_on_canvas<Format>(canvas, image, left[position], top[position], colour);
}

template <class Format>
unsigned int resize_canvas(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t position,
                           const void* colour) noexcept {
    const bool fits = width >= picture_width(image) && height >= picture_height(image) && width && height;
    if (!fits) return fail_method(image, L"resize_canvas(). Invalid size.");
    return do_resize_canvas<Format>(image, width, height, position, colour)
               ? 1
               : fail_method(image, L"___do_resize_canvas().");
}

template <class Format>
unsigned int resize_canvas(image_state& image, std::uint32_t left, std::uint32_t right, std::uint32_t top,
                           std::uint32_t bottom, const void* colour) noexcept {
    const std::uint64_t width = std::uint64_t{left} + right + picture_width(image);
    const std::uint64_t height = std::uint64_t{top} + bottom + picture_height(image);
    if (width == 0 || height == 0 || width > UINT32_MAX || height > UINT32_MAX) {
        return fail_method(image, L"resize_canvas(). Invalid size.");
    }
    replacement canvas =
        new_canvas(image, static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), pixel_bytes<Format>);
    if (!canvas) return fail_method(image, L"___do_resize_canvas().");
    return place_on_canvas<Format>(canvas, image, left, top, colour);
}

// ---- Flips ---------------------------------------------------------------------------------------------------------

namespace {

unsigned int flip(image_state& image, std::uint64_t bytes_per_pixel,
                  void (*kernel)(const geometry_job&, row_range)) noexcept {
    if (!has_pixels(image)) return 0;
    replacement fresh(image, image.width, image.height, bytes_per_pixel, L"flip_canvas",
                      at_most_one_band_per_row(image, image.height), 0, image.names->flip_array);
    return fresh ? fresh.run(fresh.job(), kernel, row_order::memory) : 0;
}

} // namespace

template <class Format>
unsigned int flip_horizontal(image_state& image) noexcept {
    return flip(image, pixel_bytes<Format>, flip_horizontal_rows<pixel_bytes<Format>>);
}

template <class Format>
unsigned int flip_vertical(image_state& image) noexcept {
    return flip(image, pixel_bytes<Format>, flip_vertical_rows<pixel_bytes<Format>>);
}

template <class Format>
unsigned int set_origin(image_state& image, std::uint32_t origin) noexcept {
    if (origin == image.origin) return 1;
    if (!flip_vertical<Format>(image)) return fail_method(image, L"flip_vertical().");
    image.origin = origin;
    return 1;
}

// ---- Resampling ----------------------------------------------------------------------------------------------------

namespace {

struct resampler {
    const wchar_t* failure;
    void (*kernel)(const geometry_job&, row_range);
    row_order order;
};

enum resample_mode : std::uint32_t { automatic, nearest, bicubic, mode_count };

template <class Format>
resampler choose_resampler(const image_state& image, std::uint32_t width, std::uint32_t height,
                           std::uint32_t mode) noexcept {
    if (mode == nearest) {
        return {L"___do_resample_nearest().", nearest_rows<pixel_bytes<Format>>, row_order::memory};
    }
    if (mode == bicubic || width > image.width || height > image.height) {
        return {L"___do_resample_bicubic().", bspline_rows<Format>, row_order::memory};
    }
    return {L"___do_downsample().", area_average_rows<Format>, row_order::picture};
}

unsigned int run_resampler(image_state& image, std::uint32_t width, std::uint32_t height, std::uint64_t bytes_per_pixel,
                           const resampler& how) noexcept {
    if (!has_pixels(image) || !width || !height) return 0;
    replacement fresh(image, width, height, bytes_per_pixel, L"resample", one_band_unless_rows_abound(image, height));
    return fresh ? fresh.run(fresh.job(), how.kernel, how.order) : 0;
}

// An unknown mode only changes the size: the array is read with the new sides, keeps what lies behind them, and grows
// with 0 where it would be too short.
unsigned int reinterpret_size(image_state& image, std::uint32_t width, std::uint32_t height,
                              std::uint64_t bytes_per_pixel) noexcept {
    const std::uint64_t old_count = image.pixels ? std::max(pixel_capacity(image), pixel_count(image)) : 0;
    const std::uint64_t count = static_cast<std::uint64_t>(width) * height;
    if (count > old_count) {
        char* const pixels = static_cast<char*>(allocate_pixels(count, bytes_per_pixel));
        if (!pixels) return fail_allocation(image, image.names->pixel_array);
        const auto kept = static_cast<std::size_t>(old_count * bytes_per_pixel);
        if (kept) std::memcpy(pixels, image.pixels, kept);
        std::memset(pixels + kept, 0, static_cast<std::size_t>(count * bytes_per_pixel) - kept);
        install_pixels(image, pixels, width, height);
    } else {
        image.capacity = static_cast<std::uint32_t>(std::min<std::uint64_t>(old_count, UINT32_MAX));
        image.width = width;
        image.height = height;
    }
    return 1;
}

} // namespace

template <class Format>
unsigned int resample(image_state& image, std::uint32_t width, std::uint32_t height, std::uint32_t mode) noexcept {
    if (width == image.width && height == image.height) return 1;
    if (mode >= mode_count) return reinterpret_size(image, width, height, pixel_bytes<Format>);
    const resampler how = choose_resampler<Format>(image, width, height, mode);
    return run_resampler(image, width, height, pixel_bytes<Format>, how) ? 1 : fail_method(image, how.failure);
}

// ---- Rotation ------------------------------------------------------------------------------------------------------

namespace {

template <class Format>
unsigned int do_rotate(image_state& image, double angle) noexcept {
    const double turn = is_lower_left(image) ? -angle : angle;
    const double c = std::cos(turn);
    const double s = std::sin(turn);
    const double width = image.width;
    const double height = image.height;
    const canvas_size canvas = turned_canvas(width, height, c, s);
    // Written so that NaN, from an infinite angle, fails.
    if (!(canvas.width >= 1.0 && canvas.width <= UINT32_MAX && canvas.height >= 1.0 && canvas.height <= UINT32_MAX)) {
        return 0;
    }
    const auto new_width = static_cast<std::uint32_t>(canvas.width);
    const auto new_height = static_cast<std::uint32_t>(canvas.height);
    replacement fresh(image, new_width, new_height, pixel_bytes<Format>, L"rotate",
                      one_band_unless_rows_abound(image, new_height));
    if (!fresh) return 0;
    const canvas_offset offset = turned_offset(width, height, c, s);
    const rotate_job job{fresh.job(), c, s, offset.x, offset.y};
    return fresh.run(job, rotate_rows<Format>, row_order::memory);
}

// std::rand is one sequence for the whole process: held from the seed to the last draw, so that the feathering of a
// given size is always the same.
std::mutex random_generator;

template <class Format>
void feather(image_state& image) noexcept {
    const std::lock_guard<std::mutex> lock(random_generator);
    std::srand(image.width);
    feather_edges<Format>(samples<Format>(image), image.width, image.height);
}

} // namespace

template <class Format>
unsigned int rotate(image_state& image, double angle, bool with_feathering) noexcept {
    if (!(angle < 0.0) && !(angle > 0.0)) return 1;
    if (!has_pixels(image)) return 0;
    if (!do_rotate<Format>(image, angle)) return fail_method(image, L"___do_rotate().");
    if (with_feathering) feather<Format>(image);
    return 1;
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template unsigned int crop<format>(image_state&, std::uint32_t, std::uint32_t, std::uint32_t,                      \
                                       std::uint32_t) noexcept;                                                        \
    template unsigned int do_crop<format>(image_state&, std::uint32_t, std::uint32_t, std::uint32_t,                   \
                                          std::uint32_t) noexcept;                                                     \
    template unsigned int crop_to_pixels<format>(image_state&, std::uint32_t&, std::uint32_t&) noexcept;               \
    template unsigned int resize_canvas<format>(image_state&, std::uint32_t, std::uint32_t, std::uint32_t,             \
                                                const void*) noexcept;                                                 \
    template unsigned int resize_canvas<format>(image_state&, std::uint32_t, std::uint32_t, std::uint32_t,             \
                                                std::uint32_t, const void*) noexcept;                                  \
    template unsigned int do_resize_canvas<format>(image_state&, std::uint32_t, std::uint32_t, std::uint32_t,          \
                                                   const void*) noexcept;                                              \
    template unsigned int flip_horizontal<format>(image_state&) noexcept;                                              \
    template unsigned int flip_vertical<format>(image_state&) noexcept;                                                \
    template unsigned int set_origin<format>(image_state&, std::uint32_t) noexcept;                                    \
    template unsigned int resample<format>(image_state&, std::uint32_t, std::uint32_t, std::uint32_t) noexcept;        \
    template unsigned int rotate<format>(image_state&, double, bool) noexcept;
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
