// The image that holds 8 or 16 bits: conversions, what it forwards and to whom, what it refuses.

#include <utility>

#include <gtest/gtest.h>

#include <zarn/image_8_16.h>

#include "tests/reference/reference_blend.h"
#include "tests/reference/reference_filters.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"
#include "tests/support/temporary_folder.h"

namespace zarn_test {

namespace {

using holder = zarn_image_8_16;
using lines = std::vector<std::wstring>;

// What the holder calls differently for its two depths.
template <class Image>
struct depth;

template <>
struct depth<zarn_image_8> {
    using other = zarn_image_16;
    static constexpr unsigned type = 0;
    static constexpr const wchar_t* invalid_parameter = L"Invalid zarn_image_8 parameter.";
    static auto array(const holder& h) { return const_cast<holder&>(h).get_pixel_array_8(); }
    static const auto& pixel(const holder& h, unsigned x, unsigned y) { return h.get_pixel_8(x, y); }
    static constexpr auto clear = &holder::clear_8;
    static constexpr auto expand = &holder::expand_where_alpha_8;
    static constexpr auto blit = &holder::blit_8;
    template <class... Arguments>
    static unsigned canvas(holder& h, const Arguments&... arguments) {
        return h.resize_canvas_8(arguments...);
    }
};

template <>
struct depth<zarn_image_16> {
    using other = zarn_image_8;
    static constexpr unsigned type = 1;
    static constexpr const wchar_t* invalid_parameter = L"Invalid zarn_image_16 parameter.";
    static auto array(const holder& h) { return const_cast<holder&>(h).get_pixel_array_16(); }
    static const auto& pixel(const holder& h, unsigned x, unsigned y) { return h.get_pixel_16(x, y); }
    static constexpr auto clear = &holder::clear_16;
    static constexpr auto expand = &holder::expand_where_alpha_16;
    static constexpr auto blit = &holder::blit_16;
    template <class... Arguments>
    static unsigned canvas(holder& h, const Arguments&... arguments) {
        return h.resize_canvas_16(arguments...);
    }
};

template <class Image>
using other_of = typename depth<Image>::other;

// The picture in the other depth.
reference_image converted(const reference_image& picture) {
    reference_image result = picture;
    const bool deeper = picture.full == 255;
    result.full = deeper ? 65535 : 255;
    for (std::uint32_t& sample : result.samples) {
        const float unit = static_cast<float>(sample) * (deeper ? 0.003921569f : 1.5259022e-05f);
        sample = static_cast<std::uint32_t>(unit * static_cast<float>(result.full));
    }
    return result;
}

// The image of one depth that is held; empty when there is none.
template <class Image>
reference_image held(const holder& h) {
    using traits = image_traits<Image>;
    const auto* pixels = depth<Image>::array(h);
    reference_image picture = traits::blank(pixels ? h.get_width() : 0, pixels ? h.get_height() : 0, h.get_origin());
    for (std::size_t i = 0; i < picture.samples.size() / 4; ++i) traits::from_pixel(pixels[i], &picture.samples[i * 4]);
    return picture;
}

template <class Image>
class loaded_holder : public zarn_owned<holder> {
public:
    explicit loaded_holder(const reference_image& picture, unsigned thread_limit = 2) {
        const loaded_image<Image> source(picture, 1);
        (*this)->set_thread_limit(thread_limit);
        EXPECT_EQ((*this)->create(*source, depth<Image>::type), 1u);
        EXPECT_EQ((*this)->get_image_type(), depth<Image>::type);
    }
};

template <class Image>
class image_8_16 : public ::testing::Test {
protected:
    static constexpr unsigned type = depth<Image>::type, other_type = 1 - type;

    static reference_image random(std::uint32_t width = 9, std::uint32_t height = 7, std::uint32_t origin = lower_left,
                                  std::uint32_t seed = 1) {
        return random_picture<Image>(width, height, origin, alpha_kind::any, seed);
    }

    // Every value of the depth in every channel.
    static reference_image every_value(std::uint32_t origin) {
        const std::uint32_t side = type ? 256 : 16;
        reference_image picture = image_traits<Image>::blank(side, side, origin);
        for (std::uint32_t i = 0; i < picture.samples.size(); ++i) {
            picture.samples[i] = (i / 4 + i % 4 * 77) & static_cast<std::uint32_t>(picture.full);
        }
        return picture;
    }

    // `picture` is of the class's own depth.
    static void expect_held(const reference_image& picture, const holder& h, unsigned of_type = type) {
        if (of_type == type) {
            EXPECT_TRUE(picture == held<Image>(h));
            EXPECT_EQ(depth<other_of<Image>>::array(h), nullptr);
        } else {
            EXPECT_TRUE(converted(picture) == held<other_of<Image>>(h));
            EXPECT_EQ(depth<Image>::array(h), nullptr);
        }
        EXPECT_EQ(h.get_image_type(), of_type);
        EXPECT_TRUE(messages(h).empty());
    }
};

TYPED_TEST_SUITE(image_8_16, rgba_image_types, image_type_names);

} // namespace

// ---- Creation and depth --------------------------------------------------------------------------------------------

TYPED_TEST(image_8_16, creation_copies_or_converts_every_value) {
    const std::int64_t before = live_allocations();
    for (const std::uint32_t origin : {lower_left, upper_left, 5u}) {
        const reference_image picture = this->every_value(origin);
        const loaded_image<TypeParam> image(picture, 1);
        loaded_holder<TypeParam> source(picture);
        zarn_owned<holder> target;
        for (const unsigned to : {this->type, this->other_type}) {
            EXPECT_EQ(target->create(*image, to), 1u);
            this->expect_held(picture, *target, to);
            EXPECT_EQ(target->create(*source, to), 1u);
            this->expect_held(picture, *target, to);
        }
        EXPECT_EQ(source->set_image_type(2), 0u);
        for (const unsigned to : {this->type, this->other_type}) {
            EXPECT_EQ(source->set_image_type(to), 1u);
            this->expect_held(picture, *source, to);
        }
        EXPECT_EQ(source->set_image_type(this->type), 1u);
        this->expect_held(converted(converted(picture)), *source);
    }
    EXPECT_EQ(live_allocations(), before);
}

TYPED_TEST(image_8_16, creation_from_memory) {
    using pixel = typename image_traits<TypeParam>::pixel;
    const std::int64_t before = live_allocations();
    {
        zarn_owned<holder> h;
        EXPECT_EQ(h->create(3, 2, 77, this->type, nullptr, 1), 1u);
        this->expect_held(image_traits<TypeParam>::blank(3, 2, 77), *h);
        pixel* const pixels = new pixel[6];
        pixels[0].g = 5;
        for (const unsigned copy : {1u, 0u}) {
            EXPECT_EQ(h->create(2, 3, upper_left, this->type, pixels, copy), 1u);
            EXPECT_EQ(depth<TypeParam>::array(*h) == pixels, copy == 0);
            EXPECT_EQ(depth<TypeParam>::pixel(*h, 0, 0).g, 5u);
        }
        // The image of the other depth stays beside it; of two, the one of 8 bits counts.
        EXPECT_EQ(h->create(2, 3, upper_left, this->other_type, nullptr, 1), 1u);
        EXPECT_EQ(h->get_image_type(), 0u);
        EXPECT_EQ(depth<TypeParam>::array(*h), pixels);
        EXPECT_NE(depth<other_of<TypeParam>>::array(*h), nullptr);
        h->free();
        EXPECT_EQ(h->get_image_type(), 1u);

        EXPECT_EQ(h->create(0, 3, upper_left, this->type, nullptr, 1), 1u);
        EXPECT_EQ(h->get_image_type(), this->type);
        EXPECT_EQ(h->is_valid() + h->is_alpha(), 0u);
        EXPECT_EQ(h->get_height(), 3u);
    }
    EXPECT_EQ(live_allocations(), before);
}

TYPED_TEST(image_8_16, refused_creations_keep_what_is_held) {
    const reference_image picture = this->random();
    const loaded_image<TypeParam> image(picture, 1);
    loaded_holder<TypeParam> h(picture), source(picture);
    zarn_owned<TypeParam> nothing;
    zarn_owned<holder> empty;
    lines expected;
    const auto expect = [&](unsigned result, const wchar_t* message) {
        EXPECT_EQ(result, 0u);
        expected.push_back(message);
        EXPECT_EQ(messages(*h), expected);
        EXPECT_TRUE(picture == held<TypeParam>(*h));
    };
    expect(h->create(*nothing, 0), depth<TypeParam>::invalid_parameter);
    expect(h->create(*nothing, 1), depth<TypeParam>::invalid_parameter);
    expect(h->create(*empty, 0), L"Invalid zarn_image_8_16 parameter.");
    expect(h->create(*image, 2), L"Unknown image type.");
    expect(h->create(*source, 4294967295u), L"Unknown image type.");
    expect(h->create(2, 2, upper_left, 2, nullptr, 1), L"Unknown image type.");
    EXPECT_EQ(h->create(*image, this->type), 1u);
    this->expect_held(picture, *h);
}

// A size without an array, and a picture of either depth beside it, are states that creation from memory allows.
TYPED_TEST(image_8_16, conversion_of_a_null_array_and_beside_another_depth) {
    const unsigned other = 1 - this->type;
    zarn_owned<holder> nothing;
    EXPECT_EQ(nothing->create(300, 200, lower_left, this->type, nullptr, 0), 1u);
    EXPECT_EQ(nothing->set_image_type(other), 0u);
    EXPECT_EQ(nothing->create(*nothing, other), 0u);
    EXPECT_EQ(nothing->get_width(), 300u);

    loaded_holder<other_of<TypeParam>> target(
        random_picture<other_of<TypeParam>>(5, 4, upper_left, alpha_kind::any, 1));
    EXPECT_EQ((*target.*depth<other_of<TypeParam>>::blit)(*nothing, 0, 0, 5, 4, 1, 0, 0, 0, 0, nullptr, nullptr), 0u);
    EXPECT_TRUE(messages(*target).empty());

    const std::int64_t before = live_allocations();
    {
        const reference_image picture = random_picture<zarn_image_8>(3, 2, upper_left, alpha_kind::any, 1);
        loaded_holder<zarn_image_8> both(picture);
        EXPECT_EQ(both->create(4, 4, upper_left, 1, nullptr, 1), 1u);
        EXPECT_EQ(both->set_image_type(1), 1u);
        EXPECT_EQ(both->get_pixel_array_8(), nullptr);
        EXPECT_EQ(both->get_width(), 3u);
    }
    EXPECT_EQ(live_allocations(), before);
}

TYPED_TEST(image_8_16, alpha_below_full_is_found) {
    reference_image picture = random_picture<TypeParam>(9, 7, lower_left, alpha_kind::opaque, 1);
    EXPECT_EQ(loaded_holder<TypeParam>(picture)->is_alpha(), 0u);
    --picture.samples.back();
    EXPECT_EQ(loaded_holder<TypeParam>(picture)->is_alpha(), 1u);
}

// ---- Forwarding ----------------------------------------------------------------------------------------------------

TYPED_TEST(image_8_16, does_what_the_held_image_does) {
    const reference_image picture = this->random();
    const auto same = [&](auto&& run) {
        loaded_image<TypeParam> image(picture, 3);
        loaded_holder<TypeParam> h(picture, 3);
        EXPECT_EQ(run(*h), run(*image));
        EXPECT_TRUE(image_traits<TypeParam>::read(*image) == held<TypeParam>(*h));
        EXPECT_TRUE(messages(*h).empty()); // they go to the held image
    };
    same([](auto& i) { return i.set_origin(upper_left); });
    same([](auto& i) { return i.crop(1, 2, 3, 4); });
    same([](auto& i) { return i.crop(9, 9, 9, 9); });
    same([](auto& i) {
        unsigned left = 99, top = 99;
        return i.crop_to_pixels(left, top) + left * 100 + top * 10000;
    });
    same([](auto& i) { return i.flip_horizontal(); });
    same([](auto& i) { return i.flip_vertical(); });
    same([](auto& i) { return i.resample(20, 12, 2); });
    same([](auto& i) { return i.rotate(0.5, 1); });
    same([](auto& i) { return i.box_blur(2, 1, 0); });
    same([](auto& i) { return i.gaussian_blur(1.5f, 0, 0, 1); });
    same([](auto& i) { return i.exposure(1.5f), 1u; });
    same([](auto& i) { return i.brightness(0.2f), 1u; });
    same([](auto& i) { return i.contrast(1.3f), 1u; });
    same([](auto& i) { return i.gamma(2.2f), 1u; });
    same([](auto& i) { return i.sharpen(0.4f), 1u; });
    same([](auto& i) { return i.grayscale(), 1u; });
    same([](auto& i) { return i.grayscale(0.5f, 0.2f, 0.1f), 1u; });
    same([](auto& i) { return i.negative(1, 0), 1u; });
    same([](auto& i) { return i.normalize(), 1u; });
    same([](auto& i) { return i.auto_contrast(), 1u; });
}

TYPED_TEST(image_8_16, calls_of_one_depth_reach_that_depth_alone) {
    using pixel = typename image_traits<TypeParam>::pixel;
    const reference_image picture = this->random();
    const pixel fill(11, 22, 33, 44);
    const auto same = [&](auto&& run, auto&& on_holder) {
        loaded_image<TypeParam> image(picture, 2);
        loaded_holder<TypeParam> h(picture);
        EXPECT_EQ(on_holder(*h), run(*image));
        EXPECT_TRUE(image_traits<TypeParam>::read(*image) == held<TypeParam>(*h));
        loaded_holder<other_of<TypeParam>> other(converted(picture));
        EXPECT_EQ(on_holder(*other), 0u);
        EXPECT_TRUE(converted(picture) == held<other_of<TypeParam>>(*other));
        EXPECT_TRUE(messages(*other).empty());
    };
    same([&](TypeParam& i) { return i.resize_canvas(12, 9, 4, fill); },
         [&](holder& h) { return depth<TypeParam>::canvas(h, 12u, 9u, 4u, fill); });
    same([&](TypeParam& i) { return i.resize_canvas(1, 2, 3, 4, fill); },
         [&](holder& h) { return depth<TypeParam>::canvas(h, 1u, 2u, 3u, 4u, fill); });
    same([&](TypeParam& i) { return i.expand_where_alpha(3, 200, 0); },
         [&](holder& h) { return (h.*depth<TypeParam>::expand)(3, 200, 0); });
    const auto told = [](const holder& h) { return depth<TypeParam>::array(h) ? 1u : 0u; };
    same([&](TypeParam& i) { return i.clear(fill, 1), 1u; },
         [&](holder& h) { return (h.*depth<TypeParam>::clear)(fill, 1), told(h); });
    same([&](TypeParam& i) { return i.set_pixel(2, 1, fill), 1u; },
         [&](holder& h) { return h.set_pixel(2, 1, fill), told(h); });
    same([&](TypeParam& i) { return static_cast<unsigned>(i.get_pixel(4, 1).r); },
         [&](holder& h) { return static_cast<unsigned>(depth<TypeParam>::pixel(h, 4, 1).r); });
}

TEST(image_8_16, an_empty_holder_does_nothing) {
    const temporary_folder folder;
    const std::filesystem::path file = folder / "file";
    zarn_owned<holder> h, other;
    EXPECT_EQ(h->get_image_type(), 1u);
    EXPECT_EQ(h->get_thread_limit(), 0u);
    EXPECT_EQ(h->set_image_type(1), 1u);
    EXPECT_EQ(h->set_image_type(0) + h->set_image_type(2), 0u);
    EXPECT_EQ(h->get_width() + h->get_height() + h->get_origin() + h->is_valid() + h->is_alpha(), 0u);
    EXPECT_TRUE(!h->get_pixel_array_8() && !h->get_pixel_array_16());
    EXPECT_EQ(h->get_pixel_8(3, 4).r + h->get_pixel_16(3, 4).a, 0);
    h->set_pixel(3, 4, zarn_pixel_8_s(1, 2, 3, 4));
    h->set_pixel(3, 4, zarn_pixel_16_s(1, 2, 3, 4));
    unsigned left = 0, top = 0;
    EXPECT_EQ(h->set_origin(0) + h->set_origin(upper_left) + h->crop(0, 0, 1, 1) + h->crop_to_pixels(left, top) +
                  h->flip_horizontal() + h->flip_vertical() + h->resample(0, 0, 0) + h->rotate(0, 0) +
                  h->box_blur(1, 1, 1) + h->gaussian_blur(1, 0, 1, 1) + h->expand_where_alpha_8(0, 0, 0) +
                  h->expand_where_alpha_16(0, 0, 0) + h->resize_canvas_8(1, 1, 0, {}) +
                  h->resize_canvas_16(1, 1, 0, {}),
              0u);
    h->exposure(1), h->brightness(1), h->contrast(1), h->gamma(1), h->sharpen(1), h->grayscale();
    h->grayscale(1, 0, 0), h->negative(1, 1), h->normalize(), h->auto_contrast(), h->clear_8({}, 1), h->clear_16({}, 1);
    EXPECT_EQ(h->blit_8(*other, 0, 0, 1, 1, 1, 0, 0, 0, 0, nullptr, nullptr), 0u);
    EXPECT_EQ(h->blit_16(*h, 0, 0, 1, 1, 1, 0, 0, 0, 0, nullptr, nullptr), 0u);
    EXPECT_EQ(h->save_binary(file.wstring().c_str(), 0), 0u);
    EXPECT_EQ(h->save_file((folder / "file.png").wstring().c_str(), 2, 0), 0u);
    EXPECT_FALSE(std::filesystem::exists(file) || std::filesystem::exists(folder / "file.png"));
    EXPECT_TRUE(messages(*h).empty());
}

TYPED_TEST(image_8_16, thread_limit_reaches_every_image_it_makes) {
    const reference_image picture = this->random(9, 12);
    // Where bands meet shows in what sharpening does.
    const auto expect_bands = [&](holder& h, unsigned bands) {
        EXPECT_EQ(h.get_thread_limit(), bands);
        reference_image expected = held<TypeParam>(h);
        reference_sharpen(expected, 0.7f, bands);
        h.sharpen(0.7f);
        EXPECT_TRUE(expected == held<TypeParam>(h)) << bands;
    };
    loaded_holder<TypeParam> h(picture, 3);
    expect_bands(*h, 3);
    h->set_thread_limit(2);
    expect_bands(*h, 2);
    EXPECT_EQ(h->set_image_type(this->other_type), 1u);
    h->set_thread_limit(4);
    EXPECT_EQ(h->set_image_type(this->type), 1u);
    expect_bands(*h, 4);
    loaded_holder<TypeParam> source(picture, 1), target(picture, 5);
    *target = *source;
    expect_bands(*target, 5);
    *target = std::move(*source);
    expect_bands(*target, 5);
    EXPECT_EQ(source->get_thread_limit(), 1u);
    h->free();
    EXPECT_EQ(h->get_thread_limit(), 4u);
}

// ---- Compositing ---------------------------------------------------------------------------------------------------

TYPED_TEST(image_8_16, blit_takes_sources_of_either_depth) {
    using pixel = typename image_traits<TypeParam>::pixel;
    const reference_image picture = this->random(9, 7, lower_left, 1);
    const reference_image other = random_picture<other_of<TypeParam>>(6, 8, upper_left, alpha_kind::any, 2);
    const std::int64_t before = live_allocations();
    const auto blit = [](holder& to, holder& from, const reference_blit_call& c, auto callback, void* user_data) {
        return (to.*depth<TypeParam>::blit)(from, c.source_x, c.source_y, c.width, c.height,
                                            static_cast<float>(c.opacity), c.x, c.y, c.mode, c.flags, callback,
                                            user_data);
    };
    for (unsigned mode = 0; mode <= 25; ++mode) {
        const reference_blit_call call{0, 2, 6, 6, 0.8f, -1, 3, mode, 0, {}};
        loaded_holder<TypeParam> target(picture), like(converted(other));
        loaded_holder<other_of<TypeParam>> source(other);
        reference_image expected = picture;
        for (holder* from : {&*source, &*like, &*target}) { // at last onto itself
            reference_blit(expected, from == &*target ? expected : converted(other), call);
            EXPECT_EQ(blit(*target, *from, call, nullptr, nullptr), 1u);
            this->expect_held(expected, *target);
        }
        EXPECT_TRUE(other == held<other_of<TypeParam>>(*source));
        EXPECT_EQ(depth<TypeParam>::array(*source), nullptr);
        EXPECT_TRUE(messages(*source).empty());
    }
    EXPECT_EQ(live_allocations(), before);

    // The callback and its datum go through; so does the refusal of a missing one, whose message is the held image's.
    loaded_holder<TypeParam> target(picture);
    loaded_holder<other_of<TypeParam>> source(other);
    zarn_owned<holder> empty;
    unsigned calls = 0;
    const auto write = [](float, const pixel&, const pixel& s, pixel& result, void* user_data) {
        result = pixel(s.a, s.b, s.g, s.r);
        ++*static_cast<unsigned*>(user_data);
    };
    target->set_thread_limit(1);
    const reference_blit_call custom{1, 1, 2, 2, 1.0f, 0, 0, 26, 0, {}}, normal{0, 0, 2, 2};
    EXPECT_EQ(blit(*target, *source, custom, write, &calls), 1u);
    EXPECT_EQ(calls, 4u);
    EXPECT_EQ(depth<TypeParam>::pixel(*target, 1, 1).r, converted(other).at_picture(2, 2)[3]);
    const reference_image drawn = held<TypeParam>(*target);
    EXPECT_EQ(blit(*target, *source, custom, nullptr, nullptr), 0u);
    EXPECT_EQ(blit(*target, *empty, normal, nullptr, nullptr), 0u);
    EXPECT_EQ(blit(*source, *target, normal, nullptr, nullptr), 0u);
    this->expect_held(drawn, *target);
    EXPECT_TRUE(other == held<other_of<TypeParam>>(*source));
}

// ---- Copies, moves, files ------------------------------------------------------------------------------------------

TYPED_TEST(image_8_16, copies_are_deep_and_moves_take) {
    const std::int64_t before = live_allocations();
    {
        const reference_image picture = this->random();
        loaded_holder<TypeParam> source(picture), moved(picture);
        loaded_holder<other_of<TypeParam>> assigned(converted(picture)), taken(converted(picture));
        const lines unknown = {L"Unknown image type."};
        EXPECT_EQ(source->create(*moved, 2), 0u);
        *assigned = *source;
        holder constructed(*source);
        holder& self = *source;
        self = *source;
        const void* const pixels = depth<TypeParam>::array(*source);
        EXPECT_EQ(messages(*source), unknown);
        *taken = std::move(*source);
        holder last(std::move(*taken));
        EXPECT_EQ(depth<TypeParam>::array(last), pixels);
        for (const holder* empty : {&*source, &*taken}) {
            EXPECT_EQ(empty->is_valid(), 0u);
            EXPECT_EQ(empty->get_image_type(), 1u);
            EXPECT_TRUE(messages(*empty).empty());
        }
        ((*moved).*depth<TypeParam>::clear)({1, 1, 1, 1}, 1);
        for (holder* h : {&*assigned, &constructed, &last}) {
            EXPECT_TRUE(picture == held<TypeParam>(*h));
            EXPECT_EQ(depth<other_of<TypeParam>>::array(*h), nullptr);
            EXPECT_EQ(messages(*h), unknown);
            EXPECT_EQ(h->flip_vertical(), 1u);
        }
        constructed = *source;
        EXPECT_EQ(constructed.is_valid(), 0u);
        EXPECT_TRUE(messages(constructed).empty());
        last.free();
    }
    EXPECT_EQ(live_allocations(), before);
}

TYPED_TEST(image_8_16, native_files_are_those_of_the_held_image) {
    const temporary_folder folder;
    const std::wstring own = (folder / "own").wstring(), held_images = (folder / "held").wstring();
    const reference_image picture = this->random();
    loaded_image<TypeParam> image(picture, 1);
    for (const unsigned compress : {0u, 1u}) {
        loaded_holder<TypeParam> h(picture);
        EXPECT_EQ(h->save_binary(own.c_str(), compress), 1u);
        EXPECT_EQ(image->save_binary(held_images.c_str(), compress), 1u);
        EXPECT_EQ(read_bytes(folder / "own"), read_bytes(folder / "held"));
        loaded_holder<other_of<TypeParam>> loaded(converted(this->random(2, 2)));
        EXPECT_EQ(loaded->load_binary(own.c_str()), 1u);
        this->expect_held(picture, *loaded);
    }
    loaded_image<TypeParam> sides(picture, 1);
    ASSERT_EQ(sides->create(3, 0, lower_left, nullptr, 1), 1u);
    EXPECT_EQ(sides->save_binary(own.c_str(), 0), 1u);
    loaded_holder<other_of<TypeParam>> no_pixels(converted(picture));
    EXPECT_EQ(no_pixels->load_binary(own.c_str()), 1u);
    EXPECT_EQ(text(no_pixels->get_image_type(), no_pixels->get_width(), no_pixels->get_origin()),
              text(this->type, 3, lower_left));

    byte_vector bytes = read_bytes(folder / "held");
    bytes[0] = 77;
    write_bytes(folder / "own", bytes);
    loaded_holder<TypeParam> h(picture);
    EXPECT_EQ(h->load_binary(own.c_str()), 0u);
    EXPECT_EQ(h->is_valid(), 0u);
    EXPECT_EQ(messages(*h), lines{L"Unknown file type."});
}

} // namespace zarn_test
