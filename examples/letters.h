// Small capital letters for captions of pictures.
#pragma once

#include <zarn/image_8.h>

namespace example {

// Writes a name of small letters and underscores, which become spaces. A letter is 5 x 5 pixels, a pixel apart.
inline void write(const char* name, unsigned x, unsigned y, const zarn_pixel_8_s& colour, zarn_image_8& picture) {
    // Five rows of five pixels, the top row first and the left pixel in the highest bit.
    static constexpr unsigned letters[26] = {
        0b01110'10001'11111'10001'10001, 0b11110'10001'11110'10001'11110, 0b01111'10000'10000'10000'01111,
        0b11110'10001'10001'10001'11110, 0b11111'10000'11110'10000'11111, 0b11111'10000'11110'10000'10000,
        0b01111'10000'10011'10001'01111, 0b10001'10001'11111'10001'10001, 0b01110'00100'00100'00100'01110,
        0b00111'00010'00010'10010'01100, 0b10010'10100'11000'10100'10010, 0b10000'10000'10000'10000'11111,
        0b10001'11011'10101'10001'10001, 0b10001'11001'10101'10011'10001, 0b01110'10001'10001'10001'01110,
        0b11110'10001'11110'10000'10000, 0b01110'10001'10101'10010'01101, 0b11110'10001'11110'10010'10001,
        0b01111'10000'01110'00001'11110, 0b11111'00100'00100'00100'00100, 0b10001'10001'10001'10001'01110,
        0b10001'10001'01010'01010'00100, 0b10001'10001'10101'11011'10001, 0b10001'01010'00100'01010'10001,
        0b10001'01010'00100'00100'00100, 0b11111'00010'00100'01000'11111};
    for (; *name; ++name, x += 6) {
        if (*name < 'a' || *name > 'z') continue;
        const unsigned letter = letters[*name - 'a'];
        for (unsigned i = 0; i < 25; ++i) {
            if (letter >> (24 - i) & 1u) picture.set_pixel(x + i % 5, y + i / 5, colour);
        }
    }
}

} // namespace example
