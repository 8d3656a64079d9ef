// Normal-map radars: the record that zarn_image_real_16::build_normal_map_radar() fills, and what draws it.
//
// A radar tells for each direction around the vertical axis how many normals of a normal map lean that way, and which
// of them lean the least and the most, apart for the hemispheres z >= 0 and z < 0.
//
// As a picture it is a disc in a square of `size` pixels a side. The disc's circle of `inner_radius` pixels is the
// place of the poles; around it each direction bin has a wedge, which reaches the farther out the more normals it
// counts: to the rim at the count that everything is scaled to. That count is the larger of both hemispheres' maxima
// where both are shown or `common_scale` is not 0, else the maximum of the one that is shown. Bin 0 points down, later
// ones turn to the left. The disc is turned against the picture: normals that lean right (x above 0) stand at the
// bottom, down (y above 0) at the right, left at the top, up at the left. An inner radius beyond the rim turns the
// wedges inside out.
#pragma once

#include <zarn/export.h>
#include <zarn/list.h>
#include <zarn/points.h>

class zarn_image_8;
struct zarn_pixel_8_s;

/// One direction bin of one hemisphere.
struct ZARN_API zarn_nradar_sample_s {
    unsigned int count;  ///< normals that fell in the bin
    float max_normal[3]; ///< x, y, z of the normal with the largest |z|, the least tilted
    float max_z;         ///< its |z|
    float min_normal[3]; ///< x, y, z of the normal with the smallest |z|, the most tilted
    float min_z;         ///< its |z|

    /// Without normals: 0 and (0, 0, 0), max_z the smallest positive normal float and min_z the largest float.
    zarn_nradar_sample_s()
        : count(0)
        , max_normal{0.0f, 0.0f, 0.0f}
        , max_z(1.1754944e-38f)
        , min_normal{0.0f, 0.0f, 0.0f}
        , min_z(3.4028235e38f) {}
};

/// Four floats.
struct ZARN_API zarn_nradar_v4_s {
    float x, y, z, w;
};

/// What zarn_image_real_16::build_normal_map_radar() counts. It belongs to the caller, who may copy, free and fill it
/// again; copies are deep, sample by sample, and a copy whose samples cannot be allocated has none.
///
/// The first hemisphere is z < 0 and the second z >= 0, where the normals of ordinary maps lie; flag 16 swaps them. A
/// normal with |z| > 0.9995 is a pole, which has no direction; any other falls in bin
/// trunc((atan2(y, -x) + pi) / (2 pi) * (bins - 1) + 0.5), so that the first bin and the last one share a direction.
struct ZARN_API zarn_nradar_s {
    unsigned int flags;        ///< as the radar was built with; 1: x negated, 4: y negated, 16: hemispheres swapped
    unsigned int total;        ///< first_count + second_count
    unsigned int first_count;  ///< normals of the first hemisphere, poles included
    unsigned int second_count; ///< the same of the second
    zarn_list<zarn_nradar_sample_s> first_samples;  ///< one per direction bin
    zarn_list<zarn_nradar_sample_s> second_samples; ///< the same of the second hemisphere
    unsigned int max_count;                         ///< the larger of first_max and second_max
    unsigned int first_max;                         ///< the largest bin count of the first hemisphere
    unsigned int second_max;                        ///< the same of the second
    unsigned int first_poles;                       ///< poles of the first hemisphere
    unsigned int second_poles;                      ///< the same of the second
    unsigned int first_used;                        ///< 1 once the first hemisphere counted a normal
    unsigned int second_used;                       ///< the same of the second

    /// No samples, every number 0.
    zarn_nradar_s()
        : flags(0)
        , total(0)
        , first_count(0)
        , second_count(0)
        , max_count(0)
        , first_max(0)
        , second_max(0)
        , first_poles(0)
        , second_poles(0)
        , first_used(0)
        , second_used(0) {}

    /// Leaves the record as a new one.
    void free() {
        first_samples.clear();
        second_samples.clear();
        flags = total = first_count = second_count = 0;
        max_count = first_max = second_max = first_poles = second_poles = first_used = second_used = 0;
    }
};

/// The wedges as quads in pixels, four points for each bin of the first hemisphere: inner and outer point of the
/// wedge's first edge, inner and outer point of its second. An empty bin, or one of a hemisphere that is not shown, has
/// four points (0, 0). With both hemispheres shown each bin has the quad of the one that counts more in it; of the
/// second where both count the same. What was in `quads` is released; it stays empty where memory is short.
ZARN_API void zarn_build_nradar_quad_list(const zarn_nradar_s& radar, unsigned int show_first, unsigned int show_second,
                                          unsigned int common_scale, unsigned int inner_radius, unsigned int size,
                                          zarn_list<zarn_fpoint_s>& quads);

/// Finds the direction of a point of the picture: 1 with its bin, whatever that counts; 1 with bin -1 within the inner
/// radius; 0 with bin -2 off the disc, in the sliver between a wedge's straight outer edge and the rim, and for a radar
/// without bins, its inner circle aside.
ZARN_API unsigned int zarn_is_intersect_nradar_image(const zarn_nradar_s& radar, unsigned int inner_radius,
                                                     unsigned int size, zarn_point_s& point, int& bin);

/// Draws the radar into `image`, which becomes size x size, upper left, alpha 255: the wedges of the shown hemispheres,
/// the first over the second, coloured as normal maps are (x, y, z to red, green, blue; -1..1 to 0..255) by max_normal
/// at the inner and min_normal at the outer edge; for each hemisphere a disc in the centre, (128, 128, 0) or under flag
/// 16 (128, 128, 255), with the share of its poles of all normals that were counted (in both hemispheres, where both
/// give the scale) as its share of the inner radius;
/// and, in the colour `drawing` over everything, lines one pixel wide along the rim and the inner circle. The
/// background is opaque whatever its alpha; `drawing` is laid over with its alpha.
///
/// Without bins only the background shows. Returns 1; 0, the image untouched, for a size of 0 and where memory is
/// short; 0 where the image cannot be created, whose messages tell.
ZARN_API unsigned int zarn_render_normal_map_radar_to_image(const zarn_nradar_s& radar, unsigned int show_first,
                                                            unsigned int show_second, unsigned int common_scale,
                                                            const zarn_pixel_8_s& background,
                                                            const zarn_pixel_8_s& drawing, unsigned int inner_radius,
                                                            unsigned int size, zarn_image_8& image);
