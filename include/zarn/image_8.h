// zarn_image_8: the 8-bit RGBA image, the reference class of the library.
#pragma once

#include <zarn/rgba_image.h>

extern template class ZARN_API zarn_rgba_image<zarn_pixel_8_s>;

/// Red, green, blue and alpha from 0 to 255. All that it does stands in rgba_image.h.
class ZARN_API zarn_image_8 : public zarn_rgba_image<zarn_pixel_8_s> {};
