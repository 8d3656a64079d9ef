// Grades a picture of linear light, brighter than any display, into an ordinary PNG: highlights rolled off, encoded for
// the display, contrast and colours adjusted, and a soft glow around what was brighter than white.
//
//     grade_hdr PICTURE STOPS RESULT.png

#include <cmath>
#include <cstdlib>

#include "example.h"

namespace {

// v / (1 + v / white squared): white maps to 1, all below keeps its order.
void roll_off(zarn_image_real_32& picture, float gain, float white) {
    const std::uint64_t pixels = std::uint64_t{picture.get_width()} * picture.get_height();
    float* sample = picture.get_pixel_array();
    for (std::uint64_t i = 0; i < pixels; ++i, sample += 4) {
        for (int c = 0; c < 3; ++c) {
            const float v = std::fmax(sample[c] * gain, 0.0f);
            sample[c] = std::fmin(v * (1.0f + v / (white * white)) / (1.0f + v), 1.0f);
        }
    }
}

} // namespace

int main(int argument_count, char** arguments) {
    using namespace example;
    if (argument_count != 4) {
        std::fprintf(stderr, "usage: grade_hdr PICTURE STOPS RESULT.png\n");
        return 2;
    }
    const session libraries;
    zarn_owned<zarn_image_real_32> picture, glow;
    const std::wstring source = wide(std::filesystem::u8path(arguments[1]));
    if (!tell(picture->load_file(source.c_str(), 0, 1), *picture, "loading")) return 1;
    if (picture->is_sRGB()) picture->convert_to_linear_space();
    float least = 0.0f, greatest = 0.0f;
    picture->get_min_max(least, greatest);
    std::printf("samples from %g to %g\n", least, greatest);

    // Light adds up in linear space: the glow is a wide blur of the light, laid over it before the roll-off.
    if (!tell(glow->create(*picture), *glow, "copying") ||
        !tell(glow->gaussian_blur(14.0f, 1, 1, 0), *glow, "blurring the glow") ||
        !tell(picture->blit(*glow, 0, 0, glow->get_width(), glow->get_height(), 0.12f, 0, 0, ZARN_BLEND_NORMAL, 0,
                            nullptr, nullptr),
              *picture, "adding the glow"))
        return 1;
    roll_off(*picture, std::exp2(std::strtof(arguments[2], nullptr)), 6.0f);

    picture->convert_to_sRGB_space();
    picture->contrast(1.2f);
    picture->adjust_color_ex(112.0f, 106.0f, 100.0f, 100.0f, 104.0f, 100.0f); // warmer, the blues a little deeper
    picture->hue_saturation(0.0f, 15.0f);

    picture->set_if_is_u8_max_256(1); // saved as 8-bit samples, as they are, for is_sRGB() says that they are encoded
    return tell(picture->save_file(wide(std::filesystem::u8path(arguments[3])).c_str(), 1, 0), *picture, "saving") ? 0
                                                                                                                   : 1;
}
