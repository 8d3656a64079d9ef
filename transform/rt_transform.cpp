#include <zarn/rt_transform.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "core/image_names.h"
#include "core/image_state.h"
#include "kernels/nearest_transform.h"
#include "operations/frame.h"
#include "operations/turned_canvas.h"
#include "operations/value_forms.h"

namespace {

constexpr zarn::image_names engine_names(const wchar_t* record_suffix) {
    zarn::image_names names{};
    names.image_class = L"zarn_rt_transform";
    names.record_suffix = record_suffix;
    return names;
}

// By depth of an RGBA image, then by the forms of value images.
constexpr zarn::image_names rgba_8_engine = engine_names(L"8");
constexpr zarn::image_names rgba_16_engine = engine_names(L"16");
constexpr zarn::image_names value_engines[2 * zarn::image_type_count] = {
    engine_names(L"c8"), engine_names(L"c16"), engine_names(L"c32"),
    engine_names(L"g8"), engine_names(L"g16"), engine_names(L"g32"),
};

// Calls call(bytes) with the size of a pixel as a constant.
template <class Call>
auto with_pixel_bytes(std::uint64_t bytes, Call call) {
    switch (bytes) {
    case 1:
        return call(std::integral_constant<unsigned, 1>());
    case 2:
        return call(std::integral_constant<unsigned, 2>());
    case 4:
        return call(std::integral_constant<unsigned, 4>());
    default:
        return call(std::integral_constant<unsigned, 8>());
    }
}

struct extent {
    std::uint32_t width;
    std::uint32_t height;
    std::uint64_t count() const { return std::uint64_t{width} * height; }
};

std::uint32_t magnitude(int side) { return static_cast<std::uint32_t>(std::abs(std::int64_t{side})); }

// A capacity that holds `count` pixels, by doubling; 0 where 32 bits hold none.
std::uint64_t grown_capacity(std::uint64_t capacity, std::uint64_t count) {
    if (count > UINT32_MAX) return 0;
    if (capacity >= count) return capacity;
    while (capacity && capacity < count) capacity *= 2;
    return capacity <= UINT32_MAX ? capacity : 0;
}

std::uint32_t capacity_in_32_bits(std::uint64_t capacity) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(capacity, UINT32_MAX));
}

struct turn {
    extent from;
    extent canvas;
    double cosine;
    double sine;
};

// False for a canvas that 32-bit sides do not hold, and for an angle that is not finite.
bool find_canvas(turn& how, double angle) {
    how.cosine = std::cos(angle);
    how.sine = std::sin(angle);
    const zarn::canvas_size size = zarn::turned_canvas(how.from.width, how.from.height, how.cosine, how.sine);
    if (!(size.width >= 1.0 && size.width <= UINT32_MAX && size.height >= 1.0 && size.height <= UINT32_MAX)) {
        return false;
    }
    how.canvas = {static_cast<std::uint32_t>(size.width), static_cast<std::uint32_t>(size.height)};
    return true;
}

// Whether a copy of a path found the memory it needs.
bool is_copy(const zarn_bezier_path& copy, const zarn_bezier_path& path) {
    return copy.get_knot_count() == path.get_knot_count() && copy.get_vertex_count() == path.get_vertex_count();
}

void scale(const void* source, extent from, void* destination, extent to, bool mirror_x, bool mirror_y,
           std::uint64_t pixel_bytes) {
    const zarn::scale_job job{
        {source, destination, from.width, from.height, to.width, to.height, false}, mirror_x, mirror_y};
    with_pixel_bytes(pixel_bytes, [&](auto bytes) { zarn::scale_nearest_rows<bytes>(job, {0, to.height}); });
}

// Rows of bands that never ran are 0.
void rotate(const void* source, void* destination, const turn& how, zarn::operation_bands& bands,
            std::uint64_t pixel_bytes) {
    const zarn::canvas_offset offset = zarn::turned_offset(how.from.width, how.from.height, how.cosine, how.sine);
    const zarn::rotate_job job{
        {source, destination, how.from.width, how.from.height, how.canvas.width, how.canvas.height, false},
        how.cosine,
        how.sine,
        offset.x,
        offset.y};
    const std::uint32_t ran_until =
        with_pixel_bytes(pixel_bytes, [&](auto bytes) { return bands.run(job, zarn::rotate_nearest_rows<bytes>); });
    const std::uint64_t row_bytes = how.canvas.width * pixel_bytes;
    std::memset(static_cast<unsigned char*>(destination) + ran_until * row_bytes, 0,
                static_cast<std::size_t>((how.canvas.height - ran_until) * row_bytes));
}

} // namespace

// ---- Life cycle ----------------------------------------------------------------------------------------------------

zarn_rt_transform::zarn_rt_transform()
    : ___image(nullptr)
    , ___holder(nullptr)
    , ___path(nullptr)
    , ___original_pixels(nullptr)
    , ___names(nullptr)
    , ___origin(0)
    , ___original_width(0)
    , ___original_height(0)
    , ___pixel_bytes(0)
    , ___original_path(nullptr)
    , ___temp_pixel_buffer(nullptr)
    , ___temp_pixel_capacity(0)
    , ___transforming(0)
    , ___context(rgba_8_engine) {
    zarn::make_workers(___context);
}

zarn_rt_transform::~zarn_rt_transform() {
    ___forget();
    zarn::free_image(___context);
    zarn::release_workers(___context);
}

unsigned int zarn_rt_transform::is_valid() const { return ___original_pixels || ___original_path ? 1 : 0; }

void zarn_rt_transform::set_thread_limit(unsigned int limit) { zarn::set_thread_limit(___context, limit); }

unsigned int zarn_rt_transform::get_thread_limit() const { return zarn::thread_limit(___context); }

// Ends a check-in; the object stays as it is.
void zarn_rt_transform::___forget() {
    ___image = nullptr;
    ___holder = nullptr;
    ___path = nullptr;
    zarn::release_pixel_array(___original_pixels);
    ___original_pixels = nullptr;
    delete ___original_path;
    ___original_path = nullptr;
    ___original_width = ___original_height = 0;
    zarn::release_pixel_array(___temp_pixel_buffer);
    ___temp_pixel_buffer = nullptr;
    ___temp_pixel_capacity = 0;
}

unsigned int zarn_rt_transform::___fail_allocation() {
    return zarn::fail(___context, L"Function zarn_rt_transform::___allocate_image_pixels() returned FALSE.");
}

// ---- Check-in ------------------------------------------------------------------------------------------------------

unsigned int zarn_rt_transform::checkin_image(zarn_image_8& image) {
    return ___checkin(&image.___state, nullptr, sizeof(zarn_pixel_8_s), rgba_8_engine);
}

unsigned int zarn_rt_transform::checkin_image(zarn_image_16& image) {
    return ___checkin(&image.___state, nullptr, sizeof(zarn_pixel_16_s), rgba_16_engine);
}

unsigned int zarn_rt_transform::checkin_image(zarn_image_8_16& image) {
    if (image.___image_8) return ___checkin(___held_by(image), &image, sizeof(zarn_pixel_8_s), rgba_8_engine);
    return ___checkin(___held_by(image), &image, sizeof(zarn_pixel_16_s), rgba_16_engine);
}

unsigned int zarn_rt_transform::checkin_image(zarn_image_channel& image) {
    return ___checkin_values(static_cast<zarn_depth_image&>(image).___state);
}

unsigned int zarn_rt_transform::checkin_image(zarn_image_grayscale& image) {
    return ___checkin_values(static_cast<zarn_depth_image&>(image).___state);
}

unsigned int zarn_rt_transform::___checkin_values(zarn::image_state& image) {
    return ___checkin(&image, nullptr, zarn::value_pixel_bytes(image), value_engines[image.names - zarn::form_names]);
}

unsigned int zarn_rt_transform::checkin_image(zarn_bezier_path& path) {
    if (!path.is_valid()) return 0;
    std::unique_ptr<zarn_bezier_path> kept(new (std::nothrow) zarn_bezier_path(path));
    if (!kept || !is_copy(*kept, path)) {
        return zarn::fail_allocation(___context, L"zarn_rt_transform::___original_pixels.");
    }
    ___forget();
    ___original_path = kept.release();
    ___path = &path;
    return 1;
}

// Null when nothing is held.
zarn::image_state* zarn_rt_transform::___held_by(zarn_image_8_16& holder) {
    if (holder.___image_8) return &holder.___image_8->___state;
    return holder.___image_16 ? &holder.___image_16->___state : nullptr;
}

unsigned int zarn_rt_transform::___checkin(zarn::image_state* image, zarn_image_8_16* holder, std::uint64_t pixel_bytes,
                                           const zarn::image_names& names) {
    if (!image || !zarn::has_pixels(*image)) return 0;
    const std::uint64_t count = zarn::pixel_count(*image);
    zarn::owned_pixels kept(zarn::allocate_pixels(count, pixel_bytes));
    if (!kept) return zarn::fail_allocation(___context, L"zarn_rt_transform::___original_pixels.");
    std::memcpy(kept.get(), image->pixels, static_cast<std::size_t>(count * pixel_bytes));
    ___forget();
    ___image = holder ? nullptr : image;
    ___holder = holder;
    ___original_pixels = kept.release();
    ___names = image->names;
    ___origin = image->origin;
    ___original_width = image->width;
    ___original_height = image->height;
    ___pixel_bytes = pixel_bytes;
    ___context.names = &names;
    image->capacity = capacity_in_32_bits(count);
    return 1;
}

// ---- Transform -----------------------------------------------------------------------------------------------------

// What a holder holds is looked up anew each time: a conversion replaces it.
zarn::image_state* zarn_rt_transform::___checked_in_image() const {
    return ___holder ? ___held_by(*___holder) : ___image;
}

unsigned int zarn_rt_transform::transform(int width, int height, double angle) {
    if (___transforming.exchange(1)) return 0;
    const unsigned int result =
        ___path ? ___transform_path(width, height, angle) : ___transform_image(width, height, angle);
    ___transforming.store(0);
    return result;
}

bool zarn_rt_transform::___allocate_temp_pixels(std::uint64_t count) {
    if (___temp_pixel_capacity >= count) return true;
    const std::uint64_t capacity = grown_capacity(___temp_pixel_capacity ? ___temp_pixel_capacity : 2, count);
    zarn::release_pixel_array(___temp_pixel_buffer); // scratch: nothing in it is worth the memory of both
    ___temp_pixel_buffer = capacity ? zarn::allocate_pixels(capacity, ___pixel_bytes) : nullptr;
    ___temp_pixel_capacity = ___temp_pixel_buffer ? capacity_in_32_bits(capacity) : 0;
    return ___temp_pixel_buffer;
}

unsigned int zarn_rt_transform::___transform_image(int width, int height, double angle) {
    zarn::image_state* const image = ___checked_in_image();
    if (!image || image->names != ___names) return 0;
    if (!width || !height) {
        image->width = image->height = 0;
        return 1;
    }
    const extent original{___original_width, ___original_height};
    const extent target{magnitude(width), magnitude(height)};
    const bool is_resized =
        width < 0 || height < 0 || target.width != original.width || target.height != original.height;
    const bool is_turned = !(angle >= 0.0 && angle <= 0.0);
    turn how{target, target, 1.0, 0.0};
    if (is_turned && !find_canvas(how, ___origin == zarn::origin_lower_left ? -angle : angle)) {
        return ___fail_allocation();
    }

    // All that can fail comes first, so that a failure changes nothing.
    const std::uint64_t before = zarn::pixel_capacity(*image);
    const std::uint64_t capacity = grown_capacity(before, how.canvas.count());
    zarn::owned_pixels fresh(capacity > before ? zarn::allocate_pixels(capacity, ___pixel_bytes) : nullptr);
    if (!capacity || (capacity > before && !fresh)) return ___fail_allocation();
    if (is_resized && is_turned && !___allocate_temp_pixels(target.count())) return ___fail_allocation();
    zarn::operation_bands bands;
    if (is_turned) {
        bands = zarn::operation_bands(___context, L"rt_rotate", 0, how.canvas.height,
                                      zarn::one_band_unless_rows_abound(___context, how.canvas.height));
        if (!bands) return 0;
    }

    void* const pixels = fresh ? fresh.get() : image->pixels;
    void* const scaled = is_turned ? ___temp_pixel_buffer : pixels;
    if (is_resized) scale(___original_pixels, original, scaled, target, width < 0, height < 0, ___pixel_bytes);
    if (is_turned) {
        rotate(is_resized ? scaled : ___original_pixels, pixels, how, bands, ___pixel_bytes);
    } else if (!is_resized) {
        std::memcpy(pixels, ___original_pixels, static_cast<std::size_t>(original.count() * ___pixel_bytes));
    }
    if (fresh) {
        const std::uint64_t used = how.canvas.count() * ___pixel_bytes;
        std::memset(static_cast<unsigned char*>(pixels) + used, 0,
                    static_cast<std::size_t>(capacity * ___pixel_bytes - used));
        zarn::install_pixels(*image, fresh.release(), how.canvas.width, how.canvas.height);
    }
    image->capacity = capacity_in_32_bits(capacity);
    image->origin = ___origin;
    image->width = how.canvas.width;
    image->height = how.canvas.height;
    return 1;
}

// Makes the path what was kept; 0 without memory for that.
unsigned int zarn_rt_transform::___restore_path() {
    ___path->copy(*___original_path, 1);
    return is_copy(*___path, *___original_path) ? 1 : ___fail_allocation();
}

unsigned int zarn_rt_transform::___transform_path(int width, int height, double angle) {
    zarn_bezier_path& path = *___path;
    if (!width || !height) {
        path.free();
        return 1;
    }
    if (!std::isfinite(angle)) return ___fail_allocation();
    if (!___restore_path()) return 0;
    const bool is_turned = angle < 0.0 || angle > 0.0;
    if (width == 1 && height == 1 && !is_turned) return 1;
    const auto rebuild = [&path] { path.build_vertex_list(1.0); };
    if (width < 0) {
        path.flip_horizontal();
        rebuild();
    }
    if (height < 0) {
        path.flip_vertical();
        rebuild();
    }
    if (width != 1 || height != 1) { // mirrors too
        path.scale(static_cast<float>(magnitude(width)), static_cast<float>(magnitude(height)));
        rebuild();
    }
    if (is_turned) {
        path.rotate(angle);
        rebuild();
    }
    // Knots make vertices, unless memory is short.
    return path.get_knot_count() < 2 || path.get_vertex_count() ? 1 : ___fail_allocation();
}

// ---- Check-out -----------------------------------------------------------------------------------------------------

unsigned int zarn_rt_transform::checkout_image() {
    if (___path) {
        if (!___restore_path()) return 0;
        ___forget();
        return 1;
    }
    zarn::image_state* image = ___checked_in_image();
    if (___holder && image && image->names != ___names) image = nullptr;
    if (image) {
        zarn::install_pixels(*image, ___original_pixels, ___original_width, ___original_height);
        image->names = ___names; // a value image may have been converted
        image->origin = ___origin;
        ___original_pixels = nullptr;
    }
    ___forget();
    return image ? 1 : 0;
}
