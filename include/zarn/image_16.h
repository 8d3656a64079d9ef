// zarn_image_16: the 16-bit RGBA image.
#pragma once

#include <zarn/rgba_image.h>

extern template class ZARN_API zarn_rgba_image<zarn_pixel_16_s>;

/// Red, green, blue and alpha from 0 to 65535. All that it does stands in rgba_image.h.
class ZARN_API zarn_image_16 : public zarn_rgba_image<zarn_pixel_16_s> {};
