// Every operation of the float images against its plain form: the same bits where the arithmetic is fixed, within a
// stated distance where powers, sines or the order of sums are not.

#include <cmath>

#include <gtest/gtest.h>

#include "tests/reference/reference_filters.h"
#include "tests/reference/reference_geometry.h"
#include "tests/support/real_traits.h"

namespace zarn_test {

namespace {

template <class Image>
class real_image : public real_test<Image> {};

TYPED_TEST_SUITE(real_image, real_types, real_type_names);

using rp = real_picture;
using ri = reference_image;

float contrasted(float v, float by) { return clamped_real((v - 0.5f) * by + 0.5f); }
float brightened(float v, float by) { return by < 0.0f ? v * (by + 1.0f) : v + (1.0f - v) * by; }

} // namespace

// ---- Tone ----------------------------------------------------------------------------------------------------------

TYPED_TEST(real_image, tone) {
    using image = TypeParam;
    real_operations<image> operations;
    const auto add = [&](const char* name, auto method, float (*plain)(float, float), closeness close = same_bits) {
        for (const float v : {0.0f, 1.0f, 2.0f, -1.0f, 0.3f, -0.3f, 1.7f, infinity, -infinity, not_a_number}) {
            const float by = TestFixture::out(v);
            operations.add(
                text(name, by), close, [=](rp& p) { p.change_colours([=](float c) { return plain(c, by); }); },
                [=](image& i) { (i.*method)(TestFixture::in(by)); });
        }
    };
    add("exposure", &image::exposure, [](float v, float by) { return v * by <= 1.0f ? v * by : 1.0f; });
    add("brightness", &image::brightness, [](float v, float by) { return clamped_real(v + by); });
    add("contrast", &image::contrast, contrasted);
    add(
        "gamma", &image::gamma, [](float v, float by) { return clamped_real(std::pow(v, by)); }, power);
    if constexpr (!is_half<image>) {
        add("brightness_2", &image::brightness_2, brightened);
        add("contrast_2", &image::contrast_2, [](float v, float by) { return contrasted(v, by + 1.0f); });
    }
    operations.compare(real_cases<image>(0, 1, true));
}

// What sets or turns samples each for themselves.
TYPED_TEST(real_image, single_samples) {
    using image = TypeParam;
    const auto colour = stored_samples<image>({1.5f, -2.0f, 0.1f, 0.25f});
    real_operations<image> operations;
    const auto add = [&](const char* name, bool colours, bool alpha, auto map, auto run, closeness close = same_bits) {
        const auto plain = [=](rp& p) {
            for (unsigned i = 0; i < p.samples.size(); ++i) {
                const unsigned s = i % p.stride();
                if (s == p.colours() ? alpha : colours)
                    p.samples[i] = p.stored(static_cast<double>(map(p.samples[i], s)));
            }
        };
        operations.add(name, close, plain, run);
    };
    const auto filled = [&](float, unsigned s) { return static_cast<float>(colour[s]); };
    const auto inverse = [](float v, unsigned) { return 1.0f - v; };
    add("clear", true, false, filled, [&](image& i) { i.clear(colour.data(), 0); });
    add("clear all", true, true, filled, [&](image& i) { i.clear(colour.data(), 7); });
    add("clear_alpha", false, true, filled, [&](image& i) { i.clear_alpha(colour[i.is_grayscale() ? 1 : 3]); });
    add("negative", true, false, inverse, [](image& i) { i.negative(1, 0); });
    add("negative alpha", false, true, inverse, [](image& i) { i.negative(0, 1); });
    // Each conversion is done once; alpha is raised too.
    const auto linear = [](image& i) {
        i.set_if_is_sRGB(7);
        i.convert_to_linear_space(), i.convert_to_linear_space();
        return 1 - i.is_sRGB();
    };
    const auto encoded = [](image& i) {
        i.convert_to_sRGB_space(), i.convert_to_sRGB_space();
        return i.is_sRGB();
    };
    add(
        "linear", true, true, [](float v, unsigned) { return std::pow(v, 2.2f); }, linear, power);
    add(
        "sRGB", true, true, [](float v, unsigned) { return std::pow(v, 0.45454544f); }, encoded, power);
    operations.compare(real_cases<image>(0, 1, true));
}

TYPED_TEST(real_image, normalize) {
    using image = TypeParam;
    std::vector<real_case> cases = real_cases<image>();
    // Invisible pixels neither count nor change, whatever they hold.
    for (const float unseen : {not_a_number, infinity, -5.0f, 0.0f, 1.0f})
        cases.push_back({real_picture_of<image>(3, 2, true, {0.25f, 1.0f, unseen, 0.0f, 0.75f, 0.5f}), 1, "unseen"});
    constexpr closeness close{4.0, 1.0};
    const auto onto = [](float low, float high) { return [=](rp& p) { real_normalize(p, low, high); }; };
    real_operations<image> operations;
    operations.add("normalize", close, onto(0, 1), [](image& i) { i.normalize(); });
    operations.add("auto_contrast", close, onto(0, 1), [](image& i) { i.auto_contrast(); });
    for (const auto& [low, high] : {std::pair(0.25f, 0.75f), std::pair(1.0f, 0.0f), std::pair(-1.0f, 2.0f)}) {
        const auto l = TestFixture::in(low), h = TestFixture::in(high);
        operations.add(text("onto", low, high), close, onto(low, high), [=](image& i) { i.normalize(l, h); });
    }
    operations.compare(cases);
}

TEST(real_32, get_min_max) {
    using image = zarn_image_real_32;
    std::vector<real_case> cases = real_cases<image>(-5.0f, 5.0f, true);
    cases.push_back({real_picture_of<image>(3, 2, false, {-1, 0, -3, 9}), 1, "nothing above 0"});
    cases.push_back({rp{}, 1, "empty"});
    for (real_case& one : cases) {
        const loaded_real<image> held(one.picture);
        float min, max, least = 3.4028235e38f, greatest = 1.1754944e-38f; // on purpose not the least of all
        held->get_min_max(min, max);
        one.picture.change_colours([&](float v) {
            if (v < least) least = v;
            if (v > greatest) greatest = v;
            return v;
        });
        EXPECT_EQ(min, least) << one.name;
        EXPECT_EQ(max, greatest) << one.name;
    }
}

// ---- Grading -------------------------------------------------------------------------------------------------------

TYPED_TEST(real_image, grading) {
    using image = TypeParam;
    constexpr auto in = [](float v) { return TestFixture::in(v); };
    // Input low and high, output low and high.
    static constexpr float levels[][4] = {{0.125f, 0.75f, 0, 0.875f}, {0.25f, 0.25f, 0, 1},  {0.5f, 0.25f, 0, 1},
                                          {-0.5f, 0.5f, 0.75f, 2},    {0.125f, 3, -1, 0.5f}, {2, 3, 0.875f, 0.125f}};
    static constexpr float turns[][2] = {{25, 30},    {0, 0},     {0, -100},     {180, 500},
                                         {-120, -30}, {720, 100}, {90, -250.0f}, {45, not_a_number}};
    static constexpr float weights[][6] = {{100, 100, 100, 100, 100, 100},  {0, 100, 100, 100, 100, 100},
                                           {-100, 100, 100, 100, 100, 100}, {150, 80, 0, -40, 300, 99},
                                           {-20, -60, -100, -200, -1, -5},  {100, -150, 130, 20, -70, -300}};
    static constexpr float channels[3] = {0.25f, 1.5f, -0.75f};
    const auto c = stored_samples<image>({channels, channels + 3});
    const auto grade = [](real_stages stages) { return [=](rp& p) { real_grade(p, stages); }; };
    const auto to_grey = [](real_stages stages) { return [=](rp& p) { real_to_grey(p, stages); }; };
    real_operations<image> operations;
    operations.add("factors", same_bits, grade({channels}), [&](image& i) { i.adjust_color(c[0], c[1], c[2]); });
    operations.add("weights", same_bits, to_grey({channels}),
                   [&](image& i) { return i.convert_to_grayscale(c[0], c[1], c[2]); });
    operations.add("rgba", same_bits, real_to_rgba, [](image& i) { return i.convert_to_rgba(); });
    for (const auto& l : levels) {
        const auto s = stored_samples<image>({l, l + 4});
        operations.add(text("levels", l[0], l[1], l[2], l[3]), same_bits, grade({nullptr, l}),
                       [=](image& i) { i.adjust_levels(s.data(), s.data() + 2); });
    }
    for (const auto& t : turns) {
        operations.add(text("turn", t[0], t[1]), {8.0, 1.0}, grade({nullptr, nullptr, nullptr, t}),
                       [=](image& i) { i.hue_saturation(in(t[0]), in(t[1])); });
    }
    const auto s = stored_samples<image>({levels[0], levels[0] + 4});
    const auto *const from = s.data(), *const to = from + 2;
    for (const auto& w : weights) {
        const auto with = [=](auto&& call) { return call(in(w[0]), in(w[1]), in(w[2]), in(w[3]), in(w[4]), in(w[5])); };
        const std::string name = text(w[0], w[1], w[2], w[3], w[4], w[5]);
        operations.add("ex" + name, same_bits, grade({nullptr, nullptr, w}),
                       [=](image& i) { with([&](auto... v) { i.adjust_color_ex(v...); }); });
        // The sines' last bit counts for more with more saturation.
        operations.add("ex2" + name, {16.0, 1.0}, grade({nullptr, levels[0], w, turns[0]}), [=](image& i) {
            with([&](auto... v) { i.adjust_color_ex2(from, to, v..., in(turns[0][0]), in(turns[0][1])); });
        });
        operations.add("grey ex" + name, same_bits, to_grey({nullptr, nullptr, w}),
                       [=](image& i) { return with([&](auto... v) { return i.convert_to_grayscale_ex(v...); }); });
        operations.add("grey ex2" + name, same_bits, to_grey({nullptr, levels[0], w}), [=](image& i) {
            return with([&](auto... v) { return i.convert_to_grayscale_ex2(from, to, v...); });
        });
    }
    operations.compare(real_cases<image>(0, 1, true));
    operations.compare(real_cases<image>(-3, 3));
}

// ---- Compositing ---------------------------------------------------------------------------------------------------

namespace {

unsigned user_value; // its address is what callbacks are to be handed

template <class Sample>
void custom_mix(Sample weight, Sample* d, const Sample* s, unsigned destination_is_grey, unsigned source_is_grey,
                void* user_data) {
    EXPECT_EQ(user_data, &user_value);
    EXPECT_EQ(destination_is_grey + 2 * source_is_grey, user_value);
    d[0] = static_cast<Sample>(static_cast<float>(weight) + static_cast<float>(d[1]));
    d[1] = static_cast<Sample>(static_cast<float>(s[1]) * 0.5f);
}

} // namespace

TYPED_TEST(real_image, blit) {
    using image = TypeParam;
    const reference_blit_call calls[] = {{0, 0, 19, 11, 0.625f, 0, 0, 0, 0, {}},
                                         {2, 1, 9, 4, 1.0f, -3, 5, 0, 1, {}},
                                         {0, 0, 60, 60, 1.0f, 7, -2, 0, 0, {}}};
    for (unsigned turn = 0; turn < 8; ++turn) {
        const bool grey = turn & 1, source_is_grey = turn & 2;
        const float low = turn & 4 ? -2.0f : 0.0f, high = turn & 4 ? 2.0f : 1.0f;
        const rp source = random_real<image>(19, 11, source_is_grey, alpha_kind::any, turn, low, high);
        const loaded_real<image> from(source);
        user_value = turn % 4;
        const auto mix = [=](float weight, float* to, const float* s) {
            const auto round = [](float v) { return TestFixture::out(v); };
            custom_mix(round(weight), to, s, grey, source_is_grey, &user_value);
            std::transform(to, to + 2, to, round);
        };
        real_operations<image> operations;
        for (unsigned n = 0; n < 28 * 3; ++n) {
            reference_blit_call c = calls[n % 3];
            c.mode = n / 3;
            operations.add(
                text("mode", c.mode, "call", n % 3), same_bits, [=, &source](rp& d) { real_blit(d, source, c, mix); },
                [=, &from](image& i) {
                    return i.blit(*from, c.source_x, c.source_y, c.width, c.height,
                                  TestFixture::in(static_cast<float>(c.opacity)), c.x, c.y, c.mode, c.flags,
                                  custom_mix<real_sample<image>>, &user_value);
                });
        }
        operations.compare({{random_real<image>(17, 9, grey, alpha_kind::any, 9, low, high), 3, text("turn", turn)}});
    }
    real_operations<image> onto_itself;
    onto_itself.add(
        "onto itself", same_bits,
        [](rp& p) {
            real_blit(p, p, {0, 0, 99, 99, 1.0f, 1, 1, 5, 0, {}}, {});
        },
        [](image& i) { return i.blit(i, 0, 0, 99, 99, TestFixture::in(1), 1, 1, 5, 0, nullptr, nullptr); });
    onto_itself.compare(real_cases<image>());
}

// ---- Geometry and filters ------------------------------------------------------------------------------------------

TYPED_TEST(real_image, pixels_that_move) {
    using image = TypeParam;
    const std::vector<float> fill = {0.5f, -2.0f, 3.0f, 0.25f};
    const auto colour = stored_samples<image>(fill);
    const std::uint32_t zero[2] = {0, 0};
    real_operations<image> operations;
    const auto add = [&](const char* name, auto move, auto run) {
        operations.add(
            name, same_bits, [=, &fill](rp& p) { real_move(p, move, fill.data()); }, run);
    };
    const auto half = [](unsigned side) { return (side + 1) / 2; };
    add("flip_horizontal", reference_flip_horizontal, [](image& i) { return i.flip_horizontal(); });
    add("flip_vertical", reference_flip_vertical, [](image& i) { return i.flip_vertical(); });
    add(
        "crop", [=](ri& i) { reference_crop(i, i.width / 2, i.height / 3, half(i.width), half(i.height)); },
        [=](image& i) {
            const unsigned w = i.get_width(), h = i.get_height();
            return i.crop(w / 2, h / 3, half(w), half(h));
        });
    add(
        "margins", [&](ri& i) { reference_add_margins(i, 1, 2, 0, 4, zero); },
        [&](image& i) { return i.resize_canvas(1, 2, 0, 4, colour.data()); });
    add(
        "nearest", [=](ri& i) { reference_resample_nearest(i, i.width + 4, half(i.height)); },
        [=](image& i) { return i.resample(i.get_width() + 4, half(i.get_height()), 1); });
    add(
        "same size", [](ri&) {}, [](image& i) { return i.resample(i.get_width(), i.get_height(), 0); });
    for (unsigned at = 0; at < 5; ++at) {
        add(
            "canvas", [=](ri& i) { reference_resize_canvas(i, i.width + 3, i.height + 5, at, zero); },
            [=, &colour](image& i) {
                return i.resize_canvas(i.get_width() + 3, i.get_height() + 5, at, colour.data());
            });
    }
    if constexpr (!is_half<image>) {
        // Clockwise, as rotate() turns by positive angles.
        for (const int turns : {0, 1, 2, 3, 5, -1, -6, std::numeric_limits<int>::min()}) {
            const auto turn = [=](ri& i) {
                for (int n = (turns % 4 + 4) % 4; n > 0; --n) {
                    const ri from = i;
                    i = from.blank(from.height, from.width);
                    for (std::uint32_t x = 0; x < from.width; ++x)
                        for (std::uint32_t y = 0; y < from.height; ++y)
                            i.copy_pixel(i.at(i.width - 1 - y, x), from.at(x, y));
                }
            };
            add("rotate_by_90", turn, [=](image& i) { return i.rotate_by_90(turns); });
        }
    }
    std::vector<real_case> cases = real_cases<image>(0, 1, true);
    operations.compare(cases);
    for (real_case& one : cases) {
        std::uint32_t left = 9, top = 9;
        unsigned int got_left = 9, got_top = 9;
        loaded_real<image> target(one.picture);
        real_move(one.picture, [&](ri& i) { reference_crop_to_pixels(i, left, top); });
        one.picture.is_grey = one.picture.is_grey && !one.picture.samples.empty();
        EXPECT_EQ(target->crop_to_pixels(got_left, got_top), 1u);
        EXPECT_TRUE(same_real(one.picture, *target)) << one.name;
        EXPECT_EQ(got_left, left);
        EXPECT_EQ(got_top, top);
    }
}

// What the integer form is fine enough for, in ranges of colours that nothing clamps.
TYPED_TEST(real_image, weighted_means) {
    using image = TypeParam;
    constexpr auto in = [](float v) { return TestFixture::in(v); };
    for (const float scale : {1.0f, -4.0f}) {
        const double most = std::fabs(static_cast<double>(scale));
        real_operations<image> operations;
        const auto add = [&](const std::string& name, auto work, auto run, bool any_whole = false) {
            operations.add(
                name, {8.0, most, false, any_whole}, [=](rp& p) { real_by_integers(p, scale, work); }, run);
        };
        for (const double angle : {0.0, 0.7, -2.0, 1.5707963267948966, 40.0, std::nan("")}) {
            add(
                text("angle", angle), [=](ri& i) { reference_rotate(i, angle, false); },
                [=](image& i) { return i.rotate(angle, 0); }, true);
        }
        // Feathering goes by what is opaque, so it is looked at where the turn leaves alpha alone.
        add(
            "feathered", [](ri& i) { reference_rotate(i, 1e-300, true); },
            [](image& i) { return i.rotate(1e-300, 1); });
        for (unsigned n = 0; n < 18; ++n) {
            const auto side = [](unsigned old, unsigned way) {
                return way == 0 ? 1 : way == 1 ? (old + 1) / 2 : old * 5 / 2;
            };
            const unsigned w = n % 3, h = n / 3 % 3, mode = n / 9 * 2;
            add(
                text("resampled", w, h, mode),
                [=](ri& i) { reference_resample(i, side(i.width, w), side(i.height, h), mode); },
                [=](image& i) { return i.resample(side(i.get_width(), w), side(i.get_height(), h), mode); });
        }
        for (const unsigned flags : {1u, 2u, 3u}) {
            const unsigned colour = flags & 1, alpha = flags & 2;
            for (const float sigma : {0.3f, 1.0f, 2.7f, 40.0f}) {
                const float s = TestFixture::out(sigma);
                add(
                    text("sigma", s, flags), [=](ri& i) { reference_gaussian(i, s, colour, alpha); },
                    [=](image& i) { return i.gaussian_blur(in(s), 0, colour, alpha); });
                if constexpr (!is_half<image>) {
                    if (sigma > 3.0f) continue;
                    operations.add(
                        text("alpha weighs", s, flags), {8.0, most, true},
                        [=](rp& p) { real_gaussian_2(p, s, colour, alpha); },
                        [=](image& i) { return i.gaussian_blur_2(s, colour, alpha); });
                }
            }
            add(
                text("fast", flags), [=](ri& i) { reference_box_gaussian(i, 4.75f, colour, alpha); },
                [=](image& i) { return i.gaussian_blur(in(4.75f), 1, colour, alpha); });
            for (const unsigned radius : {0u, 1u, 3u, 50u}) {
                add(
                    text("radius", radius, flags), [=](ri& i) { reference_box_blur(i, radius, colour, alpha); },
                    [=](image& i) { return i.box_blur(radius, colour, alpha); });
            }
        }
        operations.compare(real_cases<image>(std::min(scale, 0.0f), std::max(scale, 0.0f)));
    }
}

TYPED_TEST(real_image, sharpen) {
    using image = TypeParam;
    std::vector<real_case> cases = real_cases<image>(0, 1, true);
    for (const real_case& bright : real_cases<image>(-3, 3)) cases.push_back(bright);
    for (const real_case& one : cases) {
        real_operations<image> operations;
        for (const float amount : {0.0f, 0.3f, -0.2f, 4.0f, infinity, not_a_number}) {
            operations.add(
                text("amount", amount), same_bits,
                [&, amount](rp& p) { real_sharpen(p, TestFixture::out(amount), one.thread_limit); },
                [=](image& i) { i.sharpen(TestFixture::in(amount)); });
        }
        operations.compare({one});
    }
}

TYPED_TEST(real_image, expand_where_alpha) {
    using image = TypeParam;
    std::vector<real_case> cases = real_cases<image>();
    // What marks filled pixels is no alpha value: a half is not taken for it.
    const std::vector<float> halves = {0.25f, 0.5f, 0.75f, 0.0f, 1.0f, 0.0f, 0.5f};
    for (const bool grey : {false, true}) cases.push_back({real_picture_of<image>(5, 5, grey, halves), 1, "halves"});
    real_operations<image> operations;
    for (unsigned n = 0; n < 24; ++n) {
        const unsigned iterations = n % 3, keep = n / 3 % 2;
        const double thresholds[] = {0.0, 0.5, 1.0, 7.0}, t = thresholds[n / 6];
        const auto least = static_cast<std::uint64_t>(t * 4294967295.0 + 0.5);
        const auto expand = [=](ri& i) { reference_expand_where_alpha(i, iterations, least, keep); };
        const auto threshold = TestFixture::in(static_cast<float>(t));
        operations.add(
            text(iterations, t, keep), {4.0, 1.0}, [=](rp& p) { real_by_integers(p, 1.0f, expand); },
            [=](image& i) { return i.expand_where_alpha(iterations, threshold, keep); });
    }
    operations.compare(cases);
    // NaN is above no threshold, everything above one below 0.
    loaded_real<image> odd(real_picture_of<image>(4, 4, true, {0.25f, not_a_number, 0.5f, 2.0f}));
    for (const float threshold : {0.0f, -1.0f}) {
        EXPECT_EQ(odd->expand_where_alpha(1, this->in(threshold), 0), 1u);
        EXPECT_TRUE(same_real(real_picture_of<image>(4, 4, true, {0.5f, 1.0f}), *odd));
        odd->clear_alpha(this->in(0));
    }
}

// What one pixel holds, finite or not, reaches no pixel beyond the taps; what an invisible one holds reaches none.
TYPED_TEST(real_image, strange_samples_stay_within_reach) {
    using image = TypeParam;
    constexpr auto in = [](float v) { return TestFixture::in(v); };
    struct operation {
        const char* name;
        std::size_t reach; // the most pixels of the result that one pixel counts for
        std::function<unsigned(image&)> run;
    };
    std::vector<operation> operations = {
        {"gaussian", 49, [=](image& i) { return i.gaussian_blur(in(1.5f), 0, 1, 1); }},
        {"fast gaussian", 441, [=](image& i) { return i.gaussian_blur(in(3.5f), 1, 1, 1); }},
        {"box", 25, [](image& i) { return i.box_blur(2, 1, 1); }},
        {"area", 4, [](image& i) { return i.resample(13, 11, 0); }},
        {"B-spline", 81, [](image& i) { return i.resample(82, 62, 2); }},
        {"rotation", 9, [](image& i) { return i.rotate(0.5, 1); }},
        {"expansion", 9999, [=](image& i) { return i.expand_where_alpha(0, in(0), 0); }},
    };
    if constexpr (!is_half<image>)
        operations.push_back({"gaussian 2", 121, [](image& i) { return i.gaussian_blur_2(1.5f, 1, 1); }});
    const auto result_of = [](const operation& one, const rp& picture) {
        loaded_real<image> made(picture);
        EXPECT_EQ(one.run(*made), 1u);
        return read_real(*made);
    };
    for (const bool grey : {false, true}) {
        const rp clean = random_real<image>(41, 31, grey, alpha_kind::any, grey);
        for (const operation& one : operations) {
            const rp expected = result_of(one, clean);
            for (const float strange : {not_a_number, -infinity, 1e30f}) {
                for (const bool seen : {false, true}) {
                    SCOPED_TRACE(text(one.name, grey, strange, seen));
                    rp dirty = clean;
                    unsigned count = 0;
                    dirty.change_pixels([&](float* pixel) {
                        if (dirty.visible(pixel) == seen && (!seen || count++ == 20))
                            std::fill_n(pixel, dirty.colours(), strange);
                    });
                    const auto differing = differing_pixels(expected, result_of(one, dirty), {16.0, 1.0, true});
                    EXPECT_LE(differing.size(), seen ? one.reach : 0);
                    EXPECT_GE(differing.size(), seen ? 1u : 0u);
                }
            }
        }
    }
}

} // namespace zarn_test
