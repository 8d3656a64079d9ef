// Small valid image files of every common format, all showing one picture, made in memory at first use.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <FreeImage.h>

#include "tests/support/temporary_folder.h"

namespace zarn_test {

// The picture: 23 x 17 pixels (rows of no round length), at most 256 colours, each colour a function of (x % 16, y %
// 16).
constexpr unsigned int fixture_width = 23;
constexpr unsigned int fixture_height = 17;

struct fixture_colour {
    std::uint8_t r, g, b, a;
};

// The picture's colour at column `x` of row `y`, row 0 at the top. Files without alpha hold r, g, b alone.
fixture_colour fixture_pixel(unsigned int x, unsigned int y);
// What the files of a single sample hold: 16 * (y % 16) + x % 16.
std::uint8_t fixture_grey(unsigned int x, unsigned int y);
// What the files of one bit hold: true is white.
bool fixture_white(unsigned int x, unsigned int y);

// Which of the three functions above a file's pixels come from.
enum class fixture_content : std::uint8_t { white, grey, rgb, rgba };

// How a sample v of 0..255 stands in the file.
enum class fixture_sample : std::uint8_t {
    u8,   // v (palette files: the entry's r, g, b)
    u16,  // v * 257
    i16,  // v * 128
    u32,  // v * 16843009
    i32,  // v * 8421504
    f16,  // v / 255 rounded to half precision
    f32,  // v / 255
    f64,  // v / 255
    c128, // real part v / 255, imaginary part 1 - v / 255, both of double precision
    rgbe, // v / 255 with a shared exponent: within 1 % of the largest of the three samples
};

struct image_fixture {
    std::string name;      // unique, starts with the extension: "png_rgba_u16", "tif_rgbf"
    std::string extension; // lower case, without the dot
    fixture_content content;
    fixture_sample sample;
    bool exact; // false: lossy or reduced colours (JPEG, block compression, RGBE)
    std::vector<std::uint8_t> bytes;
};

// All fixtures. The first call makes them with FreeImage or by hand; it starts no thread.
const std::vector<image_fixture>& image_fixtures();

// The fixture called `name`; ends the program when there is none.
const image_fixture& image_fixture_named(const std::string& name);

// A bitmap of FreeImage's own.
struct unload_bitmap {
    void operator()(FIBITMAP* bitmap) const { FreeImage_Unload(bitmap); }
};
using bitmap_ptr = std::unique_ptr<FIBITMAP, unload_bitmap>;

// Row y counted from the top.
template <class Stored>
Stored* row_of(const bitmap_ptr& bitmap, unsigned y) {
    const unsigned last = FreeImage_GetHeight(bitmap.get()) - 1;
    return reinterpret_cast<Stored*>(FreeImage_GetScanLine(bitmap.get(), static_cast<int>(last - y)));
}

// What image_fixtures() is made of: formats that are written byte by byte.
void add_fixtures_by_hand(std::vector<image_fixture>& list);

} // namespace zarn_test
