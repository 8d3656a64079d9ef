// libFuzzer target: an operation on the fuzzer's pixels, by plain code and by every instruction set of the machine. The
// results must have the same bits.

#include <cstdint>
#include <cstring>
#include <vector>

#include <zarn/zarn.h>

#include "fuzz/fuzzer_input.h"
#include "tests/support/instruction_sets.h"

namespace {

using zarn_fuzz::input;
using zarn_test::use_targets;

struct request {
    unsigned width, height, operation, threads;
    float amount;
    std::vector<std::uint8_t> bytes;
};

template <class Image>
void operate(Image& image, const request& wanted) {
    const unsigned width = wanted.width, height = wanted.height;
    switch (wanted.operation) {
    case 0:
        image.resample(width / 2 + 1, height / 3 + 1, 0);
        break;
    case 1:
        image.resample(width * 2 + 1, height + 3, 2);
        break;
    case 2:
        image.rotate(static_cast<double>(wanted.amount), 0);
        break;
    case 3:
        image.box_blur(width % 7 + 1, 1, 1);
        break;
    case 4:
        image.gaussian_blur(0.5f + static_cast<float>(height % 50) / 8.0f, 0, 1, height % 2);
        break;
    case 5:
        image.gaussian_blur(2.0f + static_cast<float>(height % 20), 1, 1, 1);
        break;
    case 6:
        image.sharpen(wanted.amount);
        break;
    case 7:
        image.contrast(wanted.amount);
        break;
    case 8:
        image.normalize();
        break;
    case 9:
        image.grayscale();
        break;
    default:
        image.blit(image, 1, 1, width, height, wanted.amount, 0, 0, wanted.operation - 10, width % 2, nullptr, nullptr);
        break;
    }
}

template <class Image>
std::vector<std::uint8_t> result_on(std::int64_t target, const request& wanted) {
    use_targets(target);
    zarn_owned<Image> image;
    image->set_thread_limit(wanted.threads);
    auto bytes = wanted.bytes;
    image->create(wanted.width, wanted.height, ZARN_ORIGIN_UPPER_LEFT, bytes.data(), 1);
    operate(*image, wanted);
    const std::size_t size = std::size_t{image->get_width()} * image->get_height() * sizeof *image->get_pixel_array();
    std::vector<std::uint8_t> result(size);
    if (size) std::memcpy(result.data(), image->get_pixel_array(), size);
    return result;
}

template <class Image>
void compare(const request& wanted) {
    const std::vector<std::uint8_t> plain = result_on<Image>(HWY_SCALAR, wanted);
    use_targets(0);
    for (std::int64_t left = hwy::SupportedTargets(); left; left &= left - 1) {
        if (result_on<Image>(left & -left, wanted) != plain) __builtin_trap();
        use_targets(0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    input in(data, size);
    const bool wide = in.below(2);
    request wanted{in.between(1, 70), in.between(1, 12), in.below(10 + ZARN_BLEND_REPLACE), in.between(1, 2), 0.0f, {}};
    const auto amount = in.take<std::int16_t>();
    wanted.amount = static_cast<float>(amount) / 8192.0f;
    wanted.bytes.resize(std::size_t{wanted.width} * wanted.height * 8);
    // Few bytes make a whole picture: they repeat.
    const std::size_t period = in.left() ? in.left() : 1;
    for (std::size_t n = 0; n < wanted.bytes.size(); ++n) wanted.bytes[n] = in.left() ? in.data()[n % period] : 0;
    wide ? compare<zarn_image_16>(wanted) : compare<zarn_image_8>(wanted);
    return 0;
}
