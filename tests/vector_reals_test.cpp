// Every operation on real images gives the same on every instruction set that this machine has, plain code included.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <half.hpp>

#include <zarn/image_real_16.h>
#include <zarn/image_real_32.h>
#include <zarn/owned.h>

#include "kernels/vector/real_tone.h"
#include "tests/support/instruction_sets.h"
#include "tests/support/real_traits.h"

namespace zarn_test {

namespace {

using half_float::half;

// Calls work(target) for each instruction set but the plain form.
template <class Work>
void on_every_target(Work work) {
    const std::int64_t targets = hwy::SupportedTargets();
    for (std::int64_t left = targets; left; left &= left - 1) {
        use_targets(left & -left);
        work(hwy::TargetName(left & -left));
    }
    use_targets(0);
}

template <class Sample>
using bits_of_type = std::conditional_t<sizeof(Sample) == 4, std::uint32_t, std::uint16_t>;
template <class Sample>
std::int64_t bits_of(const Sample& value) {
    bits_of_type<Sample> bits;
    std::memcpy(&bits, static_cast<const void*>(&value), sizeof bits);
    return bits;
}
template <class Sample>
Sample of_bits(std::uint32_t bits) {
    const auto narrow = static_cast<bits_of_type<Sample>>(bits);
    Sample value;
    std::memcpy(static_cast<void*>(&value), &narrow, sizeof narrow);
    return value;
}

// Units in the last place between two values; NaNs are alike.
template <class Sample>
std::int64_t units_between(const Sample& a, const Sample& b) {
    if (a != a && b != b) return 0;
    const auto place = [](std::int64_t bits) {
        constexpr std::int64_t sign = std::int64_t{1} << (8 * sizeof(Sample) - 1);
        return bits & sign ? -(bits ^ sign) - 1 : bits;
    };
    return std::abs(place(bits_of(a)) - place(bits_of(b)));
}

enum class content { opaque, holes, wild };

template <class Sample>
std::vector<Sample> make_samples(std::uint32_t width, std::uint32_t height, unsigned channels, content kind) {
    std::uint32_t state = width * 977 + height;
    const auto random = [&state] { return state = state * 1664525u + 1013904223u, state >> 8; };
    std::vector<Sample> samples(std::size_t{width} * height * channels);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = Sample(static_cast<float>(random()) * 0x1p-24f * 1.25f - 0.125f);
        const bool is_alpha = i % channels + 1 == channels;
        if (is_alpha) samples[i] = kind == content::opaque || random() % 4 ? Sample(1.0f) : Sample(0.0f);
        // Invisible colour is anything; wild pictures have a few such values everywhere.
        const bool beyond = kind == content::wild && random() % 16 == 0;
        if (beyond) samples[i] = of_bits<Sample>(random() << 8 | random() >> 16);
        if (is_alpha && kind == content::holes && samples[i] == Sample(0.0f))
            samples[i - 1] = Sample(std::numeric_limits<float>::infinity());
    }
    return samples;
}

template <class Image>
using sample_of = std::remove_pointer_t<decltype(std::declval<Image>().get_pixel_array())>;

template <class Image>
struct named_operation {
    std::string name;
    std::function<void(Image&)> run;
    std::int64_t tolerance; // units in the last place
};

template <class Image>
std::vector<named_operation<Image>> operations() {
    using s = sample_of<Image>;
    return {
        {"exposure", [](Image& i) { i.exposure(s(1.3f)); }, 0},
        {"brightness", [](Image& i) { i.brightness(s(-0.2f)); }, 0},
        {"contrast", [](Image& i) { i.contrast(s(1.7f)); }, 0},
        {"negative", [](Image& i) { i.negative(1, 0); }, 0},
        {"negative alpha", [](Image& i) { i.negative(0, 1); }, 0},
        {"gamma", [](Image& i) { i.gamma(s(1.8f)); }, 1},
        {"to linear",
         [](Image& i) {
             i.set_if_is_sRGB(1);
             i.convert_to_linear_space();
         },
         1},
        {"to sRGB", [](Image& i) { i.convert_to_sRGB_space(); }, 1},
        {"levels",
         [](Image& i) {
             const s in[] = {s(0.1f), s(0.8f)}, out[] = {s(0.0f), s(0.9f)};
             i.adjust_levels(in, out);
         },
         0},
        {"factors", [](Image& i) { i.adjust_color(s(0.5f), s(1.5f), s(1.0f)); }, 0},
        {"hue", [](Image& i) { i.hue_saturation(s(70.0f), s(20.0f)); }, 0},
        {"Gaussian 0.4", [](Image& i) { i.gaussian_blur(s(0.4f), 0, 1, 1); }, 0},
        {"Gaussian 1.3", [](Image& i) { i.gaussian_blur(s(1.3f), 0, 1, 1); }, 0},
        {"Gaussian 9, colour", [](Image& i) { i.gaussian_blur(s(9.0f), 0, 1, 0); }, 0},
        {"Gaussian 3, alpha", [](Image& i) { i.gaussian_blur(s(3.0f), 0, 0, 1); }, 0},
        {"box 2", [](Image& i) { i.box_blur(2, 1, 1); }, 0},
        {"box 9, colour", [](Image& i) { i.box_blur(9, 1, 0); }, 0},
        {"box 1, alpha", [](Image& i) { i.box_blur(1, 0, 1); }, 0},
        {"fast Gaussian 4.4", [](Image& i) { i.gaussian_blur(s(4.4f), 1, 1, 1); }, 0},
        {"B-spline", [](Image& i) { i.resample(i.get_width() * 2 + 1, i.get_height() + 3, 2); }, 0},
        {"B-spline, smaller", [](Image& i) { i.resample(i.get_width() / 5 + 1, i.get_height() * 2, 2); }, 0},
        {"rotate", [](Image& i) { i.rotate(0.7, 0); }, 0},
        {"sharpen", [](Image& i) { i.sharpen(s(0.7f)); }, 0},
        {"grey", [](Image& i) { i.convert_to_grayscale(s(0.3f), s(0.6f), s(0.1f)); }, 0},
    };
}

} // namespace

template <class Image>
class vector_reals : public ::testing::Test {};
TYPED_TEST_SUITE(vector_reals, real_types, real_type_names);

TYPED_TEST(vector_reals, agree) {
    using sample = sample_of<TypeParam>;
    for (const std::uint32_t width : {1u, 3u, 16u, 17u, 70u, 131u}) {
        const std::uint32_t height = 5 + width % 37;
        for (const unsigned channels : {2u, 4u}) {
            for (const content kind : {content::opaque, content::holes, content::wild}) {
                const auto samples = make_samples<sample>(width, height, channels, kind);
                for (const named_operation<TypeParam>& operation : operations<TypeParam>()) {
                    const auto result = [&] {
                        zarn_owned<TypeParam> image;
                        image->set_thread_limit(1 + width % 3);
                        image->create(width, height, channels == 2, 0, 0, const_cast<sample*>(samples.data()), 1);
                        operation.run(*image);
                        const std::size_t count =
                            std::size_t{image->get_width()} * image->get_height() * (image->is_grayscale() ? 2 : 4);
                        return std::vector<sample>(image->get_pixel_array(), image->get_pixel_array() + count);
                    };
                    use_targets(HWY_SCALAR);
                    const std::vector<sample> plain = result();
                    use_targets(0);
                    on_every_target([&](const char* target) {
                        const std::vector<sample> fast = result();
                        ASSERT_EQ(plain.size(), fast.size());
                        for (std::size_t i = 0; i < plain.size(); ++i) {
                            ASSERT_LE(units_between(plain[i], fast[i]), operation.tolerance)
                                << operation.name << ", " << target << ", " << width << " wide, " << channels
                                << " channels, kind " << static_cast<int>(kind) << ", sample " << i << ": " << plain[i]
                                << ", " << fast[i];
                        }
                    });
                }
            }
        }
    }
}

TEST(vector_powers, are_within_a_unit_on_every_target) {
    constexpr float endless = std::numeric_limits<float>::infinity();
    std::vector<float> bases = {0.0f, -0.0f, 1.0f, -1.0f, -2.0f, endless, -endless, std::nanf(""), 0x1p-149f};
    for (std::uint32_t bits = 1; bits < 0x7F800000; bits += 6007) bases.push_back(of_bits<float>(bits));
    for (int i = -50; i <= 50; ++i) bases.push_back(1.0f + static_cast<float>(i) * 0x1p-23f);
    for (const float exponent : {2.2f, 0.45454544f, 3.0f, -0.7f, 100.0f, 1.0e-3f, endless, 0.0f}) {
        on_every_target([&](const char* target) {
            std::vector<float> powers = bases;
            // Without vectors the caller's own loop serves.
            if (!zarn::vector::raise({powers.data(), powers.size(), 1, false}, exponent)) return;
            for (std::size_t i = 0; i < bases.size(); ++i) {
                ASSERT_LE(units_between(powers[i], std::pow(bases[i], exponent)), 1)
                    << bases[i] << " to the power of " << exponent << ", " << target;
            }
        });
    }
}

TEST(vector_conversions, have_the_bits_of_the_half_type_on_every_target) {
    std::vector<half> halves;
    for (std::uint32_t bits = 0; bits < 65536; ++bits) halves.push_back(of_bits<half>(bits));
    std::vector<float> floats;
    for (std::uint64_t bits = 0; bits < std::uint64_t{1} << 32; bits += 8191)
        floats.push_back(of_bits<float>(static_cast<std::uint32_t>(bits)));
    // At ties between neighbours and beside them.
    for (const half& value : halves) {
        const std::uint32_t tie = static_cast<std::uint32_t>(bits_of(static_cast<float>(value))) | 0x1000;
        for (std::uint32_t bits = tie - 1; bits <= tie + 1; ++bits) floats.push_back(of_bits<float>(bits));
    }
    on_every_target([&](const char* target) {
        std::vector<float> expanded(halves.size());
        std::vector<half> rounded(floats.size());
        if (!zarn::vector::convert_samples(halves.data(), expanded.data(), halves.size())) return;
        ASSERT_TRUE(zarn::vector::convert_samples(floats.data(), rounded.data(), floats.size()));
        for (std::size_t i = 0; i < halves.size(); ++i)
            ASSERT_EQ(bits_of(expanded[i]), bits_of(static_cast<float>(halves[i]))) << target << ", half " << i;
        for (std::size_t i = 0; i < floats.size(); ++i)
            ASSERT_EQ(bits_of(rounded[i]), bits_of(half(floats[i]))) << target << ", " << floats[i];
    });
}

} // namespace zarn_test
