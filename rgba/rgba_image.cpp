#include <zarn/image_16.h>
#include <zarn/image_8.h>

#include <utility>

#include "core/image_state.h"
#include "core/native_file.h"
#include "kernels/pixel_format.h"
#include "operations/blit.h"
#include "operations/blur.h"
#include "operations/clipboard.h"
#include "operations/filters.h"
#include "operations/geometry.h"
#include "operations/image_load.h"
#include "operations/image_save.h"
#include "operations/lifecycle.h"
#include "operations/native_rgba.h"
#include "operations/tone.h"

namespace {

template <class Pixel>
struct pixel_traits;

template <>
struct pixel_traits<zarn_pixel_8_s> {
    using format = zarn::rgba_8;
    // Two texts name other classes; hosts read them as they stand.
    static constexpr zarn::image_names names{
        L"zarn_image_8",
        L"8",
        L"zarn_pixel_8_s array.",
        L"___pixel_d_array.",
        L"zarn_image_8::",
        L"zarn_pixel_8_s temp pixel data.",
        L"zarn_image_16 temp pixel data.",
        L"zarn_uchar_8 array.",
        L"v",
        L"zarn_image_8",
        L"zarn_pixel_8_s array.",
    };
};

template <>
struct pixel_traits<zarn_pixel_16_s> {
    using format = zarn::rgba_16;
    static constexpr zarn::image_names names{
        L"zarn_image_16",
        L"16",
        L"zarn_pixel_16_s array.",
        L"___pixel_d_array.",
        L"zarn_image_16::",
        L"zarn_image_16 temp pixel data.",
        L"zarn_image_16 temp pixel data.",
        L"zarn_uint_16 array.",
        L"zarn_image_16",
        L"zarn_image_16",
        L"zarn_pixel_16_s array.",
    };
};

template <class Pixel>
using format_of = typename pixel_traits<Pixel>::format;

} // namespace

// ---- Life cycle ----------------------------------------------------------------------------------------------------

template <class Pixel>
zarn_rgba_image<Pixel>::zarn_rgba_image()
    : ___state(pixel_traits<Pixel>::names) {
    zarn::make_workers(___state);
}

template <class Pixel>
zarn_rgba_image<Pixel>::~zarn_rgba_image() {
    zarn::release_workers(___state);
}

template <class Pixel>
zarn_rgba_image<Pixel>::zarn_rgba_image(const zarn_rgba_image& other)
    : zarn_rgba_image() {
    *this = other;
}

template <class Pixel>
zarn_rgba_image<Pixel>& zarn_rgba_image<Pixel>::operator=(const zarn_rgba_image& other) {
    zarn::assign_image(___state, other.___state, sizeof(Pixel));
    return *this;
}

template <class Pixel>
zarn_rgba_image<Pixel>::zarn_rgba_image(zarn_rgba_image&& other) noexcept
    : zarn_rgba_image() {
    *this = std::move(other);
}

template <class Pixel>
zarn_rgba_image<Pixel>& zarn_rgba_image<Pixel>::operator=(zarn_rgba_image&& other) noexcept {
    if (this != &other) zarn::take_image(___state, other.___state);
    return *this;
}

template <class Pixel>
void zarn_rgba_image<Pixel>::free() {
    zarn::free_image(___state);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::create(const zarn_rgba_image& source) {
    return zarn::create_copy(___state, source.___state, sizeof(Pixel));
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::create(unsigned int width, unsigned int height, unsigned int origin, void* data,
                                            unsigned int copy) {
    return zarn::create_from_memory(___state, width, height, origin, data, copy != 0, sizeof(Pixel));
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::set_origin(unsigned int origin) {
    return zarn::set_origin<format_of<Pixel>>(___state, origin);
}

template <class Pixel>
void zarn_rgba_image<Pixel>::set_thread_limit(unsigned int limit) {
    zarn::set_thread_limit(___state, limit);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::get_thread_limit() const {
    return zarn::thread_limit(___state);
}

// ---- Files ---------------------------------------------------------------------------------------------------------

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::save_binary(const wchar_t* path, unsigned int compress) {
    return zarn::save_rgba_binary<format_of<Pixel>>(___state, path, compress != 0);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::load_binary(const wchar_t* path) {
    return zarn::load_rgba_binary<format_of<Pixel>>(___state, path);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::load_file(const wchar_t* path) {
    return zarn::load_image_file<format_of<Pixel>>(___state, path);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::load_file(const void* data, unsigned int size) {
    return zarn::load_image_memory<format_of<Pixel>>(___state, data, size);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::save_file(const wchar_t* path, unsigned int file_format,
                                               unsigned int compression) {
    return zarn::save_image_file<format_of<Pixel>>(___state, path, file_format, compression);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::load_clipboard(zarn_window_handle window) {
    return zarn::load_clipboard<format_of<Pixel>>(___state, window);
}

// ---- Geometry ------------------------------------------------------------------------------------------------------

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::crop(unsigned int x, unsigned int y, unsigned int width, unsigned int height) {
    return zarn::crop<format_of<Pixel>>(___state, x, y, width, height);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::crop_to_pixels(unsigned int& left, unsigned int& top) {
    return zarn::crop_to_pixels<format_of<Pixel>>(___state, left, top);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::resize_canvas(unsigned int width, unsigned int height, unsigned int position,
                                                   const Pixel& colour) {
    return zarn::resize_canvas<format_of<Pixel>>(___state, width, height, position, &colour);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::resize_canvas(unsigned int left, unsigned int right, unsigned int top,
                                                   unsigned int bottom, const Pixel& colour) {
    return zarn::resize_canvas<format_of<Pixel>>(___state, left, right, top, bottom, &colour);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::flip_horizontal() {
    return zarn::flip_horizontal<format_of<Pixel>>(___state);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::flip_vertical() {
    return zarn::flip_vertical<format_of<Pixel>>(___state);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::resample(unsigned int width, unsigned int height, unsigned int mode) {
    return zarn::resample<format_of<Pixel>>(___state, width, height, mode);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::rotate(double angle, unsigned int feather_edges) {
    return zarn::rotate<format_of<Pixel>>(___state, angle, feather_edges != 0);
}

// ---- Filters and tone ----------------------------------------------------------------------------------------------

template <class Pixel>
void zarn_rgba_image<Pixel>::clear(const Pixel& colour, unsigned int with_alpha) {
    zarn::clear<format_of<Pixel>>(___state, &colour, with_alpha != 0);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::gaussian_blur(float sigma, unsigned int fast, unsigned int blur_colour,
                                                   unsigned int blur_alpha) {
    return zarn::gaussian_blur<format_of<Pixel>>(___state, sigma, fast != 0, {blur_colour != 0, blur_alpha != 0});
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::box_blur(unsigned int radius, unsigned int blur_colour, unsigned int blur_alpha) {
    return zarn::box_blur<format_of<Pixel>>(___state, radius, {blur_colour != 0, blur_alpha != 0});
}

template <class Pixel>
void zarn_rgba_image<Pixel>::sharpen(float amount) {
    zarn::sharpen<format_of<Pixel>>(___state, amount);
}

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::expand_where_alpha(unsigned int iterations, sample threshold,
                                                        unsigned int keep_alpha) {
    return zarn::expand_where_alpha<format_of<Pixel>>(___state, iterations, threshold, keep_alpha != 0);
}

template <class Pixel>
void zarn_rgba_image<Pixel>::exposure(float factor) {
    zarn::adjust_tone<format_of<Pixel>>(___state, zarn::tone_curve::exposure, factor);
}

template <class Pixel>
void zarn_rgba_image<Pixel>::brightness(float amount) {
    zarn::adjust_tone<format_of<Pixel>>(___state, zarn::tone_curve::brightness, amount);
}

template <class Pixel>
void zarn_rgba_image<Pixel>::contrast(float factor) {
    zarn::adjust_tone<format_of<Pixel>>(___state, zarn::tone_curve::contrast, factor);
}

template <class Pixel>
void zarn_rgba_image<Pixel>::gamma(float gamma) {
    zarn::adjust_tone<format_of<Pixel>>(___state, zarn::tone_curve::gamma, gamma);
}

template <class Pixel>
void zarn_rgba_image<Pixel>::grayscale() {
    grayscale(0.299f, 0.587f, 0.114f);
}

template <class Pixel>
void zarn_rgba_image<Pixel>::grayscale(float red_weight, float green_weight, float blue_weight) {
    zarn::grayscale<format_of<Pixel>>(___state, red_weight, green_weight, blue_weight);
}

template <class Pixel>
void zarn_rgba_image<Pixel>::negative(unsigned int invert_colour, unsigned int invert_alpha) {
    zarn::negative<format_of<Pixel>>(___state, invert_colour != 0, invert_alpha != 0);
}

template <class Pixel>
void zarn_rgba_image<Pixel>::normalize() {
    zarn::normalize<format_of<Pixel>>(___state);
}

// ---- Compositing ---------------------------------------------------------------------------------------------------

template <class Pixel>
unsigned int zarn_rgba_image<Pixel>::blit(const zarn_rgba_image& source, unsigned int source_x, unsigned int source_y,
                                          unsigned int width, unsigned int height, float opacity, int destination_x,
                                          int destination_y, unsigned int blend_mode, unsigned int flags,
                                          blend_callback callback, void* user_data) {
    // The callback runs on worker threads, where an exception would end the process.
    const zarn::custom_blend custom{
        [](const zarn::custom_blend& blend, float alpha, const void* destination, const void* from, void* result) {
            try {
                reinterpret_cast<blend_callback>(blend.host_callback)(alpha, *static_cast<const Pixel*>(destination),
                                                                      *static_cast<const Pixel*>(from),
                                                                      *static_cast<Pixel*>(result), blend.user_data);
            } catch (...) {}
        },
        reinterpret_cast<void (*)()>(callback), user_data};
    return zarn::blit<format_of<Pixel>>(___state, source.___state,
                                        {source_x, source_y, width, height, destination_x, destination_y},
                                        {opacity, blend_mode, flags != 0, custom});
}

template class zarn_rgba_image<zarn_pixel_8_s>;
template class zarn_rgba_image<zarn_pixel_16_s>;
