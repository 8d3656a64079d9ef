// Pictures from the clipboard of a real X server: of a program of its own, and of owners that do what they should not.

#include <chrono>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include <zarn/image_8_16.h>
#include <zarn/lifecycle.h>
#include <zarn/owned.h>

#include "core/image_state.h"
#include "operations/clipboard.h"
#include "operations/frame.h"
#include "tests/support/clipboard_partners.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_fixtures.h"
#include "tests/support/image_traits.h"

namespace zarn_test {

namespace {

using texts = std::vector<std::wstring>;
using milliseconds = std::chrono::milliseconds;

const texts not_opened = {L"Failed to open clipboard with OpenClipboard()."};
const texts no_picture = {L"No BITMAP found in clipboard."};
const texts no_bits = {L"Failed to get bitmap bits using GetDIBits()."};
const texts damaged = {L"Failed to load image using ilLoadImage(). Damaged file."};

const byte_vector& fixture(const char* name) { return image_fixture_named(name).bytes; }

// What a clipboard image of the picture of the fixtures holds.
template <class Image>
reference_image opaque_fixture(fixture_content content = fixture_content::rgb) {
    constexpr std::uint64_t full = image_traits<Image>::full;
    reference_image picture = image_traits<Image>::blank(fixture_width, fixture_height, upper_left);
    for (unsigned i = 0; i < fixture_width * fixture_height; ++i) {
        const unsigned x = i % fixture_width, y = i / fixture_width;
        const fixture_colour c = fixture_pixel(x, y);
        const std::uint8_t grey = fixture_grey(x, y);
        const bool in_colour = content != fixture_content::grey;
        const std::uint8_t samples[] = {in_colour ? c.r : grey, in_colour ? c.g : grey, in_colour ? c.b : grey, 255};
        for (unsigned s = 0; s < 4; ++s) {
            picture.samples[i * 4 + s] = static_cast<std::uint32_t>(samples[s] * (full / 255));
        }
    }
    return picture;
}

template <class Image>
class clipboard : public ::testing::Test {
protected:
    void SetUp() override {
        if (!is_installed("Xvfb")) GTEST_SKIP() << "no Xvfb on this machine: tools/setup --test installs it";
        ASSERT_TRUE(shared_display().is_ready()) << "Xvfb does not start";
        zarn_initialize();
        // What a load has to clear away.
        picture->create(3, 2, ZARN_ORIGIN_LOWER_LEFT, nullptr, 1);
        picture->crop(9, 9, 9, 9);
    }

    static test_display& shared_display() {
        static test_display display;
        return display;
    }

    void expect_picture(const reference_image& expected) {
        ASSERT_EQ(picture->load_clipboard(nullptr), 1u) << ::testing::PrintToString(messages(*picture));
        EXPECT_TRUE(same_picture(expected, *picture));
        EXPECT_TRUE(messages(*picture).empty());
    }
    void expect_failure(const texts& said) {
        EXPECT_EQ(picture->load_clipboard(nullptr), 0u);
        EXPECT_EQ(messages(*picture), said);
        EXPECT_EQ(picture->get_pixel_array(), nullptr);
        EXPECT_EQ(picture->get_width() + picture->get_height() + picture->get_origin(), 0u);
    }

    zarn_owned<Image> picture;
};

TYPED_TEST_SUITE(clipboard, rgba_image_types, image_type_names);

using clipboard_transfer = clipboard<zarn_image_8>;

} // namespace

// ---- Pictures ------------------------------------------------------------------------------------------------------

TYPED_TEST(clipboard, gives_opaque_pictures_with_the_top_row_first) {
    for (const char* name : {"bmp_rgb", "bmp_rgb_top_down", "bmp_rgba", "bmp_palette", "png_rgb", "png_rgba",
                             "png_palette", "png_rgb_u16", "png_grey"}) {
        SCOPED_TRACE(name);
        const clipboard_owner owner({{"UTF8_STRING", {'a'}}, {"image/" + std::string(name, 3), fixture(name)}});
        this->expect_picture(opaque_fixture<TypeParam>(image_fixture_named(name).content));
    }
    // As a BMP where there is a choice, but not one that does not come or that the decoder does not know.
    byte_vector unknown_header = fixture("bmp_rgb");
    unknown_header[14] = 124;
    const reference_image colours = opaque_fixture<TypeParam>();
    const reference_image grey = opaque_fixture<TypeParam>(fixture_content::grey);
    for (const byte_vector& bmp : {fixture("bmp_rgb"), unknown_header, byte_vector{}}) {
        const clipboard_owner owner({{"image/png", fixture("png_grey")}, {"image/bmp", bmp}});
        this->expect_picture(bmp == fixture("bmp_rgb") ? colours : grey);
    }
    for (const std::uint32_t piece : {7u, 1000u, 1u << 20}) {
        SCOPED_TRACE(piece);
        const clipboard_owner owner({clipboard_offer{"image/bmp", fixture("bmp_rgb")}}, owner_manner::helpful, piece);
        this->expect_picture(colours);
    }
}

TEST_F(clipboard_transfer, fills_an_image_of_either_depth) {
    zarn_owned<zarn_image_8_16> either;
    {
        const clipboard_owner owner({clipboard_offer{"image/png", fixture("png_rgb")}});
        ASSERT_EQ(either->load_clipboard(nullptr), 1u);
    }
    zarn_owned<zarn_image_8> inside;
    inside->create(either->get_width(), either->get_height(), either->get_origin(), either->get_pixel_array_8(), 1);
    EXPECT_TRUE(same_picture(opaque_fixture<zarn_image_8>(), *inside));
    EXPECT_EQ(either->load_clipboard(nullptr), 0u);
    EXPECT_EQ(messages(*either), no_picture);
    EXPECT_FALSE(either->is_valid());
}

TYPED_TEST(clipboard, takes_what_another_program_copied) {
    if (!is_installed("xclip")) GTEST_SKIP() << "no xclip on this machine: tools/setup --test installs it";
    const temporary_folder folder;
    const auto copied = [&](const std::string& type, const byte_vector& bytes) {
        EXPECT_TRUE(wait_until_clipboard_is_owned(false)); // by the program before
        EXPECT_TRUE(write_bytes(folder / "copied", bytes));
        return std::vector<std::string>{"xclip", "-quiet", "-selection", "clipboard",
                                        "-t",    type,     "-i",         (folder / "copied").string()};
    };
    for (const char* name : {"bmp_rgb", "png_rgba"}) {
        SCOPED_TRACE(name);
        const child_program program(copied("image/" + std::string(name, 3), fixture(name)));
        ASSERT_TRUE(wait_until_clipboard_is_owned(true));
        this->expect_picture(opaque_fixture<TypeParam>());
    }
    {
        const child_program program(copied("UTF8_STRING", {'t', 'e', 'x', 't'}));
        ASSERT_TRUE(wait_until_clipboard_is_owned(true));
        this->expect_failure(no_picture);
    }
    // More than the server lets through at once.
    const reference_image noise = random_picture<zarn_image_8>(2600, 2300, upper_left, alpha_kind::opaque, 3);
    loaded_image<zarn_image_8> large(noise, 1);
    ASSERT_EQ(large->save_file((folder / "large.bmp").wstring().c_str(), 1, 0), 1u);
    const child_program program(copied("image/bmp", read_bytes(folder / "large.bmp")));
    ASSERT_TRUE(wait_until_clipboard_is_owned(true));
    reference_image expected = image_traits<TypeParam>::blank(noise.width, noise.height, upper_left);
    for (std::size_t i = 0; i < noise.samples.size(); ++i) {
        expected.samples[i] = static_cast<std::uint32_t>(noise.samples[i] * (image_traits<TypeParam>::full / 255));
    }
    this->expect_picture(expected);
}

// ---- Failures ------------------------------------------------------------------------------------------------------

TYPED_TEST(clipboard, without_a_picture_says_so) {
    this->expect_failure(no_picture);
    {
        const clipboard_owner owner({{"UTF8_STRING", {'t', 'e', 'x', 't'}}, {"image/tiff", fixture("tif_rgb")}});
        this->expect_failure(no_picture);
    }
    {
        const clipboard_owner owner({clipboard_offer{"image/png", fixture("png_rgb")}}, owner_manner::refusing);
        this->expect_failure(no_bits);
    }
    const std::string name = std::getenv("DISPLAY");
    for (const char* display : {":98765", "", "no display"}) {
        setenv("DISPLAY", display, 1);
        this->expect_failure(not_opened);
    }
    unsetenv("DISPLAY");
    this->expect_failure(not_opened);
    setenv("DISPLAY", name.c_str(), 1);
}

TYPED_TEST(clipboard, refuses_hostile_bytes) {
    byte_vector cut_png = fixture("png_rgb"), vast_png = cut_png, cut_bmp = fixture("bmp_rgb"), far_bmp = cut_bmp;
    cut_png.resize(60);
    cut_bmp.resize(200);
    vast_png[16] = vast_png[20] = 0x7f; // sides
    far_bmp[10] = far_bmp[12] = 0xff;   // offset of the pixels
    const byte_vector &jpeg = fixture("jpg_rgb"), &targa = fixture("tga_rgb");
    for (const byte_vector& bytes : {cut_png, vast_png, cut_bmp, far_bmp, jpeg, targa, byte_vector(3000, 0xA5)}) {
        for (const char* type : {"image/bmp", "image/png"}) {
            const clipboard_owner owner({clipboard_offer{type, bytes}});
            this->expect_failure(damaged);
        }
    }
    const clipboard_owner owner({clipboard_offer{"image/png", {}}});
    this->expect_failure(no_bits);
}

TYPED_TEST(clipboard, fails_whole_when_memory_is_short) {
    const clipboard_owner owner({clipboard_offer{"image/png", fixture("png_rgb")}});
    const std::wstring no_memory = L"Memory Allocation Error: Failed to allocate ";
    const texts expected[] = {
        {no_memory + L"bitmap bytes."},
        {image_traits<TypeParam>::message(no_memory + L"zarn_image_8::___pixel_d_array.")},
    };
    for (int n = 1; n <= 3; ++n) {
        SCOPED_TRACE(n);
        zarn_owned<TypeParam> target;
        const std::int64_t before = live_allocations();
        unsigned result = 0;
        {
            const allocation_failure failure(n);
            result = target->load_clipboard(nullptr);
            EXPECT_EQ(failure.happened(), n < 3);
        }
        EXPECT_EQ(result, n < 3 ? 0u : 1u);
        EXPECT_EQ(target->is_valid(), result);
        EXPECT_EQ(messages(*target), n < 3 ? expected[n - 1] : texts{});
        target->free();
        EXPECT_EQ(live_allocations(), before);
    }
}

namespace {

// The result for an owner, and whether it came before the patience ended.
zarn::clipboard_result take(milliseconds patience, bool& in_time) {
    zarn::clipboard_picture taken;
    const auto start = std::chrono::steady_clock::now();
    const zarn::clipboard_result result = zarn::take_clipboard_picture(nullptr, patience, taken);
    const auto spent = std::chrono::steady_clock::now() - start;
    in_time = spent < patience;
    EXPECT_LT(spent, patience + milliseconds(3000));
    EXPECT_EQ(taken.size, 0u);
    return result;
}

} // namespace

TEST_F(clipboard_transfer, gives_up_owners_that_stall_or_die) {
    using result = zarn::clipboard_result;
    const std::vector<clipboard_offer> offers = {{"image/bmp", fixture("bmp_rgb")}, {"image/png", fixture("png_rgb")}};
    struct {
        owner_manner manner;
        std::uint32_t piece;
        result expected;
    } const owners[] = {{owner_manner::unresponsive, 0, result::without_picture},
                        {owner_manner::stalling, 0, result::no_bits},
                        {owner_manner::stalling, 100, result::no_bits},
                        {owner_manner::trickling, 100, result::no_bits},
                        {owner_manner::dying, 0, result::no_bits},
                        {owner_manner::dying, 100, result::no_bits}};
    for (const auto& one : owners) {
        const bool dies = one.manner == owner_manner::dying;
        const clipboard_owner owner(offers, one.manner, one.piece);
        bool in_time = false;
        EXPECT_EQ(take(milliseconds(dies ? 60000 : 200), in_time), one.expected);
        EXPECT_EQ(in_time, dies);
    }
}

TEST(clipboard_server, that_ends_ends_the_wait) {
    if (!is_installed("Xvfb")) GTEST_SKIP() << "no Xvfb on this machine: tools/setup --test installs it";
    test_display display;
    ASSERT_TRUE(display.is_ready());
    const clipboard_owner owner({clipboard_offer{"image/png", fixture("png_rgb")}}, owner_manner::stalling);
    std::thread end([&] {
        std::this_thread::sleep_for(milliseconds(100));
        display.stop();
    });
    bool in_time = false;
    EXPECT_EQ(take(milliseconds(60000), in_time), zarn::clipboard_result::no_bits);
    EXPECT_TRUE(in_time);
    end.join();
}

// ---- Bitmaps -------------------------------------------------------------------------------------------------------

namespace {

// Decoded bitmaps, as Windows hands them over, in every format.
template <class Format>
void check_bitmap(std::uint32_t bits) {
    SCOPED_TRACE(text("bits", bits, "full", Format::full));
    constexpr zarn::image_names names{};
    constexpr std::uint32_t width = 5, height = 3, count = width * height;
    zarn::clipboard_picture picture;
    picture.bytes_are = zarn::clipboard_picture::form::bitmap;
    picture.bytes = zarn::allocate_array<std::uint8_t>(count * 4);
    for (std::uint32_t i = 0; i < count * 4; ++i) picture.bytes[i] = static_cast<std::uint8_t>(3 + i * 4);
    picture.width = width;
    picture.height = height;
    picture.bits_per_pixel = bits;
    zarn::image_state image(names);
    ASSERT_EQ(zarn::install_clipboard_picture<Format>(image, picture), 1u);
    EXPECT_EQ(image.width, width);
    EXPECT_EQ(image.height, height);
    EXPECT_EQ(image.origin, upper_left);
    const auto* pixel = zarn::samples<Format>(image);
    for (std::uint32_t i = 0; i < count; ++i, pixel += 4) {
        const std::uint8_t* const stored = picture.bytes.get() + i * (bits / 8);
        const bool known = bits >= 24;
        constexpr std::uint32_t scale = Format::full / 255;
        EXPECT_EQ(pixel[0], known ? stored[2] * scale : 0);
        EXPECT_EQ(pixel[1], known ? stored[1] * scale : 0);
        EXPECT_EQ(pixel[2], known ? stored[0] * scale : 0);
        EXPECT_EQ(pixel[3], known ? Format::full : 0);
    }
    zarn::free_image(image);
}

} // namespace

TEST(clipboard_bitmap, becomes_opaque_pixels) {
    for (const std::uint32_t bits : {32u, 24u, 16u, 8u}) {
        check_bitmap<zarn::rgba_8>(bits);
        check_bitmap<zarn::rgba_16>(bits);
    }
}

} // namespace zarn_test
