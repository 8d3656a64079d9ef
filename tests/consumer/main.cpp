#include <zarn/zarn.h>

#include <cstdio>

namespace {

// Links the class, whatever it is an instance of.
template <class Image>
bool starts_empty() {
    Image image;
    image.free();
    return image.get_width() == 0 && image.get_error_stack()->get_count() == 0;
}

} // namespace

int main() {
    zarn_initialize();
    bool passed = zarn_get_version() == ZARN_VERSION && starts_empty<zarn_image_16>() &&
                  starts_empty<zarn_image_8_16>() && starts_empty<zarn_image_channel>() &&
                  starts_empty<zarn_image_grayscale>() && starts_empty<zarn_image_real_32>();
#if __has_include(<half.hpp>)
    passed = passed && starts_empty<zarn_image_real_16>();
#endif
    zarn_owned<zarn_image_8> image;
    passed = passed && image->create(5, 4, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    if (passed) {
        image->clear(zarn_pixel_8_s(10, 20, 30, 40), 1);
        const zarn_pixel_8_s& pixel = image->get_pixel(4, 3);
        // Reaches the library behind the paths, too; its ink leaves no trace.
        zarn_bezier_path path;
        path.create_ellipse(zarn_fpoint_s(2.0f, 2.0f), 3.0f, 3.0f);
        path.build_vertex_list(1.0);
        passed = path.rasterize_to_image_existing(1, 1.0, zarn_pixel_8_s(), 0, *image) != 0;
        std::printf("%u x %u, pixel %d %d %d %d\n", image->get_width(), image->get_height(), pixel.r, pixel.g, pixel.b,
                    pixel.a);
    }
    zarn_shutdown();
    return passed ? 0 : 1;
}
