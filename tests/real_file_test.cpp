// Files of the float images: native ones, whose frame the other classes' tests look at, and ordinary ones.

#include <FreeImage.h>
#include <gtest/gtest.h>

#include <zarn/lifecycle.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/image_fixtures.h"
#include "tests/support/real_traits.h"
#include "tests/support/temporary_folder.h"

namespace zarn_test {

namespace {

template <class Image>
class real_files : public real_test<Image> {
protected:
    real_files() { zarn_initialize(); }
    temporary_folder folder;
    zarn_owned<Image> image;

    std::wstring path(const std::string& name) { return (folder / name).wstring(); }
    unsigned load(const std::string& name, const byte_vector& bytes, unsigned force_grey, unsigned force_rgba) {
        write_bytes(folder / name, bytes);
        return image->load_file(path(name).c_str(), force_grey, force_rgba);
    }
};

TYPED_TEST_SUITE(real_files, real_types, real_type_names);

const lines short_file = {L"Failed to read pixels from file. Unexpected end of file."};
const lines broken_stream = {L"Compression Error: Failed to decompress pixels from file."};
const lines wrong_type = {L"Unexpected image type: Failed to load zarn_image_real_32 from binary."};

// What a float of a file becomes in a half image: the mantissa is cut, not rounded.
std::uint16_t truncated_half(float v) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    const std::uint32_t sign = bits >> 16 & 0x8000, e = bits >> 23 & 255, m = bits & 0x7FFFFF;
    std::uint32_t half = 0;
    if (e >= 103) half = (m | 0x800000) >> (126 - std::min(e, 112u));
    if (e >= 113) half = e > 142 ? 0x7C00 : (e - 112) << 10 | m >> 13;
    return static_cast<std::uint16_t>(sign | half);
}

} // namespace

// ---- Native files --------------------------------------------------------------------------------------------------

TYPED_TEST(real_files, native) {
    const std::uint32_t code = is_half<TypeParam> ? 4 : 3, other_code = is_half<TypeParam> ? 2 : 4;
    for (const unsigned turn : {0u, 1u, 2u, 3u}) {
        const std::uint32_t grey = turn & 1, compress = turn / 2;
        loaded_real<TypeParam> source(wild_real<TypeParam>(grey));
        this->set_flags(*source);
        ASSERT_EQ(source->save_binary(this->path("file").c_str(), compress), 1u);
        const byte_vector saved = read_bytes(this->folder / "file");
        const std::uint32_t header[] = {code + 1000 * compress, 17, 4, grey, 3, 1};
        EXPECT_EQ(std::memcmp(saved.data(), header, sizeof header), 0);
        if (!compress) {
            ASSERT_EQ(saved.size(), 24 + 68 * sizeof(source->get_pixel(0, 0)[0]) * (grey ? 2 : 4));
            EXPECT_EQ(std::memcmp(saved.data() + 24, source->get_pixel_array(), saved.size() - 24), 0);
        }
        const auto load = [&](std::size_t word, std::uint32_t value, std::size_t size) {
            byte_vector bytes = saved;
            std::memcpy(bytes.data() + 4 * word, &value, 4);
            bytes.resize(std::min(size, saved.size()));
            write_bytes(this->folder / "file", bytes);
            this->set_flags(*this->image);
            return this->image->load_binary(this->path("file").c_str());
        };
        const auto expect_refused = [&](unsigned result, const lines& said) {
            EXPECT_EQ(result, 0u);
            EXPECT_EQ(messages(*this->image), this->worded(said));
            if (!compress || said == wrong_type) this->expect_empty(*this->image);
        };
        ASSERT_EQ(load(0, header[0], 9999), 1u);
        EXPECT_TRUE(same_real(wild_real<TypeParam>(grey), *this->image));
        EXPECT_EQ(this->flags(*this->image), (flag_values{static_cast<int>(grey), 3, 1, 0}));
        for (const std::uint32_t type : {0u, 5u, 1000u, 1005u, 0xFFFFFFFFu, other_code})
            expect_refused(load(0, type, 9999), wrong_type);
        const lines& broken = compress ? broken_stream : short_file;
        for (const std::size_t size : {20u, 30u}) expect_refused(load(0, header[0], size), broken);
        for (const std::size_t word : {1u, 2u}) expect_refused(load(word, 0xFFFFFFFF, 9999), broken);
        if (is_half<TypeParam>) expect_refused(load(0, 3 + 1000 * compress, 9999), broken); // of floats: too few
    }
    // Of floats and of no pixels: both classes load it.
    byte_vector nothing(24, byte_vector::value_type{});
    nothing[0] = byte_vector::value_type{3};
    write_bytes(this->folder / "file", nothing);
    EXPECT_EQ(this->image->load_binary(this->path("file").c_str()), 1u);
    EXPECT_TRUE(messages(*this->image).empty());
    this->expect_empty(*this->image);
}

// From files and from memory, cut off at any length, and with every allocation failing in turn.
TEST(real_halves, from_native_bytes) {
    using image = zarn_image_real_16;
    const temporary_folder folder;
    const std::wstring path = (folder / "file").wstring();
    std::vector<float> values = {0.1f,       1.0f + 0x1p-11f, 65519.0f, 65535.996f, 65536.0f,  -1e6f,          0x1p-24f,
                                 0x1.8p-25f, 0x1.fffffep-24f, -0.0f,    infinity,   -infinity, 0x1.fffffep-15f};
    random_numbers random(1);
    while (values.size() < 4096) {
        std::uint32_t bits = random();
        if (values.size() % 2) bits = (bits & 0x807FFFFF) | (100 + random.below(46)) << 23; // around a half's range
        float v;
        std::memcpy(&v, &bits, sizeof v);
        if (v == v) values.push_back(v);
    }
    const real_picture picture{32, 32, false, values, false};
    for (const bool floats : {false, true}) {
        loaded_real<zarn_image_real_32> wide(picture);
        zarn_owned<image> narrow, loaded;
        EXPECT_EQ(narrow->create(*wide), 1u);
        for (const unsigned compress : {0u, 1u}) {
            SCOPED_TRACE(text(floats, compress));
            EXPECT_EQ(floats ? wide->save_binary(path.c_str(), compress) : narrow->save_binary(path.c_str(), compress),
                      1u);
            const byte_vector bytes = read_bytes(folder / "file");
            const auto size = static_cast<unsigned>(bytes.size());
            for (const unsigned given : {0u, size, ~0u}) { // 0: as many as the header tells; ~0u: the file
                ASSERT_EQ(given == ~0u ? loaded->load_binary(path.c_str()) : loaded->load_binary(bytes.data(), given),
                          1u);
                for (std::size_t i = 0; i < values.size(); ++i) {
                    std::uint16_t half, expected = truncated_half(values[i]);
                    if (!floats) std::memcpy(&expected, narrow->get_pixel_array() + i, sizeof half);
                    std::memcpy(&half, loaded->get_pixel_array() + i, sizeof half);
                    ASSERT_EQ(half, expected) << values[i];
                }
            }
            for (unsigned part = 4; part < size; part += 1 + part / 8) {
                const byte_vector piece(bytes.begin(), bytes.begin() + part); // on its own, for the sanitizers
                EXPECT_EQ(loaded->load_binary(piece.data(), part), 0u) << part;
                EXPECT_EQ(messages(*loaded), compress ? broken_stream : short_file) << part;
            }
            const std::wstring array = floats ? L"temp_array." : L"___pixel_d_array.";
            bool told = false, happened = true;
            for (std::int64_t n = 1; happened; ++n) {
                const allocation_failure failure(n);
                const unsigned result = loaded->load_binary(bytes.data(), size);
                happened = failure.happened();
                EXPECT_EQ(result, happened ? 0u : 1u) << n;
                told = told || messages(*loaded) == lines{L"Memory Allocation Error: Failed to allocate " + array};
            }
            EXPECT_TRUE(told);
        }
        EXPECT_EQ(loaded->load_binary(static_cast<const unsigned char*>(nullptr), 9), 0u);
        EXPECT_EQ(messages(*loaded), short_file);
    }
}

// ---- Ordinary files ------------------------------------------------------------------------------------------------

namespace {

// The real number that a fixture's file holds for a byte of the picture.
float held(fixture_sample sample, std::uint8_t v) {
    if (sample == fixture_sample::i16) return static_cast<float>(v * 128) * 1.5259022e-05f;
    if (sample == fixture_sample::i32) return static_cast<float>(v * 8421504u) * 2.3283064e-10f;
    const float unit = static_cast<float>(v / 255.0);
    return sample == fixture_sample::f16 ? static_cast<float>(half_float::half(unit)) : unit;
}

// The picture of a fixture, in colours or in grey.
template <class Image>
real_picture shown_by(const image_fixture& one, bool grey) {
    std::vector<float> samples;
    for (unsigned i = 0; i < fixture_width * fixture_height; ++i) {
        const unsigned x = i % fixture_width, y = i / fixture_width;
        fixture_colour c = fixture_pixel(x, y);
        float alpha = one.content == fixture_content::rgba ? held(one.sample, c.a) : 1.0f;
        if (one.content == fixture_content::white || one.content == fixture_content::grey) {
            c.r = one.content == fixture_content::grey ? fixture_grey(x, y) : fixture_white(x, y) ? 255 : 0;
            c.g = c.b = c.r;
            if (one.sample == fixture_sample::c128) alpha = static_cast<float>(1 - c.r / 255.0);
        }
        const float r = held(one.sample, c.r), g = held(one.sample, c.g), b = held(one.sample, c.b);
        const float luma = c.r == c.g && c.g == c.b ? r : 0.299f * r + 0.587f * g + 0.114f * b;
        if (grey) samples.insert(samples.end(), {luma, alpha});
        if (!grey) samples.insert(samples.end(), {r, g, b, alpha});
    }
    return real_picture_of<Image>(fixture_width, fixture_height, grey, samples);
}

} // namespace

TYPED_TEST(real_files, show_their_picture) {
    for (const image_fixture& one : image_fixtures()) {
        if (one.name == "ras_palette" || one.name == "bmp_rgba") continue; // read wrongly by the decoder
        const bool rounded = one.name == "hdr_rgbe";
        if (!one.exact && !rounded) continue;
        const bool is_real = one.sample >= fixture_sample::f16; // then linear too
        // Forced into grey, into colours, neither: an entry of a palette is one number, bitmaps of TIFFs are colours.
        const bool is_single = one.content == fixture_content::white || one.content == fixture_content::grey ||
                               one.name.find("palette") != std::string::npos;
        const bool own_grey = is_single && (one.extension != "tif" || one.sample != fixture_sample::u8);
        for (const unsigned force : {0u, 1u, 2u}) {
            const bool grey = force == 1 || (force == 0 && own_grey);
            SCOPED_TRACE(text(one.name, force));
            this->set_flags(*this->image);
            ASSERT_EQ(this->load("a." + one.extension, one.bytes, force == 1, force == 2), 1u);
            EXPECT_TRUE(same_real(shown_by<TypeParam>(one, grey), *this->image, {rounded ? 1e5 : 3.0, 1.0}));
            EXPECT_EQ(this->flags(*this->image), (flag_values{grey, 0, !is_real, 0}));
        }
    }
}

TYPED_TEST(real_files, are_saved_as_floats) {
    // format, samples a pixel, whether it is stored in halves; the last is an HDR file of shared exponents
    constexpr unsigned formats[][3] = {{7, 3, 1}, {8, 4, 1}, {9, 1, 1}, {10, 3, 0}, {11, 4, 0}, {12, 1, 0}, {10, 3, 2}};
    for (const bool grey : {false, true}) {
        // Samples of files are kept, whatever they are.
        loaded_real<TypeParam> wild(wild_real<TypeParam>(grey));
        ASSERT_EQ(wild->save_file(this->path("a.exr").c_str(), 11, 0), 1u);
        ASSERT_EQ(this->image->load_file(this->path("a.exr").c_str(), grey, 0), 1u);
        EXPECT_TRUE(same_real(wild_real<TypeParam>(grey), *this->image));
        ASSERT_EQ(wild->save_binary(this->path("a").c_str(), grey), 1u); // its header tells of no row order
        ASSERT_EQ(this->image->load_binary(this->path("a").c_str()), 1u);
        ASSERT_EQ(this->image->save_file(this->path("b.exr").c_str(), 11, 0), 1u);
        EXPECT_TRUE(read_bytes(this->folder / "a.exr") == read_bytes(this->folder / "b.exr"));
        for (const unsigned is_sRGB : {0u, 1u}) {
            real_picture picture = random_real<TypeParam>(7, 5, grey, alpha_kind::any, 3, 0.25f, 4.0f);
            loaded_real<TypeParam> source(picture);
            source->set_if_is_sRGB(is_sRGB);
            for (const auto& [format, samples, kind] : formats) {
                SCOPED_TRACE(text("grey", grey, "sRGB", is_sRGB, "format", format, kind));
                const std::string name = kind == 2 ? "a.hdr" : "a.exr";
                ASSERT_EQ(source->save_file(this->path(name).c_str(), format, 0), 1u);
                EXPECT_TRUE(same_real(picture, *source));
                const bitmap_ptr bitmap(
                    FreeImage_Load(kind == 2 ? FIF_HDR : FIF_EXR, (this->folder / name).string().c_str(), 0));
                ASSERT_TRUE(bitmap);
                ASSERT_EQ(FreeImage_GetBPP(bitmap.get()), 32 * samples);
                for (unsigned i = 0; i < 35 * samples; ++i) {
                    const float* const pixel = picture.at(i / samples % 7, i / samples / 7);
                    const unsigned s = i % samples;
                    float expected = pixel[s == 3 ? picture.colours() : grey ? 0 : s];
                    if (is_sRGB) expected = std::pow(expected, 2.2f);
                    if (kind == 1) expected = half_float::half(expected);
                    const float actual = row_of<float>(bitmap, i / samples / 7)[i % (7 * samples)];
                    const closeness close = kind == 2 ? closeness{1e5, 22.0} : power; // of 4 to the power of 2.2
                    EXPECT_TRUE(is_close(expected, actual, kind == 1, close)) << expected << ' ' << actual;
                }
            }
        }
    }
}

// 8-bit files of one's own making, format 1 and 2; else what DevIL makes of floats.
TYPED_TEST(real_files, are_saved_as_bytes) {
    for (unsigned turn = 0; turn < 12; ++turn) {
        const unsigned grey = turn & 1, is_sRGB = turn & 2, format = turn / 4;
        const real_picture picture = random_real<TypeParam>(7, 5, grey, alpha_kind::any, 3);
        loaded_real<TypeParam> source(picture);
        source->set_if_is_sRGB(is_sRGB);
        source->set_if_is_u8_max_256(format != 0);
        const std::wstring path = this->path(format ? "a.png" : "a.bmp");
        ASSERT_EQ(source->save_file(path.c_str(), format, 0), 1u);
        EXPECT_TRUE(same_real(picture, *source));
        zarn_owned<zarn_image_8> saved;
        ASSERT_EQ(saved->load_file(path.c_str()), 1u);
        for (unsigned i = 0; i < 35; ++i) {
            std::uint32_t got[4];
            image_traits<zarn_image_8>::from_pixel(saved->get_pixel(i % 7, i / 7), got);
            for (unsigned c = 0; c < (format == 2 ? 4u : 3u); ++c) {
                float v = picture.at(i % 7, i / 7)[c == 3 ? picture.colours() : grey ? 0 : c];
                if (format && !is_sRGB) v = std::pow(v, 0.45454544f);
                EXPECT_NEAR(got[c], static_cast<int>(v * 255.0f), format && is_sRGB ? 0 : 1) << turn << ' ' << c;
            }
        }
    }
}

TYPED_TEST(real_files, that_fail_leave_nothing) {
    loaded_real<TypeParam> source(random_real<TypeParam>(7, 5, false, alpha_kind::any, 3));
    const std::pair<const char*, unsigned> files[] = {
        {"a.exr", 6}, {"a.hdr", 11}, {"missing/a.exr", 10}, {"missing/a.bmp", 2}, {"a.unknown", 2}};
    std::size_t told = 0;
    for (const auto& [name, format] : files) {
        const std::wstring path = this->path(name);
        EXPECT_EQ(source->save_file(path.c_str(), format, 0), 0u) << name;
        EXPECT_EQ(messages(*source).size(), ++told) << name;
        ASSERT_EQ(this->load("b.png", image_fixture_named("png_grey").bytes, 0, 0), 1u);
        EXPECT_EQ(this->image->load_file(path.c_str(), 0, 0), 0u);
        EXPECT_EQ(messages(*this->image).size(), 1u);
        this->expect_empty(*this->image);
        EXPECT_EQ(this->image->save_file(path.c_str(), format, 0), 0u); // an empty one
        EXPECT_EQ(messages(*this->image).size(), 1u);
    }
    EXPECT_EQ(source->save_file(this->path("a.png").c_str(), 2, 0), 0u); // not of floats
}

} // namespace zarn_test
