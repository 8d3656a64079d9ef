// zarn_image_8: the 8-bit RGBA image, the reference class of the library.
#pragma once

#include <zarn/rgba_image.h>

extern template class ZARN_API zarn_rgba_image<zarn_pixel_8_s>;

/// Red, green, blue and alpha from 0 to 255. All that it does stands in rgba_image.h.
class ZARN_API zarn_image_8 : public zarn_rgba_image<zarn_pixel_8_s> {
public:
    using zarn_rgba_image::create;

    unsigned int create(const zarn_image_8& source) { return zarn_rgba_image::create(source); }
    unsigned int blit(const zarn_image_8& source, unsigned int source_x, unsigned int source_y, unsigned int width,
                      unsigned int height, float opacity, int destination_x, int destination_y, unsigned int blend_mode,
                      unsigned int flags, zarn_blend_callback_8 callback, void* user_data) {
        return zarn_rgba_image::blit(source, source_x, source_y, width, height, opacity, destination_x, destination_y,
                                     blend_mode, flags, callback, user_data);
    }
};
