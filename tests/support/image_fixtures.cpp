#include "tests/support/image_fixtures.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>

namespace zarn_test {

fixture_colour fixture_pixel(unsigned int x, unsigned int y) {
    const unsigned int column = x % 16;
    const unsigned int row = y % 16;
    return {static_cast<std::uint8_t>(17 * column), static_cast<std::uint8_t>(17 * row),
            static_cast<std::uint8_t>(17 * ((column + row) % 16)),
            static_cast<std::uint8_t>(255 - 17 * (column ^ row))};
}

std::uint8_t fixture_grey(unsigned int x, unsigned int y) { return static_cast<std::uint8_t>(16 * (y % 16) + x % 16); }

bool fixture_white(unsigned int x, unsigned int y) { return (x + 2 * y) % 3 == 0; }

namespace {

[[noreturn]] void give_up(const std::string& what) {
    std::fprintf(stderr, "image fixtures: %s\n", what.c_str());
    std::abort();
}

// A bitmap whose samples `put` writes, given the row's first sample (row 0 at the top), the column and the row.
template <class Sample, class Put>
bitmap_ptr make_bitmap(FREE_IMAGE_TYPE type, int bits, Put put) {
    bitmap_ptr bitmap(FreeImage_AllocateT(type, fixture_width, fixture_height, bits));
    if (!bitmap) give_up("no bitmap");
    for (unsigned int y = 0; y < fixture_height; ++y) {
        for (unsigned int x = 0; x < fixture_width; ++x) put(row_of<Sample>(bitmap, y), x, y);
    }
    return bitmap;
}

bitmap_ptr make_palette(bool coloured) {
    auto bitmap =
        make_bitmap<BYTE>(FIT_BITMAP, 8, [](BYTE* row, unsigned x, unsigned y) { row[x] = fixture_grey(x, y); });
    RGBQUAD* entries = FreeImage_GetPalette(bitmap.get());
    for (unsigned int i = 0; i < 256; ++i) {
        const auto c = fixture_pixel(i % 16, i / 16);
        const auto grey = static_cast<BYTE>(i);
        entries[i].rgbRed = coloured ? c.r : grey;
        entries[i].rgbGreen = coloured ? c.g : grey;
        entries[i].rgbBlue = coloured ? c.b : grey;
    }
    return bitmap;
}

bitmap_ptr make_white() {
    auto bitmap = make_bitmap<BYTE>(FIT_BITMAP, 1, [](BYTE* row, unsigned x, unsigned y) {
        if (fixture_white(x, y)) row[x / 8] = BYTE(row[x / 8] | (0x80 >> (x % 8)));
    });
    RGBQUAD* entries = FreeImage_GetPalette(bitmap.get());
    entries[0].rgbRed = entries[0].rgbGreen = entries[0].rgbBlue = 0;
    entries[1].rgbRed = entries[1].rgbGreen = entries[1].rgbBlue = 255;
    return bitmap;
}

bitmap_ptr make_colour(int bits) {
    return make_bitmap<BYTE>(FIT_BITMAP, bits, [bits](BYTE* row, unsigned x, unsigned y) {
        const auto c = fixture_pixel(x, y);
        BYTE* p = row + x * unsigned(bits / 8);
        p[FI_RGBA_BLUE] = c.b;
        p[FI_RGBA_GREEN] = c.g;
        p[FI_RGBA_RED] = c.r;
        if (bits == 32) p[FI_RGBA_ALPHA] = c.a;
    });
}

bitmap_ptr make_complex() {
    return make_bitmap<FICOMPLEX>(FIT_COMPLEX, 0, [](FICOMPLEX* row, unsigned x, unsigned y) {
        row[x].r = fixture_grey(x, y) / 255.0;
        row[x].i = 1.0 - row[x].r;
    });
}

// One sample a pixel, the grey value; or three or four, in the order red, green, blue, alpha; scaled.
template <class Sample>
bitmap_ptr make_samples(FREE_IMAGE_TYPE type, unsigned int samples, double factor) {
    return make_bitmap<Sample>(type, 0, [samples, factor](Sample* row, unsigned x, unsigned y) {
        const auto c = fixture_pixel(x, y);
        const std::uint8_t values[4] = {samples == 1 ? fixture_grey(x, y) : c.r, c.g, c.b, c.a};
        for (unsigned int i = 0; i < samples; ++i) row[x * samples + i] = static_cast<Sample>(values[i] * factor);
    });
}

std::vector<std::uint8_t> encode(FREE_IMAGE_FORMAT format, FIBITMAP* bitmap, int flags) {
    FIMEMORY* memory = FreeImage_OpenMemory();
    BYTE* bytes = nullptr;
    DWORD size = 0;
    if (!FreeImage_SaveToMemory(format, bitmap, memory, flags) || !FreeImage_AcquireMemory(memory, &bytes, &size))
        give_up("cannot write format " + std::to_string(format));
    std::vector<std::uint8_t> result(bytes, bytes + size);
    FreeImage_CloseMemory(memory);
    return result;
}

void add_freeimage_fixtures(std::vector<image_fixture>& list) {
    using content = fixture_content;
    using sample = fixture_sample;
    const auto white = make_white();
    const auto grey = make_palette(false);
    const auto palette = make_palette(true);
    const auto rgb = make_colour(24);
    const auto rgba = make_colour(32);
    const auto u16 = make_samples<WORD>(FIT_UINT16, 1, 257);
    const auto i16 = make_samples<std::int16_t>(FIT_INT16, 1, 128);
    const auto u32 = make_samples<DWORD>(FIT_UINT32, 1, 16843009);
    const auto i32 = make_samples<std::int32_t>(FIT_INT32, 1, 8421504);
    const auto f32 = make_samples<float>(FIT_FLOAT, 1, 1 / 255.0);
    const auto f64 = make_samples<double>(FIT_DOUBLE, 1, 1 / 255.0);
    const auto c128 = make_complex();
    const auto rgb_u16 = make_samples<WORD>(FIT_RGB16, 3, 257);
    const auto rgba_u16 = make_samples<WORD>(FIT_RGBA16, 4, 257);
    const auto rgb_f32 = make_samples<float>(FIT_RGBF, 3, 1 / 255.0);
    const auto rgba_f32 = make_samples<float>(FIT_RGBAF, 4, 1 / 255.0);

    const auto add = [&list](const char* name, FREE_IMAGE_FORMAT format, const bitmap_ptr& bitmap, int flags,
                             content kind, sample depth, bool exact = true) {
        const std::string text = name;
        list.push_back({text, text.substr(0, text.find('_')), kind, depth, exact, encode(format, bitmap.get(), flags)});
    };
    struct depth_8 {
        const char* name;
        const bitmap_ptr& bitmap;
        content kind;
    };
    const depth_8 shallow[] = {{"white", white, content::white},
                               {"grey", grey, content::grey},
                               {"palette", palette, content::rgb},
                               {"rgb", rgb, content::rgb},
                               {"rgba", rgba, content::rgba}};
    for (const auto& [extension, format] :
         {std::pair("png_", FIF_PNG), {"bmp_", FIF_BMP}, {"tga_", FIF_TARGA}, {"tif_", FIF_TIFF}}) {
        for (const depth_8& one : shallow) {
            if (one.kind == content::white && format == FIF_TARGA) continue; // has no pixels of one bit
            if (one.kind == content::rgba && format == FIF_BMP) continue;    // made by hand
            add((std::string(extension) + one.name).c_str(), format, one.bitmap, 0, one.kind, sample::u8);
        }
    }
    add("png_rgba_interlaced", FIF_PNG, rgba, PNG_INTERLACED, content::rgba, sample::u8);
    add("png_grey_u16", FIF_PNG, u16, 0, content::grey, sample::u16);
    add("png_rgb_u16", FIF_PNG, rgb_u16, 0, content::rgb, sample::u16);
    add("png_rgba_u16", FIF_PNG, rgba_u16, 0, content::rgba, sample::u16);
    add("bmp_palette_rle", FIF_BMP, palette, BMP_SAVE_RLE, content::rgb, sample::u8);
    add("tga_rgba_rle", FIF_TARGA, rgba, TARGA_SAVE_RLE, content::rgba, sample::u8);

    add("jpg_grey", FIF_JPEG, grey, 95, content::grey, sample::u8, false);
    add("jpg_rgb", FIF_JPEG, rgb, 95, content::rgb, sample::u8, false);
    add("jpg_rgb_progressive", FIF_JPEG, rgb, 95 | JPEG_PROGRESSIVE, content::rgb, sample::u8, false);

    add("tif_rgb_raw", FIF_TIFF, rgb, TIFF_NONE, content::rgb, sample::u8);
    add("tif_rgb_packbits", FIF_TIFF, rgb, TIFF_PACKBITS, content::rgb, sample::u8);
    add("tif_rgb_deflate", FIF_TIFF, rgb, TIFF_ADOBE_DEFLATE, content::rgb, sample::u8);
    add("tif_u16", FIF_TIFF, u16, 0, content::grey, sample::u16);
    add("tif_i16", FIF_TIFF, i16, 0, content::grey, sample::i16);
    add("tif_u32", FIF_TIFF, u32, 0, content::grey, sample::u32);
    add("tif_i32", FIF_TIFF, i32, 0, content::grey, sample::i32);
    add("tif_f32", FIF_TIFF, f32, 0, content::grey, sample::f32);
    add("tif_f64", FIF_TIFF, f64, 0, content::grey, sample::f64);
    add("tif_c128", FIF_TIFF, c128, 0, content::grey, sample::c128);
    add("tif_rgb_u16", FIF_TIFF, rgb_u16, 0, content::rgb, sample::u16);
    add("tif_rgba_u16", FIF_TIFF, rgba_u16, 0, content::rgba, sample::u16);
    add("tif_rgb_f32", FIF_TIFF, rgb_f32, 0, content::rgb, sample::f32);
    add("tif_rgba_f32", FIF_TIFF, rgba_f32, 0, content::rgba, sample::f32);

    add("exr_grey_f16", FIF_EXR, f32, EXR_PIZ, content::grey, sample::f16);
    add("exr_rgb_f16", FIF_EXR, rgb_f32, EXR_PIZ, content::rgb, sample::f16);
    add("exr_rgba_f16", FIF_EXR, rgba_f32, EXR_PIZ, content::rgba, sample::f16);
    add("exr_grey_f32", FIF_EXR, f32, EXR_PIZ | EXR_FLOAT, content::grey, sample::f32);
    add("exr_rgb_f32", FIF_EXR, rgb_f32, EXR_PIZ | EXR_FLOAT, content::rgb, sample::f32);
    add("exr_rgba_f32", FIF_EXR, rgba_f32, EXR_PIZ | EXR_FLOAT, content::rgba, sample::f32);
    add("exr_rgba_f32_zip", FIF_EXR, rgba_f32, EXR_ZIP | EXR_FLOAT, content::rgba, sample::f32);
    add("exr_rgba_f32_raw", FIF_EXR, rgba_f32, EXR_NONE | EXR_FLOAT, content::rgba, sample::f32);
    add("hdr_rgbe", FIF_HDR, rgb_f32, 0, content::rgb, sample::rgbe, false);

    add("gif_palette", FIF_GIF, palette, 0, content::rgb, sample::u8);
    add("pgm_grey", FIF_PGMRAW, grey, PNM_SAVE_RAW, content::grey, sample::u8);
    add("pgm_grey_text", FIF_PGM, grey, PNM_SAVE_ASCII, content::grey, sample::u8);
    add("ppm_rgb", FIF_PPMRAW, rgb, PNM_SAVE_RAW, content::rgb, sample::u8);
    add("ppm_rgb_text", FIF_PPM, rgb, PNM_SAVE_ASCII, content::rgb, sample::u8);
    add("wbmp_white", FIF_WBMP, white, 0, content::white, sample::u8);
}

} // namespace

const std::vector<image_fixture>& image_fixtures() {
    static const std::vector<image_fixture> list = [] {
        std::vector<image_fixture> made;
        add_freeimage_fixtures(made);
        add_fixtures_by_hand(made);
        return made;
    }();
    return list;
}

const image_fixture& image_fixture_named(const std::string& name) {
    for (const image_fixture& fixture : image_fixtures())
        if (fixture.name == name) return fixture;
    give_up("no fixture " + name);
}

} // namespace zarn_test
