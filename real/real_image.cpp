#include <zarn/real_image.h>

#include <cstring>
#include <type_traits>
#include <utility>

#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/image_8_16.h>
#include <zarn/image_grayscale.h>
#include <zarn/image_real_16.h> // its mark of export counts for the instance below
#include <zarn/image_real_32.h>

#include "core/error_stack.h"
#include "core/image_state.h"
#include "kernels/reals.h"
#include "operations/blur.h"
#include "operations/filters.h"
#include "operations/geometry.h"
#include "operations/grading.h"
#include "operations/lifecycle.h"
#include "operations/native_reals.h"
#include "operations/real_blit.h"
#include "operations/real_file.h"
#include "operations/real_forms.h"
#include "operations/tone.h"

// ---- Life cycle ----------------------------------------------------------------------------------------------------

template <class Sample>
zarn_real_image<Sample>::zarn_real_image()
    : ___state(zarn::real_class<Sample>::names) {
    zarn::make_workers(___state);
}

template <class Sample>
zarn_real_image<Sample>::~zarn_real_image() {
    zarn::release_workers(___state);
}

template <class Sample>
zarn_real_image<Sample>::zarn_real_image(const zarn_real_image& other)
    : zarn_real_image() {
    *this = other;
}

template <class Sample>
zarn_real_image<Sample>& zarn_real_image<Sample>::operator=(const zarn_real_image& other) {
    if (this != &other && ___create_copy(other)) zarn::append_errors(___state.errors, other.___state.errors);
    return *this;
}

template <class Sample>
zarn_real_image<Sample>::zarn_real_image(zarn_real_image&& other) noexcept
    : zarn_real_image() {
    *this = std::move(other);
}

template <class Sample>
zarn_real_image<Sample>& zarn_real_image<Sample>::operator=(zarn_real_image&& other) noexcept {
    if (this == &other) return *this;
    zarn::take_image(___state, other.___state);
    ___is_grayscale = other.___is_grayscale;
    ___is_rasterized = other.___is_rasterized;
    ___is_sRGB = other.___is_sRGB;
    ___is_u8_max_256 = other.___is_u8_max_256;
    other.___clear_flags();
    return *this;
}

template <class Sample>
void zarn_real_image<Sample>::free() {
    zarn::free_image(___state);
    ___clear_flags();
}

template <class Sample>
void zarn_real_image<Sample>::___clear_flags() {
    ___is_grayscale = ___is_rasterized = ___is_sRGB = 0;
    ___is_u8_max_256 = 0;
}

template <class Sample>
bool zarn_real_image<Sample>::___allocate(unsigned int width, unsigned int height, unsigned int is_grayscale,
                                          unsigned int is_rasterized, unsigned int is_sRGB) {
    free();
    const std::uint64_t bytes = (is_grayscale ? 2 : 4) * sizeof(Sample);
    if (!zarn::allocate_contents(___state, width, height, zarn::origin_upper_left, bytes)) return false;
    ___is_grayscale = is_grayscale;
    ___is_rasterized = is_rasterized;
    ___is_sRGB = is_sRGB;
    return true;
}

template <class Sample>
template <class Other>
unsigned int zarn_real_image<Sample>::___create_copy(const zarn_real_image<Other>& source) {
    if (static_cast<const void*>(this) == &source) {
        zarn::clear_errors(___state.errors);
        return 1;
    }
    free();
    if (!source.is_valid()) return 1;
    if (!___allocate(source.get_width(), source.get_height(), source.___is_grayscale, source.___is_rasterized,
                     source.___is_sRGB)) {
        return 0;
    }
    ___is_u8_max_256 = source.___is_u8_max_256;
    const std::uint64_t count = zarn::pixel_count(___state) * ___channels();
    if constexpr (std::is_same_v<Sample, Other>) {
        std::memcpy(___state.pixels, source.___state.pixels, static_cast<std::size_t>(count * sizeof(Sample)));
    } else {
        zarn::convert_reals(source.get_pixel_array(), get_pixel_array(), count);
    }
    return 1;
}

template <class Sample>
template <class Integer>
unsigned int zarn_real_image<Sample>::___create_scaled(const Integer* samples, unsigned int width, unsigned int height,
                                                       unsigned int origin, unsigned int is_grayscale, float factor) {
    free();
    if (!samples || !width || !height) return 1;
    if (!___allocate(width, height, is_grayscale, 1, 1)) return 0;
    const std::uint64_t line = std::uint64_t{width} * ___channels();
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::uint64_t row = zarn::memory_row(y, height, origin == zarn::origin_lower_left);
        zarn::scale_to_reals(samples + row * line, get_pixel_array() + y * line, line, factor);
    }
    return 1;
}

template <class Sample>
unsigned int zarn_real_image<Sample>::create(const zarn_image_8& source) {
    return ___create_scaled(reinterpret_cast<const std::uint8_t*>(source.get_pixel_array()), source.get_width(),
                            source.get_height(), source.get_origin(), 0, zarn::rgba_8::to_unit);
}

template <class Sample>
unsigned int zarn_real_image<Sample>::create(const zarn_image_16& source) {
    return ___create_scaled(reinterpret_cast<const std::uint16_t*>(source.get_pixel_array()), source.get_width(),
                            source.get_height(), source.get_origin(), 0, zarn::rgba_16::to_unit);
}

template <class Sample>
unsigned int zarn_real_image<Sample>::create(const zarn_image_8_16& source) {
    if (source.get_image_type() == 0) {
        return ___create_scaled(reinterpret_cast<const std::uint8_t*>(source.get_pixel_array_8()), source.get_width(),
                                source.get_height(), source.get_origin(), 0, zarn::rgba_8::to_unit);
    }
    return ___create_scaled(reinterpret_cast<const std::uint16_t*>(source.get_pixel_array_16()), source.get_width(),
                            source.get_height(), source.get_origin(), 0, zarn::rgba_16::to_unit);
}

template <class Sample>
unsigned int zarn_real_image<Sample>::create(const zarn_image_grayscale& source) {
    const auto scaled = [&](auto sample, const void* array, float factor) {
        return ___create_scaled(static_cast<const decltype(sample)*>(array), source.get_width(), source.get_height(),
                                source.get_origin(), 1, factor);
    };
    switch (source.get_image_type()) {
    case 0:
        return scaled(std::uint8_t{}, source.get_pixel_array_8(), zarn::grey_8::to_unit);
    case 1:
        return scaled(std::uint16_t{}, source.get_pixel_array_16(), zarn::grey_16::to_unit);
    default:
        return scaled(std::uint32_t{}, source.get_pixel_array_32(), 2.3283064e-10f); // 2^-32
    }
}

template <class Sample>
unsigned int zarn_real_image<Sample>::create(unsigned int width, unsigned int height, unsigned int is_grayscale,
                                             unsigned int is_rasterized, unsigned int is_sRGB, Sample* data,
                                             unsigned int copy) {
    const std::uint64_t bytes = (is_grayscale ? 2 : 4) * sizeof(Sample);
    ___clear_flags();
    if (!zarn::create_from_memory(___state, width, height, zarn::origin_upper_left, data, copy != 0, bytes)) return 0;
    ___state.borrowed = !copy && data;
    ___is_grayscale = is_grayscale;
    ___is_rasterized = is_rasterized;
    ___is_sRGB = is_sRGB;
    return 1;
}

template <class Sample>
void zarn_real_image<Sample>::set_thread_limit(unsigned int limit) {
    zarn::set_thread_limit(___state, limit);
}

template <class Sample>
unsigned int zarn_real_image<Sample>::get_thread_limit() const {
    return zarn::thread_limit(___state);
}

// ---- Files ---------------------------------------------------------------------------------------------------------

template <class Sample>
unsigned int zarn_real_image<Sample>::save_binary(const wchar_t* path, unsigned int compress) {
    return zarn::save_real_binary<Sample>(___state, {___is_grayscale, ___is_rasterized, ___is_sRGB}, path,
                                          compress != 0);
}

template <class Sample>
unsigned int zarn_real_image<Sample>::load_binary(const wchar_t* path) {
    ___clear_flags();
    zarn::real_flags flags;
    const unsigned int loaded = zarn::load_real_binary<Sample>(___state, flags, path);
    ___take_flags(flags);
    return loaded;
}

template <class Sample>
unsigned int zarn_real_image<Sample>::___load_binary(const unsigned char* data, unsigned int size) {
    ___clear_flags();
    zarn::real_flags flags;
    const unsigned int loaded = zarn::load_real_binary<Sample>(___state, flags, data, size);
    ___take_flags(flags);
    return loaded;
}

template <class Sample>
void zarn_real_image<Sample>::___take_flags(const zarn::real_flags& flags) {
    ___is_grayscale = flags.is_grayscale;
    ___is_rasterized = flags.is_rasterized;
    ___is_sRGB = flags.is_sRGB;
}

template <class Sample>
unsigned int zarn_real_image<Sample>::load_file(const wchar_t* path, unsigned int force_grayscale,
                                                unsigned int force_rgba) {
    ___clear_flags();
    zarn::real_flags flags;
    const unsigned int loaded =
        zarn::load_real_file<Sample>(___state, flags, path, force_grayscale != 0, force_rgba != 0);
    ___take_flags(flags);
    return loaded;
}

template <class Sample>
unsigned int zarn_real_image<Sample>::save_file(const wchar_t* path, unsigned int format, unsigned int compression) {
    return zarn::save_real_file<Sample>(___state, {___is_grayscale, ___is_rasterized, ___is_sRGB}, path, format,
                                        compression, ___is_u8_max_256 != 0);
}

// ---- Layout and colour space ---------------------------------------------------------------------------------------

template <class Sample>
void zarn_real_image<Sample>::convert_to_linear_space() {
    if (!___is_sRGB) return;
    const bool raised = zarn::with_layout<Sample>(
        ___is_grayscale, [&](auto f) { return zarn::raise_to_power<decltype(f)>(___state, 2.2f); });
    if (raised) ___is_sRGB = 0;
}

template <class Sample>
void zarn_real_image<Sample>::convert_to_sRGB_space() {
    if (___is_sRGB) return;
    const bool raised = zarn::with_layout<Sample>(
        ___is_grayscale, [&](auto f) { return zarn::raise_to_power<decltype(f)>(___state, 0.45454544f); });
    if (raised) ___is_sRGB = 1;
}

template <class Sample>
unsigned int zarn_real_image<Sample>::convert_to_rgba() {
    if (!is_valid()) return 0;
    if (!___is_grayscale) return 1;
    if (!zarn::spread_grey<zarn::grey_real<Sample>>(___state)) return 0;
    ___is_grayscale = 0;
    return 1;
}

template <class Sample>
unsigned int zarn_real_image<Sample>::___mix_to_grey(const zarn::grey_mix_job& job,
                                                     void (*kernel)(const zarn::grey_mix_job&, zarn::row_range)) {
    if (!is_valid()) return 0;
    if (___is_grayscale) return 1;
    if (!zarn::mix_to_grey(___state, job, kernel, sizeof(Sample))) return 0;
    ___is_grayscale = 1;
    return 1;
}

template <class Sample>
unsigned int zarn_real_image<Sample>::convert_to_grayscale(Sample red_weight, Sample green_weight, Sample blue_weight) {
    zarn::grey_mix_job job{};
    job.weights[0] = red_weight;
    job.weights[1] = green_weight;
    job.weights[2] = blue_weight;
    return ___mix_to_grey(job, zarn::weighted_grey_rows<zarn::colour_real<Sample>>);
}

template <class Sample>
unsigned int zarn_real_image<Sample>::convert_to_grayscale_ex(Sample red, Sample yellow, Sample green, Sample cyan,
                                                              Sample blue, Sample magenta) {
    zarn::grey_mix_job job{};
    job.sectors = zarn::weights_of_percents(red, yellow, green, cyan, blue, magenta);
    return ___mix_to_grey(job, zarn::sector_grey_rows<zarn::colour_real<Sample>>);
}

template <class Sample>
unsigned int zarn_real_image<Sample>::convert_to_grayscale_ex2(const Sample* in_levels, const Sample* out_levels,
                                                               Sample red, Sample yellow, Sample green, Sample cyan,
                                                               Sample blue, Sample magenta) {
    zarn::grey_mix_job job{};
    job.levels = {zarn::sanitised_levels(in_levels[0], in_levels[1]),
                  zarn::sanitised_levels(out_levels[0], out_levels[1])};
    job.sectors = zarn::weights_of_percents(red, yellow, green, cyan, blue, magenta);
    return ___mix_to_grey(job, zarn::levels_sector_grey_rows<zarn::colour_real<Sample>>);
}

// ---- Geometry and filters ------------------------------------------------------------------------------------------

template <class Sample>
unsigned int zarn_real_image<Sample>::crop(unsigned int x, unsigned int y, unsigned int width, unsigned int height) {
    return zarn::with_layout<Sample>(___is_grayscale,
                                     [&](auto f) { return zarn::crop<decltype(f)>(___state, x, y, width, height); });
}

template <class Sample>
unsigned int zarn_real_image<Sample>::crop_to_pixels(unsigned int& left, unsigned int& top) {
    const unsigned int result = zarn::with_layout<Sample>(
        ___is_grayscale, [&](auto f) { return zarn::crop_to_pixels<decltype(f)>(___state, left, top); });
    if (!___state.pixels) ___clear_flags();
    return result;
}

template <class Sample>
unsigned int zarn_real_image<Sample>::resize_canvas(unsigned int width, unsigned int height, unsigned int position,
                                                    const Sample* colour) {
    return zarn::with_layout<Sample>(___is_grayscale, [&](auto f) {
        return zarn::resize_canvas<decltype(f)>(___state, width, height, position, colour);
    });
}

template <class Sample>
unsigned int zarn_real_image<Sample>::resize_canvas(unsigned int left, unsigned int right, unsigned int top,
                                                    unsigned int bottom, const Sample* colour) {
    return zarn::with_layout<Sample>(___is_grayscale, [&](auto f) {
        return zarn::resize_canvas<decltype(f)>(___state, left, right, top, bottom, colour);
    });
}

template <class Sample>
unsigned int zarn_real_image<Sample>::flip_horizontal() {
    return zarn::with_layout<Sample>(___is_grayscale,
                                     [&](auto f) { return zarn::flip_horizontal<decltype(f)>(___state); });
}

template <class Sample>
unsigned int zarn_real_image<Sample>::flip_vertical() {
    return zarn::with_layout<Sample>(___is_grayscale,
                                     [&](auto f) { return zarn::flip_vertical<decltype(f)>(___state); });
}

template <class Sample>
unsigned int zarn_real_image<Sample>::___resample(unsigned int width, unsigned int height, unsigned int mode) {
    return zarn::with_layout<Sample>(
        ___is_grayscale, [&](auto f) { return zarn::resample<decltype(f)>(___state, width, height, mode); });
}

template <class Sample>
unsigned int zarn_real_image<Sample>::rotate(double angle, unsigned int feather_edges) {
    return zarn::with_layout<Sample>(
        ___is_grayscale, [&](auto f) { return zarn::rotate<decltype(f)>(___state, angle, feather_edges != 0); });
}

template <class Sample>
unsigned int zarn_real_image<Sample>::box_blur(unsigned int radius, unsigned int blur_colour, unsigned int blur_alpha) {
    return zarn::with_layout<Sample>(___is_grayscale, [&](auto f) {
        return zarn::box_blur<decltype(f)>(___state, radius, {blur_colour != 0, blur_alpha != 0});
    });
}

template <class Sample>
unsigned int zarn_real_image<Sample>::gaussian_blur(Sample sigma, unsigned int fast, unsigned int blur_colour,
                                                    unsigned int blur_alpha) {
    return zarn::with_layout<Sample>(___is_grayscale, [&](auto f) {
        return zarn::gaussian_blur<decltype(f)>(___state, sigma, fast != 0, {blur_colour != 0, blur_alpha != 0});
    });
}

template <class Sample>
void zarn_real_image<Sample>::sharpen(Sample amount) {
    zarn::with_layout<Sample>(___is_grayscale, [&](auto f) { zarn::sharpen<decltype(f)>(___state, amount); });
}

template <class Sample>
unsigned int zarn_real_image<Sample>::expand_where_alpha(unsigned int iterations, Sample threshold,
                                                         unsigned int keep_alpha) {
    return zarn::with_layout<Sample>(___is_grayscale, [&](auto f) {
        return zarn::expand_where_alpha<decltype(f)>(___state, iterations, threshold, keep_alpha != 0);
    });
}

// ---- Tone ----------------------------------------------------------------------------------------------------------

template <class Sample>
void zarn_real_image<Sample>::clear(const Sample* colour, unsigned int with_alpha) {
    zarn::with_layout<Sample>(___is_grayscale,
                              [&](auto f) { zarn::clear<decltype(f)>(___state, colour, with_alpha != 0); });
}

template <class Sample>
void zarn_real_image<Sample>::clear_alpha(Sample alpha) {
    zarn::with_layout<Sample>(___is_grayscale, [&](auto f) { zarn::clear_alpha<decltype(f)>(___state, alpha); });
}

template <class Sample>
void zarn_real_image<Sample>::___adjust(zarn::tone_curve curve, float amount) {
    zarn::with_layout<Sample>(___is_grayscale,
                              [&](auto f) { zarn::adjust_tone<decltype(f)>(___state, curve, amount); });
}

template <class Sample>
void zarn_real_image<Sample>::exposure(Sample factor) {
    ___adjust(zarn::tone_curve::exposure, factor);
}

template <class Sample>
void zarn_real_image<Sample>::brightness(Sample amount) {
    ___adjust(zarn::tone_curve::brightness, amount);
}

template <class Sample>
void zarn_real_image<Sample>::contrast(Sample factor) {
    ___adjust(zarn::tone_curve::contrast, factor);
}

template <class Sample>
void zarn_real_image<Sample>::gamma(Sample gamma) {
    ___adjust(zarn::tone_curve::gamma, gamma);
}

template <class Sample>
void zarn_real_image<Sample>::negative(unsigned int invert_colour, unsigned int invert_alpha) {
    zarn::with_layout<Sample>(
        ___is_grayscale, [&](auto f) { zarn::negative<decltype(f)>(___state, invert_colour != 0, invert_alpha != 0); });
}

template <class Sample>
void zarn_real_image<Sample>::normalize() {
    normalize(Sample(0.0f), Sample(1.0f));
}

template <class Sample>
void zarn_real_image<Sample>::normalize(Sample low, Sample high) {
    zarn::with_layout<Sample>(___is_grayscale, [&](auto f) { zarn::normalize<decltype(f)>(___state, low, high); });
}

// ---- Grading -------------------------------------------------------------------------------------------------------

template <class Sample>
void zarn_real_image<Sample>::adjust_color(Sample red, Sample green, Sample blue) {
    if (___is_grayscale) return;
    zarn::grading_job job{};
    job.factors[0] = red;
    job.factors[1] = green;
    job.factors[2] = blue;
    zarn::grade(___state, job, zarn::factors_rows<zarn::colour_real<Sample>>);
}

template <class Sample>
void zarn_real_image<Sample>::adjust_color_ex(Sample red, Sample yellow, Sample green, Sample cyan, Sample blue,
                                              Sample magenta) {
    if (___is_grayscale) return;
    zarn::grading_job job{};
    job.sectors = zarn::weights_of_percents(red, yellow, green, cyan, blue, magenta);
    zarn::grade(___state, job, zarn::sectors_rows<zarn::colour_real<Sample>>);
}

template <class Sample>
void zarn_real_image<Sample>::adjust_color_ex2(const Sample* in_levels, const Sample* out_levels, Sample red,
                                               Sample yellow, Sample green, Sample cyan, Sample blue, Sample magenta,
                                               Sample hue, Sample saturation) {
    if (___is_grayscale) return;
    zarn::grading_job job{};
    job.levels = {zarn::sanitised_levels(in_levels[0], in_levels[1]),
                  zarn::sanitised_levels(out_levels[0], out_levels[1])};
    job.sectors = zarn::weights_of_percents(red, yellow, green, cyan, blue, magenta);
    job.hue = zarn::hue_matrix_of(hue, saturation);
    zarn::grade(___state, job, zarn::levels_sectors_hue_rows<zarn::colour_real<Sample>>);
}

template <class Sample>
void zarn_real_image<Sample>::adjust_levels(const Sample* in_levels, const Sample* out_levels) {
    zarn::grading_job job{};
    job.levels = {zarn::sanitised_levels(in_levels[0], in_levels[1]),
                  zarn::sanitised_levels(out_levels[0], out_levels[1])};
    zarn::with_layout<Sample>(___is_grayscale,
                              [&](auto f) { zarn::grade(___state, job, zarn::levels_rows<decltype(f)>); });
}

template <class Sample>
void zarn_real_image<Sample>::hue_saturation(Sample hue, Sample saturation) {
    if (___is_grayscale) return;
    zarn::grading_job job{};
    job.hue = zarn::hue_matrix_of(hue, saturation);
    zarn::grade(___state, job, zarn::hue_rows<zarn::colour_real<Sample>>);
}

// ---- Compositing ---------------------------------------------------------------------------------------------------

template <class Sample>
unsigned int zarn_real_image<Sample>::___blit(const zarn_real_image& source, const zarn::blit_placement& placement,
                                              Sample opacity, unsigned int mode, unsigned int flags,
                                              const zarn::custom_blend& custom) {
    return zarn::blit_reals<Sample>(___state, ___is_grayscale != 0, source.___state, source.___is_grayscale != 0,
                                    placement, {opacity, mode, flags != 0, custom});
}

template class zarn_real_image<float>;
template class zarn_real_image<half_float::half>;

#define ZARN_INSTANTIATE(sample, other)                                                                                \
    template unsigned int zarn_real_image<sample>::___create_copy(const zarn_real_image<other>&);
ZARN_INSTANTIATE(float, float)
ZARN_INSTANTIATE(float, half_float::half)
ZARN_INSTANTIATE(half_float::half, float)
ZARN_INSTANTIATE(half_float::half, half_float::half)
