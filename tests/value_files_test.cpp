// Ordinary image files of the images of one value: the depth that a file gives, the components that are kept, what is
// saved. Pixels are those of the RGBA classes, whose tests look at every format.

#include <array>
#include <cmath>
#include <set>

#include <FreeImage.h>
#include <gtest/gtest.h>

#include <zarn/image_8_16.h>
#include <zarn/lifecycle.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/image_fixtures.h"
#include "tests/support/image_traits.h"
#include "tests/support/temporary_folder.h"

namespace zarn_test {

namespace {

namespace fs = std::filesystem;
using lines = std::vector<std::wstring>;

// zarn_image_grayscale or zarn_image_channel, by one of its forms.
template <class Form>
class value_files : public ::testing::Test {
protected:
    using owner = typename image_traits<Form>::base;
    static constexpr bool has_alpha = image_traits<Form>::has_alpha;

    value_files() { zarn_initialize(); }

    static unsigned load(owner& target, const fs::path& path, unsigned value, unsigned alpha) {
        return load_from(target, value, alpha, path.wstring().c_str());
    }
    static unsigned load(owner& target, const byte_vector& bytes, unsigned value, unsigned alpha) {
        return load_from(target, value, alpha, bytes.data(), static_cast<unsigned>(bytes.size()));
    }
    template <class... Source>
    static unsigned load_from(owner& target, unsigned value, [[maybe_unused]] unsigned alpha, Source... source) {
        if constexpr (has_alpha) return target.load_file(source..., value, alpha);
        if constexpr (!has_alpha) return target.load_file(source..., value);
    }

    // The samples of a pixel, alpha 0 without it.
    static std::array<std::uint32_t, 2> at(const owner& from, unsigned x, unsigned y) {
        const auto samples = [](const auto& p) -> std::array<std::uint32_t, 2> {
            if constexpr (has_alpha) return {p.value, p.alpha};
            if constexpr (!has_alpha) return {p, 0};
        };
        if (from.get_image_type() == 0) return samples(from.get_pixel_8(x, y));
        if (from.get_image_type() == 1) return samples(from.get_pixel_16(x, y));
        return samples(from.get_pixel_32(x, y));
    }

    // The components of what the RGBA class of the depth made of the same file: the same at 8 and 16 bits, nearly so at
    // 32.
    static void expect_components(const owner& actual, const zarn_image_8& shallow, const zarn_image_16& deep,
                                  unsigned value, unsigned alpha) {
        ASSERT_EQ(actual.get_width(), deep.get_width());
        ASSERT_EQ(actual.get_height(), deep.get_height());
        ASSERT_EQ(actual.get_origin(), deep.get_origin());
        const unsigned components[2] = {value, alpha};
        const unsigned type = actual.get_image_type();
        for (unsigned i = 0; i < actual.get_width() * actual.get_height(); ++i) {
            const unsigned x = i % actual.get_width(), y = i / actual.get_width();
            std::uint32_t samples[4];
            if (type == 0) image_traits<zarn_image_8>::from_pixel(shallow.get_pixel(x, y), samples);
            if (type != 0) image_traits<zarn_image_16>::from_pixel(deep.get_pixel(x, y), samples);
            for (unsigned c = 0; c < (has_alpha ? 2u : 1u); ++c) {
                const double factor = type == 2 ? 65537.0 : 1.0;
                ASSERT_NEAR(at(actual, x, y)[c] / factor, samples[components[c]], type == 2 ? 1.01 : 0.0)
                    << x << ", " << y;
            }
        }
    }

    temporary_folder folder;
};

using value_classes = ::testing::Types<grayscale_8, channel_8>;
TYPED_TEST_SUITE(value_files, value_classes, image_type_names);

unsigned expected_type(const image_fixture& fixture) {
    static const std::set<std::string> by_bitmap_type = {"tif", "exr", "hdr"};
    const bool shallow = fixture.sample == fixture_sample::u8;
    const bool half = fixture.sample == fixture_sample::u16 || fixture.sample == fixture_sample::i16;
    if (by_bitmap_type.count(fixture.extension) || (fixture.extension == "psd" && half))
        return shallow ? 0 : half ? 1 : 2;
    // By the bits of a pixel: more than 32 are three or four samples of 16.
    return half && fixture.content != fixture_content::grey ? 1 : 0;
}

} // namespace

TYPED_TEST(value_files, of_every_format_have_the_depth_of_their_samples) {
    using image = typename TestFixture::owner;
    unsigned turn = 0;
    for (const image_fixture& fixture : image_fixtures()) {
        SCOPED_TRACE(fixture.name);
        const fs::path path = this->folder / ("a." + fixture.extension);
        ASSERT_TRUE(write_bytes(path, fixture.bytes));
        zarn_owned<zarn_image_8> shallow;
        zarn_owned<zarn_image_16> deep;
        zarn_owned<image> loaded;
        const unsigned value = turn % 4, alpha = turn++ / 4 % 4;
        ASSERT_EQ(shallow->load_file(path.wstring().c_str()) + deep->load_file(path.wstring().c_str()), 2u);
        loaded->crop(0, 0, 0, 0);
        ASSERT_EQ(this->load(*loaded, path, value, alpha), 1u);
        EXPECT_TRUE(messages(*loaded).empty());
        EXPECT_EQ(loaded->get_image_type(), expected_type(fixture));
        this->expect_components(*loaded, *shallow, *deep, value, alpha);

        if (fixture.extension == "ico" || fixture.extension == "wbmp") continue; // not told by their contents
        const unsigned size = static_cast<unsigned>(fixture.bytes.size());
        const unsigned result = deep->load_file(fixture.bytes.data(), size);
        EXPECT_EQ(shallow->load_file(fixture.bytes.data(), size), result);
        ASSERT_EQ(this->load(*loaded, fixture.bytes, value, alpha), result);
        EXPECT_EQ(messages(*loaded), messages(*deep));
        if (result) this->expect_components(*loaded, *shallow, *deep, value, alpha);
    }
}

// Real numbers and 32-bit integers: the formulas of the RGBA classes with the full scale of 32 bits.
TYPED_TEST(value_files, of_wide_samples_convert_by_their_formulas) {
    using image = typename TestFixture::owner;
    constexpr double full = 4294967295.0;
    const auto check = [&](FREE_IMAGE_TYPE type, auto of, const auto& expected) {
        const bitmap_ptr bitmap(FreeImage_AllocateT(type, 5, 7, 0));
        random_numbers random(5);
        reference_image picture = image_traits<grayscale_32>::blank(5, 7, lower_left);
        for (unsigned i = 0; i < 35; ++i) {
            auto* row = row_of<decltype(of)>(bitmap, i / 5);
            row[i % 5] = static_cast<decltype(of)>(random() / (of > 0 ? 3e9 : 1));
            if (i == 3) row[i % 5] = static_cast<decltype(of)>(of > 0 ? 1.0 : full);
            if (i == 4) row[i % 5] = 2;
            picture.samples[i * 2] = to_sample(expected(row[i % 5]), 4294967295);
        }
        const fs::path path = this->folder / "a.tif";
        ASSERT_TRUE(FreeImage_Save(FIF_TIFF, bitmap.get(), path.string().c_str(), TIFF_NONE));
        zarn_owned<image> loaded;
        ASSERT_EQ(this->load(*loaded, path, 1, 3), 1u);
        ASSERT_EQ(loaded->get_image_type(), 2u);
        for (unsigned i = 0; i < 35; ++i) {
            const auto actual = this->at(*loaded, i % 5, i / 5);
            EXPECT_EQ(actual[0], picture.samples[i * 2]) << type << ", " << i;
            EXPECT_EQ(actual[1], this->has_alpha ? 4294967295u : 0u);
        }
    };
    check(FIT_UINT32, DWORD{0}, [&](DWORD v) { return v * static_cast<double>(2.3283064e-10f) * full; });
    check(FIT_FLOAT, 1.0f, [&](float v) { return static_cast<double>(std::pow(v, 0.45454544f)) * full; });
    check(FIT_DOUBLE, 1.0, [&](double v) { return std::pow(v, 0.45454543828964233) * full; });
}

TYPED_TEST(value_files, that_cannot_be_loaded) {
    using image = typename TestFixture::owner;
    const fs::path path = this->folder / "a.png";
    ASSERT_TRUE(write_bytes(path, image_fixture_named("png_rgba").bytes));
    const byte_vector& png = image_fixture_named("png_rgba").bytes;
    const std::wstring bad_channel = L"Invalid channel parameter.",
                       devil = L"Failed to load image using ilLoadImage(). ";
    const auto expect_refused = [&](auto load_into, const std::wstring& message) {
        zarn_owned<image> target;
        ASSERT_EQ(this->load(*target, path, 0, 3), 1u);
        EXPECT_EQ(load_into(*target), 0u);
        EXPECT_EQ(messages(*target), lines{message});
        EXPECT_EQ(target->is_valid() + target->get_width() + target->get_height(), 0u);
    };
    for (const unsigned channel : {4u, 4294967295u}) {
        expect_refused([&](image& i) { return this->load(i, path, channel, 0); }, bad_channel);
        expect_refused([&](image& i) { return this->load(i, png, channel, 0); }, bad_channel);
        if (!this->has_alpha) continue;
        expect_refused([&](image& i) { return this->load(i, path, 0, channel); }, bad_channel);
    }
    expect_refused([&](image& i) { return this->load(i, this->folder / "missing.png", 0, 0); },
                   devil + L"File open failed.");
}

namespace {

// Of 8 bits through zarn_image_8, of more through zarn_image_16, whose alpha is the image's own or full.
template <class Form, class Saved>
void check_saved(const fs::path& path, unsigned format) {
    using traits = image_traits<Form>;
    for (const std::uint32_t origin : {lower_left, upper_left}) {
        const reference_image picture = random_picture<Form>(9, 7, origin, alpha_kind::any, 5);
        loaded_image<Form> image(picture, 1);
        ASSERT_EQ(image->save_file(path.wstring().c_str(), format, 0), 1u);
        EXPECT_TRUE(same_picture(picture, *image));
        EXPECT_TRUE(messages(*image).empty());
        zarn_owned<Saved> saved;
        ASSERT_EQ(saved->load_file(path.wstring().c_str()), 1u);
        for (unsigned i = 0; i < 63; ++i) {
            std::uint32_t samples[4];
            image_traits<Saved>::from_pixel(saved->get_pixel(i % 9, i / 9), samples);
            const std::uint32_t* p = picture.at_picture(i % 9, i / 9);
            const auto narrow = [&](std::uint64_t v) {
                if (traits::full <= 65535) return static_cast<std::uint32_t>(v);
                return to_sample(static_cast<double>(v) * (1.0 / 4294967295.0) * 65535.0, 65535);
            };
            for (unsigned c = 0; c < 3; ++c) ASSERT_EQ(samples[c], narrow(p[0]));
            ASSERT_EQ(samples[3], narrow(picture.alpha(p)));
        }
    }
    // Failures of the temporary image and of its file.
    loaded_image<Form> image(random_picture<Form>(9, 7, lower_left, alpha_kind::any, 5), 1);
    const std::string narrow_name = image_traits<Saved>::name;
    const std::wstring name(narrow_name.begin(), narrow_name.end());
    EXPECT_EQ(image->save_file((path.wstring() + L".unknown").c_str(), format, 0), 0u);
    ASSERT_FALSE(messages(*image).empty());
    EXPECT_EQ(messages(*image).back(), L"Failed to save " + name + L" to file.");
    bool created = true;
    for (std::int64_t n = 1; n <= 4 && created; ++n) { // among them the pixels
        const std::wstring target = path.wstring();
        unsigned result;
        {
            const allocation_failure failure(n);
            result = image->save_file(target.c_str(), format, 0);
        }
        if (!result) created = messages(*image).back() != L"Failed to create " + name + L" for save.";
    }
    EXPECT_FALSE(created);
}

} // namespace

TYPED_TEST(value_files, are_saved_as_rgba_images) {
    const fs::path path = this->folder / "a.png";
    if constexpr (TestFixture::has_alpha) {
        check_saved<grayscale_8, zarn_image_8>(path, 2);
        check_saved<grayscale_16, zarn_image_16>(path, 4);
        check_saved<grayscale_32, zarn_image_16>(path, 4);
    } else {
        check_saved<channel_8, zarn_image_8>(path, 2);
        check_saved<channel_16, zarn_image_16>(path, 4);
        check_saved<channel_32, zarn_image_16>(path, 4);
    }
}

TYPED_TEST(value_files, load_several_channels_at_once) {
    using image = typename TestFixture::owner;
    if constexpr (!TestFixture::has_alpha) {
        for (const char* name : {"png_rgba", "png_rgba_u16", "tif_rgb"}) {
            SCOPED_TRACE(name);
            const image_fixture& fixture = image_fixture_named(name);
            const fs::path path = this->folder / ("a." + fixture.extension);
            ASSERT_TRUE(write_bytes(path, fixture.bytes));
            const std::wstring wide = path.wstring();
            const auto size = static_cast<unsigned>(fixture.bytes.size());
            constexpr unsigned components[] = {2, 0, 3, 2};
            zarn_owned<zarn_image_8_16> whole;
            for (unsigned turn = 0; turn < 10; ++turn) {
                constexpr int types[] = {-1, 0, 1, 2, -2147483647};
                const int type = types[turn / 2];
                const bool from_memory = turn % 2;
                image images[5];
                images[4].create(3, 2, 0, 0, nullptr, 1);
                const auto load = [&](const unsigned* channels, unsigned count) {
                    return from_memory ? image::load_channels_from_file(fixture.bytes.data(), size, images, channels,
                                                                        count, type)
                                       : image::load_channels_from_file(wide.c_str(), images, channels, count, type);
                };
                const unsigned loaded =
                    from_memory ? whole->load_file(fixture.bytes.data(), size) : whole->load_file(wide.c_str());
                EXPECT_EQ(loaded + load(components, 4), 2u);
                const unsigned form = type < 0 ? whole->get_image_type() : static_cast<unsigned>(type);
                for (unsigned i = 0; i < 4; ++i) {
                    zarn_owned<image> expected;
                    ASSERT_EQ(expected->create(*whole, components[i], form), 1u);
                    ASSERT_EQ(images[i].get_image_type(), form);
                    EXPECT_EQ(images[i].get_origin(), expected->get_origin());
                    for (unsigned p = 0; p < fixture_width * fixture_height; ++p) {
                        const unsigned x = p % fixture_width, y = p / fixture_width;
                        ASSERT_EQ(this->at(images[i], x, y), this->at(*expected, x, y));
                    }
                }
                EXPECT_EQ(images[4].get_width(), 3u);
                // A channel that is not there empties them all.
                constexpr unsigned wrong[] = {1, 4, 0};
                EXPECT_EQ(load(wrong, 3), 0u);
                for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(images[i].get_width() + images[i].is_valid(), 0u);
                EXPECT_EQ(images[3].get_width(), fixture_width);
                EXPECT_EQ(load(wrong, 0), 1u);
                for (image& one : images) one.free();
            }
        }
        zarn_owned<image> kept;
        kept->create(3, 2, 0, 0, nullptr, 1);
        constexpr unsigned first = 0;
        EXPECT_EQ(
            image::load_channels_from_file((this->folder / "missing.png").wstring().c_str(), &*kept, &first, 1, -1),
            0u);
        EXPECT_EQ(image::load_channels_from_file("nonsense", 8, &*kept, &first, 1, -1), 0u);
        EXPECT_EQ(kept->get_width(), 3u);
    }
}

} // namespace zarn_test
