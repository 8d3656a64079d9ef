#include <zarn/image_real_16.h>

#include <zarn/image_real_32.h>

#include "operations/blit.h"
#include "operations/histogram.h"
#include "operations/native_reals.h"
#include "operations/nradar.h"
#include "real/blend_caller.h"

using half_float::half;

unsigned int zarn_image_real_16::create(const zarn_image_real_32& source) { return ___create_copy(source); }

unsigned int zarn_image_real_16::create(const zarn_image_real_16& source) { return ___create_copy(source); }

unsigned int zarn_image_real_16::load_binary(const unsigned char* data, unsigned int size) {
    return ___load_binary(data, size);
}

unsigned int zarn_image_real_16::resample(unsigned int width, unsigned int height, unsigned int mode, unsigned int,
                                          unsigned int) {
    return ___resample(width, height, mode);
}

unsigned int zarn_image_real_16::blit(const zarn_image_real_16& source, unsigned int source_x, unsigned int source_y,
                                      unsigned int width, unsigned int height, half opacity, int destination_x,
                                      int destination_y, unsigned int blend_mode, unsigned int flags,
                                      zarn_blend_callback_r16 callback, void* user_data) {
    zarn::blend_caller<zarn_blend_callback_r16> caller{callback, is_grayscale(), source.is_grayscale(), user_data};
    return ___blit(source, {source_x, source_y, width, height, destination_x, destination_y}, opacity, blend_mode,
                   flags, caller.blend<half>());
}

unsigned int zarn_image_real_16::build_histogram(unsigned int bins, zarn_histogram_s& histogram) {
    return zarn::build_histogram(___state, is_grayscale() != 0, bins, histogram);
}

unsigned int zarn_image_real_16::build_normal_map_radar(unsigned int bins, unsigned int flags, zarn_nradar_s& radar) {
    return zarn::build_normal_map_radar(___state, is_grayscale() != 0, bins, flags, radar);
}
