// zarn_image_real_16: the image of half floats, with histogram and normal-map radar.
#pragma once

#include <half.hpp>

#include <zarn/histogram.h>
#include <zarn/nradar.h>
#include <zarn/real_image.h>

class zarn_image_real_32;

extern template class ZARN_API zarn_real_image<half_float::half>;

/// All that it shares with the float class stands in real_image.h.
class ZARN_API zarn_image_real_16 : public zarn_real_image<half_float::half> {
public:
    using zarn_real_image<half_float::half>::create;
    using zarn_real_image<half_float::half>::load_binary;

    /// Each float rounded to a half, flags included.
    unsigned int create(const zarn_image_real_32& source);
    /// A copy, flags included. Of the image itself: it only clears the messages.
    unsigned int create(const zarn_image_real_16& source);

    /// The native format from memory. Every read is kept within `size` bytes; 0 means that the size is not known and
    /// bounds nothing. Null data, and a block that ends early, fail as a file does that ends early.
    unsigned int load_binary(const unsigned char* data, unsigned int size);

    /// The options are accepted and change nothing.
    unsigned int resample(unsigned int width, unsigned int height, unsigned int mode, unsigned int option_1 = 0,
                          unsigned int option_2 = 0);

    /// As zarn_image_real_32::blit().
    unsigned int blit(const zarn_image_real_16& source, unsigned int source_x, unsigned int source_y,
                      unsigned int width, unsigned int height, half_float::half opacity, int destination_x,
                      int destination_y, unsigned int blend_mode, unsigned int flags, zarn_blend_callback_r16 callback,
                      void* user_data);

    /// Measures the picture into `histogram`, which is freed first: see zarn_histogram_s. Values outside 0..1 count in
    /// the first or last bin, NaN in the first. 0 bins: 0 and "Failed to zarn_image_real_16::build_histogram(). Invalid
    /// number of bins.". An empty image: 1, the histogram without bins. Fails with "Memory Allocation Error: Failed to
    /// allocate build_histogram_a_thread_data_r16_s.".
    unsigned int build_histogram(unsigned int bins, zarn_histogram_s& histogram);

    /// Counts the normals (x, y, z, alpha) of the picture by direction into `radar`, which is freed first: see
    /// zarn_nradar_s. Samples count as they are, from -1 to 1: those of a stored normal map, as convert_to_normals()
    /// makes it, lie in 0..1 and have to become 2 v - 1 first. Flags: 1 negates x, 4 negates y, 16 swaps the
    /// hemispheres. Pixels of alpha 0, those of a zero vector and those with NaN do not count. 0 bins, or a grayscale
    /// image: 0 and "Failed to zarn_image_real_16::build_normal_map_radar(). Invalid parameter."; without memory: 0 and
    /// "Memory Allocation Error: Failed to allocate zarn_nradar_sample_s array.". On the calling thread.
    unsigned int build_normal_map_radar(unsigned int bins, unsigned int flags, zarn_nradar_s& radar);
};
