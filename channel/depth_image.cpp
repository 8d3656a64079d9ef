#include <zarn/depth_image.h>

#include <utility>

#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/owned.h>

#include "core/error_stack.h"
#include "kernels/sample_depth.h"
#include "operations/blit.h"
#include "operations/blur.h"
#include "operations/filters.h"
#include "operations/geometry.h"
#include "operations/lifecycle.h"
#include "operations/native_values.h"
#include "operations/normalize_values.h"
#include "operations/tone.h"
#include "operations/value_forms.h"

namespace {

std::uint32_t channels_of(const zarn::image_state& image) {
    return zarn::with_format(image, [](auto format) { return zarn::channels<decltype(format)>; });
}

// A pixel in a format, its samples cut to the depth's bits.
template <class Format>
struct cut_pixel {
    typename Format::sample samples[2];

    explicit cut_pixel(const std::uint32_t (&pixel)[2])
        : samples{static_cast<typename Format::sample>(pixel[0]), static_cast<typename Format::sample>(pixel[1])} {}
};

} // namespace

// ---- Life cycle ----------------------------------------------------------------------------------------------------

zarn_depth_image::zarn_depth_image(pixel_kind kind)
    : ___state(kind == pixel_kind::value ? *zarn::channel_names : *zarn::grayscale_names) {
    zarn::make_workers(___state);
}

zarn_depth_image::~zarn_depth_image() { zarn::release_workers(___state); }

zarn_depth_image::zarn_depth_image(const zarn_depth_image& other)
    : ___state(*other.___state.names) {
    zarn::make_workers(___state);
    *this = other;
}

zarn_depth_image& zarn_depth_image::operator=(const zarn_depth_image& other) {
    if (this == &other) return *this;
    ___state.names = other.___state.names;
    zarn::assign_image(___state, other.___state, zarn::value_pixel_bytes(___state));
    return *this;
}

zarn_depth_image::zarn_depth_image(zarn_depth_image&& other) noexcept
    : ___state(*other.___state.names) {
    zarn::make_workers(___state);
    *this = std::move(other);
}

zarn_depth_image& zarn_depth_image::operator=(zarn_depth_image&& other) noexcept {
    if (this == &other) return *this;
    ___state.names = other.___state.names;
    zarn::take_image(___state, other.___state);
    return *this;
}

unsigned int zarn_depth_image::create(unsigned int width, unsigned int height, unsigned int origin,
                                      unsigned int image_type, void* data, unsigned int copy) {
    if (image_type < zarn::image_type_count) {
        ___state.names = zarn::names_at(___state, image_type);
        return zarn::create_from_memory(___state, width, height, origin, data, copy != 0,
                                        zarn::value_pixel_bytes(___state));
    }
    zarn::free_image(___state);
    ___state.width = width;
    ___state.height = height;
    ___state.origin = origin;
    return 1;
}

unsigned int zarn_depth_image::___create_from(const zarn::const_sample_run* sources, unsigned int width,
                                              unsigned int height, unsigned int origin, unsigned int image_type) {
    zarn::free_image(___state);
    if (!sources->samples || !width || !height) return 1;
    if (image_type >= zarn::image_type_count) return create(width, height, origin, image_type, nullptr, 1);
    ___state.names = zarn::names_at(___state, image_type);
    if (!zarn::allocate_contents(___state, width, height, origin, zarn::value_pixel_bytes(___state))) return 0;
    const std::uint32_t channels = channels_of(___state);
    const std::uint32_t bytes = zarn::sample_bytes(image_type);
    auto* const to = static_cast<unsigned char*>(___state.pixels);
    for (std::uint32_t c = 0; c < channels; ++c) {
        zarn::convert_samples(sources[c], {to + std::size_t{c} * bytes, channels, bytes}, zarn::pixel_count(___state));
    }
    return 1;
}

unsigned int zarn_depth_image::___create_copy(const zarn_depth_image& source, unsigned int image_type) {
    if (this == &source) {
        zarn::clear_errors(___state.errors);
        if (image_type < zarn::image_type_count) return ___state.pixels ? set_image_type(image_type) : 1;
    }
    const std::uint32_t bytes = zarn::sample_bytes(source.get_image_type());
    const std::uint32_t channels = channels_of(source.___state);
    const auto* const pixels = static_cast<const unsigned char*>(source.___state.pixels);
    zarn::const_sample_run samples[2] = {};
    for (std::uint32_t c = 0; c < channels && pixels; ++c)
        samples[c] = {pixels + std::size_t{c} * bytes, channels, bytes};
    return ___create_from(samples, source.get_width(), source.get_height(), source.get_origin(), image_type);
}

unsigned int zarn_depth_image::___create_from_part(const zarn_depth_image& source, unsigned int channel,
                                                   unsigned int image_type) {
    const std::uint32_t channels = channels_of(source.___state);
    if (channel >= channels) return ___refuse_channel();
    const std::uint32_t bytes = zarn::sample_bytes(source.get_image_type());
    const auto* const pixels = static_cast<const unsigned char*>(source.___state.pixels);
    const zarn::const_sample_run samples{pixels ? pixels + std::size_t{channel} * bytes : nullptr, channels, bytes};
    return ___create_from(&samples, source.get_width(), source.get_height(), source.get_origin(), image_type);
}

unsigned int zarn_depth_image::___refuse_channel() {
    zarn::free_image(___state);
    return zarn::fail(___state, L"Invalid channel parameter.");
}

void zarn_depth_image::free() { zarn::free_image(___state); }

zarn::image_state& zarn_depth_image::___current() {
    ___state.names = zarn::names_at(___state, get_image_type());
    return ___state;
}

unsigned int zarn_depth_image::get_image_type() const {
    return ___state.pixels ? zarn::image_type_of(___state) : zarn::image_type_count - 1;
}

unsigned int zarn_depth_image::set_image_type(unsigned int image_type) {
    if (image_type == get_image_type() || image_type >= zarn::image_type_count) return 1;
    if (!___state.pixels) return 0;
    const std::uint32_t old_bytes = zarn::sample_bytes(get_image_type());
    const std::uint32_t new_bytes = zarn::sample_bytes(image_type);
    const std::uint32_t channels = channels_of(___state);
    const std::uint64_t count = zarn::pixel_count(___state);
    void* const pixels = zarn::allocate_pixels(count, std::uint64_t{channels} * new_bytes);
    const zarn::image_names* const old_names = ___state.names;
    ___state.names = zarn::names_at(___state, image_type);
    if (!pixels) {
        zarn::fail_allocation(___state, ___state.names->member_owner, ___state.names->pixel_member);
        ___state.names = old_names;
        return 0;
    }
    zarn::convert_samples({___state.pixels, 1, old_bytes}, {pixels, 1, new_bytes}, count * channels);
    zarn::install_pixels(___state, pixels, ___state.width, ___state.height);
    return 1;
}

unsigned int zarn_depth_image::set_origin(unsigned int origin) {
    return zarn::with_format(___current(), [&](auto f) { return zarn::set_origin<decltype(f)>(___state, origin); });
}

void zarn_depth_image::set_thread_limit(unsigned int limit) { zarn::set_thread_limit(___state, limit); }

unsigned int zarn_depth_image::get_thread_limit() const { return zarn::thread_limit(___state); }

// ---- Files ---------------------------------------------------------------------------------------------------------

unsigned int zarn_depth_image::save_binary(const wchar_t* path, unsigned int compress) {
    return zarn::save_value_binary(___current(), path, compress != 0);
}

unsigned int zarn_depth_image::load_binary(const wchar_t* path) { return zarn::load_value_binary(___state, path); }

namespace {

// Saves an RGBA copy of the image; `name` is the class of the copy.
template <class Image>
unsigned int save_through(zarn::image_state& image, const wchar_t* name, const wchar_t* path, unsigned int format,
                          unsigned int compression) {
    using sample = typename Image::sample;
    constexpr std::uint64_t rgba = 4;
    constexpr std::uint32_t bytes = sizeof(sample);
    zarn_owned<Image> copy;
    if (!copy->create(image.width, image.height, image.origin, nullptr, 1)) {
        zarn::push_error(image.errors, {L"Failed to create ", name, L" for save."});
        return 0;
    }
    const std::uint32_t channels = channels_of(image);
    const std::uint32_t source_bytes = zarn::sample_bytes(zarn::image_type_of(image));
    const std::uint64_t count = zarn::pixel_count(image);
    auto* const to = reinterpret_cast<sample*>(copy->get_pixel_array());
    for (unsigned c = 0; c < 3; ++c) {
        zarn::convert_samples({image.pixels, channels, source_bytes}, {to + c, rgba, bytes}, count);
    }
    if (channels == 2) {
        const auto* const alpha = static_cast<const unsigned char*>(image.pixels) + source_bytes;
        zarn::convert_samples({alpha, channels, source_bytes}, {to + 3, rgba, bytes}, count);
    } else {
        for (std::uint64_t i = 0; i < count; ++i) to[i * rgba + 3] = static_cast<sample>(~sample{0});
    }
    if (copy->save_file(path, format, compression)) return 1;
    zarn::push_error(image.errors, {L"Failed to save ", name, L" to file."});
    return 0;
}

} // namespace

unsigned int zarn_depth_image::save_file(const wchar_t* path, unsigned int format, unsigned int compression) {
    if (!is_valid()) return 0;
    if (get_image_type() == 0) return save_through<zarn_image_8>(___state, L"zarn_image_8", path, format, compression);
    return save_through<zarn_image_16>(___state, L"zarn_image_16", path, format, compression);
}

// ---- Geometry ------------------------------------------------------------------------------------------------------

unsigned int zarn_depth_image::crop(unsigned int x, unsigned int y, unsigned int width, unsigned int height) {
    return zarn::with_format(___current(),
                             [&](auto f) { return zarn::crop<decltype(f)>(___state, x, y, width, height); });
}

unsigned int zarn_depth_image::crop_to_pixels(unsigned int& left, unsigned int& top) {
    return zarn::with_format(___current(),
                             [&](auto f) { return zarn::crop_to_pixels<decltype(f)>(___state, left, top); });
}

unsigned int zarn_depth_image::flip_horizontal() {
    return zarn::with_format(___current(), [&](auto f) { return zarn::flip_horizontal<decltype(f)>(___state); });
}

unsigned int zarn_depth_image::flip_vertical() {
    return zarn::with_format(___current(), [&](auto f) { return zarn::flip_vertical<decltype(f)>(___state); });
}

unsigned int zarn_depth_image::resample(unsigned int width, unsigned int height, unsigned int mode) {
    return zarn::with_format(___current(),
                             [&](auto f) { return zarn::resample<decltype(f)>(___state, width, height, mode); });
}

unsigned int zarn_depth_image::rotate(double angle, unsigned int feather_edges) {
    return zarn::with_format(___current(),
                             [&](auto f) { return zarn::rotate<decltype(f)>(___state, angle, feather_edges != 0); });
}

// ---- Tone ----------------------------------------------------------------------------------------------------------

void zarn_depth_image::___adjust(zarn::tone_curve curve, float amount) {
    zarn::with_format(___current(), [&](auto f) { zarn::adjust_tone<decltype(f)>(___state, curve, amount); });
}

void zarn_depth_image::exposure(float factor) { ___adjust(zarn::tone_curve::exposure, factor); }

void zarn_depth_image::brightness(float amount) { ___adjust(zarn::tone_curve::brightness, amount); }

void zarn_depth_image::contrast(float factor) { ___adjust(zarn::tone_curve::contrast, factor); }

void zarn_depth_image::gamma(float gamma) { ___adjust(zarn::tone_curve::gamma, gamma); }

void zarn_depth_image::sharpen(float amount) {
    zarn::with_format(___current(), [&](auto f) { zarn::sharpen<decltype(f)>(___state, amount); });
}

void zarn_depth_image::negative() {
    zarn::with_format(___current(), [&](auto f) { zarn::negative<decltype(f)>(___state, true, false); });
}

void zarn_depth_image::normalize() {
    zarn::with_format(___current(), [&](auto f) { zarn::normalize_values<decltype(f)>(___state); });
}

void zarn_depth_image::___clear(const std::uint32_t (&pixel)[2], bool with_alpha) {
    zarn::with_format(___current(), [&](auto f) {
        zarn::clear<decltype(f)>(___state, cut_pixel<decltype(f)>(pixel).samples, with_alpha);
    });
}

// ---- Operations whose arguments differ between the classes ---------------------------------------------------------

unsigned int zarn_depth_image::___resize_canvas(unsigned int width, unsigned int height, unsigned int anchor,
                                                const std::uint32_t (&pixel)[2]) {
    return zarn::with_format(___current(), [&](auto f) {
        return zarn::resize_canvas<decltype(f)>(___state, width, height, anchor, cut_pixel<decltype(f)>(pixel).samples);
    });
}

unsigned int zarn_depth_image::___resize_canvas_at(unsigned int width, unsigned int height, unsigned int x,
                                                   unsigned int y, const std::uint32_t (&pixel)[2]) {
    const zarn::image_state& image = ___current();
    const std::uint64_t right = std::uint64_t{x} + (zarn::has_pixels(image) ? image.width : 0);
    const std::uint64_t bottom = std::uint64_t{y} + (zarn::has_pixels(image) ? image.height : 0);
    if (right > width || bottom > height) return zarn::fail_method(___state, L"resize_canvas(). Invalid size.");
    return zarn::with_format(image, [&](auto f) {
        return zarn::resize_canvas<decltype(f)>(___state, x, static_cast<std::uint32_t>(width - right), y,
                                                static_cast<std::uint32_t>(height - bottom),
                                                cut_pixel<decltype(f)>(pixel).samples);
    });
}

unsigned int zarn_depth_image::___box_blur(unsigned int radius, bool blur_colour, bool blur_alpha) {
    return zarn::with_format(___current(), [&](auto f) {
        return zarn::box_blur<decltype(f)>(___state, radius, {blur_colour, blur_alpha});
    });
}

unsigned int zarn_depth_image::___gaussian_blur(float sigma, bool fast, bool blur_colour, bool blur_alpha) {
    return zarn::with_format(___current(), [&](auto f) {
        return zarn::gaussian_blur<decltype(f)>(___state, sigma, fast, {blur_colour, blur_alpha});
    });
}

unsigned int zarn_depth_image::___blit(const zarn_depth_image& source, const zarn::blit_placement& placement,
                                       float opacity, unsigned int mode, bool keep_alpha) {
    const zarn::blit_mixing mixing{opacity, mode, keep_alpha, {}};
    const zarn::image_state& image = ___current();
    const auto blit_from = [&](const zarn::image_state& from) {
        return zarn::with_format(image,
                                 [&](auto f) { return zarn::blit<decltype(f)>(___state, from, placement, mixing); });
    };
    if (!is_valid() || !source.is_valid() || source.get_image_type() == get_image_type()) {
        return blit_from(source.___state);
    }
    const std::uint32_t channels = channels_of(image);
    const std::uint64_t count = zarn::pixel_count(source.___state);
    const zarn::owned_pixels pixels(zarn::allocate_pixels(count, zarn::value_pixel_bytes(image)));
    if (!pixels) return zarn::fail_allocation(___state, image.names->pixel_array);
    zarn::convert_samples({source.___state.pixels, 1, zarn::sample_bytes(source.get_image_type())},
                          {pixels.get(), 1, zarn::sample_bytes(get_image_type())}, count * channels);
    zarn::image_state converted(*image.names);
    converted.pixels = pixels.get();
    converted.width = source.get_width();
    converted.height = source.get_height();
    converted.origin = source.get_origin();
    return blit_from(converted);
}
