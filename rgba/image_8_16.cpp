#include <zarn/image_8_16.h>

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "core/error_stack.h"
#include "core/image_state.h"
#include "core/thread_pool.h"
#include "kernels/alpha_expansion.h"
#include "kernels/depth.h"
#include "operations/clipboard.h"
#include "operations/image_load.h"
#include "operations/native_rgba.h"

// The parts of the holder by depth, so that what both depths do is written once.
struct zarn_image_8_16_access {
    template <class Image>
    static Image*& held(zarn_image_8_16& holder) {
        if constexpr (std::is_same_v<Image, zarn_image_8>) {
            return holder.___image_8;
        } else {
            return holder.___image_16;
        }
    }
    template <class Image>
    static const Image* held(const zarn_image_8_16& holder) {
        return held<Image>(const_cast<zarn_image_8_16&>(holder));
    }
    static zarn_list<wchar_t*>& errors(zarn_image_8_16& holder) { return holder.___errors; }
};

namespace {

using access = zarn_image_8_16_access;

template <class Image>
struct depth;

template <>
struct depth<zarn_image_8> {
    using format = zarn::rgba_8;
    using other = zarn_image_16;
    static constexpr const wchar_t* image_class = L"zarn_image_8";
    static constexpr const wchar_t* attached = L"src_image.___image_8.";
    static constexpr const wchar_t* held_array = L"___image_8->___pixel_d_array.";
};

template <>
struct depth<zarn_image_16> {
    using format = zarn::rgba_16;
    using other = zarn_image_8;
    static constexpr const wchar_t* image_class = L"zarn_image_16";
    static constexpr const wchar_t* attached = L"src_image.___image_16.";
    static constexpr const wchar_t* held_array = L"___image_16->___pixel_d_array.";
};

unsigned int fail_allocation(zarn_image_8_16& holder, const wchar_t* what, const wchar_t* what_end = L"") {
    zarn::push_error(access::errors(holder), {L"Memory Allocation Error: Failed to allocate ", what, what_end});
    return 0;
}

// An image releases its pixels in free() only.
template <class Image>
struct image_releaser {
    void operator()(Image* image) const noexcept {
        image->free();
        delete image;
    }
};
template <class Image>
using owned_image = std::unique_ptr<Image, image_releaser<Image>>;

template <class Image>
void release(zarn_image_8_16& holder) {
    Image*& held = access::held<Image>(holder);
    const owned_image<Image> released(held);
    held = nullptr;
}

// An empty image with the holder's thread limit. Null, with the message pushed, when memory is short.
template <class Image>
owned_image<Image> make_image(zarn_image_8_16& holder) {
    owned_image<Image> image(new (std::nothrow) Image);
    if (image) {
        image->set_thread_limit(holder.get_thread_limit());
    } else {
        fail_allocation(holder, depth<Image>::image_class, L".");
    }
    return image;
}

// Fills `image` with a picture of the same depth, or of the other. On failure its messages go to `messages`.
template <class Image, class Source>
bool fill(Image& image, const Source& source, zarn_list<wchar_t*>& messages) {
    bool filled = false;
    if constexpr (std::is_same_v<Image, Source>) {
        filled = image.create(source);
    } else {
        using to = typename depth<Image>::format;
        using from = typename depth<Source>::format;
        constexpr std::uint64_t samples = zarn::channels<to>;
        const std::uint64_t count = std::uint64_t{source.get_width()} * source.get_height();
        zarn::owned_pixels pixels(zarn::allocate_pixels(count, zarn::pixel_bytes<to>));
        if (pixels) {
            zarn::convert_depth_rows<to, from>({source.get_pixel_array(), pixels.get(), source.get_width() * samples},
                                               {0, source.get_height(), 0});
            filled = image.create(source.get_width(), source.get_height(), source.get_origin(), pixels.release(), 0);
        } else {
            zarn::push_error(messages, {L"Memory Allocation Error: Failed to allocate ", depth<Image>::image_class,
                                        L"::___pixel_d_array."});
        }
    }
    if (!filled) zarn::append_errors(messages, *image.get_error_stack());
    return filled;
}

// Holds a copy of `source` in a new image, in the place of one of the same depth; one of the other stays beside it.
template <class Image, class Source>
unsigned int hold_copy(zarn_image_8_16& holder, const Source& source) {
    owned_image<Image> image = make_image<Image>(holder);
    if (!image || !fill(*image, source, access::errors(holder))) return 0;
    release<Image>(holder);
    access::held<Image>(holder) = image.release();
    return 1;
}

template <class Source>
unsigned int create_from(zarn_image_8_16& holder, const Source& source, unsigned int type) {
    holder.free();
    return type == 0 ? hold_copy<zarn_image_8>(holder, source) : hold_copy<zarn_image_16>(holder, source);
}

// Not of an image that adopted null as the array of its pixels.
template <class Image>
bool can_convert(const Image* image) {
    return image && (image->get_pixel_array() || !image->get_width() || !image->get_height());
}

unsigned int fail_type(zarn_image_8_16& holder) {
    zarn::push_error(access::errors(holder), {L"Unknown image type."});
    return 0;
}

template <class Image>
unsigned int create_anew(zarn_image_8_16& holder, unsigned int width, unsigned int height, unsigned int origin,
                         void* data, unsigned int copy) {
    Image*& held = access::held<Image>(holder);
    if (!held) held = make_image<Image>(holder).release();
    if (!held) return 0;
    if (held->create(width, height, origin, data, copy)) return 1;
    zarn::append_errors(access::errors(holder), *held->get_error_stack());
    release<Image>(holder);
    return 0;
}

template <class Image>
unsigned int convert_to(zarn_image_8_16& holder) {
    using other = typename depth<Image>::other;
    const other* before = access::held<other>(holder);
    if (!can_convert(before) || !hold_copy<Image>(holder, *before)) return 0;
    release<other>(holder);
    return 1;
}

template <class Image>
unsigned int has_translucent_pixel(const Image& image) {
    using format = typename depth<Image>::format;
    const auto* pixel = reinterpret_cast<const typename format::sample*>(image.get_pixel_array());
    const std::uint64_t count = pixel ? std::uint64_t{image.get_width()} * image.get_height() : 0;
    return zarn::is_opaque<format>(pixel, count) ? 0 : 1;
}

// Calls blend(image, from) with the held image and the source's, which is converted for the call where need be.
template <class Image, class Blend>
unsigned int blit_at_depth(zarn_image_8_16& holder, zarn_image_8_16& source, Blend blend) {
    using other = typename depth<Image>::other;
    Image* const image = access::held<Image>(holder);
    Image*& from = access::held<Image>(source);
    const other* const converted = access::held<other>(source);
    const bool attach = !from;
    if (!image || (attach && !can_convert(converted))) return 0;
    if (attach) {
        // Its own messages would name arrays that callers do not know of.
        zarn_list<wchar_t*> ignored;
        owned_image<Image> temporary(new (std::nothrow) Image);
        if (!temporary || !fill(*temporary, *converted, ignored)) {
            zarn::clear_errors(ignored);
            return fail_allocation(holder, depth<Image>::attached);
        }
        from = temporary.release();
    }
    const unsigned int result = blend(*image, *from);
    if (attach) release<Image>(source);
    return result;
}

// Calls call(image) with the held image, 8 bits before 16; its result for no image is 0 or nothing.
template <class Image8, class Image16, class Call>
auto forward(Image8* image_8, Image16* image_16, Call call) -> decltype(call(*image_8)) {
    if (image_8) return call(*image_8);
    return image_16 ? call(*image_16) : decltype(call(*image_8))();
}

template <class Image, class Call>
auto forward(Image* image, Call call) -> decltype(call(*image)) {
    return image ? call(*image) : decltype(call(*image))();
}

// ---- Files ---------------------------------------------------------------------------------------------------------

constexpr zarn::image_names loading_names(const wchar_t* image_class, const wchar_t* suffix, const wchar_t* array) {
    return {image_class, suffix, L"", array, L"", L"", L"", L"", L"", L"", L""};
}

// Ordinary files name the array of their depth. Native ones name the 8-bit array in both: hosts read it as it stands.
constexpr zarn::image_names names_8 = loading_names(L"zarn_image_8", L"8", depth<zarn_image_8>::held_array);
constexpr zarn::image_names names_16 = loading_names(L"zarn_image_16", L"16", depth<zarn_image_16>::held_array);
constexpr zarn::image_names native_names_16 = loading_names(L"zarn_image_16", L"16", depth<zarn_image_8>::held_array);

// Contents on their way from a file into a held image.
class loaded_contents {
public:
    loaded_contents(const zarn::image_names& names, unsigned int thread_limit)
        : state(names) {
        zarn::make_workers(state);
        zarn::set_thread_limit(state, thread_limit);
    }
    ~loaded_contents() {
        zarn::free_image(state);
        zarn::release_workers(state);
    }
    loaded_contents(const loaded_contents&) = delete;
    loaded_contents& operator=(const loaded_contents&) = delete;

    // Hands messages and pixels, if any, to the holder. False when the image for them cannot be allocated.
    template <class Image>
    bool hand_over(zarn_image_8_16& holder) {
        zarn::append_errors(access::errors(holder), state.errors);
        if (!state.pixels) return true;
        owned_image<Image> image = make_image<Image>(holder);
        if (!image) return false;
        image->create(state.width, state.height, state.origin, state.pixels, 0);
        state.pixels = nullptr;
        access::held<Image>(holder) = image.release();
        return true;
    }

    zarn::image_state state;
};

// Calls load(as_8, as_16) on an empty holder and takes what it leaves in either.
template <class Load>
unsigned int load_either(zarn_image_8_16& holder, const zarn::image_names& deep_names, Load load) {
    holder.free();
    loaded_contents as_8(names_8, holder.get_thread_limit());
    loaded_contents as_16(deep_names, holder.get_thread_limit());
    const unsigned int result = load(as_8.state, as_16.state);
    const bool held = as_8.hand_over<zarn_image_8>(holder) && as_16.hand_over<zarn_image_16>(holder);
    return held ? result : 0;
}

template <class Image>
unsigned int save_native(zarn_image_8_16& holder, Image& image, const wchar_t* path, bool compress) {
    zarn::image_state borrowed(names_8);
    borrowed.pixels = image.get_pixel_array();
    borrowed.width = image.get_width();
    borrowed.height = image.get_height();
    borrowed.origin = image.get_origin();
    const unsigned int result = zarn::save_rgba_binary<typename depth<Image>::format>(borrowed, path, compress);
    zarn::append_errors(access::errors(holder), borrowed.errors);
    zarn::clear_errors(borrowed.errors);
    return result;
}

} // namespace

// ---- Life cycle ----------------------------------------------------------------------------------------------------

zarn_image_8_16::zarn_image_8_16() = default;
zarn_image_8_16::~zarn_image_8_16() = default;

zarn_image_8_16::zarn_image_8_16(const zarn_image_8_16& other) { *this = other; }

zarn_image_8_16& zarn_image_8_16::operator=(const zarn_image_8_16& other) {
    if (this == &other) return *this;
    free();
    if (other.___image_8 && !hold_copy<zarn_image_8>(*this, *other.___image_8)) return *this;
    if (other.___image_16 && !hold_copy<zarn_image_16>(*this, *other.___image_16)) {
        release<zarn_image_8>(*this);
        return *this;
    }
    zarn::append_errors(___errors, other.___errors);
    return *this;
}

zarn_image_8_16::zarn_image_8_16(zarn_image_8_16&& other) noexcept { *this = std::move(other); }

zarn_image_8_16& zarn_image_8_16::operator=(zarn_image_8_16&& other) noexcept {
    if (this == &other) return *this;
    free();
    std::swap(___image_8, other.___image_8);
    std::swap(___image_16, other.___image_16);
    zarn::take_errors(___errors, other.___errors);
    set_thread_limit(___thread_limit);
    return *this;
}

void zarn_image_8_16::free() {
    release<zarn_image_8>(*this);
    release<zarn_image_16>(*this);
    zarn::clear_errors(___errors);
}

unsigned int zarn_image_8_16::create(const zarn_image_8& source, unsigned int type) {
    if (!source.is_valid()) {
        zarn::push_error(___errors, {L"Invalid zarn_image_8 parameter."});
        return 0;
    }
    return type > 1 ? fail_type(*this) : create_from(*this, source, type);
}

unsigned int zarn_image_8_16::create(const zarn_image_16& source, unsigned int type) {
    if (!source.is_valid()) {
        zarn::push_error(___errors, {L"Invalid zarn_image_16 parameter."});
        return 0;
    }
    return type > 1 ? fail_type(*this) : create_from(*this, source, type);
}

unsigned int zarn_image_8_16::create(const zarn_image_8_16& source, unsigned int type) {
    if (!source.is_valid()) {
        zarn::push_error(___errors, {L"Invalid zarn_image_8_16 parameter."});
        return 0;
    }
    if (type > 1) return fail_type(*this);
    if (this == &source) {
        zarn::clear_errors(___errors);
        return set_image_type(type);
    }
    return source.___image_8 ? create_from(*this, *source.___image_8, type)
                             : create_from(*this, *source.___image_16, type);
}

unsigned int zarn_image_8_16::create(unsigned int width, unsigned int height, unsigned int origin, unsigned int type,
                                     void* data, unsigned int copy) {
    if (type > 1) return fail_type(*this);
    return type == 0 ? create_anew<zarn_image_8>(*this, width, height, origin, data, copy)
                     : create_anew<zarn_image_16>(*this, width, height, origin, data, copy);
}

unsigned int zarn_image_8_16::set_image_type(unsigned int type) {
    if (type == get_image_type()) return 1;
    if (type > 1) return 0;
    return type == 0 ? convert_to<zarn_image_8>(*this) : convert_to<zarn_image_16>(*this);
}

void zarn_image_8_16::set_thread_limit(unsigned int limit) {
    ___thread_limit = limit;
    if (___image_8) ___image_8->set_thread_limit(limit);
    if (___image_16) ___image_16->set_thread_limit(limit);
}

unsigned int zarn_image_8_16::is_alpha() const {
    if (___image_8) return has_translucent_pixel(*___image_8);
    return ___image_16 ? has_translucent_pixel(*___image_16) : 0;
}

// ---- Files ---------------------------------------------------------------------------------------------------------

unsigned int zarn_image_8_16::save_binary(const wchar_t* path, unsigned int compress) {
    if (___image_8) return save_native(*this, *___image_8, path, compress != 0);
    return ___image_16 ? save_native(*this, *___image_16, path, compress != 0) : 0;
}

unsigned int zarn_image_8_16::load_binary(const wchar_t* path) {
    return load_either(*this, native_names_16, [path](zarn::image_state& as_8, zarn::image_state& as_16) {
        return zarn::load_rgba_binary(as_8, as_16, path);
    });
}

unsigned int zarn_image_8_16::load_file(const wchar_t* path) {
    return load_either(*this, names_16, [path](zarn::image_state& as_8, zarn::image_state& as_16) {
        return zarn::load_image_file(as_8, as_16, path);
    });
}

unsigned int zarn_image_8_16::load_file(const void* data, unsigned int size) {
    return load_either(*this, names_16, [data, size](zarn::image_state& as_8, zarn::image_state& as_16) {
        return zarn::load_image_memory(as_8, as_16, data, size);
    });
}

unsigned int zarn_image_8_16::load_clipboard(zarn_window_handle window) {
    return load_either(*this, names_16, [window](zarn::image_state& as_8, zarn::image_state&) {
        return zarn::load_clipboard<zarn::rgba_8>(as_8, window);
    });
}

// ---- Forwarded to what is held -------------------------------------------------------------------------------------

unsigned int zarn_image_8_16::is_valid() const {
    return forward(___image_8, ___image_16, [](auto& image) { return image.is_valid(); });
}

unsigned int zarn_image_8_16::get_width() const {
    return forward(___image_8, ___image_16, [](auto& image) { return image.get_width(); });
}

unsigned int zarn_image_8_16::get_height() const {
    return forward(___image_8, ___image_16, [](auto& image) { return image.get_height(); });
}

unsigned int zarn_image_8_16::get_origin() const {
    return forward(___image_8, ___image_16, [](auto& image) { return image.get_origin(); });
}

unsigned int zarn_image_8_16::set_origin(unsigned int origin) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.set_origin(origin); });
}

unsigned int zarn_image_8_16::save_file(const wchar_t* path, unsigned int format, unsigned int compression) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.save_file(path, format, compression); });
}

unsigned int zarn_image_8_16::crop(unsigned int x, unsigned int y, unsigned int width, unsigned int height) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.crop(x, y, width, height); });
}

unsigned int zarn_image_8_16::crop_to_pixels(unsigned int& left, unsigned int& top) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.crop_to_pixels(left, top); });
}

unsigned int zarn_image_8_16::flip_horizontal() {
    return forward(___image_8, ___image_16, [](auto& image) { return image.flip_horizontal(); });
}

unsigned int zarn_image_8_16::flip_vertical() {
    return forward(___image_8, ___image_16, [](auto& image) { return image.flip_vertical(); });
}

unsigned int zarn_image_8_16::resample(unsigned int width, unsigned int height, unsigned int mode) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.resample(width, height, mode); });
}

unsigned int zarn_image_8_16::rotate(double angle, unsigned int feather_edges) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.rotate(angle, feather_edges); });
}

unsigned int zarn_image_8_16::box_blur(unsigned int radius, unsigned int blur_colour, unsigned int blur_alpha) {
    return forward(___image_8, ___image_16,
                   [&](auto& image) { return image.box_blur(radius, blur_colour, blur_alpha); });
}

unsigned int zarn_image_8_16::gaussian_blur(float sigma, unsigned int fast, unsigned int blur_colour,
                                            unsigned int blur_alpha) {
    return forward(___image_8, ___image_16,
                   [&](auto& image) { return image.gaussian_blur(sigma, fast, blur_colour, blur_alpha); });
}

void zarn_image_8_16::exposure(float factor) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.exposure(factor); });
}

void zarn_image_8_16::brightness(float amount) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.brightness(amount); });
}

void zarn_image_8_16::contrast(float factor) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.contrast(factor); });
}

void zarn_image_8_16::gamma(float gamma) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.gamma(gamma); });
}

void zarn_image_8_16::sharpen(float amount) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.sharpen(amount); });
}

void zarn_image_8_16::grayscale() {
    return forward(___image_8, ___image_16, [](auto& image) { return image.grayscale(); });
}

void zarn_image_8_16::grayscale(float red_weight, float green_weight, float blue_weight) {
    return forward(___image_8, ___image_16,
                   [&](auto& image) { return image.grayscale(red_weight, green_weight, blue_weight); });
}

void zarn_image_8_16::negative(unsigned int invert_colour, unsigned int invert_alpha) {
    return forward(___image_8, ___image_16, [&](auto& image) { return image.negative(invert_colour, invert_alpha); });
}

void zarn_image_8_16::normalize() {
    return forward(___image_8, ___image_16, [](auto& image) { return image.normalize(); });
}

void zarn_image_8_16::auto_contrast() {
    return forward(___image_8, ___image_16, [](auto& image) { return image.auto_contrast(); });
}

// ---- Forwarded to the held image of 8 bits
// ----------------------------------------------------------------------------

const zarn_pixel_8_s& zarn_image_8_16::get_pixel_8(unsigned int x, unsigned int y) const {
    static const zarn_pixel_8_s transparent_black;
    return ___image_8 ? ___image_8->get_pixel(x, y) : transparent_black;
}

void zarn_image_8_16::set_pixel(unsigned int x, unsigned int y, const zarn_pixel_8_s& pixel) {
    if (___image_8) ___image_8->set_pixel(x, y, pixel);
}

const zarn_pixel_8_s* zarn_image_8_16::get_pixel_array_8() const {
    return ___image_8 ? std::as_const(*___image_8).get_pixel_array() : nullptr;
}

zarn_pixel_8_s* zarn_image_8_16::get_pixel_array_8() { return ___image_8 ? ___image_8->get_pixel_array() : nullptr; }

unsigned int zarn_image_8_16::resize_canvas_8(unsigned int width, unsigned int height, unsigned int position,
                                              const zarn_pixel_8_s& colour) {
    return forward(___image_8, [&](auto& image) { return image.resize_canvas(width, height, position, colour); });
}

unsigned int zarn_image_8_16::resize_canvas_8(unsigned int left, unsigned int right, unsigned int top,
                                              unsigned int bottom, const zarn_pixel_8_s& colour) {
    return forward(___image_8, [&](auto& image) { return image.resize_canvas(left, right, top, bottom, colour); });
}

void zarn_image_8_16::clear_8(const zarn_pixel_8_s& colour, unsigned int with_alpha) {
    return forward(___image_8, [&](auto& image) { return image.clear(colour, with_alpha); });
}

unsigned int zarn_image_8_16::expand_where_alpha_8(unsigned int iterations, std::uint8_t threshold,
                                                   unsigned int keep_alpha) {
    return forward(___image_8,
                   [&](auto& image) { return image.expand_where_alpha(iterations, threshold, keep_alpha); });
}

unsigned int zarn_image_8_16::blit_8(zarn_image_8_16& source, unsigned int source_x, unsigned int source_y,
                                     unsigned int width, unsigned int height, float opacity, int destination_x,
                                     int destination_y, unsigned int blend_mode, unsigned int flags,
                                     zarn_blend_callback_8 callback, void* user_data) {
    return blit_at_depth<zarn_image_8>(*this, source, [&](zarn_image_8& image, const zarn_image_8& from) {
        return image.blit(from, source_x, source_y, width, height, opacity, destination_x, destination_y, blend_mode,
                          flags, callback, user_data);
    });
}

// ---- Forwarded to the held image of 16 bits
// ---------------------------------------------------------------------------

const zarn_pixel_16_s& zarn_image_8_16::get_pixel_16(unsigned int x, unsigned int y) const {
    static const zarn_pixel_16_s transparent_black;
    return ___image_16 ? ___image_16->get_pixel(x, y) : transparent_black;
}

void zarn_image_8_16::set_pixel(unsigned int x, unsigned int y, const zarn_pixel_16_s& pixel) {
    if (___image_16) ___image_16->set_pixel(x, y, pixel);
}

const zarn_pixel_16_s* zarn_image_8_16::get_pixel_array_16() const {
    return ___image_16 ? std::as_const(*___image_16).get_pixel_array() : nullptr;
}

zarn_pixel_16_s* zarn_image_8_16::get_pixel_array_16() {
    return ___image_16 ? ___image_16->get_pixel_array() : nullptr;
}

unsigned int zarn_image_8_16::resize_canvas_16(unsigned int width, unsigned int height, unsigned int position,
                                               const zarn_pixel_16_s& colour) {
    return forward(___image_16, [&](auto& image) { return image.resize_canvas(width, height, position, colour); });
}

unsigned int zarn_image_8_16::resize_canvas_16(unsigned int left, unsigned int right, unsigned int top,
                                               unsigned int bottom, const zarn_pixel_16_s& colour) {
    return forward(___image_16, [&](auto& image) { return image.resize_canvas(left, right, top, bottom, colour); });
}

void zarn_image_8_16::clear_16(const zarn_pixel_16_s& colour, unsigned int with_alpha) {
    return forward(___image_16, [&](auto& image) { return image.clear(colour, with_alpha); });
}

unsigned int zarn_image_8_16::expand_where_alpha_16(unsigned int iterations, std::uint16_t threshold,
                                                    unsigned int keep_alpha) {
    return forward(___image_16,
                   [&](auto& image) { return image.expand_where_alpha(iterations, threshold, keep_alpha); });
}

unsigned int zarn_image_8_16::blit_16(zarn_image_8_16& source, unsigned int source_x, unsigned int source_y,
                                      unsigned int width, unsigned int height, float opacity, int destination_x,
                                      int destination_y, unsigned int blend_mode, unsigned int flags,
                                      zarn_blend_callback_16 callback, void* user_data) {
    return blit_at_depth<zarn_image_16>(*this, source, [&](zarn_image_16& image, const zarn_image_16& from) {
        return image.blit(from, source_x, source_y, width, height, opacity, destination_x, destination_y, blend_mode,
                          flags, callback, user_data);
    });
}
