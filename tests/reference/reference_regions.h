// Regions and distances of single-channel images in their plainest form: what the library's results are compared with.
#pragma once

#include <cstdint>
#include <vector>

#include <zarn/points.h>

namespace zarn_test {

struct reference_subset {
    unsigned min_x = 0xFFFFFFFFu, max_x = 0, min_y = 0xFFFFFFFFu, max_y = 0;
    std::vector<zarn_point_s> points;
};

// `mask` is not padded: foreground is every value but 0.
std::vector<reference_subset> reference_subsets(const std::vector<std::uint8_t>& mask, std::uint32_t width,
                                                std::uint32_t height);

// Samples in picture rows. Full scale is 255, 65535 or 4294967295.
void reference_normalize(const reference_subset& subset, std::vector<std::uint32_t>& samples, std::uint32_t width,
                         std::uint32_t height, std::uint32_t full);

// Signed distances of a mask: negative where it is 0.
std::vector<double> reference_distances(const std::vector<std::uint8_t>& mask, std::int32_t width, std::int32_t height);

// The samples that the distances make of an image.
void reference_stretch(const std::vector<double>& distances, std::vector<std::uint32_t>& samples, std::uint32_t full);

} // namespace zarn_test
