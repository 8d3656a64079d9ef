// Every operation gives the same bits on every instruction set that this machine has, plain code included. The other
// tests compare the best of them with the reference; this one ties the rest to it.

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <zarn/image_8_16.h>
#include <zarn/image_grayscale.h>

#include "tests/support/image_traits.h"
#include "tests/support/instruction_sets.h"

namespace zarn_test {

namespace {

template <class Image>
struct named_operation {
    std::string name;
    std::function<void(Image&)> run;
};

template <class Image>
std::vector<named_operation<Image>> vector_operations() {
    std::vector<named_operation<Image>> operations = {
        {"area average", [](Image& i) { i.resample(i.get_width() / 3 + 1, i.get_height() / 2 + 1, 0); }},
        {"area average, half", [](Image& i) { i.resample((i.get_width() + 1) / 2, (i.get_height() + 1) / 2, 0); }},
        {"area average, large boxes", [](Image& i) { i.resample(i.get_width() / 20 + 1, 2, 0); }},
        {"B-spline", [](Image& i) { i.resample(i.get_width() * 2 + 1, i.get_height() + 3, 2); }},
        {"B-spline, smaller", [](Image& i) { i.resample(i.get_width() / 5 + 1, i.get_height(), 2); }},
        {"rotate", [](Image& i) { i.rotate(0.7, 0); }},
        {"rotate far", [](Image& i) { i.rotate(-2.1, 0); }},
        {"Gaussian 1.3", [](Image& i) { i.gaussian_blur(1.3f, 0, 1, 1); }},
        {"Gaussian 9, colour", [](Image& i) { i.gaussian_blur(9.0f, 0, 1, 0); }},
        {"Gaussian 3, alpha", [](Image& i) { i.gaussian_blur(3.0f, 0, 0, 1); }},
        {"fast Gaussian", [](Image& i) { i.gaussian_blur(4.7f, 1, 1, 1); }},
        {"box 2", [](Image& i) { i.box_blur(2, 1, 1); }},
        {"box 7, colour", [](Image& i) { i.box_blur(7, 1, 0); }},
        {"box 1, alpha", [](Image& i) { i.box_blur(1, 0, 1); }},
        {"box 70", [](Image& i) { i.box_blur(70, 1, 1); }},
        {"sharpen", [](Image& i) { i.sharpen(0.7f); }},
        {"flip", [](Image& i) { i.flip_horizontal(); }},
        {"nearest", [](Image& i) { i.resample(i.get_width() * 3 / 2 + 1, i.get_height() + 1, 1); }},
        {"exposure", [](Image& i) { i.exposure(1.3f); }},
        {"brightness", [](Image& i) { i.brightness(-0.2f); }},
        {"contrast", [](Image& i) { i.contrast(1.7f); }},
        {"gamma", [](Image& i) { i.gamma(1.8f); }},
        {"negative", [](Image& i) { i.negative(1, 0); }},
        {"negative alpha", [](Image& i) { i.negative(0, 1); }},
        {"normalize", [](Image& i) { i.normalize(); }},
    };
    if constexpr (image_traits<Image>::colours == 3) {
        operations.push_back({"grayscale", [](Image& i) { i.grayscale(); }});
    }
    for (unsigned mode = 0; mode < ZARN_BLEND_REPLACE; ++mode) {
        operations.push_back({"blend mode " + std::to_string(mode), [mode](Image& i) {
                                  const unsigned keep_alpha = mode % 2;
                                  i.blit(i, 1, 2, i.get_width(), i.get_height(), 0.7f, 0, 0, mode, keep_alpha, nullptr,
                                         nullptr);
                              }});
    }
    return operations;
}

} // namespace

template <class Image>
class vector_targets : public ::testing::Test {
protected:
    ~vector_targets() override { use_targets(0); }
};
TYPED_TEST_SUITE(vector_targets, image_types, image_type_names);

TYPED_TEST(vector_targets, agree) {
    const std::int64_t targets = hwy::SupportedTargets();
    ASSERT_NE(targets & (targets - 1), 0) << "only one instruction set to compare";
    for (const std::uint32_t width : {1u, 3u, 4u, 15u, 16u, 17u, 33u, 63u, 70u, 131u, 300u, 1100u}) {
        for (const alpha_kind kind : alpha_kinds) {
            if (!image_traits<TypeParam>::has_alpha && kind != alpha_kinds[0]) break;
            const std::uint32_t height = width == 300    ? 150
                                         : width == 1100 ? 5
                                                         : 5 + width % 37; // once taller than long spans
            const reference_image picture =
                random_picture<TypeParam>(width, height, width % 2 ? lower_left : upper_left, kind, width);
            for (const named_operation<TypeParam>& operation : vector_operations<TypeParam>()) {
                const auto result_on = [&](std::int64_t target) {
                    use_targets(target);
                    loaded_image<TypeParam> image(picture, 1 + width % 3);
                    operation.run(*image);
                    return image_traits<TypeParam>::read(*image);
                };
                const reference_image plain = result_on(HWY_SCALAR);
                for (std::int64_t left = targets; left; left &= left - 1) {
                    const std::int64_t target = left & -left;
                    EXPECT_TRUE(plain == result_on(target)) << operation.name << ", " << hwy::TargetName(target) << ", "
                                                            << width << " wide, alpha kind " << static_cast<int>(kind);
                }
            }
        }
    }
}

TEST(vector_normals, agree) {
    const std::int64_t targets = hwy::SupportedTargets();
    for (const std::uint32_t width : {2u, 17u, 70u}) {
        for (const float strength : {0.5f, 40.0f, std::numeric_limits<float>::infinity()}) {
            const reference_image heights = random_picture<grayscale_16>(width, 9, upper_left, alpha_kind::any, width);
            const auto normals_on = [&](std::int64_t target, unsigned flags) {
                use_targets(target);
                loaded_image<grayscale_16> image(heights, 2);
                zarn_owned<zarn_image_16> normals;
                image->convert_to_normals(strength, flags % 2, flags, nullptr, *normals);
                return image_traits<zarn_image_16>::read(*normals);
            };
            for (const unsigned flags : {0u, 0x35u}) {
                const reference_image plain = normals_on(HWY_SCALAR, flags);
                for (std::int64_t left = targets; left; left &= left - 1) {
                    const std::int64_t target = left & -left;
                    EXPECT_TRUE(plain == normals_on(target, flags))
                        << hwy::TargetName(target) << ", " << width << " wide, strength " << strength;
                }
            }
        }
    }
    use_targets(0);
}

// The samples of `to` that conversion makes of `values`, a square of pixels, on the instruction set.
template <class From, class Read>
auto converted(const std::vector<From>& values, unsigned side, unsigned type, std::int64_t target, Read read) {
    use_targets(target);
    zarn_owned<zarn_image_8_16> source, result;
    source->create(side, side, upper_left, sizeof(From) == 1 ? 0 : 1, const_cast<From*>(values.data()), 1);
    result->create(*source, type);
    const auto* samples = &read(*result)->r;
    return std::vector(samples, samples + values.size());
}

TEST(vector_depths, every_value_on_every_target) {
    constexpr unsigned side = 131; // 4 x side x side values: more than there are, and no whole number of vectors
    std::vector<std::uint16_t> wide(4 * side * side);
    for (std::size_t i = 0; i < wide.size(); ++i) wide[i] = static_cast<std::uint16_t>(i);
    const std::vector<std::uint8_t> narrow(wide.begin(), wide.end());
    const auto to_8 = [](const zarn_image_8_16& image) { return image.get_pixel_array_8(); };
    const auto to_16 = [](const zarn_image_8_16& image) { return image.get_pixel_array_16(); };
    const std::int64_t targets = hwy::SupportedTargets();
    const auto plain_8 = converted(wide, side, 0, HWY_SCALAR, to_8);
    const auto plain_16 = converted(narrow, side, 1, HWY_SCALAR, to_16);
    for (std::int64_t left = targets; left; left &= left - 1) {
        const std::int64_t target = left & -left;
        EXPECT_TRUE(plain_8 == converted(wide, side, 0, target, to_8)) << hwy::TargetName(target);
        EXPECT_TRUE(plain_16 == converted(narrow, side, 1, target, to_16)) << hwy::TargetName(target);
    }
    use_targets(0);
}

} // namespace zarn_test
