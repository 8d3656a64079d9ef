#include "core/image_guard.h"

#include "core/image_guard_checks.h"
#include "core/image_guard_kinds.h"
#include "core/platform/files.h"

namespace zarn {

byte_source::byte_source(std::FILE* file) noexcept
    : ___file(file)
    , ___view(___window) {
    if (!___file || !file_size(___file, ___size)) ___size = 0;
}

byte_source::byte_source(const void* data, std::uint64_t size) noexcept
    : ___size(data ? size : 0)
    , ___view(static_cast<const std::uint8_t*>(data))
    , ___view_size(___size) {}

std::uint8_t byte_source::u8_elsewhere(std::uint64_t offset) noexcept {
    if (offset >= ___size || !___file) return 0;
    ___view_start = offset / sizeof(___window) * sizeof(___window);
    ___view_size = seek_file(___file, ___view_start) ? std::fread(___window, 1, sizeof(___window), ___file) : 0;
    return offset - ___view_start < ___view_size ? ___window[offset - ___view_start] : std::uint8_t(0);
}

std::uint16_t byte_source::le16(std::uint64_t offset) noexcept {
    return static_cast<std::uint16_t>(u8(offset) | u8(offset + 1) << 8);
}

std::uint16_t byte_source::be16(std::uint64_t offset) noexcept {
    return static_cast<std::uint16_t>(u8(offset) << 8 | u8(offset + 1));
}

std::uint32_t byte_source::le32(std::uint64_t offset) noexcept {
    return le16(offset) | static_cast<std::uint32_t>(le16(offset + 2)) << 16;
}

std::uint32_t byte_source::be32(std::uint64_t offset) noexcept {
    return static_cast<std::uint32_t>(be16(offset)) << 16 | be16(offset + 2);
}

namespace {

bool is_sound(byte_source& bytes, image_kind kind, image_decoder decoder) noexcept {
    switch (kind) {
    case image_kind::bmp:
        return is_sound_bmp(bytes);
    case image_kind::dds:
        return is_sound_dds(bytes);
    case image_kind::dpx:
        return is_sound_dpx(bytes);
    case image_kind::exr:
        return is_sound_exr(bytes);
    case image_kind::fits:
        return is_sound_fits(bytes);
    case image_kind::ftx:
        return is_sound_ftx(bytes);
    case image_kind::gif:
        return is_sound_gif(bytes);
    case image_kind::hdr:
        return is_sound_hdr(bytes);
    case image_kind::icon:
        return is_sound_icon(bytes);
    case image_kind::jpeg:
        return is_sound_jpeg(bytes);
    case image_kind::lif:
        return is_sound_lif(bytes);
    case image_kind::mng:
        return is_sound_mng(bytes);
    case image_kind::pcx:
        return is_sound_pcx(bytes);
    case image_kind::pix:
        return is_sound_pix(bytes);
    case image_kind::png:
        return is_sound_png(bytes);
    case image_kind::pnm:
        return is_sound_pnm(bytes);
    case image_kind::psd:
        return is_sound_psd(bytes, decoder);
    case image_kind::pxr:
        return is_sound_pxr(bytes);
    case image_kind::sgi:
        return is_sound_sgi(bytes);
    case image_kind::sun:
        return is_sound_sun(bytes);
    case image_kind::tga:
        return is_sound_tga(bytes);
    case image_kind::tiff:
        return is_sound_tiff(bytes, decoder);
    case image_kind::vtf:
        return is_sound_vtf(bytes);
    case image_kind::wal:
        return is_sound_wal(bytes);
    case image_kind::wbmp:
        return is_sound_wbmp(bytes);
    case image_kind::refused:
        return false;
    case image_kind::unknown:
        return true; // the decoder will not know it either
    }
    return false;
}

} // namespace

guard_verdict guard_image(byte_source& bytes, image_decoder decoder, const wchar_t* path) noexcept {
    image_kind kind = image_kind::unknown;
    if (path) kind = decoder == image_decoder::devil ? image_kind_of_extension(path) : image_kind_of_ending(path);
    if (kind == image_kind::unknown && decoder == image_decoder::devil) kind = image_kind_of_content(bytes);
    if (kind == image_kind::refused) return guard_verdict::refused_type;
    return is_sound(bytes, kind, decoder) ? guard_verdict::accepted : guard_verdict::damaged;
}

} // namespace zarn
