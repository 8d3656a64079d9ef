// The checks of the byte guard, one per file format: true when a decoder may be handed the bytes.
#pragma once

#include "core/image_guard.h"

#include <cstdint>

namespace zarn {

// The pixels of a raw picture cannot be more than the file holds. Packed pixels have no such bound: a picture may claim
// this many bytes whatever the file's size, and beyond them 1400 bytes for each of the file's (LZW reaches 1360,
// deflate 1032, the other codings far less).
constexpr std::uint64_t packed_allowance = 16u << 20;
constexpr std::uint64_t packed_ratio = 1400;

inline bool is_plausible_packed(std::uint64_t pixel_bytes, std::uint64_t file_size) noexcept {
    return pixel_bytes <= packed_allowance || (pixel_bytes - packed_allowance) / packed_ratio <= file_size;
}

// A picture that has pixels and whose bytes, decoded and after the conversion to four samples, can be counted in 32
// bits.
inline bool is_countable(std::uint64_t width, std::uint64_t height, std::uint64_t pixel_bytes) noexcept {
    constexpr std::uint64_t most = 0xffffffff;
    if (width == 0 || height == 0 || width > most || height > most) return false;
    return width <= most / height && width * height <= most / (pixel_bytes < 4 ? 4 : pixel_bytes);
}

// Headers of formats whose signature alone says too little; the same tests as DevIL's.
bool is_bmp_header(byte_source& bytes) noexcept;
bool is_hdr_header(byte_source& bytes) noexcept;
bool is_os2_bmp_header(byte_source& bytes) noexcept;
bool is_sgi_header(byte_source& bytes) noexcept;
bool is_tiff_header(byte_source& bytes) noexcept;

// Files and parts inside another file.
bool has_sound_psd_resources(byte_source& bytes, std::uint64_t offset, std::uint64_t end,
                             image_decoder decoder) noexcept;
bool is_sound_exif(byte_source& bytes, std::uint64_t offset, std::uint64_t size) noexcept;
// Small, whole, without notes of its own.
bool is_sound_thumbnail_jpeg(byte_source& bytes, std::uint64_t offset, std::uint64_t size) noexcept;
// `size` becomes that of the whole PNG file.
bool is_sound_png_at(byte_source& bytes, std::uint64_t offset, std::uint64_t& size) noexcept;

bool is_sound_bmp(byte_source& bytes) noexcept;
bool is_sound_dds(byte_source& bytes) noexcept;
bool is_sound_dpx(byte_source& bytes) noexcept;
bool is_sound_exr(byte_source& bytes) noexcept;
bool is_sound_fits(byte_source& bytes) noexcept;
bool is_sound_ftx(byte_source& bytes) noexcept;
bool is_sound_gif(byte_source& bytes) noexcept;
bool is_sound_hdr(byte_source& bytes) noexcept;
bool is_sound_icon(byte_source& bytes) noexcept;
bool is_sound_jpeg(byte_source& bytes) noexcept;
bool is_sound_lif(byte_source& bytes) noexcept;
bool is_sound_mng(byte_source& bytes) noexcept;
bool is_sound_pcx(byte_source& bytes) noexcept;
bool is_sound_pix(byte_source& bytes) noexcept;
bool is_sound_png(byte_source& bytes) noexcept;
bool is_sound_pnm(byte_source& bytes) noexcept;
bool is_sound_psd(byte_source& bytes, image_decoder decoder) noexcept;
bool is_sound_pxr(byte_source& bytes) noexcept;
bool is_sound_sgi(byte_source& bytes) noexcept;
bool is_sound_sun(byte_source& bytes) noexcept;
bool is_sound_tga(byte_source& bytes) noexcept;
bool is_sound_tiff(byte_source& bytes, image_decoder decoder) noexcept;
bool is_sound_vtf(byte_source& bytes) noexcept;
bool is_sound_wal(byte_source& bytes) noexcept;
bool is_sound_wbmp(byte_source& bytes) noexcept;

} // namespace zarn
