#include "operations/image_save.h"

#include <cstdint>
#include <iterator>

#include "core/error_stack.h"
#include "core/freeimage.h"
#include "core/image_state.h"
#include "core/native_file.h"
#include "core/platform/files.h"
#include "kernels/export_rows.h"
#include "operations/devil_messages.h"
#include "operations/image_file_types.h"

namespace zarn {

namespace {

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

const float_format* float_format_of(const wchar_t* path) noexcept {
    for (const float_format& format : float_formats) {
        if (ends_with(path, format.ending)) return &format;
    }
    return nullptr;
}

unsigned int fail_float_save(image_state& image, const float_format& format, const wchar_t* reason) noexcept {
    push_error(image.errors, {L"Failed to save ", format.name, reason});
    return 0;
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
    choose_compression(session, compression);
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

bool is_float_file(const wchar_t* path) noexcept { return float_format_of(path) != nullptr; }

unsigned int save_float_file(image_state& image, const wchar_t* path, unsigned int code,
                             const float_rows& rows) noexcept {
    const float_format& format = *float_format_of(path);
    const float_layout* layout = format.first;
    while (layout != format.last && layout->code != code) ++layout;
    if (layout == format.last) return fail_float_save(image, format, L". Unsupported pixel format.");

    freeimage::bitmap bitmap = freeimage::bitmap::allocate(layout->type, image.width, image.height);
    if (!bitmap) return fail(image, L"Failed to allocate bitmap with FreeImage_AllocateT().");
    for (std::uint32_t y = 0; y < image.height; ++y) {
        // The first row of a bitmap is the bottom one.
        void* const row = bitmap.row(rows.top_row_first ? image.height - 1 - y : y);
        rows.write(rows.context, y, static_cast<float*>(row), layout->components);
    }
    if (!bitmap.save(format.format, path, layout->flags)) {
        return fail_float_save(image, format, L" using FreeImage_SaveU().");
    }
    return 1;
}

void choose_compression(devil::session& session, unsigned int compression) noexcept {
    if (compression - 1 < std::size(dxt_formats)) session.set_dxt(dxt_formats[compression - 1]);
}

template <class Format>
unsigned int save_image_file(image_state& image, const wchar_t* path, unsigned int format,
                             unsigned int compression) noexcept {
    if (!has_pixels(image)) return 0;
    if (is_float_file(path)) {
        const auto write = [](const void* context, std::uint32_t y, float* row, unsigned components) {
            const auto& state = *static_cast<const image_state*>(context);
            export_row<Format>(samples<Format>(state) + std::uint64_t{y} * state.width * channels<Format>, row,
                               state.width, components);
        };
        return save_float_file(image, path, format, {write, &image, image.origin == origin_upper_left});
    }
    if (!save_by_devil<Format>(image, path, format, compression)) return 0;
    if (ends_with(path, L"tga") && format == tga_alpha_code) mark_tga_alpha(path);
    return 1;
}

#define ZARN_INSTANTIATE(Format)                                                                                       \
    template unsigned int save_image_file<Format>(image_state&, const wchar_t*, unsigned int, unsigned int) noexcept;
ZARN_FOR_EACH_RGBA_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

} // namespace zarn
