#include <zarn/zarn.h>

#include <cstdio>

int main() {
    zarn_initialize();
    unsigned int created = 0;
    {
        zarn_image_8 image;
        created = image.create(5, 4, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
        if (created) {
            image.clear(zarn_pixel_8_s(10, 20, 30, 40), 1);
            const zarn_pixel_8_s& pixel = image.get_pixel(4, 3);
            std::printf("%u x %u, pixel %d %d %d %d\n", image.get_width(), image.get_height(), pixel.r, pixel.g,
                        pixel.b, pixel.a);
        }
    }
    zarn_shutdown();
    return created ? 0 : 1;
}
