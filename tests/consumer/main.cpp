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
            // Reaches the library behind the paths, too; its ink leaves no trace.
            zarn_bezier_path path;
            path.create_ellipse(zarn_fpoint_s(2.0f, 2.0f), 3.0f, 3.0f);
            path.build_vertex_list(1.0);
            created = path.rasterize_to_image_existing(1, 1.0, zarn_pixel_8_s(), 0, image);
            std::printf("%u x %u, pixel %d %d %d %d\n", image.get_width(), image.get_height(), pixel.r, pixel.g,
                        pixel.b, pixel.a);
        }
    }
    zarn_shutdown();
    return created ? 0 : 1;
}
