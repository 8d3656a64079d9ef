#include <zarn/image_channel.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include <zarn/image_grayscale.h>
#include <zarn/owned.h>

#include "channel/component_source.h"
#include "channel/distance_transform.h"
#include "channel/subset_list.h"
#include "core/error_stack.h"
#include "core/image_state.h"
#include "operations/blit.h"
#include "operations/image_load.h"

// ---- Life cycle ----------------------------------------------------------------------------------------------------

zarn_image_channel::zarn_image_channel()
    : zarn_depth_image(pixel_kind::value) {}

zarn_image_channel::~zarn_image_channel() = default;

zarn_image_channel::zarn_image_channel(const zarn_image_channel& other)
    : zarn_depth_image(other) {}

zarn_image_channel& zarn_image_channel::operator=(const zarn_image_channel& other) {
    if (this == &other) return *this;
    clear_subset_list();
    zarn_depth_image::operator=(other);
    return *this;
}

zarn_image_channel::zarn_image_channel(zarn_image_channel&& other) noexcept
    : zarn_depth_image(pixel_kind::value) {
    *this = std::move(other);
}

zarn_image_channel& zarn_image_channel::operator=(zarn_image_channel&& other) noexcept {
    if (this == &other) return *this;
    clear_subset_list();
    std::swap(___subsets.data, other.___subsets.data);
    std::swap(___subsets.size, other.___subsets.size);
    std::swap(___subsets.count, other.___subsets.count);
    zarn_depth_image::operator=(std::move(other));
    return *this;
}

void zarn_image_channel::free() {
    clear_subset_list();
    zarn_depth_image::free();
}

unsigned int zarn_image_channel::create(unsigned int width, unsigned int height, unsigned int origin,
                                        unsigned int image_type, void* data, unsigned int copy) {
    clear_subset_list();
    return zarn_depth_image::create(width, height, origin, image_type, data, copy);
}

unsigned int zarn_image_channel::___create_from_rgba(const zarn::rgba_source& source, unsigned int channel,
                                                     unsigned int image_type) {
    clear_subset_list();
    if (channel >= zarn::rgba_channels) return ___refuse_channel();
    const zarn::const_sample_run component = source.component(channel);
    return ___create_from(&component, source.width, source.height, source.origin, image_type);
}

unsigned int zarn_image_channel::create(const zarn_image_8& source, unsigned int channel, unsigned int image_type) {
    return ___create_from_rgba(zarn::rgba_source(source), channel, image_type);
}

unsigned int zarn_image_channel::create(const zarn_image_16& source, unsigned int channel, unsigned int image_type) {
    return ___create_from_rgba(zarn::rgba_source(source), channel, image_type);
}

unsigned int zarn_image_channel::create(const zarn_image_8_16& source, unsigned int channel, unsigned int image_type) {
    return ___create_from_rgba(zarn::rgba_source(source), channel, image_type);
}

unsigned int zarn_image_channel::create(const zarn_image_grayscale& source, unsigned int channel,
                                        unsigned int image_type) {
    clear_subset_list();
    return ___create_from_part(source, channel, image_type);
}

unsigned int zarn_image_channel::create(const zarn_image_channel& source, unsigned int image_type) {
    clear_subset_list();
    return ___create_copy(source, image_type);
}

// ---- Subsets -------------------------------------------------------------------------------------------------------

namespace {

// Calls call(samples) with the image's array at its own depth.
template <class Image, class Call>
auto with_samples(Image& image, Call call) {
    switch (image.get_image_type()) {
    case 0:
        return call(image.get_pixel_array_8());
    case 1:
        return call(image.get_pixel_array_16());
    default:
        return call(image.get_pixel_array_32());
    }
}

} // namespace

void zarn_image_channel::clear_subset_list() { zarn::clear_subsets(___subsets); }

unsigned int zarn_image_channel::calculate_subset_list(unsigned int background) {
    clear_subset_list();
    if (!is_valid()) return 1;
    zarn::region_mask mask;
    // The mask is copy, turned copy and padded copy in one. The copy is turned as set_origin() turns it.
    if (!mask.allocate(get_width(), get_height())) return zarn::fail(___state, L"Failed to create copy of image.");
    with_samples(*this,
                 [&](const auto* samples) { mask.fill(samples, get_origin() != ZARN_ORIGIN_UPPER_LEFT, background); });
    switch (zarn::build_subsets(mask, ___subsets)) {
    case zarn::subset_result::done:
        return 1;
    case zarn::subset_result::no_subset:
        return zarn::fail_allocation(___state, L"subset.");
    case zarn::subset_result::no_points:
        return zarn::fail_allocation(___state, L"subset point list.");
    }
    return 0;
}

unsigned int zarn_image_channel::normalize_subsets() {
    if (___subsets.get_count() == 0) return zarn::fail(___state, L"Subset list not built.");
    if (!is_valid()) return 1;
    with_samples(*this, [this](auto* samples) {
        zarn::normalize_subsets(___subsets, samples, get_width(), get_height(), get_origin() == ZARN_ORIGIN_LOWER_LEFT);
    });
    return 1;
}

// ---- Distance transform --------------------------------------------------------------------------------------------

namespace {

constexpr unsigned int distance_frame = 5;

} // namespace

unsigned int zarn_image_channel::distance_transform() {
    if (!is_valid()) return 0;
    const unsigned int width = get_width();
    const unsigned int height = get_height();
    constexpr unsigned int centre = 4;
    const bool fits = std::max(width, height) <= UINT32_MAX - 2 * distance_frame;
    const std::uint32_t blank[2] = {};
    if (!fits) zarn::fail_method(___state, L"resize_canvas(). Invalid size.");
    if (!fits || !___resize_canvas(width + 2 * distance_frame, height + 2 * distance_frame, centre, blank)) {
        return zarn::fail(___state, L"Failed to temp resize canvas of image.");
    }
    if (!___transform_distances()) return 0;
    if (crop(distance_frame, distance_frame, width, height)) return 1;
    return zarn::fail(___state, L"Failed to crop image to original size.");
}

unsigned int zarn_image_channel::___transform_distances() {
    zarn_owned<zarn_image_channel> copy;
    if (!copy->create(*this, 0)) return zarn::fail(___state, L"Failed to create temp copy of image.");
    const auto fail_transform = [this] { return zarn::fail_allocation(___state, L"dr7 transform object."); };
    // Its pixels are counted in signed 32 bits.
    if (std::max(get_width(), get_height()) > INT32_MAX) return fail_transform();
    const std::unique_ptr<zarn::distance_transform_dr7> transform(new (std::nothrow) zarn::distance_transform_dr7(
        static_cast<std::int32_t>(get_width()), static_cast<std::int32_t>(get_height())));
    if (!transform) return fail_transform();
    transform->compute(copy->get_pixel_array_8());
    const double* const distances = transform->real_distances();
    if (!distances) return zarn::fail_allocation(___state, L"distance array.");
    const double largest = zarn::largest_distance(distances, zarn::pixel_count(___state));
    with_samples(
        *this, [&](auto* samples) { zarn::write_distances(distances, zarn::pixel_count(___state), largest, samples); });
    return 1;
}

// ---- Files ---------------------------------------------------------------------------------------------------------

unsigned int zarn_image_channel::load_binary(const wchar_t* path) {
    clear_subset_list();
    return zarn_depth_image::load_binary(path);
}

unsigned int zarn_image_channel::load_file(const wchar_t* path, unsigned int channel) {
    clear_subset_list();
    if (channel >= zarn::rgba_channels) return ___refuse_channel();
    return zarn::load_value_file(___state, path, {{static_cast<std::uint8_t>(channel)}});
}

unsigned int zarn_image_channel::load_file(const void* data, unsigned int size, unsigned int channel) {
    clear_subset_list();
    if (channel >= zarn::rgba_channels) return ___refuse_channel();
    return zarn::load_value_memory(___state, data, size, {{static_cast<std::uint8_t>(channel)}});
}

namespace {

unsigned int distribute(const zarn_image_8_16& loaded, zarn_image_channel* images, const unsigned int* channels,
                        unsigned int count, int image_type) {
    const unsigned int type = image_type < 0 ? loaded.get_image_type() : static_cast<unsigned int>(image_type);
    bool created = true;
    for (unsigned int i = 0; i < count && created; ++i) created = images[i].create(loaded, channels[i], type) != 0;
    for (unsigned int i = 0; i < count && !created; ++i) images[i].free();
    return created ? 1 : 0;
}

} // namespace

unsigned int zarn_image_channel::load_channels_from_file(const wchar_t* path, zarn_image_channel* images,
                                                         const unsigned int* channels, unsigned int count,
                                                         int image_type) {
    zarn_owned<zarn_image_8_16> loaded;
    return loaded->load_file(path) ? distribute(*loaded, images, channels, count, image_type) : 0;
}

unsigned int zarn_image_channel::load_channels_from_file(const void* data, unsigned int size,
                                                         zarn_image_channel* images, const unsigned int* channels,
                                                         unsigned int count, int image_type) {
    zarn_owned<zarn_image_8_16> loaded;
    return loaded->load_file(data, size) ? distribute(*loaded, images, channels, count, image_type) : 0;
}

// ---- Operations ----------------------------------------------------------------------------------------------------

unsigned int zarn_image_channel::crop_to_pixels(unsigned int& left, unsigned int& top) {
    const unsigned int result = zarn_depth_image::crop_to_pixels(left, top);
    if (!___state.pixels) clear_subset_list();
    return result;
}

unsigned int zarn_image_channel::resize_canvas(unsigned int width, unsigned int height, unsigned int anchor,
                                               unsigned int fill) {
    return ___resize_canvas(width, height, anchor, {fill, 0});
}

unsigned int zarn_image_channel::resize_canvas(unsigned int width, unsigned int height, unsigned int x, unsigned int y,
                                               unsigned int fill) {
    return ___resize_canvas_at(width, height, x, y, {fill, 0});
}

unsigned int zarn_image_channel::box_blur(unsigned int radius) { return ___box_blur(radius, true, false); }

unsigned int zarn_image_channel::gaussian_blur(float sigma, unsigned int fast) {
    return ___gaussian_blur(sigma, fast != 0, true, false);
}

void zarn_image_channel::clear(unsigned int value) { ___clear({value, 0}, true); }

unsigned int zarn_image_channel::blit(zarn_image_channel& source, unsigned int source_x, unsigned int source_y,
                                      unsigned int width, unsigned int height, float opacity, int x, int y,
                                      unsigned int mode) {
    return ___blit(source, {source_x, source_y, width, height, x, y}, opacity, mode, true);
}
