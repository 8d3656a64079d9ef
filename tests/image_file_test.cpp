// Ordinary image files: what is loaded from and saved to real files by both libraries, and what is said when not.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <FreeImage.h>
#include <IL/il.h>
#include <gtest/gtest.h>

#include <zarn/image_8.h>
#include <zarn/lifecycle.h>
#include <zarn/owned.h>

#include "core/devil.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_fixtures.h"
#include "tests/support/image_traits.h"

#ifndef _WIN32
    #include <sys/stat.h>
#endif

namespace zarn_test {

namespace {

namespace fs = std::filesystem;
using image = zarn_owned<zarn_image_8>;
using texts = std::vector<std::wstring>;

constexpr const wchar_t* load_failed = L"Failed to load image using ilLoadImage(). ";
constexpr const wchar_t* save_failed = L"Failed to save image using ilSaveImage(). ";
constexpr const wchar_t* no_pixels = L"Memory Allocation Error: Failed to allocate zarn_image_8::___pixel_d_array.";

texts with(const wchar_t* call, const wchar_t* reason) { return {std::wstring(call) + reason}; }

bool same(const zarn_pixel_8_s& a, const zarn_pixel_8_s& b) {
    return a.r == b.r && a.g == b.g && a.b == b.b && a.a == b.a;
}

// A folder of its own for every test.
class scratch_folder {
public:
    scratch_folder() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string("zarn_") + test->test_suite_name() + "_" + test->name();
        for (char& c : name) c = c == '/' ? '_' : c;
        m_path = fs::temp_directory_path() / (name + "_" + std::to_string(std::random_device()()));
        fs::create_directories(m_path);
    }
    ~scratch_folder() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    std::wstring operator/(const fs::path& name) const { return (m_path / name).wstring(); }
    std::wstring put(const fs::path& name, const std::vector<std::uint8_t>& bytes) const {
        EXPECT_TRUE(write_bytes(m_path / name, bytes)) << name;
        return *this / name;
    }

private:
    fs::path m_path;
};

class image_files : public ::testing::Test {
protected:
    image_files() { zarn_initialize(); }
    scratch_folder folder;
};

std::string upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::vector<std::uint8_t> bytes_of(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// ---- Bitmap types --------------------------------------------------------------------------------------------------

struct unload {
    void operator()(FIBITMAP* bitmap) const { FreeImage_Unload(bitmap); }
};
using bitmap_ptr = std::unique_ptr<FIBITMAP, unload>;

template <class Image>
class bitmap_types : public image_files {
protected:
    using sample = typename image_traits<Image>::sample;
    static constexpr float full = static_cast<float>(image_traits<Image>::full);

    static sample low(double value) {
        if (std::isnan(value) || std::fabs(value) >= 9223372036854775808.0) return 0;
        return static_cast<sample>(static_cast<std::int64_t>(value));
    }
    static sample expected(BYTE v) { return full == 255.0f ? v : low(static_cast<float>(v) * 0.003921569f * full); }
    static sample expected(WORD v) { return low(static_cast<float>(v) * 1.5259022e-05f * full); }
    static sample expected(std::int16_t v) { return low(static_cast<float>(v) * 1.5259022e-05f * full); }
    static sample expected(DWORD v) { return low(static_cast<float>(v) * 2.3283064e-10f * full); }
    static sample expected(float v) { return low(powf(v, 0.45454544f) * full); }
    static sample expected(double v) { return low(pow(v, 0.45454543828964233) * static_cast<double>(full)); }

    // A bitmap whose samples are `values` over and over, loaded from a TIFF: `place` tells which of a pixel's samples
    // are red, green, blue and alpha, -1 that there is no alpha.
    template <class Stored>
    void check(FREE_IMAGE_TYPE type, int bits, int samples, const int (&place)[4], const std::vector<Stored>& values) {
        constexpr unsigned width = 5; // rows of 2- and 6-byte pixels have padding
        constexpr unsigned height = 7;
        const bitmap_ptr bitmap(FreeImage_AllocateT(type, width, height, bits));
        std::size_t next = 0;
        const auto row = [&](unsigned y) {
            return reinterpret_cast<Stored*>(FreeImage_GetScanLine(bitmap.get(), static_cast<int>(y)));
        };
        for (unsigned y = 0; y < height; ++y) {
            for (unsigned i = 0; i < width * static_cast<unsigned>(samples); ++i) {
                row(y)[i] = values[next++ % values.size()];
            }
        }
        const fs::path path(folder / "type.tif");
        ASSERT_TRUE(FreeImage_Save(FIF_TIFF, bitmap.get(), path.string().c_str(), TIFF_NONE)) << type;
        zarn_owned<Image> loaded;
        ASSERT_EQ(loaded->load_file(path.wstring().c_str()), 1u) << type;
        ASSERT_EQ(loaded->get_width(), width);
        ASSERT_EQ(loaded->get_height(), height);
        EXPECT_EQ(loaded->get_origin(), ZARN_ORIGIN_LOWER_LEFT);
        for (unsigned i = 0; i < width * height; ++i) {
            const auto& pixel = loaded->get_pixel_array()[i];
            const Stored* stored = row(i / width) + i % width * static_cast<unsigned>(samples);
            const sample actual[4] = {pixel.r, pixel.g, pixel.b, pixel.a};
            for (unsigned c = 0; c < 4; ++c) {
                const auto wanted = place[c] < 0 ? image_traits<Image>::full : expected(stored[place[c]]);
                ASSERT_EQ(actual[c], wanted) << "type " << type << ", pixel " << i << ", component " << c;
            }
        }
    }
};

using rgba_types = ::testing::Types<zarn_image_8>;
TYPED_TEST_SUITE(bitmap_types, rgba_types, image_type_names);

TYPED_TEST(bitmap_types, convert_by_their_formulas) {
    random_numbers random(5);
    std::vector<BYTE> u8;
    std::vector<WORD> u16 = {0, 1, 256, 257, 258, 65534, 65535};
    std::vector<std::int16_t> i16 = {0, 1, -1, 129, -129, 32767, -32768};
    std::vector<DWORD> u32 = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFF00, 0xFFFFFFFF};
    std::vector<float> f32 = {0, 1, 2, 0.5f, -0.5f, -0.0f, 100.0f, 1e12f, 1e30f, INFINITY, -INFINITY, NAN};
    for (int i = 0; i < 50; ++i) {
        u8.push_back(static_cast<BYTE>(random()));
        u16.push_back(static_cast<WORD>(random()));
        i16.push_back(static_cast<std::int16_t>(random()));
        u32.push_back(random());
        f32.push_back(static_cast<float>(random()) / 3e9f);
    }
    std::vector<double> f64(f32.begin(), f32.end());
    f64.push_back(0.1);
    f64.push_back(1e300);

    this->check(FIT_BITMAP, 32, 4, {FI_RGBA_RED, FI_RGBA_GREEN, FI_RGBA_BLUE, FI_RGBA_ALPHA}, u8);
    this->check(FIT_BITMAP, 24, 3, {FI_RGBA_RED, FI_RGBA_GREEN, FI_RGBA_BLUE, -1}, u8);
    this->check(FIT_UINT16, 16, 1, {0, 0, 0, -1}, u16);
    this->check(FIT_INT16, 16, 1, {0, 0, 0, -1}, i16);
    this->check(FIT_UINT32, 32, 1, {0, 0, 0, -1}, u32);
    this->check(FIT_INT32, 32, 1, {0, 0, 0, -1}, u32);
    this->check(FIT_FLOAT, 32, 1, {0, 0, 0, -1}, f32);
    this->check(FIT_DOUBLE, 64, 1, {0, 0, 0, -1}, f64);
    this->check(FIT_COMPLEX, 128, 2, {0, 0, 0, 1}, f64);
    this->check(FIT_RGB16, 48, 3, {0, 1, 2, -1}, u16);
    this->check(FIT_RGBA16, 64, 4, {0, 1, 2, 3}, u16);
    this->check(FIT_RGBF, 96, 3, {0, 1, 2, -1}, f32);
    this->check(FIT_RGBAF, 128, 4, {0, 1, 2, 3}, f32);
}

// ---- Formats on load -----------------------------------------------------------------------------------------------

// What a sample of 0..255 becomes on its way through a fixture.
int expected_sample(fixture_sample kind, int v) {
    switch (kind) {
    case fixture_sample::u8:
    case fixture_sample::u16:
    case fixture_sample::u32:
        return v;
    case fixture_sample::i16:
    case fixture_sample::i32:
        return v / 2;
    default:
        return static_cast<int>(255.0 * std::pow(v / 255.0, 1 / 2.2));
    }
}

unsigned expected_origin(const image_fixture& fixture) {
    static const std::map<std::string, unsigned> rows_up = {{"tif", 1}, {"exr", 1}, {"hdr", 1}, {"bmp", 1},
                                                            {"tga", 1}, {"sgi", 1}, {"ico", 1}};
    if (fixture.name == "bmp_rgb_top_down") return ZARN_ORIGIN_UPPER_LEFT;
    const bool deep_psd = fixture.extension == "psd" && fixture.sample == fixture_sample::u16;
    return rows_up.count(fixture.extension) || deep_psd ? ZARN_ORIGIN_LOWER_LEFT : ZARN_ORIGIN_UPPER_LEFT;
}

TEST_F(image_files, of_every_format_show_their_picture) {
    // Read wrongly by the decoder: the palette, and alpha.
    const std::map<std::string, const char*> faults = {{"ras_palette", "rgba"}, {"psd_rgba", "a"}, {"bmp_rgba", "a"}};
    for (const image_fixture& fixture : image_fixtures()) {
        image loaded;
        ASSERT_EQ(loaded->load_file(folder.put(fixture.name + "." + fixture.extension, fixture.bytes).c_str()), 1u)
            << fixture.name;
        EXPECT_TRUE(messages(*loaded).empty()) << fixture.name;
        ASSERT_EQ(loaded->get_width(), fixture_width) << fixture.name;
        ASSERT_EQ(loaded->get_height(), fixture_height) << fixture.name;
        EXPECT_EQ(loaded->get_origin(), expected_origin(fixture)) << fixture.name;
        if (!fixture.exact) continue;
        const std::string faulty = faults.count(fixture.name) ? faults.at(fixture.name) : "";
        int worst = 0;
        for (unsigned i = 0; i < fixture_width * fixture_height; ++i) {
            const unsigned x = i % fixture_width;
            const unsigned y = i / fixture_width;
            fixture_colour c = fixture_pixel(x, y);
            int alpha = 255;
            if (fixture.content == fixture_content::rgba) alpha = expected_sample(fixture.sample, c.a);
            if (fixture.content == fixture_content::grey) c.r = c.g = c.b = fixture_grey(x, y);
            if (fixture.content == fixture_content::white) c.r = c.g = c.b = fixture_white(x, y) ? 255 : 0;
            if (fixture.sample == fixture_sample::c128) alpha = expected_sample(fixture.sample, 255 - c.r);
            const zarn_pixel_8_s& pixel = loaded->get_pixel(x, y);
            const int wrong[4] = {pixel.r - expected_sample(fixture.sample, c.r),
                                  pixel.g - expected_sample(fixture.sample, c.g),
                                  pixel.b - expected_sample(fixture.sample, c.b), pixel.a - alpha};
            for (unsigned k = 0; k < 4; ++k) {
                if (faulty.find("rgba"[k]) == std::string::npos) worst = std::max(worst, std::abs(wrong[k]));
            }
        }
        EXPECT_LE(worst, fixture.sample == fixture_sample::u8 ? 0 : 1) << fixture.name;
    }
}

// Upper-case endings and memory go to DevIL, whatever the format.
TEST_F(image_files, load_the_same_from_memory_as_by_an_upper_case_ending) {
    for (const image_fixture& fixture : image_fixtures()) {
        if (fixture.extension == "ico" || fixture.extension == "wbmp") continue;    // not told by their contents
        if (fixture.name == "psd_rgba" || fixture.name == "psd_rgba_u16") continue; // alpha is never set
        image from_file, from_memory;
        const std::wstring path = folder.put(fixture.name + "." + upper(fixture.extension), fixture.bytes);
        const unsigned loaded = from_file->load_file(path.c_str());
        ASSERT_EQ(from_memory->load_file(fixture.bytes.data(), static_cast<unsigned>(fixture.bytes.size())), loaded)
            << fixture.name;
        if (fixture.extension == "hdr") {
            EXPECT_EQ(loaded, 1u);
            from_memory->gamma(2.2f); // which only files of linear samples get
        }
        EXPECT_TRUE(same_picture(image_traits<zarn_image_8>::read(*from_file), *from_memory)) << fixture.name;
        EXPECT_EQ(messages(*from_file) == with(load_failed, L"Invalid file extension."), fixture.extension == "exr");
        if (fixture.name == "tif_rgb") {
            EXPECT_EQ(from_file->get_origin(), ZARN_ORIGIN_UPPER_LEFT);
        }
    }
    image tiff;
    ASSERT_EQ(tiff->load_file(folder.put("a.tiff", image_fixture_named("tif_rgba_f32").bytes).c_str()), 1u);
    EXPECT_EQ(tiff->get_origin(), ZARN_ORIGIN_LOWER_LEFT);
}

TEST_F(image_files, of_linear_light_wrap_beyond_full_scale) {
    const bitmap_ptr bitmap(FreeImage_AllocateT(FIT_RGBF, 3, 1, 96));
    auto* samples = reinterpret_cast<float*>(FreeImage_GetScanLine(bitmap.get(), 0));
    for (int i = 0; i < 9; ++i) samples[i] = i < 3 ? 2.0f : i < 6 ? 0.5f : 0.0f;
    const fs::path lower(folder / "light.hdr");
    const fs::path other(folder / "light.HDR");
    ASSERT_TRUE(FreeImage_Save(FIF_HDR, bitmap.get(), lower.string().c_str(), 0));
    fs::copy_file(lower, other);
    image loaded;
    ASSERT_EQ(loaded->load_file(lower.wstring().c_str()), 1u);
    EXPECT_TRUE(same(loaded->get_pixel(0, 0), {93, 93, 93, 255}));
    EXPECT_TRUE(same(loaded->get_pixel(1, 0), {186, 186, 186, 255}));
    // DevIL reads 0.502 and clamps to 8 bits; the gamma step makes 186 of 128.
    ASSERT_EQ(loaded->load_file(other.wstring().c_str()), 1u);
    EXPECT_TRUE(same(loaded->get_pixel(0, 0), {255, 255, 255, 255}));
    EXPECT_TRUE(same(loaded->get_pixel(1, 0), {186, 186, 186, 255}));
    EXPECT_TRUE(same(loaded->get_pixel(2, 0), {0, 0, 0, 255}));
}

// DevIL announces 16 bits a sample of such an SGI and holds 8, which convert to nonsense.
TEST_F(image_files, that_hold_less_than_announced_are_refused) {
    constexpr std::uint8_t side = 64;
    std::vector<std::uint8_t> sgi(512 + 2 * 3 * side * side, 0x55);
    std::fill_n(sgi.begin(), 512, std::uint8_t{0});
    const std::uint8_t header[] = {1, 0xDA, 0, 2, 0, 3, 0, side, 0, side, 0, 3, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    std::copy(std::begin(header), std::end(header), sgi.begin());
    zarn::devil::session session;
    EXPECT_EQ(session.load(sgi.data(), static_cast<std::uint32_t>(sgi.size())), zarn::devil::error::other);
}

// ---- Saving --------------------------------------------------------------------------------------------------------

constexpr unsigned picture_width = 7;
constexpr unsigned picture_height = 5;

void paint(image& target, unsigned origin) {
    ASSERT_EQ(target->create(picture_width, picture_height, origin, nullptr, 1), 1u);
    for (unsigned y = 0; y < picture_height; ++y) {
        for (unsigned x = 0; x < picture_width; ++x) {
            target->set_pixel(x, y,
                              zarn_pixel_8_s(static_cast<std::uint8_t>(40 * x), static_cast<std::uint8_t>(60 * y),
                                             static_cast<std::uint8_t>(255 - 9 * x * y),
                                             static_cast<std::uint8_t>(17 * x + y)));
        }
    }
}

// The first pixel in which a loaded file differs from the picture; `turned` where its rows are turned over.
void expect_picture(const std::wstring& path, bool with_alpha, bool turned) {
    image picture, loaded;
    paint(picture, ZARN_ORIGIN_UPPER_LEFT);
    ASSERT_EQ(loaded->load_file(path.c_str()), 1u);
    ASSERT_EQ(loaded->get_width(), picture_width);
    ASSERT_EQ(loaded->get_height(), picture_height);
    for (unsigned i = 0; i < picture_width * picture_height; ++i) {
        const unsigned x = i % picture_width;
        const unsigned y = i / picture_width;
        zarn_pixel_8_s wanted = picture->get_pixel(x, turned ? picture_height - 1 - y : y);
        if (!with_alpha) wanted.a = 255;
        ASSERT_TRUE(same(loaded->get_pixel(x, y), wanted)) << "pixel " << x << ", " << y;
    }
}

TEST_F(image_files, are_saved_in_the_layout_of_the_format_code) {
    struct layout {
        unsigned code;
        FREE_IMAGE_TYPE type;
        unsigned bits;
        bool colour, alpha;
    };
    constexpr layout layouts[] = {{0, FIT_BITMAP, 8, false, false}, {1, FIT_BITMAP, 24, true, false},
                                  {2, FIT_BITMAP, 32, true, true},  {3, FIT_RGB16, 48, true, false},
                                  {4, FIT_RGBA16, 64, true, true},  {5, FIT_BITMAP, 32, true, true},
                                  {6, FIT_BITMAP, 32, true, true},  {7, FIT_BITMAP, 32, true, true},
                                  {13, FIT_BITMAP, 32, true, true}, {~0u, FIT_BITMAP, 32, true, true}};
    for (const unsigned origin : {ZARN_ORIGIN_LOWER_LEFT, ZARN_ORIGIN_UPPER_LEFT}) {
        image picture;
        paint(picture, origin);
        const reference_image before = image_traits<zarn_image_8>::read(*picture);
        for (const layout& one : layouts) {
            SCOPED_TRACE(text(origin, one.code));
            const fs::path png(folder / "saved.png"); // replaced every time
            ASSERT_EQ(picture->save_file(png.wstring().c_str(), one.code, 0), 1u);
            const bitmap_ptr bitmap(FreeImage_Load(FIF_PNG, png.string().c_str()));
            EXPECT_EQ(FreeImage_GetImageType(bitmap.get()), one.type);
            EXPECT_EQ(FreeImage_GetBPP(bitmap.get()), one.bits);
            if (one.colour) expect_picture(png.wstring(), one.alpha, false);

            const std::wstring bmp = folder / "saved.bmp";
            ASSERT_EQ(picture->save_file(bmp.c_str(), one.code, 0), 1u);
            if (one.colour) expect_picture(bmp, false, false);

            // Only code 2 keeps the rows and tells of the alpha; other spellings of the ending leave both alone.
            const std::wstring tga = folder / "saved.tga";
            const std::wstring other_tga = folder / "saved.TGA";
            ASSERT_EQ(picture->save_file(tga.c_str(), one.code, 0), 1u);
            ASSERT_EQ(picture->save_file(other_tga.c_str(), one.code, 0), 1u);
            EXPECT_EQ(bytes_of(tga)[17], one.code == 2 ? 8 : 0);
            EXPECT_EQ(bytes_of(other_tga)[17], 0);
            if (one.colour) expect_picture(tga, one.alpha, one.code != 2);
            if (one.colour) expect_picture(other_tga, one.alpha, false);
        }
        image grey;
        ASSERT_EQ(picture->save_file((folder / "grey.png").c_str(), 0, 0), 1u);
        ASSERT_EQ(grey->load_file((folder / "grey.png").c_str()), 1u);
        const zarn_pixel_8_s& c = picture->get_pixel(3, 4);
        const zarn_pixel_8_s g = grey->get_pixel(3, 4);
        EXPECT_NEAR(g.r, 0.2126 * c.r + 0.7152 * c.g + 0.0722 * c.b, 1.0);
        EXPECT_TRUE(g.g == g.r && g.b == g.r && g.a == 255);
        EXPECT_TRUE(same_picture(before, *picture));
        EXPECT_TRUE(messages(*picture).empty());
    }
}

TEST_F(image_files, are_compressed_as_asked_and_only_then) {
    image picture, loaded;
    paint(picture, ZARN_ORIGIN_UPPER_LEFT);
    const std::wstring dds = folder / "saved.dds";
    const std::map<unsigned, std::string> codes = {{1, "DXT1"}, {2, "DXT3"}, {3, "DXT5"}};
    for (const unsigned code : {3u, 0u, 2u, 4u, 1u, 3u, ~0u}) {
        for (const unsigned format : {2u, 1u}) {
            ASSERT_EQ(picture->save_file(dds.c_str(), format, code), 1u);
            const auto bytes = bytes_of(dds);
            ASSERT_GT(bytes.size(), 128u);
            EXPECT_EQ(std::string(bytes.begin() + 84, bytes.begin() + 88), codes.count(code) ? codes.at(code) : "DXT1");
        }
        ASSERT_EQ(loaded->load_file(dds.c_str()), 1u);
        EXPECT_EQ(loaded->get_width(), picture_width);
    }
}

TEST_F(image_files, of_float_samples_are_linear_and_upright) {
    struct layout {
        const char* ending;
        FREE_IMAGE_FORMAT format;
        unsigned code;
        FREE_IMAGE_TYPE type;
        unsigned components;
        float tolerance; // of the value
    };
    constexpr layout layouts[] = {{"exr", FIF_EXR, 7, FIT_RGBF, 3, 5e-4f},  {"exr", FIF_EXR, 8, FIT_RGBAF, 4, 5e-4f},
                                  {"exr", FIF_EXR, 9, FIT_FLOAT, 1, 5e-4f}, {"exr", FIF_EXR, 10, FIT_RGBF, 3, 0},
                                  {"exr", FIF_EXR, 11, FIT_RGBAF, 4, 0},    {"exr", FIF_EXR, 12, FIT_FLOAT, 1, 0},
                                  {"hdr", FIF_HDR, 10, FIT_RGBF, 3, -1}};
    for (const unsigned origin : {ZARN_ORIGIN_LOWER_LEFT, ZARN_ORIGIN_UPPER_LEFT}) {
        image picture;
        paint(picture, origin);
        for (const layout& one : layouts) {
            SCOPED_TRACE(text(origin, one.ending, one.code));
            const fs::path path(folder / (std::string("saved.") + one.ending));
            ASSERT_EQ(picture->save_file(path.wstring().c_str(), one.code, 0), 1u);
            const bitmap_ptr bitmap(FreeImage_Load(one.format, path.string().c_str()));
            ASSERT_EQ(FreeImage_GetImageType(bitmap.get()), one.type);
            float largest_error = 0;
            for (unsigned y = 0; y < picture_height; ++y) {
                const auto* row = reinterpret_cast<const float*>(
                    FreeImage_GetScanLine(bitmap.get(), static_cast<int>(picture_height - 1 - y)));
                for (unsigned i = 0; i < picture_width * one.components; ++i) {
                    const zarn_pixel_8_s& pixel = picture->get_pixel(i / one.components, y);
                    const std::uint8_t samples[4] = {pixel.r, pixel.g, pixel.b, pixel.a};
                    const float wanted = powf(static_cast<float>(samples[i % one.components]) * 0.003921569f, 2.2f);
                    if (one.tolerance < 0) { // a shared exponent: 8 bits for the largest of the three
                        EXPECT_NEAR(row[i], wanted, 0.01f);
                    } else {
                        EXPECT_NEAR(row[i], wanted, wanted * one.tolerance + (one.tolerance > 0 ? 6e-8f : 0.0f));
                    }
                    largest_error = std::max(largest_error, std::fabs(row[i] - wanted));
                }
            }
            EXPECT_EQ(largest_error > 0.0f, one.tolerance != 0) << "halves show, floats do not";
        }
        EXPECT_TRUE(messages(*picture).empty());
    }
}

TEST_F(image_files, have_paths_of_any_characters) {
    image picture;
    paint(picture, ZARN_ORIGIN_LOWER_LEFT);
    struct spelling {
        const wchar_t* wide;
        const char* narrow;
    };
    for (const spelling& name :
         {spelling{L"Gr\u00fc\u00dfe", u8"Gr\u00fc\u00dfe"}, spelling{L"\u6728\u306e\u8449", u8"\u6728\u306e\u8449"},
          spelling{L"\U0001F343\U00020BB7", u8"\U0001F343\U00020BB7"}}) {
        const fs::path base = fs::path(folder / "") / fs::u8path(name.narrow);
        fs::create_directories(base);
        const auto path = [&](const wchar_t* ending) { return (folder / "") + name.wide + L"/" + name.wide + ending; };
        for (const wchar_t* ending : {L".png", L".tga"}) {
            ASSERT_EQ(picture->save_file(path(ending).c_str(), 2, 0), 1u);
            expect_picture(path(ending), true, false);
        }
        EXPECT_EQ(bytes_of(base / fs::u8path(name.narrow + std::string(".tga")))[17], 8);
        for (const wchar_t* ending : {L".exr", L".hdr"}) {
            ASSERT_EQ(picture->save_file(path(ending).c_str(), 10, 0), 1u);
            image loaded;
            ASSERT_EQ(loaded->load_file(path(ending).c_str()), 1u);
            EXPECT_EQ(loaded->get_width(), picture_width);
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(base), {}), 4);
        image missing;
        EXPECT_EQ(missing->load_file(path(L"missing.png").c_str()), 0u);
        EXPECT_EQ(messages(*missing), with(load_failed, L"File open failed."));
    }
}

// ---- Failures ------------------------------------------------------------------------------------------------------

void expect_load_failure(const wchar_t* path, const texts& expected) {
    image loaded;
    paint(loaded, ZARN_ORIGIN_LOWER_LEFT);
    EXPECT_EQ(loaded->load_file(path), 0u);
    EXPECT_EQ(messages(*loaded), expected);
    EXPECT_EQ(loaded->get_pixel_array(), nullptr);
    EXPECT_EQ(loaded->get_width() + loaded->get_height() + loaded->get_origin(), 0u);
}

TEST_F(image_files, that_do_not_load_say_why) {
    const std::vector<std::uint8_t> noise(200, 0x5A);
    const texts no_message;
    const texts not_opened = with(load_failed, L"File open failed.");
    const texts wrong_ending = with(load_failed, L"Invalid file extension.");
    const texts bad_parameter = with(load_failed, L"Invalid function parameter.");
    const texts damaged = with(load_failed, L"Damaged file.");

    expect_load_failure(nullptr, bad_parameter);
    expect_load_failure(L"", bad_parameter);
    for (const char* ending : {"png", "psd", "hdr", "tif", "tiff"}) {
        expect_load_failure((folder / (std::string("missing.") + ending)).c_str(), not_opened);
    }
    for (const char* name : {"missing.exr", "missing.unknown", "missing"}) {
        expect_load_failure((folder / name).c_str(), wrong_ending);
    }
    expect_load_failure(folder.put("noise.unknown", noise).c_str(), wrong_ending);
    expect_load_failure(folder.put("icon.xpm", noise).c_str(), wrong_ending);
    expect_load_failure(folder.put("noise.png", noise).c_str(), damaged);
    fs::create_directories(fs::path(folder / "folder.png"));
    expect_load_failure((folder / "folder.png").c_str(), no_message);
#ifndef _WIN32
    ASSERT_EQ(mkfifo(fs::path(folder / "pipe.png").c_str(), 0600), 0);
    expect_load_failure((folder / "pipe.png").c_str(), not_opened);
    expect_load_failure(L"/dev/zero", not_opened);
#endif
    // A damaged deep file goes to DevIL, which does not know the ending.
    auto exr = image_fixture_named("exr_rgb_f32").bytes;
    exr.resize(40);
    expect_load_failure(folder.put("cut.exr", exr).c_str(), wrong_ending);

    image loaded;
    EXPECT_EQ(loaded->load_file(nullptr, 10), 0u);
    EXPECT_EQ(messages(*loaded), bad_parameter);
    EXPECT_EQ(loaded->load_file(noise.data(), 0), 0u);
    EXPECT_EQ(messages(*loaded), bad_parameter);
    EXPECT_EQ(loaded->load_file(noise.data(), static_cast<unsigned>(noise.size())), 0u);
    EXPECT_EQ(messages(*loaded), no_message);
    const auto& png = image_fixture_named("png_rgb").bytes;
    EXPECT_EQ(loaded->load_file(png.data(), 20), 0u);
    EXPECT_EQ(messages(*loaded), damaged);
    EXPECT_EQ(loaded->load_file(png.data(), static_cast<unsigned>(png.size())), 1u);
    EXPECT_TRUE(messages(*loaded).empty());
}

TEST_F(image_files, that_are_not_saved_say_why) {
    image picture;
    paint(picture, ZARN_ORIGIN_LOWER_LEFT);
    texts expected;
    const auto expect_failure = [&](const std::wstring& name, unsigned format, const std::wstring& message) {
        EXPECT_EQ(picture->save_file((folder / name).c_str(), format, 0), 0u) << fs::path(name) << format;
        if (!message.empty()) expected.push_back(message);
        EXPECT_EQ(messages(*picture), expected) << fs::path(name) << format;
    };
    const auto save_says = [](const wchar_t* reason) { return std::wstring(save_failed) + reason; };
    expect_failure(L"missing/a.png", 2, save_says(L"File open failed."));
    expect_failure(L"a.unknown", 2, save_says(L"Invalid file extension."));
    expect_failure(L"a", 2, save_says(L"Invalid function parameter."));
    expect_failure(L"a.ppm", 3, L""); // not with 16 bits
    for (const wchar_t* path : {static_cast<const wchar_t*>(nullptr), L""}) {
        EXPECT_EQ(picture->save_file(path, 2, 0), 0u);
        expected.push_back(save_says(L"Invalid function parameter."));
    }
    expect_failure(L"missing/a.exr", 10, L"Failed to save EXR using FreeImage_SaveU().");
    expect_failure(L"missing/a.hdr", 10, L"Failed to save HDR using FreeImage_SaveU().");
    for (unsigned code = 0; code < 16; ++code) {
        if (code < 7 || code > 12) expect_failure(L"a.exr", code, L"Failed to save EXR. Unsupported pixel format.");
        if (code != 10) expect_failure(L"a.hdr", code, L"Failed to save HDR. Unsupported pixel format.");
    }
    EXPECT_FALSE(fs::exists(folder / "a.exr"));
#ifdef __linux__
    // DevIL fails without an error here; the older one of the load before must not be taken for it.
    expect_load_failure((folder / "missing.unknown").c_str(), with(load_failed, L"Invalid file extension."));
    fs::create_symlink("/dev/full", folder / "full.bmp");
    expect_failure(L"full.bmp", 1, L"");
#endif

    image empty;
    for (const char* name : {"a.png", "a.exr", "a.unknown"}) {
        EXPECT_EQ(empty->save_file((folder / name).c_str(), 2, 0), 0u);
    }
    EXPECT_TRUE(messages(*empty).empty());
    EXPECT_FALSE(fs::exists(folder / "a.png"));

    // Sizes are refused before a pixel is looked at, so one pixel is enough.
    image vast;
    ASSERT_EQ(vast->create(1u << 16, 1u << 14, ZARN_ORIGIN_LOWER_LEFT, new zarn_pixel_8_s[1], 0), 1u);
    EXPECT_EQ(vast->save_file((folder / "a.png").c_str(), 2, 0), 0u);
    EXPECT_EQ(messages(*vast), texts{L"Failed to convert zarn_image_8 using ilTexImage(). Out of memory."});
    ASSERT_EQ(vast->create(1u << 31, 1u << 31, ZARN_ORIGIN_LOWER_LEFT, new zarn_pixel_8_s[1], 0), 1u);
    EXPECT_EQ(vast->save_file((folder / "a.png").c_str(), 2, 0), 0u);
    EXPECT_EQ(vast->save_file((folder / "a.hdr").c_str(), 10, 0), 0u);
    EXPECT_EQ(messages(*vast), (texts{L"Failed to convert zarn_image_8 using ilTexImage(). Out of memory.",
                                      L"Failed to allocate bitmap with FreeImage_AllocateT()."}));
}

TEST_F(image_files, fail_whole_when_memory_is_short) {
    struct attempt {
        bool failed;
        unsigned result;
        texts said;
    };
    const auto try_with_failure = [](const std::wstring& path, int n) {
        image target;
        const std::int64_t before = live_allocations();
        attempt made{};
        {
            const allocation_failure failure(n);
            made.result = target->load_file(path.c_str());
            made.failed = failure.happened();
        }
        const std::int64_t kept = live_allocations() - before;
        made.said = messages(*target);
        EXPECT_EQ(target->is_valid(), made.result) << n;
        const std::int64_t before_free = live_allocations();
        target->free();
        EXPECT_EQ(before_free - live_allocations(), kept) << n;
        return made;
    };
    // FreeImage allocates the same way and does not survive every failure; but the pixels are the last to be allocated.
    for (const char* name : {"png_rgba", "exr_rgba_f32", "tif_rgb", "psd_rgb_u16"}) {
        const image_fixture& fixture = image_fixture_named(name);
        const std::wstring path = folder.put("a." + fixture.extension, fixture.bytes);
        int n = 1000;
        attempt last{};
        while (n > 0 && !last.failed) last = try_with_failure(path, n--);
        EXPECT_TRUE(last.failed);
        EXPECT_EQ(last.result, 0u) << name;
        EXPECT_EQ(last.said, texts{no_pixels}) << name;
    }
    const std::wstring png = folder / "a.png";
    for (int n = 1; n < 1000; ++n) {
        const attempt made = try_with_failure(png, n);
        if (!made.failed) break;
        EXPECT_EQ(made.result, 0u);
        EXPECT_TRUE(made.said == texts{no_pixels} || made.said == with(load_failed, L"File open failed.")) << n;
    }
    image picture;
    paint(picture, ZARN_ORIGIN_LOWER_LEFT);
    const std::wstring saved = folder / "saved.png";
    const allocation_failure no_path(1);
    EXPECT_EQ(picture->save_file(saved.c_str(), 2, 0), 0u);
    EXPECT_EQ(messages(*picture), with(save_failed, L"File open failed."));
}

TEST_F(image_files, leave_no_image_in_devil) {
    const ILuint before = ilGenImage();
    ilDeleteImage(before);
    image picture;
    paint(picture, ZARN_ORIGIN_LOWER_LEFT);
    EXPECT_EQ(picture->save_file((folder / "a.png").c_str(), 2, 0), 1u);
    EXPECT_EQ(picture->save_file((folder / "missing/a.png").c_str(), 2, 0), 0u);
    EXPECT_EQ(picture->load_file((folder / "a.png").c_str()), 1u);
    EXPECT_EQ(picture->load_file((folder / "missing.png").c_str()), 0u);
    const ILuint after = ilGenImage();
    ilDeleteImage(after);
    EXPECT_EQ(after, before);
}

// ---- Start and stop, threads ---------------------------------------------------------------------------------------

// In processes of their own, for the libraries start once.
class image_files_process : public ::testing::Test {
protected:
    image_files_process() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

bool use_before_the_start() {
    const scratch_folder folder;
    const auto& png = image_fixture_named("png_rgb").bytes;
    const std::wstring path = folder.put("a.png", png);
    image picture;
    const texts refused = with(load_failed, L"Illegal operation.");
    bool right = is_zarn_initialized() == 0;
    right = picture->load_file(path.c_str()) == 0 && messages(*picture) == refused && right;
    right = picture->load_file(nullptr) == 0 && messages(*picture) == refused && right;
    right = picture->load_file(png.data(), static_cast<unsigned>(png.size())) == 0 && messages(*picture) == refused &&
            right;
    // FreeImage wants no start.
    right = picture->load_file(folder.put("a.tif", image_fixture_named("tif_rgb").bytes).c_str()) == 1 && right;
    right = picture->save_file(path.c_str(), 1, 0) == 0 &&
            messages(*picture) == with(save_failed, L"Illegal operation.") && right;
    zarn_shutdown();
    zarn_initialize();
    right = picture->save_file(path.c_str(), 1, 0) == 1 && picture->load_file(path.c_str()) == 1 && right;
    return right;
}

bool use_after_the_stop() {
    const scratch_folder folder;
    const std::wstring path = folder / "a.png";
    image picture;
    bool right = true;
    for (int round = 0; round < 4; ++round) {
        zarn_initialize();
        right = right && is_zarn_initialized() == 1;
        if (round < 2) paint(picture, ZARN_ORIGIN_LOWER_LEFT);
        right = picture->save_file(path.c_str(), 2, 0) == 1 && picture->load_file(path.c_str()) == 1 && right;
        zarn_shutdown();
        right = picture->save_file(path.c_str(), 2, 0) == 1 && picture->load_file(path.c_str()) == 1 && right;
        // The picture is not left behind as DevIL's default image.
        ilBindImage(0);
        right = picture->get_width() == picture_width && ilGetInteger(IL_IMAGE_WIDTH) != int(picture_width) && right;
        zarn_shutdown();
    }
    right = is_zarn_initialized() == 1 && right;
    return right;
}

TEST_F(image_files_process, refuses_devil_before_the_start) {
    EXPECT_EXIT(std::exit(use_before_the_start() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST_F(image_files_process, goes_on_after_the_stop) {
    EXPECT_EXIT(std::exit(use_after_the_stop() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST_F(image_files, load_and_save_on_several_threads_at_once) {
    const auto work = [this](const char* fixture, const char* name, const char* saved, unsigned format) {
        const std::wstring path = folder / name;
        const std::wstring copy = folder / saved;
        image first, again;
        EXPECT_EQ(first->load_file(path.c_str()), 1u);
        for (int i = 0; i < 30; ++i) {
            EXPECT_EQ(again->load_file(path.c_str()), 1u) << fixture;
            EXPECT_TRUE(same_picture(image_traits<zarn_image_8>::read(*first), *again)) << fixture;
            EXPECT_EQ(again->save_file(copy.c_str(), format, 0), 1u) << fixture;
            EXPECT_EQ(again->load_file(copy.c_str()), 1u) << fixture;
            EXPECT_EQ(again->load_file((folder / "missing.png").c_str()), 0u);
            EXPECT_EQ(messages(*again), with(load_failed, L"File open failed."));
        }
    };
    for (const auto& [name, fixture] :
         {std::pair{"a.png", "png_rgba"}, {"b.tga", "tga_rgb"}, {"c.exr", "exr_rgb_f32"}}) {
        folder.put(name, image_fixture_named(fixture).bytes);
    }
    std::thread threads[] = {std::thread(work, "png_rgba", "a.png", "a2.png", 2u),
                             std::thread(work, "tga_rgb", "b.tga", "b2.tga", 2u),
                             std::thread(work, "exr_rgb_f32", "c.exr", "c2.exr", 10u)};
    for (std::thread& thread : threads) thread.join();
}

} // namespace

} // namespace zarn_test
