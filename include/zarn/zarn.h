// Every public header of the library. The half-float records join in where the half-precision header is installed.
#pragma once

#include <zarn/bezier_path.h>
#include <zarn/binary.h>
#include <zarn/blend.h>
#include <zarn/colour.h>
#include <zarn/depth_image.h>
#include <zarn/export.h>
#include <zarn/histogram.h>
#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/image_8_16.h>
#include <zarn/image_channel.h>
#include <zarn/image_grayscale.h>
#include <zarn/image_real_32.h>
#include <zarn/lifecycle.h>
#include <zarn/list.h>
#include <zarn/nradar.h>
#include <zarn/owned.h>
#include <zarn/pixels.h>
#include <zarn/points.h>
#include <zarn/real_image.h>
#include <zarn/rgba_image.h>
#include <zarn/rt_transform.h>
#include <zarn/subset.h>
#include <zarn/version.h>
#include <zarn/window.h>

#if __has_include(<half.hpp>)
    #include <zarn/half_pixels.h>
    #include <zarn/image_real_16.h>
#endif
