// Histograms of half-float images: the record that zarn_image_real_16::build_histogram() fills, and its bar chart.
#pragma once

#include <zarn/export.h>
#include <zarn/list.h>

class zarn_image_channel;

/// One channel's histogram. Copies are deep, bin by bin; a copy whose bins cannot be allocated has none.
struct ZARN_API zarn_histogram_channel_s {
    zarn_list<unsigned int> bins; ///< one count per bin, value 0 in the first bin, 1 in the last; empty: not measured
    float mean;                   ///< of all pixels
    float std_dev;                ///< population standard deviation, of all pixels
    float median;                 ///< of the sampled pixels; the upper middle one where their number is even
    unsigned int max_count;       ///< the largest bin count

    /// No bins, every number 0.
    zarn_histogram_channel_s()
        : mean(0.0f)
        , std_dev(0.0f)
        , median(0.0f)
        , max_count(0) {}

    /// Releases the bins; every number becomes 0.
    void free() {
        bins.clear();
        mean = std_dev = median = 0.0f;
        max_count = 0;
    }
};

/// What zarn_image_real_16::build_histogram() measures. It belongs to the caller, who may copy, free and fill it again.
///
/// Bins. A value v counts in bin trunc((bins - 1) * v + 0.5); values outside 0..1 count in the first or the last bin,
/// NaN in the first.
///
/// Luminance is 0.299 red + 0.587 green + 0.114 blue. The deviation of channel 0 of a colour image is that of all its
/// red, green and blue samples together, taken from the three channels' results; its mean is their mean.
///
/// Medians look at every pixel of an image of up to 1572863 pixels, in a larger one at every n-th pixel in row order, n
/// being the number of pixels / 1048576, rounded. NaN counts as the lowest value.
///
/// Means and deviations are sums of 32-bit floats: with millions of pixels their last digits suffer, and those of means
/// depend on the image's thread limit. Infinities and NaN in the picture go through to them.
struct ZARN_API zarn_histogram_s {
    unsigned int pixel_count; ///< width * height of the image that was measured
    /// 0: red, green and blue together, three entries a pixel; 1: red; 2: green; 3: blue; 4: alpha; 5: luminance.
    /// Of a grayscale image only 0, the value, and 4, the alpha, are filled.
    zarn_histogram_channel_s channel[6];

    zarn_histogram_s()
        : pixel_count(0) {}

    /// Leaves the record as a new one.
    void free() {
        pixel_count = 0;
        for (zarn_histogram_channel_s& one : channel) one.free();
    }
};

/// Draws one channel as a bar chart into `image`, which becomes an 8-bit image as wide as the channel has bins,
/// `height` rows high, upper left. Bars rise from the bottom row in the byte `bar` over `background`; every bin that is
/// not empty shows at least its bottom pixel.
///
/// The tallest bin reaches the top. Where fewer than 30 % of the bins (empty ones aside) reach 5 % of the height, all
/// bars are stretched until they do, and cut at the top.
///
/// channel: 0 to 5 as in the record. Of a grayscale histogram 0 to 3 mean the value, 4 the alpha. `unused` is not read.
/// Returns 1; 0, the image untouched, for another channel, one without bins, a height of 0 and where memory is short; 0
/// where the image cannot be created, whose messages tell.
ZARN_API unsigned int zarn_render_histogram_channel_to_image(const zarn_histogram_s& histogram, unsigned int channel,
                                                             unsigned char background, unsigned char bar,
                                                             unsigned int height, unsigned int unused,
                                                             zarn_image_channel& image);
