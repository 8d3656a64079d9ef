#include <zarn/image_grayscale.h>

#include <algorithm>

#include "channel/component_source.h"
#include "core/error_stack.h"
#include "operations/blit.h"
#include "operations/filters.h"
#include "operations/image_load.h"
#include "operations/normals.h"
#include "operations/value_forms.h"

namespace {

bool are_components(unsigned int value_channel, unsigned int alpha_channel) {
    return std::max(value_channel, alpha_channel) < zarn::rgba_channels;
}

zarn::component_choice choose(unsigned int value_channel, unsigned int alpha_channel) {
    return {{static_cast<std::uint8_t>(value_channel), static_cast<std::uint8_t>(alpha_channel)}};
}

} // namespace

zarn_image_grayscale::zarn_image_grayscale()
    : zarn_depth_image(pixel_kind::value_with_alpha) {}

unsigned int zarn_image_grayscale::___create_from_rgba(const zarn::rgba_source& source, unsigned int value_channel,
                                                       unsigned int alpha_channel, unsigned int image_type) {
    if (!are_components(value_channel, alpha_channel)) return ___refuse_channel();
    const zarn::const_sample_run components[] = {source.component(value_channel), source.component(alpha_channel)};
    return ___create_from(components, source.width, source.height, source.origin, image_type);
}

unsigned int zarn_image_grayscale::create(const zarn_image_8& source, unsigned int value_channel,
                                          unsigned int alpha_channel, unsigned int image_type) {
    return ___create_from_rgba(zarn::rgba_source(source), value_channel, alpha_channel, image_type);
}

unsigned int zarn_image_grayscale::create(const zarn_image_16& source, unsigned int value_channel,
                                          unsigned int alpha_channel, unsigned int image_type) {
    return ___create_from_rgba(zarn::rgba_source(source), value_channel, alpha_channel, image_type);
}

unsigned int zarn_image_grayscale::create(const zarn_image_8_16& source, unsigned int value_channel,
                                          unsigned int alpha_channel, unsigned int image_type) {
    return ___create_from_rgba(zarn::rgba_source(source), value_channel, alpha_channel, image_type);
}

unsigned int zarn_image_grayscale::create(const zarn_image_grayscale& source, unsigned int image_type) {
    return ___create_copy(source, image_type);
}

// ---- Files ---------------------------------------------------------------------------------------------------------

unsigned int zarn_image_grayscale::load_file(const wchar_t* path, unsigned int value_channel,
                                             unsigned int alpha_channel) {
    if (!are_components(value_channel, alpha_channel)) return ___refuse_channel();
    return zarn::load_value_file(___state, path, choose(value_channel, alpha_channel));
}

unsigned int zarn_image_grayscale::load_file(const void* data, unsigned int size, unsigned int value_channel,
                                             unsigned int alpha_channel) {
    if (!are_components(value_channel, alpha_channel)) return ___refuse_channel();
    return zarn::load_value_memory(___state, data, size, choose(value_channel, alpha_channel));
}

// ---- Operations ----------------------------------------------------------------------------------------------------

unsigned int zarn_image_grayscale::resize_canvas(unsigned int width, unsigned int height, unsigned int anchor,
                                                 unsigned int value, unsigned int alpha) {
    return ___resize_canvas(width, height, anchor, {value, alpha});
}

unsigned int zarn_image_grayscale::resize_canvas(unsigned int width, unsigned int height, unsigned int x,
                                                 unsigned int y, unsigned int value, unsigned int alpha) {
    return ___resize_canvas_at(width, height, x, y, {value, alpha});
}

unsigned int zarn_image_grayscale::box_blur(unsigned int radius, unsigned int blur_colour, unsigned int blur_alpha) {
    return ___box_blur(radius, blur_colour != 0, blur_alpha != 0);
}

unsigned int zarn_image_grayscale::gaussian_blur(float sigma, unsigned int fast, unsigned int blur_colour,
                                                 unsigned int blur_alpha) {
    return ___gaussian_blur(sigma, fast != 0, blur_colour != 0, blur_alpha != 0);
}

void zarn_image_grayscale::clear(unsigned int value, unsigned int alpha, unsigned int with_alpha) {
    ___clear({value, alpha}, with_alpha != 0);
}

unsigned int zarn_image_grayscale::expand_where_alpha(unsigned int iterations, std::uint64_t threshold,
                                                      unsigned int keep_alpha) {
    return zarn::with_format(___current(), [&](auto f) {
        using format = decltype(f);
        const auto cut = static_cast<typename format::sample>(std::min<std::uint64_t>(threshold, format::full));
        return zarn::expand_where_alpha<format>(___state, iterations, cut, keep_alpha != 0);
    });
}

unsigned int zarn_image_grayscale::blit(zarn_image_grayscale& source, unsigned int source_x, unsigned int source_y,
                                        unsigned int width, unsigned int height, float opacity, int x, int y,
                                        unsigned int mode, unsigned int flags) {
    return ___blit(source, {source_x, source_y, width, height, x, y}, opacity, mode, flags != 0);
}

unsigned int zarn_image_grayscale::convert_to_normals(float strength, unsigned int wrap, unsigned int flags,
                                                      zarn_irect_s* rectangle, zarn_image_16& output) {
    if (!is_valid()) return 0;
    if (!set_image_type(1)) return zarn::fail(___state, L"Failed to zarn_image_16::set_image_type().");
    if (!set_origin(ZARN_ORIGIN_UPPER_LEFT)) return zarn::fail(___state, L"Failed to zarn_image_16::set_origin().");
    const bool fits = output.is_valid() && output.get_width() == get_width() && output.get_height() == get_height();
    if (!fits && !output.create(get_width(), get_height(), ZARN_ORIGIN_UPPER_LEFT, nullptr, 1)) {
        return zarn::fail(___state, L"Failed to zarn_image_16::create().");
    }
    return zarn::write_normals(___state, strength, wrap != 0, flags, rectangle, output.get_pixel_array());
}
