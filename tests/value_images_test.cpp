// What only the images of one value have: three depths and what leads from one to another, creation from components,
// canvases by place, native files of every form. What they share with the RGBA classes stands in the other typed tests.

#include <gtest/gtest.h>

#include <zarn/image_8_16.h>

#include "tests/reference/reference_blend.h"
#include "tests/reference/reference_filters.h"
#include "tests/reference/reference_geometry.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"
#include "tests/support/temporary_folder.h"

namespace zarn_test {

namespace {

using lines = std::vector<std::wstring>;
constexpr std::uint64_t fulls[] = {255, 65535, 4294967295};
constexpr unsigned most = 4294967295u;
const std::wstring no_memory = L"Memory Allocation Error: Failed to allocate ";
const lines bad_channel = {L"Invalid channel parameter."};

std::uint32_t at_depth(std::uint32_t v, std::uint64_t from, std::uint64_t to) {
    if (from == to) return v;
    return to_sample(v * (1.0 / static_cast<double>(from)) * static_cast<double>(to), to);
}

reference_image at_depth(reference_image picture, std::uint64_t full) {
    for (std::uint32_t& sample : picture.samples) sample = at_depth(sample, picture.full, full);
    picture.full = full;
    return picture;
}

// The picture of samples `components` of the pixels of another.
reference_image part_of(const reference_image& source, const std::vector<unsigned>& components, std::uint64_t full) {
    reference_image part = source;
    part.colours = 1;
    part.has_alpha = components.size() == 2;
    part = part.blank(source.width, source.height);
    for (std::size_t i = 0; i < part.samples.size(); ++i) {
        part.samples[i] = source.samples[i / part.stride() * source.stride() + components[i % part.stride()]];
    }
    return at_depth(part, full);
}

// An image of whatever type it has; the arrays of the other types are to be null.
template <class Image>
reference_image read_values(const Image& image) {
    const unsigned type = image.get_image_type();
    reference_image picture;
    picture.colours = 1;
    picture.has_alpha = std::is_base_of_v<zarn_image_grayscale, Image>;
    picture.full = fulls[type];
    picture.origin = image.get_origin();
    picture = picture.blank(image.get_width(), image.get_height());
    const auto take = [&](unsigned of_type, const auto* pixels) {
        EXPECT_EQ(pixels != nullptr, image.is_valid() && of_type == type) << of_type;
        if (!pixels) return;
        for (std::size_t i = 0; i < picture.samples.size(); ++i) {
            const auto& pixel = pixels[i / picture.stride()];
            if constexpr (std::is_base_of_v<zarn_image_grayscale, Image>) {
                picture.samples[i] = i % 2 ? pixel.alpha : pixel.value;
            } else {
                picture.samples[i] = pixel;
            }
        }
    };
    take(0, image.get_pixel_array_8());
    take(1, image.get_pixel_array_16());
    take(2, image.get_pixel_array_32());
    return picture;
}

template <class Image>
void expect_values(const reference_image& expected, const Image& image) {
    const reference_image actual = read_values(image);
    EXPECT_EQ(expected.full, actual.full);
    EXPECT_EQ(text(expected.width, expected.height, expected.origin), text(actual.width, actual.height, actual.origin));
    if (expected.samples.size() != actual.samples.size()) return;
    for (std::size_t i = 0; i < expected.samples.size(); ++i) ASSERT_EQ(expected.samples[i], actual.samples[i]) << i;
}

template <class Image>
void expect_empty(const Image& image) {
    EXPECT_EQ(image.is_valid(), 0u);
    EXPECT_EQ(image.get_image_type(), 2u);
    EXPECT_EQ(image.get_width() + image.get_height() + image.get_origin(), 0u);
    EXPECT_TRUE(!image.get_pixel_array_8() && !image.get_pixel_array_16() && !image.get_pixel_array_32());
}

template <class Image>
class value_images : public ::testing::Test {
protected:
    using owner = typename image_traits<Image>::base;

    static std::wstring no_array(unsigned type) {
        return no_memory + (image_traits<Image>::has_alpha ? L"zarn_image_grayscale" : L"zarn_image_channel") +
               L"::___pixel_" + std::to_wstring(8 << type) + L"_d_array.";
    }
    static reference_image picture(std::uint32_t origin = lower_left, std::uint32_t seed = 5) {
        return random_picture<Image>(9, 7, origin, alpha_kind::any, seed);
    }
};

TYPED_TEST_SUITE(value_images, value_image_types, image_type_names);

} // namespace

// ---- Depths --------------------------------------------------------------------------------------------------------

TYPED_TEST(value_images, convert_to_every_depth) {
    using traits = image_traits<TypeParam>;
    reference_image picture = random_picture<TypeParam>(257, 256, lower_left, alpha_kind::any, 3);
    for (std::size_t i = 0; i < picture.samples.size(); ++i) { // of 32 bits: about the values of 16
        const std::uint64_t v = i / traits::stride;
        picture.samples[i] = static_cast<std::uint32_t>((traits::full > 65535 ? v * 65537 - i % 3 : v) & traits::full);
    }
    for (unsigned type = 0; type <= 2; ++type) {
        SCOPED_TRACE(type);
        const reference_image expected = at_depth(picture, fulls[type]);
        loaded_image<TypeParam> image(picture, 2), self(picture, 3);
        zarn_owned<typename traits::base> copy;
        copy->create(1, 1, 0, 0, nullptr, 1);
        EXPECT_EQ(copy->create(*image, type), 1u);
        expect_values(expected, *copy);
        EXPECT_TRUE(same_picture(picture, *image));
        const void* pixels = image->get_pixel_array();
        EXPECT_EQ(image->set_image_type(type), 1u);
        expect_values(expected, *image);
        EXPECT_EQ(image->get_pixel_array() == pixels, type == traits::type);
        for (const unsigned other : {3u, most}) EXPECT_EQ(image->set_image_type(other), 1u);
        expect_values(expected, *image);
        self->crop(0, 0, 0, 0);
        EXPECT_EQ(self->create(*self, type), 1u);
        expect_values(expected, *self);
        EXPECT_TRUE(messages(*self).empty());
        EXPECT_EQ(self->get_thread_limit(), 3u);
    }
    EXPECT_EQ(at_depth(1, 255, 65535), 257u);
    for (const std::uint64_t from : fulls) {
        for (const std::uint64_t to : fulls) EXPECT_EQ(at_depth(static_cast<std::uint32_t>(from), from, to), to);
    }
}

TYPED_TEST(value_images, without_memory_for_another_depth_stay_as_they_are) {
    for (unsigned type = 0; type <= 2; ++type) {
        if (type == image_traits<TypeParam>::type) continue;
        loaded_image<TypeParam> image(this->picture(), 2), source(this->picture(), 2);
        for (const bool in_place : {true, false}) {
            {
                const allocation_failure failure(1);
                EXPECT_EQ(in_place ? image->set_image_type(type) : image->create(*source, type), 0u);
            }
            if (in_place) {
                EXPECT_TRUE(same_picture(this->picture(), *image));
            } else {
                expect_empty(*image);
            }
            EXPECT_EQ(messages(*image), lines{this->no_array(type)});
        }
    }
}

TYPED_TEST(value_images, types_above_2_give_no_array) {
    typename image_traits<TypeParam>::pixel unused{};
    const loaded_image<TypeParam> source(this->picture(), 1);
    zarn_owned<TypeParam> empty;
    for (const unsigned type : {3u, most}) {
        for (const bool from_memory : {true, false}) {
            loaded_image<TypeParam> image(this->picture(), 2);
            image->crop(0, 0, 0, 0);
            const unsigned result =
                from_memory ? image->create(9, 7, upper_left, type, &unused, 1) : image->create(*source, type);
            EXPECT_EQ(result, 1u);
            EXPECT_EQ(text(image->is_valid(), image->get_image_type(), image->get_width()), text(0, 2, 9));
            EXPECT_TRUE(!image->get_pixel_array() && messages(*image).empty());
        }
        loaded_image<TypeParam> image(this->picture(), 2);
        EXPECT_EQ(image->create(*empty, type - 3), 1u);
        expect_empty(*image);
        EXPECT_EQ(image->set_image_type(type) + image->set_image_type(2), 2u);
        EXPECT_EQ(image->set_image_type(0) + image->set_image_type(1) + image->save_file(L"nothing.png", 2, 0), 0u);
        EXPECT_TRUE(messages(*image).empty());
    }
}

// ---- Components of other images ------------------------------------------------------------------------------------

namespace {

// The second component does not count without alpha.
template <class Image, class Source>
unsigned create_part(Image& image, const Source& source, unsigned value, [[maybe_unused]] unsigned alpha,
                     unsigned type) {
    if constexpr (image_traits<Image>::has_alpha) {
        return image.create(source, value, alpha, type);
    } else {
        return image.create(source, value, type);
    }
}

// Every channel (or pair) of a source into every type, and channels that are not there.
template <class Image, class Source>
void check_components(const reference_image& picture, const Source& source) {
    constexpr bool has_alpha = image_traits<Image>::has_alpha;
    const unsigned count = picture.stride();
    const reference_image other = random_picture<Image>(2, 2, 0, alpha_kind::any, 1);
    loaded_image<Image> image(other, 1);
    for (unsigned type = 0; type <= 3; ++type) {
        for (unsigned i = 0; i < (has_alpha ? count * count : count); ++i) {
            EXPECT_EQ(create_part(*image, source, i % count, i / count, type), 1u);
            EXPECT_EQ(image->is_valid(), type == 3 ? 0u : 1u);
            std::vector<unsigned> components = {i % count, i / count};
            components.resize(has_alpha ? 2 : 1);
            if (type < 3) expect_values(part_of(picture, components, fulls[type]), *image);
        }
        for (const unsigned beyond : {count, 256u, most}) {
            if (type == 3) continue;
            for (const bool second : {false, has_alpha}) {
                image_traits<Image>::load(*image, other);
                EXPECT_EQ(create_part(*image, source, second ? 0 : beyond, second ? beyond : 0, type), 0u);
                EXPECT_EQ(messages(*image), bad_channel);
                expect_empty(*image);
            }
        }
    }
    const Source nothing;
    image_traits<Image>::load(*image, other);
    EXPECT_EQ(create_part(*image, nothing, 1, 0, 1), 1u);
    expect_empty(*image);
}

} // namespace

TYPED_TEST(value_images, from_components_of_rgba_images) {
    const reference_image deep = random_picture<zarn_image_16>(9, 7, lower_left, alpha_kind::any, 2);
    const reference_image shallow = random_picture<zarn_image_8>(5, 4, upper_left, alpha_kind::any, 3);
    const loaded_image<zarn_image_16> image_16(deep, 1);
    const loaded_image<zarn_image_8> image_8(shallow, 1);
    check_components<TypeParam>(deep, *image_16);
    check_components<TypeParam>(shallow, *image_8);
    zarn_owned<zarn_image_8_16> either;
    either->create(*image_16, 1);
    check_components<TypeParam>(deep, *either);
    either->create(*image_8, 0);
    check_components<TypeParam>(shallow, *either);
}

TYPED_TEST(value_images, from_components_of_grayscale_images) {
    if constexpr (!image_traits<TypeParam>::has_alpha) {
        zarn_owned<zarn_image_grayscale> source;
        source->create(*loaded_image<grayscale_32>(random_picture<grayscale_32>(9, 7, 0, alpha_kind::any, 2), 1), 2);
        for (const unsigned type : {2u, 1u, 0u}) {
            ASSERT_EQ(source->set_image_type(type), 1u);
            check_components<TypeParam>(read_values(*source), *source);
        }
    }
}

// ---- Canvas and fill -----------------------------------------------------------------------------------------------

TYPED_TEST(value_images, canvas_that_cannot_hold_the_picture_at_its_place) {
    using traits = image_traits<TypeParam>;
    const auto fill = traits::make(1, 2, 0, 0);
    const auto resize = [&](TypeParam& image, unsigned width, unsigned height, unsigned x, unsigned y) {
        return image.resize_canvas(x, width - x - 9, y, height - y - 7, fill); // margins of the form
    };
    constexpr unsigned places[][4] = {{11, 9, 3, 0},    {11, 9, 0, 3},        {8, 9, 0, 0},
                                      {11, 6, 0, 0},    {0, 0, 0, 0},         {9, 7, 1, 0},
                                      {11, 9, most, 0}, {11, 9, 0, most - 6}, {11, 9, most - 6, most - 6}};
    const lines expected = {traits::message(L"Failed to zarn_image_8::resize_canvas(). Invalid size.")};
    for (const auto& p : places) {
        loaded_image<TypeParam> image(this->picture(), 2);
        EXPECT_EQ(resize(*image, p[0], p[1], p[2], p[3]), 0u) << text(p[0], p[1], p[2], p[3]);
        EXPECT_EQ(messages(*image), expected);
        EXPECT_TRUE(same_picture(this->picture(), *image));
    }
}

// Arguments are 32 bits wide whatever the depth.
TYPED_TEST(value_images, fills_are_cut_to_the_depth) {
    using traits = image_traits<TypeParam>;
    constexpr std::uint32_t value = 0x12345678, alpha = 0x9ABCDEF0, full = static_cast<std::uint32_t>(traits::full);
    const std::uint32_t fill[2] = {value & full, alpha & full};
    reference_image expected = this->picture();
    loaded_image<TypeParam> image(expected, 2);
    typename traits::base& form = *image;
    reference_resize_canvas(expected, 12, 9, 1, fill);
    reference_add_margins(expected, 2, 1, 0, 3, fill);
    const auto with_fill = [&](auto call) {
        if constexpr (traits::has_alpha) return call(value, alpha);
        if constexpr (!traits::has_alpha) return call(value);
    };
    EXPECT_EQ(with_fill([&](auto... v) { return form.resize_canvas(12, 9, 1, v...); }), 1u);
    EXPECT_EQ(with_fill([&](auto... v) { return form.resize_canvas(15, 12, 2, 0, v...); }), 1u);
    EXPECT_TRUE(same_picture(expected, *image));
    if constexpr (traits::has_alpha) form.clear(value, alpha, 256);
    if constexpr (!traits::has_alpha) form.clear(value);
    for (std::size_t i = 0; i < expected.samples.size(); ++i) expected.samples[i] = fill[i % traits::stride];
    EXPECT_TRUE(same_picture(expected, *image));
}

// ---- Compositing, thresholds ---------------------------------------------------------------------------------------

TYPED_TEST(value_images, blit_from_every_depth) {
    const loaded_image<TypeParam> original(this->picture(upper_left, 4), 1);
    unsigned turn = 0;
    for (unsigned type = 0; type <= 2; ++type) {
        zarn_owned<typename TestFixture::owner> source;
        ASSERT_EQ(source->create(*original, type), 1u);
        const reference_image before = read_values(*source);
        for (const unsigned mode : {0u, 3u, 5u, 9u, 14u, 19u, 21u, 25u, 27u}) {
            reference_blit_call call{1, 0, 20, 6, turn % 3 ? 0.4f : 1.0f, -2, 3, mode, turn % 2, nullptr};
            ++turn;
            compare<TypeParam>(
                {random_picture<TypeParam>(13, 11, lower_left, alpha_kind::any, turn), 2, "depths"}, text(type, mode),
                [&](reference_image& p) { reference_blit(p, at_depth(before, p.full), call); },
                [&](TypeParam& image) {
                    return image.blit(*source, 1, 0, 20, 6, static_cast<float>(call.opacity), -2, 3, mode, call.flags,
                                      nullptr, nullptr);
                });
            expect_values(before, *source);
            EXPECT_TRUE(messages(*source).empty());
        }
    }
}

TYPED_TEST(value_images, blit_without_memory_for_the_converted_source) {
    const reference_image picture = this->picture();
    bool happened = true;
    for (std::int64_t n = 1; happened; ++n) {
        loaded_image<TypeParam> image(picture, 2);
        zarn_owned<typename TestFixture::owner> source;
        source->create(*image, (image_traits<TypeParam>::type + 1) % 3);
        const std::int64_t before = live_allocations();
        unsigned result;
        {
            const allocation_failure failure(n);
            result = image->blit(*source, 0, 0, 9, 7, 1, 1, 1, 5, 0, nullptr, nullptr);
            happened = failure.happened();
        }
        EXPECT_EQ(result, happened ? 0u : 1u);
        EXPECT_EQ(messages(*image).empty(), !happened);
        EXPECT_EQ(static_cast<bool>(same_picture(picture, *image)), happened);
        image->free();
        EXPECT_LE(live_allocations(), before);
    }
}

TYPED_TEST(value_images, thresholds_of_64_bits) {
    if constexpr (image_traits<TypeParam>::has_alpha) {
        constexpr std::uint64_t full = image_traits<TypeParam>::full;
        for (const std::uint64_t threshold :
             {full, full + 1, full + 2, std::uint64_t{1} << 32, std::uint64_t{1} << 40, ~std::uint64_t{0}}) {
            compare<TypeParam>(
                {random_picture<TypeParam>(33, 9, upper_left, alpha_kind::binary, 6), 2, "threshold"}, text(threshold),
                [&](reference_image& p) { reference_expand_where_alpha(p, 1, full - 1, false); },
                [&](TypeParam& image) { return image.expand_where_alpha(1, threshold, 0); });
        }
    }
}

// ---- Native files --------------------------------------------------------------------------------------------------

namespace {

const lines wrong_type = {L"Unknown file type."};
const lines short_file = {L"Failed to read pixels from file. Unexpected end of file."};
const lines broken_stream = {L"Compression Error: Failed to decompress pixels from file."};

byte_vector words(std::initializer_list<std::uint32_t> numbers) {
    byte_vector bytes;
    for (const std::uint32_t number : numbers) {
        for (unsigned shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
    }
    return bytes;
}

} // namespace

TYPED_TEST(value_images, native_files_of_their_form) {
    using traits = image_traits<TypeParam>;
    const temporary_folder folder;
    const std::filesystem::path file = folder / "file";
    for (const std::uint32_t origin : {lower_left, upper_left, 9u}) {
        const reference_image picture = this->picture(origin);
        const loaded_image<TypeParam> image(picture, 1);
        byte_vector expected = words({traits::type, origin, 9, 7});
        for (const std::uint32_t sample : picture.samples) {
            for (unsigned b = 0; b < sizeof(typename traits::sample); ++b) {
                expected.push_back(static_cast<std::uint8_t>(sample >> (8 * b)));
            }
        }
        for (const unsigned compress : {0u, 1u, 256u}) {
            EXPECT_EQ(const_cast<TypeParam&>(*image).save_binary(file.wstring().c_str(), compress), 1u);
            const byte_vector bytes = read_bytes(file);
            if (!compress) {
                EXPECT_EQ(bytes, expected);
            }
            EXPECT_EQ(byte_vector(bytes.begin(), bytes.begin() + 16),
                      words({traits::type + (compress ? 1000 : 0), origin, 9, 7}));
            for (unsigned type = 0; type <= 3; ++type) { // whatever was held; 3: nothing
                zarn_owned<typename traits::base> other;
                other->create(3, 2, 0, type, nullptr, 1);
                EXPECT_EQ(other->load_binary(file.wstring().c_str()), 1u);
                EXPECT_TRUE(messages(*other).empty());
                expect_values(picture, *other);
            }
        }
    }
}

TYPED_TEST(value_images, native_files_that_are_refused) {
    const temporary_folder folder;
    const std::filesystem::path file = folder / "file";
    constexpr auto type = image_traits<TypeParam>::type, packed = type + 1000;
    struct refused {
        byte_vector bytes;
        const lines& expected;
    };
    const refused files[] = {
        {{}, wrong_type},
        {words({3, 1538, 1, 1, 0, 0}), wrong_type},
        {words({1003, 1538, 1, 1, 0, 0}), wrong_type},
        {words({type, 1538, 1}), short_file},
        {words({type, 1538, 0x80000000u, 0x80000000u, 0, 0}), short_file},
        {words({packed}), broken_stream},
        {words({packed, 1538, most, most, 1, 0, 0}), broken_stream},
    };
    loaded_image<TypeParam> image(this->picture(), 1);
    const auto expect_refused = [&](const byte_vector& bytes, const lines& expected, std::int64_t failing) {
        image_traits<TypeParam>::load(*image, this->picture());
        EXPECT_TRUE(write_bytes(file, bytes));
        const std::wstring path = file.wstring();
        {
            const allocation_failure failure(failing);
            EXPECT_EQ(image->load_binary(path.c_str()), 0u);
        }
        EXPECT_EQ(messages(*image), expected) << bytes.size();
        expect_empty(*image);
    };
    for (const refused& one : files) expect_refused(one.bytes, one.expected, 0);
    image_traits<TypeParam>::load(*image, this->picture());
    ASSERT_EQ(image->save_binary(file.wstring().c_str(), 1), 1u);
    const byte_vector good = read_bytes(file);
    // The path comes first.
    expect_refused(good, {no_memory + L"___pixel_" + std::to_wstring(8 << type) + L"_d_array."}, 2);
    image_traits<TypeParam>::load(*image, this->picture());
    EXPECT_TRUE(write_bytes(file, byte_vector(good.begin(), good.end() - 1)));
    EXPECT_EQ(image->load_binary(file.wstring().c_str()), 0u);
    EXPECT_EQ(messages(*image), broken_stream);
}

TYPED_TEST(value_images, native_files_of_nothing_have_the_32_bit_form) {
    const temporary_folder folder;
    const std::filesystem::path file = folder / "file";
    zarn_owned<TypeParam> image;
    EXPECT_EQ(image->save_binary(file.wstring().c_str(), 0), 1u);
    EXPECT_EQ(read_bytes(file), words({2, 0, 0, 0}));
    image_traits<TypeParam>::load(*image, this->picture());
    EXPECT_EQ(image->load_binary(file.wstring().c_str()), 1u);
    expect_empty(*image);
    EXPECT_EQ(image->save_binary(file.wstring().c_str(), 1), 1u);
    EXPECT_EQ(image->load_binary(file.wstring().c_str()), 0u);
    EXPECT_EQ(messages(*image), broken_stream);
}

} // namespace zarn_test
