// An image whose pixels take more than 2^32 bytes: every index and offset must be 64 bits wide.

#include <filesystem>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include <zarn/zarn.h>

#include "tests/support/temporary_folder.h"

namespace zarn_test {

namespace {

constexpr unsigned width = 40000, height = 30000;

// In the corners and beyond the first 2^32 bytes; every byte of a mark tells which it is.
constexpr unsigned marks[][2] = {{0, 0}, {width - 1, 0}, {0, height - 1}, {width - 1, height - 1}, {39998, 29990}};

void expect_pixel(const zarn_image_8& image, unsigned x, unsigned y, unsigned mark) {
    const zarn_pixel_8_s& p = image.get_pixel(x, y);
    EXPECT_TRUE(p.r == 10 + mark && p.g == 20 + mark && p.b == 30 + mark && p.a == 255)
        << mark << ": " << x << ' ' << y;
}

void expect_marks(const zarn_image_8& image, bool turned_x, bool turned_y) {
    for (unsigned i = 0; i < std::size(marks); ++i)
        expect_pixel(image, turned_x ? width - 1 - marks[i][0] : marks[i][0],
                     turned_y ? height - 1 - marks[i][1] : marks[i][1], i);
}

} // namespace

TEST(large_image, is_cleared_flipped_cropped_and_saved) {
    zarn_owned<zarn_image_8> image;
    ASSERT_EQ(image->create(width, height, ZARN_ORIGIN_LOWER_LEFT, nullptr, 1), 1u);
    const auto colour_of = [](unsigned mark) {
        const auto at = [mark](unsigned base) { return static_cast<std::uint8_t>(base + mark); };
        return zarn_pixel_8_s(at(10), at(20), at(30), 255);
    };
    image->clear(colour_of(9), 1);
    for (const unsigned y : {0u, 29999u}) expect_pixel(*image, 20000, y, 9);
    for (unsigned i = 0; i < std::size(marks); ++i) image->set_pixel(marks[i][0], marks[i][1], colour_of(i));
    ASSERT_EQ(image->flip_vertical(), 1u);
    expect_marks(*image, false, true);
    ASSERT_EQ(image->flip_horizontal(), 1u);
    expect_marks(*image, true, true);
    ASSERT_EQ(image->flip_vertical() + image->flip_horizontal(), 2u);
    // The library behind ordinary picture files counts bytes in 32 bits.
    zarn_initialize();
    const temporary_folder folder;
    EXPECT_EQ(image->save_file((folder / "large.tga").wstring().c_str(), 2, 0), 0u);
    EXPECT_EQ(image->get_error_stack()->get_count(), 1u);
    const std::wstring packed = (folder / "packed").wstring();
    ASSERT_EQ(image->save_binary(packed.c_str(), 1), 1u);
    ASSERT_EQ(image->load_binary(packed.c_str()), 1u);
    expect_marks(*image, false, false);
    constexpr std::uintmax_t raw_bytes = 20 + std::uintmax_t{4} * width * height;
    if (std::filesystem::space(folder / "").available > 2 * raw_bytes) {
        const std::filesystem::path raw = folder / "raw";
        ASSERT_EQ(image->save_binary(raw.wstring().c_str(), 0), 1u);
        EXPECT_EQ(std::filesystem::file_size(raw), raw_bytes);
        ASSERT_EQ(image->load_binary(raw.wstring().c_str()), 1u);
        expect_marks(*image, false, false);
    }

    ASSERT_EQ(image->crop(39000, 29000, 1000, 1000), 1u);
    expect_pixel(*image, 998, 990, 4);
    expect_pixel(*image, 999, 999, 3);
    expect_pixel(*image, 0, 0, 9);
}

} // namespace zarn_test
