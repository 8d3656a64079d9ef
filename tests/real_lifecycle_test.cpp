// What float images are made from and come to: creation, flags, borrowed arrays, copies, memory.

#include <gtest/gtest.h>

#include <zarn/image_8_16.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/operation_table.h"
#include "tests/support/real_traits.h"

namespace zarn_test {

namespace {

template <class Image>
class real_life : public real_test<Image> {};

TYPED_TEST_SUITE(real_life, real_types, real_type_names);

} // namespace

TYPED_TEST(real_life, created_from_the_integer_classes) {
    using image = TypeParam;
    zarn_owned<image> made;
    for (const std::uint32_t origin : {lower_left, upper_left, 0u}) {
        const auto check = [&](auto source, float factor) {
            using from = decltype(source);
            const reference_image of = random_picture<from>(5, 3, origin, alpha_kind::any, origin);
            const loaded_image<from> integers(of, 1);
            real_picture expected = real_picture_of<image>(5, 3, of.colours == 1, {0.0f});
            for (std::uint32_t i = 0; i < expected.samples.size(); ++i) {
                const std::uint32_t pixel = i / of.stride();
                const float s = static_cast<float>(of.at_picture(pixel % 5, pixel / 5)[i % of.stride()]);
                expected.samples[i] = expected.stored(static_cast<double>(s * factor));
            }
            for (const bool by_the_form : {false, true}) {
                this->set_flags(*made);
                if constexpr (image_traits<from>::is_rgba) {
                    zarn_owned<zarn_image_8_16> both;
                    both->create(*integers, of.full > 255);
                    EXPECT_EQ(by_the_form ? made->create(*both) : made->create(*integers), 1u);
                } else {
                    EXPECT_EQ(made->create(*integers), 1u);
                }
                EXPECT_TRUE(same_real(expected, *made));
                EXPECT_EQ(this->flags(*made), (flag_values{expected.is_grey, 1, 1, 0}));
            }
        };
        check(zarn_image_8(), 0.003921569f);
        check(zarn_image_16(), 1.5259022e-05f);
        check(grayscale_8(), 0.003921569f);
        check(grayscale_16(), 1.5259022e-05f);
        check(grayscale_32(), 2.3283064e-10f);
    }
}

TEST(real_lives, floats_and_halves) {
    const std::vector<float> values = {0.5f, 0.1f, 65519.0f, 65520.0f, 1e-8f, -1e30f, infinity, not_a_number};
    auto halves = stored_samples<zarn_image_real_16>(values);
    zarn_owned<zarn_image_real_32> wide;
    zarn_owned<zarn_image_real_16> narrow;
    for (const unsigned grey : {0u, 1u}) {
        const unsigned width = 2 + 2 * grey;
        const real_picture rounded = real_picture_of<zarn_image_real_16>(width, 1, grey, values);
        for (const unsigned copy : {0u, 1u}) { // never borrowed
            ASSERT_EQ(wide->create(width, 1, grey, 3, 1, halves.data(), copy), 1u);
            EXPECT_TRUE(same_real({width, 1, grey == 1, rounded.samples, false}, *wide));
        }
        auto floats = values;
        ASSERT_EQ(wide->create(width, 1, grey, 3, 1, floats.data(), 0), 1u);
        wide->set_if_is_u8_max_256(4);
        ASSERT_EQ(narrow->create(*wide), 1u);
        EXPECT_TRUE(same_real(rounded, *narrow));
        EXPECT_EQ(narrow->is_rasterized() + narrow->is_sRGB(), 4u);
        EXPECT_EQ(narrow->is_u8_max_256(), 4);
    }
    ASSERT_EQ(wide->create(1, 1, 0, 0, 0, nullptr, 1), 1u);
    EXPECT_EQ(wide->get_pixel(0, 0)[3], 0.0f);
}

TYPED_TEST(real_life, copies_and_moves) {
    using image = TypeParam;
    const std::int64_t before = live_allocations();
    for (const bool grey : {false, true}) {
        real_picture picture = wild_real<image>(grey);
        loaded_real<image> source(picture);
        this->set_flags(*source);
        source->crop(99, 9, 9, 9);
        zarn_owned<image> assigned, created;
        assigned->set_thread_limit(5);
        *assigned = *source;
        EXPECT_EQ(created->create(*source), 1u);
        image copy(*source);
        const image* const all_three[] = {&*created, &copy, &*assigned};
        for (const image* one : all_three) {
            EXPECT_TRUE(same_real(picture, *one));
            EXPECT_EQ(this->flags(*one), (flag_values{grey, 3, 1, -5}));
            EXPECT_NE(one->get_pixel_array(), source->get_pixel_array());
            EXPECT_EQ(messages(*one).size(), one == &*created ? 0u : 1u);
        }
        // Of itself: create() forgets the messages.
        const image& itself = *assigned;
        *assigned = itself;
        EXPECT_EQ(messages(*assigned).size() + assigned->create(itself) + messages(*assigned).size(), 2u);
        EXPECT_TRUE(same_real(picture, *assigned));

        const auto* const array = source->get_pixel_array();
        image taken(std::move(*source));
        this->expect_empty(*source);
        *assigned = std::move(taken);
        this->expect_empty(taken);
        EXPECT_EQ(assigned->get_pixel_array(), array);
        EXPECT_EQ(this->flags(*assigned), (flag_values{grey, 3, 1, -5}));
        EXPECT_EQ(messages(*assigned).size(), 1u);
        EXPECT_EQ(assigned->get_thread_limit(), 5u);

        const auto pixel = stored_samples<image>({0.5f, -1.0f, 2.0f, 0.25f});
        assigned->set_pixel(3, 2, pixel.data());
        std::copy_n(pixel.begin(), picture.stride(), picture.at(3, 2));
        EXPECT_TRUE(same_real(picture, *assigned));
        EXPECT_EQ(assigned->get_pixel(3, 2), assigned->get_pixel_array() + 37 * picture.stride());
        assigned->free();
        this->expect_empty(*assigned);
        EXPECT_TRUE(messages(*assigned).empty());
        created->create(taken);
        this->expect_empty(*created);
        copy.free();
    }
    EXPECT_EQ(live_allocations(), before);
}

TYPED_TEST(real_life, flags_follow_the_conversions) {
    const auto one = this->in(1);
    loaded_real<TypeParam> image(random_real<TypeParam>(6, 5, true, alpha_kind::any, 1));
    this->set_flags(*image);
    EXPECT_EQ(image->convert_to_rgba() + image->convert_to_rgba(), 2u);
    EXPECT_EQ(this->flags(*image), (flag_values{0, 3, 1, -5}));
    EXPECT_EQ(image->convert_to_grayscale(one, one, one) + image->convert_to_grayscale(one, one, one), 2u);
    EXPECT_EQ(image->crop(0, 0, 3, 3) + image->resample(2, 2, 0) + image->rotate(1, 0), 3u);
    EXPECT_EQ(this->flags(*image), (flag_values{1, 3, 1, -5}));
}

TYPED_TEST(real_life, borrows) {
    using image = TypeParam;
    const auto in = [](float v) { return TestFixture::in(v); };
    const auto original = stored_samples<image>(random_real<image>(6, 5, false, alpha_kind::opaque, 1).samples);
    // Each puts another array in the place of the borrowed one.
    const std::function<unsigned(image&)> replacing[] = {
        [](image& i) { return i.free(), 1u; },
        [](image& i) { return i.create(*zarn_owned<zarn_image_8>()); },
        [](image& i) { return i = image(), 1u; },
        [](image& i) { return i.crop(1, 1, 2, 2); },
        [](image& i) { return i.resample(9, 9, 2); },
        [](image& i) { return i.box_blur(1, 1, 1); },
        [&](image& i) { return i.gaussian_blur(in(4), 1, 1, 1); },
        [&](image& i) { return i.convert_to_grayscale(in(1), in(0), in(0)); },
        [](image& i) { return i.load_binary(L"/no/such/file") + 1; },
    };
    auto array = original;
    const std::int64_t before = live_allocations();
    for (const auto& replace : replacing) {
        zarn_owned<image> borrowing;
        ASSERT_EQ(borrowing->create(6, 5, 0, 0, 0, array.data(), 0), 1u);
        EXPECT_EQ(borrowing->get_pixel_array(), array.data());
        EXPECT_EQ(replace(*borrowing), 1u);
        EXPECT_NE(borrowing->get_pixel_array(), array.data());
        EXPECT_EQ(array, original);
        // What came in its place is the image's own, and goes with it.
    }
    EXPECT_EQ(live_allocations(), before);
    // In place the caller's array itself changes. A copy owns its pixels; a move takes the loan.
    zarn_owned<image> borrowing;
    ASSERT_EQ(borrowing->create(6, 5, 0, 0, 0, array.data(), 0), 1u);
    borrowing->clear_alpha(in(0.75f));
    image copy(*borrowing), moved(std::move(*borrowing));
    EXPECT_NE(copy.get_pixel_array(), array.data());
    EXPECT_EQ(moved.get_pixel_array(), array.data());
    copy.free();
    moved.free();
    EXPECT_EQ(static_cast<float>(array[3]), 0.75f);
}

// What the operations do without pixels, or refuse.
TYPED_TEST(real_life, images_without_pixels) {
    using image = TypeParam;
    for (const table_operation<image>& one : operations_of<image>()) {
        for (const unsigned grey : {0u, 1u}) {
            if (one.name == "resize_canvas" || one.name.rfind("crop", 0) == 0) continue; // as of the other classes
            SCOPED_TRACE(one.name);
            zarn_owned<image> i;
            i->create(9, 9, grey, 0, 0, static_cast<real_sample<image>*>(nullptr), 0);
            one.run(*i);
            EXPECT_TRUE(messages(*i).empty() || one.name.rfind("resample", 0) == 0);
            EXPECT_EQ(i->is_valid(), 0u);
        }
    }
    if constexpr (!is_half<image>) {
        loaded_real<image> i(random_real<image>(2, 2, true, alpha_kind::any, 1));
        EXPECT_EQ(i->gaussian_blur_2(not_a_number, 1, 1), 0u);
        EXPECT_EQ(messages(*i), lines{L"Failed to zarn_image_real_32::gaussian_blur_2(). Invalid sigma."});
    }
}

// ---- Memory --------------------------------------------------------------------------------------------------------

// Every allocation fails in turn: the result is 0, the picture as before, nothing is lost, and the messages come in the
// order in which the operation allocates. One operation for each way of the classes to name things.
TYPED_TEST(real_life, allocations_that_fail) {
    using image = TypeParam;
    const auto in = [](float v) { return TestFixture::in(v); };
    const std::wstring no_memory = L"Memory Allocation Error: Failed to allocate ", of = L"zarn_image_real_32::";
    const std::wstring temporary = no_memory + L"zarn_image_real_32 temp pixel data.";
    const auto records = [&](const wchar_t* what) { return no_memory + what + L"_thread_data_r32_s."; };
    const auto failed = [&](const wchar_t* what) { return L"Failed to " + of + what + L"()."; };
    const auto replaced = [&](const wchar_t* record, const wchar_t* routine) {
        return std::vector<lines>{{no_memory + L"zarn_real_32 array.", failed(routine)},
                                  {records(record), failed(routine)}};
    };
    // A blur that pads the picture, works in passes, and crops.
    const auto padded = [&](std::vector<lines> passes) {
        auto all = replaced(L"resize_canvas", L"___do_resize_canvas");
        for (lines& said : all) said.push_back(L"Failed to pad image edges. " + of + L"resize_canvas() failed.");
        all.insert(all.end(), passes.begin(), passes.end());
        for (lines& said : replaced(L"crop", L"___do_crop")) {
            said.push_back(L"Failed to crop image padding. " + of + L"crop() failed.");
            all.push_back(said);
        }
        return all;
    };
    const lines across = {records(L"blur"), failed(L"___do_horizontal_blur")};
    const lines down = {records(L"blur"), failed(L"___do_vertical_blur")};
    struct operation {
        const char* name;
        std::function<unsigned(image&)> run;
        std::vector<lines> outcomes;
        std::int64_t first = 1; // allocation to fail
    };
    const auto changed = [](image& i, auto run) {
        const real_picture before = read_real(i);
        run();
        return same_real(before, i) ? 0u : 1u;
    };
    const real_picture picture = random_real<image>(9, 8, false, alpha_kind::sparse, 7);
    const loaded_real<image> source(random_real<image>(9, 8, true, alpha_kind::any, 3));
    std::vector<operation> operations = {
        {"exposure", [&](image& i) { return changed(i, [&] { i.exposure(in(0.5f)); }); }, {{records(L"adjust")}}},
        {"to sRGB", [&](image& i) { return changed(i, [&] { i.convert_to_sRGB_space(); }); }, {{records(L"adjust")}}},
        {"normalize",
         [&](image& i) { return changed(i, [&] { i.normalize(); }); },
         {{no_memory + L"zarn_image_real_32 lum_array."}}},
        {"grey",
         [&](image& i) { return i.convert_to_grayscale(in(1), in(1), in(1)); },
         {{no_memory + L"new pixel array."}, {records(L"adjust")}}},
        {"blit",
         [&](image& i) { return i.blit(*source, 0, 0, 9, 8, in(1), 1, 1, 5, 0, nullptr, nullptr); },
         {{records(L"blit")}}},
        {"flip", [](image& i) { return i.flip_vertical(); }, {{no_memory + L"flip array."}, {records(L"flip_canvas")}}},
        {"B-spline", [](image& i) { return i.resample(20, 14, 2); }, replaced(L"resample", L"___do_resample_bicubic")},
        {"gaussian", [&](image& i) { return i.gaussian_blur(in(2), 0, 1, 1); }, {{temporary}, {records(L"gaussian")}}},
        {"box_blur", [](image& i) { return i.box_blur(2, 1, 1); }, padded({{temporary}, across, down})},
        {"fast gaussian", [&](image& i) { return i.gaussian_blur(in(4.5f), 1, 1, 1); },
         padded({{temporary}, across, down, across, down, across, down})},
    };
    if constexpr (!is_half<image>) {
        operations.push_back({"rotate_by_90", [](image& i) { return i.rotate_by_90(1); },
                              replaced(L"rotate_by_90", L"___do_rotate_by_90")});
        operations.push_back({"gaussian_blur_2",
                              [](image& i) { return i.gaussian_blur_2(2, 1, 1); },
                              {{L"Image Creation Error: Failed to create temp_image."},
                               {records(L"blur_2"), failed(L"___do_horizontal_blur_2")},
                               {records(L"blur_2"), failed(L"___do_total_blur_2")},
                               {records(L"blit"), failed(L"blit")}},
                              2}); // after workers that nothing needs
    }
    for (const operation& one : operations) {
        std::vector<lines> expected, outcomes;
        for (const lines& said : one.outcomes) expected.push_back(this->worded(said));
        bool happened = true;
        for (std::int64_t n = one.first; happened; ++n) {
            ASSERT_LT(n, 200) << one.name;
            SCOPED_TRACE(text(one.name, "allocation", n));
            const std::int64_t before = live_allocations();
            std::int64_t kept = 0; // by this test
            lines said;
            {
                loaded_real<image> target(picture, 3);
                {
                    const allocation_failure failure(n);
                    const unsigned result = one.run(*target);
                    happened = failure.happened();
                    EXPECT_EQ(result, happened ? 0u : 1u);
                }
                kept = live_allocations();
                said = messages(*target);
                kept = live_allocations() - kept;
                EXPECT_TRUE(!happened || this->flags(*target) == (flag_values{0, 0, 0, 0}));
                // Blurs in passes are not undone.
                EXPECT_TRUE(!happened || (one.outcomes.size() > 4 && n > 1) || same_real(picture, *target));
            }
            EXPECT_EQ(live_allocations(), before + kept);
            EXPECT_EQ(said.empty(), !happened);
            if (happened && (outcomes.empty() || outcomes.back() != said)) outcomes.push_back(said);
        }
        EXPECT_EQ(outcomes, expected) << one.name;
    }
}

TYPED_TEST(real_life, creation_without_memory_leaves_nothing) {
    using image = TypeParam;
    const loaded_real<image> source(random_real<image>(6, 5, true, alpha_kind::any, 1));
    const loaded_image<zarn_image_16> integers(image_traits<zarn_image_16>::blank(4, 4, upper_left), 1);
    const std::function<void(image&)> ways[] = {
        [](image& i) { i.create(4, 3, 0, 1, 1, static_cast<real_sample<image>*>(nullptr), 1); },
        [&](image& i) { i.create(*source); },
        [&](image& i) { i.create(*integers); },
        [&](image& i) { i = *source; },
    };
    for (const auto& way : ways) {
        loaded_real<image> target(read_real(*source));
        {
            const allocation_failure failure(1);
            way(*target);
        }
        this->expect_empty(*target);
        EXPECT_EQ(messages(*target), this->worded({L"Memory Allocation Error: Failed to allocate "
                                                   L"zarn_image_real_32::___pixel_d_array."}));
    }
}

} // namespace zarn_test
