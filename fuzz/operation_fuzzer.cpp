// libFuzzer target: any operation of the tests' table, in any class, on the fuzzer's pixels, by plain code and by every
// instruction set of the machine. The results must have the same bits, but for the powers of floats.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzzer_input.h"
#include "tests/support/instruction_sets.h"
#include "tests/support/operation_table.h"

namespace {

using namespace zarn_test;

struct request {
    unsigned width, height, operation, threads, origin, grey;
    std::vector<std::uint8_t> bytes; // of the pixels; repeat as often as needed
};

template <class Image>
constexpr bool is_real = arguments_of<Image>::is_real;

template <class Number>
Number number_at(const request& wanted, std::size_t index) {
    std::uint8_t bytes[sizeof(Number)];
    for (std::size_t n = 0; n < sizeof bytes; ++n)
        bytes[n] = wanted.bytes.empty() ? 0 : wanted.bytes[(index * sizeof bytes + n) % wanted.bytes.size()];
    Number number;
    std::memcpy(&number, bytes, sizeof bytes);
    return number;
}

template <class Image>
void load(Image& image, const request& wanted) {
    const std::size_t pixels = std::size_t{wanted.width} * wanted.height;
    if constexpr (is_real<Image>) {
        std::vector<std::remove_pointer_t<decltype(image.get_pixel_array())>> samples;
        for (std::size_t n = 0; n < pixels * (wanted.grey ? 2 : 4); ++n) {
            // Plain numbers about [0, 1], now and then one that none reckons with.
            const auto value = number_at<std::int16_t>(wanted, n);
            samples.push_back(arguments_of<Image>::number(value == INT16_MIN   ? std::nanf("")
                                                          : value == INT16_MAX ? HUGE_VALF
                                                                               : static_cast<float>(value) / 16384.0f));
        }
        image.create(wanted.width, wanted.height, wanted.grey, 0u, 0u, samples.data(), 1u);
    } else {
        reference_image picture = random_picture<Image>(wanted.width, wanted.height, wanted.origin, alpha_kind::any, 1);
        for (std::size_t n = 0; n < picture.samples.size(); ++n)
            picture.samples[n] = number_at<typename image_traits<Image>::sample>(wanted, n);
        image_traits<Image>::load(image, picture);
    }
}

template <class Image>
std::vector<std::uint32_t> samples_of(const Image& image) {
    if constexpr (is_real<Image>) {
        std::vector<std::uint32_t> samples{image.get_width(), image.get_height()};
        const std::size_t count = std::size_t{image.get_width()} * image.get_height() * (image.is_grayscale() ? 2 : 4);
        for (std::size_t n = 0; n < count; ++n) {
            const auto value = static_cast<float>(image.get_pixel_array()[n]);
            std::uint32_t bits;
            std::memcpy(&bits, &value, sizeof bits);
            samples.push_back(std::isnan(value) ? ~0u : bits); // whichever
        }
        return samples;
    } else {
        return image_traits<Image>::read(image).samples;
    }
}

template <class Image>
void compare(const request& wanted) {
    static const std::vector<table_operation<Image>> operations = operations_of<Image>();
    const table_operation<Image>& operation = operations[wanted.operation % operations.size()];
    const auto result_on = [&](std::int64_t target) {
        use_targets(target);
        zarn_owned<Image> image;
        image->set_thread_limit(wanted.threads);
        load(*image, wanted);
        operation.run(*image);
        return samples_of(*image);
    };
    const std::vector<std::uint32_t> plain = result_on(HWY_SCALAR);
    const bool has_powers =
        is_real<Image> && (operation.name == "gamma" || operation.name.find("_space") != std::string::npos);
    use_targets(0);
    for (std::int64_t left = hwy::SupportedTargets(); left; left &= left - 1) {
        if (result_on(left & -left) != plain && !has_powers) __builtin_trap();
        use_targets(0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zarn_fuzz::input in(data, size);
    constexpr void (*classes[])(const request&) = {
        compare<zarn_image_8>,       compare<zarn_image_16>,     compare<grayscale_8>, compare<grayscale_16>,
        compare<grayscale_32>,       compare<channel_8>,         compare<channel_16>,  compare<channel_32>,
        compare<zarn_image_real_32>, compare<zarn_image_real_16>};
    const unsigned which = in.take<std::uint8_t>() % std::size(classes);
    const unsigned operation = in.take<std::uint8_t>(), flags = in.take<std::uint8_t>();
    const unsigned width = in.take<std::uint8_t>() % 70 + 1, height = in.take<std::uint8_t>() % 12 + 1;
    classes[which]({width,
                    height,
                    operation,
                    flags % 2 + 1,
                    flags & 2 ? lower_left : upper_left,
                    flags & 4,
                    {in.data(), in.data() + in.left()}});
    return 0;
}
