// libFuzzer target: any positions, rectangles, sizes and modes for what cuts, moves and mixes pictures. Sizes that a
// call makes are kept small; all else is whatever the bytes spell.

#include <cstdint>
#include <vector>

#include <zarn/zarn.h>

#include "fuzz/fuzzer_input.h"

namespace {

using zarn_fuzz::input;

template <class Image>
void fill(Image& image, input& in) {
    const unsigned width = in.between(1, 40), height = in.between(1, 30);
    std::vector<std::uint8_t> bytes(std::size_t{width} * height * 8);
    in.fill(bytes.data(), bytes.size() < in.left() ? bytes.size() : in.left());
    image.set_thread_limit(in.between(1, 3));
    image.create(width, height, in.below(4) ? ZARN_ORIGIN_UPPER_LEFT : ZARN_ORIGIN_LOWER_LEFT, bytes.data(), 1);
}

template <class Image>
void operate(input& in) {
    zarn_owned<Image> image, other;
    fill(*image, in);
    fill(*other, in);
    for (unsigned calls = in.between(1, 6); calls; --calls) {
        const unsigned width = image->get_width(), height = image->get_height();
        switch (in.below(6)) {
        case 0:
        case 1: {
            const unsigned x = in.position(width), y = in.position(height), w = in.position(width);
            const unsigned h = in.position(height), to_x = in.position(width), to_y = in.position(height);
            const Image& source = in.below(4) ? *other : *image;
            image->blit(source, x, y, w, h, in.take<float>(), static_cast<int>(to_x), static_cast<int>(to_y),
                        in.below(30), in.below(4), nullptr, nullptr);
            break;
        }
        case 2: {
            const unsigned x = in.position(width), y = in.position(height), w = in.position(width);
            image->crop(x, y, w, in.position(height));
            break;
        }
        case 3: {
            const unsigned left = in.below(20), right = in.below(20), top = in.below(20);
            image->resize_canvas(left, right, top, in.below(20), {1, 2, 3, 4});
            break;
        }
        case 4: {
            const unsigned w = in.below(80), h = in.below(60);
            image->resample(w, h, in.below(4));
            break;
        }
        default: {
            unsigned left = 0, top = 0;
            image->crop_to_pixels(left, top);
            break;
        }
        }
        if (!image->is_valid() || image->get_width() > 400 || image->get_height() > 400) return;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    input in(data, size);
    in.below(2) ? operate<zarn_image_8>(in) : operate<zarn_image_16>(in);
    return 0;
}
