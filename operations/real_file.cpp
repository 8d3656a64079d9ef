#include "operations/real_file.h"

#include <cmath>
#include <type_traits>

#include "core/owned_array.h"
#include "core/platform/named_lock.h"
#include "kernels/import_rows.h"
#include "kernels/low_bits.h"
#include "kernels/reals.h"
#include "operations/deep_files.h"
#include "operations/devil_load.h"
#include "operations/devil_messages.h"
#include "operations/frame.h"
#include "operations/image_save.h"
#include "operations/lifecycle.h"
#include "operations/real_forms.h"

namespace zarn {

namespace {

constexpr float to_light = 2.2f;
constexpr float to_display = 0.45454544f;

template <class Sample>
constexpr bool is_float = std::is_same_v<Sample, float>;

// ---- Loading -------------------------------------------------------------------------------------------------------

// What the samples of a bitmap are.
struct bitmap_traits {
    bool is_colour;
    bool is_encoded; // for display: integers
};

bitmap_traits traits_of(bitmap_type type) noexcept {
    switch (type) {
    case bitmap_type::grey_u16:
    case bitmap_type::grey_i16:
    case bitmap_type::grey_u32:
    case bitmap_type::grey_i32:
        return {false, true};
    case bitmap_type::grey_f32:
    case bitmap_type::grey_f64:
    case bitmap_type::complex_f64:
        return {false, false};
    case bitmap_type::rgb_f32:
    case bitmap_type::rgba_f32:
        return {true, false};
    default:
        return {true, true};
    }
}

// Pixels of four floats on their way into an image of either layout.
template <class Sample>
class pixel_sink {
public:
    pixel_sink(image_state& image, bool is_grayscale)
        : ___image(image)
        , ___is_grayscale(is_grayscale) {}

    // Stores a row, colours as their luma in a grayscale image; `colours` is changed.
    void store(std::uint32_t y, float* colours) noexcept {
        const std::uint64_t samples = std::uint64_t{___image.width} * (___is_grayscale ? 2 : 4);
        for (std::uint64_t x = 0; ___is_grayscale && x < ___image.width; ++x) {
            const float* const from = colours + x * 4;
            const bool is_grey = from[0] == from[1] && from[1] == from[2];
            const float value = is_grey ? from[0] : 0.299f * from[0] + 0.587f * from[1] + 0.114f * from[2];
            colours[x * 2 + 1] = from[3];
            colours[x * 2] = value;
        }
        convert_reals(colours, static_cast<Sample*>(___image.pixels) + y * samples, samples);
    }

private:
    image_state& ___image;
    bool ___is_grayscale;
};

template <class Sample>
bool allocate_reals(image_state& image, std::uint32_t width, std::uint32_t height, bool is_grayscale) noexcept {
    return allocate_contents(image, width, height, origin_upper_left, (is_grayscale ? 2 : 4) * sizeof(Sample));
}

// A row of four floats a pixel. Null, with the message pushed and the image empty, when memory is short.
owned_array<float> allocate_row(image_state& image) noexcept {
    owned_array<float> row = allocate_array<float>(std::uint64_t{image.width} * 4);
    if (!row) {
        release_pixels(image);
        fail_allocation(image, L"zarn_image_real_32::___pixel_d_array.");
    }
    return row;
}

template <class Sample>
unsigned int store_bitmap(image_state& image, real_flags& flags, const freeimage::bitmap& bitmap,
                          bool is_grayscale) noexcept {
    const bitmap_traits traits = traits_of(bitmap.type());
    if (!allocate_reals<Sample>(image, bitmap.width(), bitmap.height(), is_grayscale)) return 0;
    const owned_array<float> row = allocate_row(image);
    if (!row) return 0;
    const import_row<colour_real_32> convert = import_row_for<colour_real_32>(bitmap.type());
    pixel_sink<Sample> sink(image, is_grayscale);
    for (std::uint32_t y = 0; y < image.height; ++y) {
        convert(bitmap.row(memory_row(y, image.height, !bitmap.is_top_down())), row.get(), image.width, {});
        sink.store(y, row.get());
    }
    flags.is_grayscale = is_grayscale;
    flags.is_sRGB = traits.is_encoded;
    return 1;
}

template <class Sample>
unsigned int store_devil(image_state& image, real_flags& flags, devil_load& picture, bool is_grayscale) noexcept {
    const float* const floats = picture.floats(image);
    if (!floats || !allocate_reals<Sample>(image, picture.width(), picture.height(), is_grayscale)) return 0;
    const owned_array<float> row = allocate_row(image);
    if (!row) return 0;
    pixel_sink<Sample> sink(image, is_grayscale);
    const bool turned = picture.origin() == origin_lower_left;
    const std::uint64_t line = std::uint64_t{image.width} * 4;
    for (std::uint32_t y = 0; y < image.height; ++y) {
        const float* const from = floats + memory_row(y, image.height, turned) * line;
        std::copy(from, from + line, row.get());
        picture.restore_alpha(row.get(), y);
        sink.store(y, row.get());
    }
    flags.is_grayscale = is_grayscale;
    flags.is_sRGB = !picture.is_real();
    return 1;
}

// ---- Saving --------------------------------------------------------------------------------------------------------

// One pixel as four floats; a value stands for all three colours.
template <class Sample>
void read_pixel(const image_state& image, const real_flags& flags, std::uint64_t index, float (&rgba)[4]) noexcept {
    const auto* const pixels = static_cast<const Sample*>(image.pixels);
    if (flags.is_grayscale) {
        const Sample* const pixel = pixels + index * 2;
        rgba[0] = rgba[1] = rgba[2] = static_cast<float>(pixel[0]);
        rgba[3] = static_cast<float>(pixel[1]);
    } else {
        for (unsigned c = 0; c < 4; ++c) rgba[c] = static_cast<float>(pixels[index * 4 + c]);
    }
}

struct save_context {
    const image_state* image;
    const real_flags* flags;
};

template <class Sample>
void write_light(const void* context, std::uint32_t y, float* row, unsigned components) noexcept {
    const auto& [image, flags] = *static_cast<const save_context*>(context);
    for (std::uint32_t x = 0; x < image->width; ++x, row += components) {
        float rgba[4];
        read_pixel<Sample>(*image, *flags, std::uint64_t{y} * image->width + x, rgba);
        for (unsigned c = 0; c < components; ++c) row[c] = flags->is_sRGB ? std::pow(rgba[c], to_light) : rgba[c];
    }
}

// Packed pixels of `components` samples: floats, or bytes encoded for display.
template <class Sample, class Stored>
owned_array<Stored> packed_pixels(image_state& image, const real_flags& flags, unsigned components) noexcept {
    const std::uint64_t count = pixel_count(image);
    owned_array<Stored> packed = allocate_array<Stored>(count * components);
    if (!packed) {
        fail_allocation(image, L"zarn_image_real_32::___pixel_d_array.");
        return packed;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        float rgba[4];
        read_pixel<Sample>(image, flags, i, rgba);
        Stored* const to = packed.get() + i * components;
        for (unsigned c = 0; c < components; ++c) {
            if constexpr (std::is_same_v<Stored, float>) {
                to[c] = rgba[c];
            } else {
                to[c] = low_bits<Stored>((flags.is_sRGB ? rgba[c] : std::pow(rgba[c], to_display)) * 255.0f);
            }
        }
    }
    return packed;
}

// The messages of the texture call name the float class in both classes.
unsigned int fail_texture(image_state& image, devil::error error) noexcept {
    const image_names* const names = image.names;
    image.names = &real_class<float>::names;
    fail_devil(image, devil_call::texture, error);
    image.names = names;
    return 0;
}

template <class Stored>
unsigned int save_packed(image_state& image, const wchar_t* path, const owned_array<Stored>& packed,
                         devil::layout layout, unsigned int compression) noexcept {
    if (!packed) return 0;
    constexpr auto type = std::is_same_v<Stored, float> ? devil::sample_type::f32 : devil::sample_type::u8;
    devil::session session;
    const devil::error texture_error = session.texture(image.width, image.height, layout, type, packed.get());
    if (texture_error != devil::error::none) return fail_texture(image, texture_error);
    session.register_origin(origin_upper_left);
    choose_compression(session, compression);
    const devil::error save_error = session.save(path);
    return save_error == devil::error::none ? 1 : fail_devil(image, devil_call::save, save_error);
}

} // namespace

template <class Sample>
unsigned int load_real_file(image_state& image, real_flags& flags, const wchar_t* path, bool force_grayscale,
                            bool force_colour) noexcept {
    const named_lock lock(is_float<Sample> ? named_lock_id::real_32_load : named_lock_id::real_16_load);
    free_image(image);
    const auto is_grey = [&](bool is_colour) { return force_grayscale || (!force_colour && !is_colour); };
    if (const deep_format* format = deep_format_of(path)) {
        const freeimage::bitmap bitmap = load_bitmap(path, *format);
        if (bitmap && import_row_for<colour_real_32>(bitmap.type())) {
            return store_bitmap<Sample>(image, flags, bitmap, is_grey(traits_of(bitmap.type()).is_colour));
        }
    }
    devil_load picture(image, path);
    constexpr std::uint32_t grey_channels = 2;
    return picture ? store_devil<Sample>(image, flags, picture, is_grey(picture.components() > grey_channels)) : 0;
}

template <class Sample>
unsigned int save_real_file(image_state& image, const real_flags& flags, const wchar_t* path, unsigned int format,
                            unsigned int compression, bool bytes) noexcept {
    if (!has_pixels(image)) return 0;
    const named_lock lock(is_float<Sample> ? named_lock_id::real_32_save : named_lock_id::real_16_save);
    const save_context context{&image, &flags};
    if (is_float_file(path)) return save_float_file(image, path, format, {write_light<Sample>, &context, true});
    if (const devil::error unusable = devil::availability(); unusable != devil::error::none) {
        return fail_devil(image, devil_call::save, unusable);
    }
    if (bytes && format == 1) {
        return save_packed(image, path, packed_pixels<Sample, std::uint8_t>(image, flags, 3), devil::layout::rgb,
                           compression);
    }
    if (bytes && format == 2) {
        return save_packed(image, path, packed_pixels<Sample, std::uint8_t>(image, flags, 4), devil::layout::rgba,
                           compression);
    }
    return save_packed(image, path, packed_pixels<Sample, float>(image, flags, 4), devil::layout::rgba, compression);
}

#define ZARN_INSTANTIATE(sample)                                                                                       \
    template unsigned int load_real_file<sample>(image_state&, real_flags&, const wchar_t*, bool, bool) noexcept;      \
    template unsigned int save_real_file<sample>(image_state&, const real_flags&, const wchar_t*, unsigned int,        \
                                                 unsigned int, bool) noexcept;
ZARN_INSTANTIATE(float)
ZARN_INSTANTIATE(half_float::half)

} // namespace zarn
