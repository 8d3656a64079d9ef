#include "operations/deep_files.h"

#include "core/image_guard.h"
#include "core/native_file.h"
#include "core/platform/files.h"
#include "operations/image_file_types.h"

namespace zarn {

namespace {

constexpr deep_format deep_formats[] = {
    {L"psd", freeimage::file_format::psd, false, true},  {L"hdr", freeimage::file_format::hdr, true, false},
    {L"exr", freeimage::file_format::exr, true, false},  {L"tif", freeimage::file_format::tiff, true, true},
    {L"tiff", freeimage::file_format::tiff, true, true},
};

} // namespace

const deep_format* deep_format_of(const wchar_t* path) noexcept {
    for (const deep_format& format : deep_formats) {
        if (ends_with(path, format.ending)) return &format;
    }
    return nullptr;
}

bool is_fit_for_freeimage(const wchar_t* path) noexcept {
    const owned_file file(open_file(path, file_access::read));
    if (!file) return false;
    byte_source bytes(file.get());
    return guard_image(bytes, image_decoder::freeimage, path) == guard_verdict::accepted;
}

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

} // namespace zarn
