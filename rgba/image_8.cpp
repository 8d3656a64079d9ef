#include <zarn/image_8.h>

#include <utility>

#include "core/image_state.h"
#include "core/native_file.h"
#include "kernels/pixel_format.h"
#include "operations/blur.h"
#include "operations/filters.h"
#include "operations/geometry.h"
#include "operations/image_file.h"
#include "operations/lifecycle.h"
#include "operations/native_rgba.h"
#include "operations/tone.h"

namespace {

using format = zarn::rgba_8;

// Two texts name other classes; hosts read them as they stand.
constexpr zarn::image_names names{
    L"zarn_image_8",
    L"8",
    L"zarn_pixel_8_s array.",
    L"___pixel_d_array.",
    L"zarn_pixel_8_s temp pixel data.",
    L"zarn_image_16 temp pixel data.",
    L"zarn_uchar_8 array.",
    L"v",
};

constexpr std::uint64_t bytes_per_pixel = zarn::pixel_bytes<format>;

} // namespace

// ---- Life cycle ----------------------------------------------------------------------------------------------------

zarn_image_8::zarn_image_8()
    : ___state(names) {
    zarn::make_workers(___state);
}

zarn_image_8::~zarn_image_8() { zarn::release_workers(___state); }

zarn_image_8::zarn_image_8(const zarn_image_8& other)
    : zarn_image_8() {
    *this = other;
}

zarn_image_8& zarn_image_8::operator=(const zarn_image_8& other) {
    zarn::assign_image(___state, other.___state, bytes_per_pixel);
    return *this;
}

zarn_image_8::zarn_image_8(zarn_image_8&& other) noexcept
    : zarn_image_8() {
    *this = std::move(other);
}

zarn_image_8& zarn_image_8::operator=(zarn_image_8&& other) noexcept {
    if (this != &other) zarn::take_image(___state, other.___state);
    return *this;
}

void zarn_image_8::free() { zarn::free_image(___state); }

unsigned int zarn_image_8::create(const zarn_image_8& source) {
    return zarn::create_copy(___state, source.___state, bytes_per_pixel);
}

unsigned int zarn_image_8::create(unsigned int width, unsigned int height, unsigned int origin, void* data,
                                  unsigned int copy) {
    return zarn::create_from_memory(___state, width, height, origin, data, copy != 0, bytes_per_pixel);
}

unsigned int zarn_image_8::set_origin(unsigned int origin) { return zarn::set_origin<format>(___state, origin); }

void zarn_image_8::set_thread_limit(unsigned int limit) { zarn::set_thread_limit(___state, limit); }

unsigned int zarn_image_8::get_thread_limit() const { return zarn::thread_limit(___state); }

// ---- Files ---------------------------------------------------------------------------------------------------------

unsigned int zarn_image_8::save_binary(const wchar_t* path, unsigned int compress) {
    return zarn::save_rgba_binary<format>(___state, path, compress != 0);
}

unsigned int zarn_image_8::load_binary(const wchar_t* path) { return zarn::load_rgba_binary<format>(___state, path); }

unsigned int zarn_image_8::load_file(const wchar_t* path) { return zarn::load_image_file<format>(___state, path); }

unsigned int zarn_image_8::load_file(const void* data, unsigned int size) {
    return zarn::load_image_memory<format>(___state, data, size);
}

unsigned int zarn_image_8::save_file(const wchar_t* path, unsigned int file_format, unsigned int compression) {
    return zarn::save_image_file<format>(___state, path, file_format, compression);
}

// ---- Geometry ------------------------------------------------------------------------------------------------------

unsigned int zarn_image_8::crop(unsigned int x, unsigned int y, unsigned int width, unsigned int height) {
    return zarn::crop<format>(___state, x, y, width, height);
}

unsigned int zarn_image_8::crop_to_pixels(unsigned int& left, unsigned int& top) {
    return zarn::crop_to_pixels<format>(___state, left, top);
}

unsigned int zarn_image_8::resize_canvas(unsigned int width, unsigned int height, unsigned int position,
                                         const zarn_pixel_8_s& colour) {
    return zarn::resize_canvas<format>(___state, width, height, position, &colour);
}

unsigned int zarn_image_8::resize_canvas(unsigned int left, unsigned int right, unsigned int top, unsigned int bottom,
                                         const zarn_pixel_8_s& colour) {
    return zarn::resize_canvas<format>(___state, left, right, top, bottom, &colour);
}

unsigned int zarn_image_8::flip_horizontal() { return zarn::flip_horizontal<format>(___state); }

unsigned int zarn_image_8::flip_vertical() { return zarn::flip_vertical<format>(___state); }

unsigned int zarn_image_8::resample(unsigned int width, unsigned int height, unsigned int mode) {
    return zarn::resample<format>(___state, width, height, mode);
}

unsigned int zarn_image_8::rotate(double angle, unsigned int feather_edges) {
    return zarn::rotate<format>(___state, angle, feather_edges != 0);
}

// ---- Filters and tone ----------------------------------------------------------------------------------------------

void zarn_image_8::clear(const zarn_pixel_8_s& colour, unsigned int with_alpha) {
    zarn::clear<format>(___state, &colour, with_alpha != 0);
}

unsigned int zarn_image_8::gaussian_blur(float sigma, unsigned int fast, unsigned int blur_colour,
                                         unsigned int blur_alpha) {
    return zarn::gaussian_blur<format>(___state, sigma, fast != 0, {blur_colour != 0, blur_alpha != 0});
}

unsigned int zarn_image_8::box_blur(unsigned int radius, unsigned int blur_colour, unsigned int blur_alpha) {
    return zarn::box_blur<format>(___state, radius, {blur_colour != 0, blur_alpha != 0});
}

void zarn_image_8::sharpen(float amount) { zarn::sharpen<format>(___state, amount); }

unsigned int zarn_image_8::expand_where_alpha(unsigned int iterations, std::uint8_t threshold,
                                              unsigned int keep_alpha) {
    return zarn::expand_where_alpha<format>(___state, iterations, threshold, keep_alpha != 0);
}

void zarn_image_8::gamma(float gamma) { zarn::adjust_tone<format>(___state, zarn::tone_curve::gamma, gamma); }
