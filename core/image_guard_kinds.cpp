#include "core/image_guard_kinds.h"

#include "core/image_guard_checks.h"

#include <cstddef>

namespace zarn {
namespace {

struct named_kind {
    const char* name;
    image_kind kind;
};

constexpr named_kind extensions[] = {
    {"blp", image_kind::refused},   {"bmp", image_kind::bmp},         {"bw", image_kind::sgi},
    {"cur", image_kind::icon},      {"cut", image_kind::refused},     {"dcm", image_kind::refused},
    {"dcx", image_kind::refused},   {"dds", image_kind::dds},         {"dib", image_kind::bmp},
    {"dicom", image_kind::refused}, {"dpx", image_kind::dpx},         {"fit", image_kind::fits},
    {"fits", image_kind::fits},     {"ftx", image_kind::ftx},         {"gif", image_kind::gif},
    {"ham", image_kind::refused},   {"hdr", image_kind::hdr},         {"icb", image_kind::tga},
    {"icns", image_kind::refused},  {"ico", image_kind::icon},        {"iff", image_kind::refused},
    {"ilbm", image_kind::refused},  {"im1", image_kind::sun},         {"im24", image_kind::sun},
    {"im32", image_kind::sun},      {"im8", image_kind::sun},         {"iwi", image_kind::refused},
    {"jfif", image_kind::jpeg},     {"jif", image_kind::jpeg},        {"jng", image_kind::mng},
    {"jpe", image_kind::jpeg},      {"jpeg", image_kind::jpeg},       {"jpg", image_kind::jpeg},
    {"lbm", image_kind::refused},   {"lif", image_kind::lif},         {"mdl", image_kind::refused},
    {"mng", image_kind::mng},       {"mp3", image_kind::refused},     {"pbm", image_kind::pnm},
    {"pcd", image_kind::refused},   {"pcx", image_kind::pcx},         {"pdd", image_kind::psd},
    {"pgm", image_kind::pnm},       {"pic", image_kind::refused},     {"pix", image_kind::pix},
    {"png", image_kind::png},       {"pnm", image_kind::pnm},         {"ppm", image_kind::pnm},
    {"psd", image_kind::psd},       {"psp", image_kind::refused},     {"pxr", image_kind::pxr},
    {"ras", image_kind::sun},       {"rgb", image_kind::sgi},         {"rgba", image_kind::sgi},
    {"rot", image_kind::refused},   {"rs", image_kind::sun},          {"sgi", image_kind::sgi},
    {"sun", image_kind::sun},       {"texture", image_kind::refused}, {"tga", image_kind::tga},
    {"tif", image_kind::tiff},      {"tiff", image_kind::tiff},       {"tpl", image_kind::refused},
    {"utx", image_kind::refused},   {"vda", image_kind::tga},         {"vst", image_kind::tga},
    {"vtf", image_kind::vtf},       {"wal", image_kind::wal},         {"wbmp", image_kind::wbmp},
    {"xpm", image_kind::refused},
};

constexpr named_kind freeimage_endings[] = {
    {"psd", image_kind::psd},  {"hdr", image_kind::hdr},   {"exr", image_kind::exr},
    {"tif", image_kind::tiff}, {"tiff", image_kind::tiff},
};

std::size_t length_of(const wchar_t* text) noexcept {
    std::size_t length = 0;
    while (text[length]) ++length;
    return length;
}

wchar_t lower(wchar_t c) noexcept { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c; }

bool same_text(const wchar_t* text, const char* name) noexcept {
    std::size_t i = 0;
    while (name[i] && lower(text[i]) == static_cast<wchar_t>(name[i])) ++i;
    return !name[i] && !text[i];
}

// Of the refused formats that DevIL knows by content: ICNS, ILBM, IWI, MDL, MP3, PIC, PSP, TPL.
bool has_refused_signature(byte_source& bytes) noexcept {
    return bytes.starts_with_letters(0, "icns") || bytes.starts_with(0, "FORM") || bytes.starts_with(0, "IWi") ||
           bytes.starts_with(0, "IDST") || bytes.starts_with(0, "ID3") || bytes.be32(0) == 0x5380f634 ||
           bytes.starts_with_letters(0, "paint shop pro") || bytes.be32(0) == 0x0020af30;
}

// PCX has no signature: the same test as DevIL's.
bool is_pcx_header(byte_source& bytes) noexcept {
    const std::uint32_t version = bytes.u8(1);
    const std::uint32_t line = bytes.le16(66);
    const std::uint32_t width = std::uint32_t(bytes.le16(8)) - bytes.le16(4) + 1;
    const bool known = version == 0 || version == 2 || version == 5 || bytes.le16(14) == 3 || bytes.le16(14) == 4;
    return bytes.u8(0) == 10 && known && bytes.u8(2) == 1 && (bytes.u8(3) < 8 || line == width + width % 2);
}

// Neither has TGA: the same test as DevIL's.
bool is_tga_header(byte_source& bytes) noexcept {
    const std::uint32_t type = bytes.u8(2);
    const std::uint32_t bits = bytes.u8(16);
    if (bytes.le16(12) == 0 || bytes.le16(14) == 0 || (bytes.u8(17) & 0x10) != 0) return false;
    return (type <= 3 || (type >= 9 && type <= 11)) && (bits == 15 || (bits % 8 == 0 && bits >= 8 && bits <= 32));
}

} // namespace

image_kind image_kind_of_extension(const wchar_t* path) noexcept {
    std::size_t start = length_of(path);
    while (start > 0 && path[start - 1] != L'.') --start;
    if (start == 0) return image_kind::unknown;
    for (const named_kind& entry : extensions)
        if (same_text(path + start, entry.name)) return entry.kind;
    return image_kind::unknown;
}

image_kind image_kind_of_ending(const wchar_t* path) noexcept {
    const std::size_t length = length_of(path);
    for (const named_kind& entry : freeimage_endings) {
        std::size_t size = 0;
        while (entry.name[size]) ++size;
        if (length >= size && same_text(path + length - size, entry.name)) return entry.kind;
    }
    return image_kind::unknown;
}

image_kind image_kind_of_content(byte_source& bytes) noexcept {
    if (bytes.starts_with(0, "\xff\xd8")) return image_kind::jpeg;
    if (bytes.starts_with(0, "DDS ")) return image_kind::dds;
    if (bytes.starts_with(0, "\x89PNG")) return image_kind::png;
    if (is_bmp_header(bytes) || is_os2_bmp_header(bytes)) return image_kind::bmp;
    if (bytes.starts_with_letters(0, "gif87a") || bytes.starts_with_letters(0, "gif89a")) return image_kind::gif;
    if (is_hdr_header(bytes)) return image_kind::hdr;
    if (has_refused_signature(bytes)) return image_kind::refused;
    if (bytes.starts_with_letters(0, "willy 7")) return image_kind::lif;
    if (is_pcx_header(bytes)) return image_kind::pcx;
    if (bytes.u8(0) == 'P' && bytes.u8(1) >= '1' && bytes.u8(1) <= '6') return image_kind::pnm;
    if (bytes.starts_with(0, "8BPS")) return image_kind::psd;
    if (is_sgi_header(bytes)) return image_kind::sgi;
    if (bytes.be32(0) == 0x59a66a95) return image_kind::sun;
    if (is_tiff_header(bytes)) return image_kind::tiff;
    if (bytes.starts_with(0, "VTF\0")) return image_kind::vtf;
    if (bytes.starts_with(0, "/* XPM */")) return image_kind::refused;
    return is_tga_header(bytes) ? image_kind::tga : image_kind::unknown;
}

} // namespace zarn
