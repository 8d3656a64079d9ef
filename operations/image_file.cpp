#include "operations/image_file.h"

#include <cstdint>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <iterator>
#include <type_traits>

#include "core/devil.h"
#include "core/error_stack.h"
#include "core/freeimage.h"
#include "core/image_guard.h"
#include "core/image_state.h"
#include "core/native_file.h"
#include "core/platform/files.h"
#include "core/platform/native_path.h"
#include "core/psd_alpha.h"
#include "kernels/export_rows.h"
#include "kernels/import_rows.h"
#include "operations/devil_messages.h"
#include "operations/frame.h"
#include "operations/lifecycle.h"
#include "operations/tone.h"

namespace zarn {

namespace {

// ---- What the ending of a path decides -----------------------------------------------------------------------------

bool ends_with(const wchar_t* path, const wchar_t* ending) noexcept {
    if (!path) return false;
    const std::size_t length = std::wcslen(path);
    const std::size_t ending_length = std::wcslen(ending);
    return length >= ending_length && std::wcscmp(path + length - ending_length, ending) == 0;
}

// What FreeImage loads.
struct deep_format {
    const wchar_t* ending;
    freeimage::file_format format;
    bool standard_bitmaps; // false: those are left to DevIL
};

constexpr deep_format deep_formats[] = {
    {L"psd", freeimage::file_format::psd, false},  {L"hdr", freeimage::file_format::hdr, true},
    {L"exr", freeimage::file_format::exr, true},   {L"tif", freeimage::file_format::tiff, true},
    {L"tiff", freeimage::file_format::tiff, true},
};

const deep_format* deep_format_of(const wchar_t* path) noexcept {
    for (const deep_format& format : deep_formats) {
        if (ends_with(path, format.ending)) return &format;
    }
    return nullptr;
}

// What FreeImage saves, by format code.
struct float_layout {
    unsigned int code;
    bitmap_type type;
    unsigned components;
    int flags;
};

constexpr float_layout exr_layouts[] = {
    {7, bitmap_type::rgb_f32, 3, freeimage::exr_half_samples},
    {8, bitmap_type::rgba_f32, 4, freeimage::exr_half_samples},
    {9, bitmap_type::grey_f32, 1, freeimage::exr_half_samples},
    {10, bitmap_type::rgb_f32, 3, freeimage::exr_float_samples},
    {11, bitmap_type::rgba_f32, 4, freeimage::exr_float_samples},
    {12, bitmap_type::grey_f32, 1, freeimage::exr_float_samples},
};
constexpr float_layout hdr_layouts[] = {{10, bitmap_type::rgb_f32, 3, 0}};

struct float_format {
    const wchar_t* ending;
    const wchar_t* name;
    freeimage::file_format format;
    const float_layout* first;
    const float_layout* last;
};

constexpr float_format float_formats[] = {
    {L"exr", L"EXR", freeimage::file_format::exr, std::begin(exr_layouts), std::end(exr_layouts)},
    {L"hdr", L"HDR", freeimage::file_format::hdr, std::begin(hdr_layouts), std::end(hdr_layouts)},
};

// What DevIL converts to before a save, by format code; other codes save the pixels as they are.
struct file_layout {
    devil::layout layout;
    devil::sample_type type;
};

constexpr file_layout file_layouts[] = {
    {devil::layout::luminance, devil::sample_type::u8}, {devil::layout::rgb, devil::sample_type::u8},
    {devil::layout::rgba, devil::sample_type::u8},      {devil::layout::rgb, devil::sample_type::u16},
    {devil::layout::rgba, devil::sample_type::u16},
};

// The code under which a TGA keeps its rows and tells of its alpha; under others its rows are turned over.
constexpr unsigned int tga_alpha_code = 2;

// By compression code less 1; other codes keep DevIL's default.
constexpr devil::dxt dxt_formats[] = {devil::dxt::dxt1, devil::dxt::dxt3, devil::dxt::dxt5};

// The sample type in which DevIL hands over or takes an image of a format.
template <class Format>
constexpr devil::sample_type devil_type() noexcept {
    using sample = sample_of<Format>;
    if (std::is_floating_point_v<sample>) return devil::sample_type::f32;
    if (sizeof(sample) == 1) return devil::sample_type::u8;
    return sizeof(sample) == 2 ? devil::sample_type::u16 : devil::sample_type::u32;
}

// ---- Loading -------------------------------------------------------------------------------------------------------

// Whether something that is no directory stands at a path that did not open: a decoder must not try it again, for a
// pipe or a device could keep it waiting for ever, and a file would go past the guard.
bool is_unreadable(const wchar_t* path) noexcept {
    const native_path native(path);
    if (!native.get()) return native.is_lost();
    try {
        std::error_code ignored;
        const std::filesystem::file_status status = std::filesystem::status(native.get(), ignored);
        return std::filesystem::exists(status) && !std::filesystem::is_directory(status);
    } catch (...) {
        return true; // no memory for the path
    }
}

// Whether there is a file that FreeImage may look at.
bool is_fit_for_freeimage(const wchar_t* path) noexcept {
    const owned_file file(open_file(path, file_access::read));
    if (!file) return false;
    byte_source bytes(file.get());
    return guard_image(bytes, image_decoder::freeimage, path) == guard_verdict::accepted;
}

// The bitmap of a file that FreeImage is to load; none where the load is DevIL's.
freeimage::bitmap load_bitmap(const wchar_t* path, const deep_format& format) noexcept {
    if (!is_fit_for_freeimage(path)) return {};
    if (!format.standard_bitmaps) {
        using content = freeimage::bitmap::content;
        const freeimage::bitmap header = freeimage::bitmap::load(format.format, path, content::header);
        if (!header || header.type() == bitmap_type::standard) return {};
    }
    freeimage::bitmap bitmap = freeimage::bitmap::load(format.format, path);
    if (bitmap && bitmap.type() == bitmap_type::standard) bitmap = bitmap.to_32_bits();
    return bitmap;
}

enum class outcome : std::uint8_t { failed, succeeded, left_to_devil };

template <class Format>
outcome load_by_freeimage(image_state& image, const wchar_t* path, const deep_format& format) noexcept {
    const freeimage::bitmap bitmap = load_bitmap(path, format);
    const import_row<Format> convert = bitmap ? import_row_for<Format>(bitmap.type()) : nullptr;
    if (!convert) return outcome::left_to_devil;
    const std::uint32_t origin = bitmap.is_top_down() ? origin_upper_left : origin_lower_left;
    if (!allocate_contents(image, bitmap.width(), bitmap.height(), origin, pixel_bytes<Format>)) return outcome::failed;
    sample_of<Format>* pixels = samples<Format>(image);
    for (std::uint32_t y = 0; y < image.height; ++y) {
        convert(bitmap.row(y), pixels, image.width, {});
        pixels += static_cast<std::uint64_t>(image.width) * channels<Format>;
    }
    return outcome::succeeded;
}

// Colour samples that stand for light, as those of high-range pictures do.
bool is_linear(const devil::session& session) noexcept {
    constexpr std::uint32_t colours = 3;
    switch (session.type()) {
    case devil::sample_type::f16:
        return session.bits_per_pixel() >= colours * 16;
    case devil::sample_type::f32:
        return session.bits_per_pixel() >= colours * 32;
    case devil::sample_type::f64:
        return session.bits_per_pixel() >= colours * 64;
    default:
        return false;
    }
}

// `load` loads into a session; `linear` tells whether its samples were linear.
template <class Format, class Load>
unsigned int load_by_devil(image_state& image, const Load& load, bool& linear) noexcept {
    static_assert(channels<Format> == 4, "DevIL hands over red, green, blue and alpha");
    devil::session session;
    const devil::error load_error = load(session);
    if (load_error != devil::error::none) return fail_devil(image, devil_call::load, load_error);
    linear = is_linear(session);
    const devil::error convert_error = session.convert(devil::layout::rgba, devil_type<Format>());
    if (convert_error != devil::error::none) return fail_devil(image, devil_call::convert, convert_error);
    const std::uint64_t bytes = static_cast<std::uint64_t>(session.width()) * session.height() * pixel_bytes<Format>;
    const void* data = session.data(bytes);
    if (!data || !allocate_contents(image, session.width(), session.height(), session.origin(), pixel_bytes<Format>))
        return 0;
    std::memcpy(image.pixels, data, static_cast<std::size_t>(bytes));
    return 1;
}

// Puts the alpha of the file into a picture that DevIL decoded from it, where that is known to be wrong.
template <class Format>
void restore_psd_alpha(image_state& image, byte_source& bytes) noexcept {
    psd_plane plane{};
    if (!find_raw_psd_alpha(bytes, plane) || plane.width != image.width || plane.height != image.height) return;
    std::uint64_t offset = plane.offset;
    for (std::uint32_t y = 0; y < image.height; ++y) {
        const std::uint64_t row = memory_row(y, image.height, is_lower_left(image));
        sample_of<Format>* pixel = samples<Format>(image) + row * image.width * channels<Format>;
        for (std::uint32_t x = 0; x < image.width; ++x, pixel += channels<Format>, offset += plane.sample_bytes) {
            const std::uint32_t alpha = plane.sample_bytes == 1 ? bytes.u8(offset) * 257u : bytes.be16(offset);
            pixel[Format::colours] = static_cast<sample_of<Format>>(sizeof(*pixel) == 1 ? alpha >> 8 : alpha);
        }
    }
}

unsigned int fail_guard(image_state& image, guard_verdict verdict) noexcept {
    if (verdict == guard_verdict::refused_type) {
        return fail_devil(image, devil_call::load, devil::error::invalid_extension);
    }
    return fail_devil(image, devil_call::load, L"Damaged file.");
}

} // namespace

template <class Format>
unsigned int load_image_file(image_state& image, const wchar_t* path) noexcept {
    free_image(image);
    if (const deep_format* format = deep_format_of(path)) {
        const outcome result = load_by_freeimage<Format>(image, path, *format);
        if (result != outcome::left_to_devil) return result == outcome::succeeded ? 1 : 0;
    }
    if (const devil::error unusable = devil::availability(); unusable != devil::error::none) {
        return fail_devil(image, devil_call::load, unusable);
    }
    // Kept open until the end, so that what the guard saw is what the alpha is taken from.
    const owned_file file(open_file(path, file_access::read));
    if (file) {
        byte_source bytes(file.get());
        const guard_verdict verdict = guard_image(bytes, image_decoder::devil, path);
        if (verdict != guard_verdict::accepted) return fail_guard(image, verdict);
    } else if (is_unreadable(path)) {
        return fail_devil(image, devil_call::load, devil::error::could_not_open_file);
    }
    bool linear = false;
    const auto load = [path](devil::session& session) { return session.load(path); };
    if (!load_by_devil<Format>(image, load, linear)) return 0;
    if (file) {
        byte_source bytes(file.get());
        restore_psd_alpha<Format>(image, bytes);
    }
    if (linear) adjust_tone<Format>(image, tone_curve::gamma, 2.2f);
    return 1;
}

template <class Format>
unsigned int load_image_memory(image_state& image, const void* data, unsigned int size) noexcept {
    free_image(image);
    if (const devil::error unusable = devil::availability(); unusable != devil::error::none) {
        return fail_devil(image, devil_call::load, unusable);
    }
    if (data && size > 0) {
        byte_source bytes(data, size);
        const guard_verdict verdict = guard_image(bytes, image_decoder::devil, nullptr);
        if (verdict != guard_verdict::accepted) return fail_guard(image, verdict);
    }
    bool linear = false;
    const auto load = [data, size](devil::session& session) { return session.load(data, size); };
    if (!load_by_devil<Format>(image, load, linear)) return 0;
    byte_source bytes(data, size);
    restore_psd_alpha<Format>(image, bytes);
    return 1;
}

// ---- Saving --------------------------------------------------------------------------------------------------------

namespace {

unsigned int fail_float_save(image_state& image, const float_format& format, const wchar_t* reason) noexcept {
    push_error(image.errors, {L"Failed to save ", format.name, reason});
    return 0;
}

template <class Format>
unsigned int save_by_freeimage(image_state& image, const wchar_t* path, const float_format& format,
                               unsigned int code) noexcept {
    const float_layout* layout = format.first;
    while (layout != format.last && layout->code != code) ++layout;
    if (layout == format.last) return fail_float_save(image, format, L". Unsupported pixel format.");

    freeimage::bitmap bitmap = freeimage::bitmap::allocate(layout->type, image.width, image.height);
    if (!bitmap) return fail(image, L"Failed to allocate bitmap with FreeImage_AllocateT().");
    const bool upper_left = image.origin == origin_upper_left;
    const sample_of<Format>* pixels = samples<Format>(static_cast<const image_state&>(image));
    for (std::uint32_t y = 0; y < image.height; ++y) {
        // The first row of a bitmap is the bottom one.
        void* row = bitmap.row(upper_left ? image.height - 1 - y : y);
        export_row<Format>(pixels, static_cast<float*>(row), image.width, layout->components);
        pixels += static_cast<std::uint64_t>(image.width) * channels<Format>;
    }
    if (!bitmap.save(format.format, path, layout->flags)) {
        return fail_float_save(image, format, L" using FreeImage_SaveU().");
    }
    return 1;
}

// DevIL writes 0 into the descriptor of a TGA: no alpha bits. A file that does not open again stays as it is.
void mark_tga_alpha(const wchar_t* path) noexcept {
    constexpr std::uint64_t descriptor_offset = 17;
    constexpr int eight_alpha_bits_lower_left = 8;
    const owned_file file(open_file(path, file_access::update));
    if (file && seek_file(file.get(), descriptor_offset)) std::fputc(eight_alpha_bits_lower_left, file.get());
}

template <class Format>
unsigned int save_by_devil(image_state& image, const wchar_t* path, unsigned int format,
                           unsigned int compression) noexcept {
    static_assert(channels<Format> == 4, "DevIL takes red, green, blue and alpha");
    if (const devil::error unusable = devil::availability(); unusable != devil::error::none) {
        return fail_devil(image, devil_call::save, unusable);
    }
    devil::session session;
    const devil::error texture_error =
        session.texture(image.width, image.height, devil::layout::rgba, devil_type<Format>(), image.pixels);
    if (texture_error != devil::error::none) return fail_devil(image, devil_call::texture, texture_error);
    session.register_origin(image.origin);
    if (compression - 1 < std::size(dxt_formats)) session.set_dxt(dxt_formats[compression - 1]);
    if (format < std::size(file_layouts)) {
        const devil::error convert_error = session.convert(file_layouts[format].layout, file_layouts[format].type);
        if (convert_error != devil::error::none) return fail_devil(image, devil_call::convert, convert_error);
    }
    if (ends_with(path, L"tga") && format != tga_alpha_code) session.flip();
    const devil::error save_error = session.save(path);
    if (save_error != devil::error::none) return fail_devil(image, devil_call::save, save_error);
    return 1;
}

} // namespace

template <class Format>
unsigned int save_image_file(image_state& image, const wchar_t* path, unsigned int format,
                             unsigned int compression) noexcept {
    if (!has_pixels(image)) return 0;
    for (const float_format& float_file : float_formats) {
        if (ends_with(path, float_file.ending)) return save_by_freeimage<Format>(image, path, float_file, format);
    }
    if (!save_by_devil<Format>(image, path, format, compression)) return 0;
    if (ends_with(path, L"tga") && format == tga_alpha_code) mark_tga_alpha(path);
    return 1;
}

#define ZARN_INSTANTIATE(Format)                                                                                       \
    template unsigned int load_image_file<Format>(image_state&, const wchar_t*) noexcept;                              \
    template unsigned int load_image_memory<Format>(image_state&, const void*, unsigned int) noexcept;                 \
    template unsigned int save_image_file<Format>(image_state&, const wchar_t*, unsigned int, unsigned int) noexcept;
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

} // namespace zarn
