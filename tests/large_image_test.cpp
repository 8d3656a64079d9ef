// An image whose pixels take more than 2^32 bytes: every index and offset must be 64 bits wide.

#include <filesystem>
#include <iterator>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <zarn/zarn.h>

#include "tests/support/temporary_folder.h"

namespace zarn_test {

namespace {

constexpr unsigned width = 40000;
constexpr unsigned height = 30000;

// Marks in the corners and beyond the first 2^32 bytes; every byte tells which mark it is.
const struct {
    unsigned x, y;
} marks[] = {{0, 0}, {width - 1, 0}, {0, height - 1}, {width - 1, height - 1}, {12345, 26900}, {39998, 29990}};

zarn_pixel_8_s colour_of(unsigned mark) {
    const auto shade = static_cast<std::uint8_t>(10 + mark);
    return {shade, static_cast<std::uint8_t>(shade * 2), static_cast<std::uint8_t>(shade * 3), 255};
}

bool is_same(const zarn_pixel_8_s& a, const zarn_pixel_8_s& b) {
    return a.r == b.r && a.g == b.g && a.b == b.b && a.a == b.a;
}

template <class Where>
void expect_marks(const zarn_image_8& image, Where where) {
    for (unsigned i = 0; i < std::size(marks); ++i) {
        const auto [x, y] = where(marks[i].x, marks[i].y);
        EXPECT_TRUE(is_same(image.get_pixel(x, y), colour_of(i))) << "mark " << i << " at " << x << ", " << y;
    }
}

using position = std::pair<unsigned, unsigned>;
position in_place(unsigned x, unsigned y) { return {x, y}; }

} // namespace

TEST(large_image, is_cleared_flipped_cropped_and_saved) {
    zarn_owned<zarn_image_8> image;
    ASSERT_EQ(image->create(width, height, ZARN_ORIGIN_LOWER_LEFT, nullptr, 1), 1u);
    image->clear({1, 2, 3, 4}, 1);
    EXPECT_TRUE(is_same(image->get_pixel(20000, 29999), {1, 2, 3, 4}));
    EXPECT_TRUE(is_same(image->get_pixel(20000, 0), {1, 2, 3, 4}));
    for (unsigned i = 0; i < std::size(marks); ++i) image->set_pixel(marks[i].x, marks[i].y, colour_of(i));

    ASSERT_EQ(image->flip_vertical(), 1u);
    expect_marks(*image, [](unsigned x, unsigned y) { return position(x, height - 1 - y); });
    ASSERT_EQ(image->flip_horizontal(), 1u);
    expect_marks(*image, [](unsigned x, unsigned y) { return position(width - 1 - x, height - 1 - y); });
    ASSERT_EQ(image->flip_vertical() + image->flip_horizontal(), 2u);

    const temporary_folder folder;
    const std::wstring packed = (folder / "packed").wstring();
    ASSERT_EQ(image->save_binary(packed.c_str(), 1), 1u);
    ASSERT_EQ(image->load_binary(packed.c_str()), 1u);
    expect_marks(*image, in_place);
    constexpr std::uintmax_t raw_bytes = 20 + std::uintmax_t{4} * width * height;
    if (std::filesystem::space(folder / "").available > 2 * raw_bytes) {
        const std::filesystem::path raw = folder / "raw";
        ASSERT_EQ(image->save_binary(raw.wstring().c_str(), 0), 1u);
        EXPECT_EQ(std::filesystem::file_size(raw), raw_bytes);
        ASSERT_EQ(image->load_binary(raw.wstring().c_str()), 1u);
        expect_marks(*image, in_place);
    }

    ASSERT_EQ(image->crop(39000, 29000, 1000, 1000), 1u);
    EXPECT_TRUE(is_same(image->get_pixel(998, 990), colour_of(5)));
    EXPECT_TRUE(is_same(image->get_pixel(999, 999), colour_of(3)));
    EXPECT_TRUE(is_same(image->get_pixel(0, 0), {1, 2, 3, 4}));
}

// The library behind ordinary picture files counts bytes in 32 bits.
TEST(large_image, sizes_beyond_the_import_library_are_refused_by_it) {
    zarn_initialize();
    zarn_owned<zarn_image_8> image;
    ASSERT_EQ(image->create(width, height, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1), 1u);
    const temporary_folder folder;
    EXPECT_EQ(image->save_file((folder / "large.tga").wstring().c_str(), 2, 0), 0u);
    EXPECT_EQ(image->get_error_stack()->get_count(), 1u);
}

} // namespace zarn_test
