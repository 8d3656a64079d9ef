// zarn_subset_s: one connected region of a single-channel image.
#pragma once

#include <zarn/export.h>
#include <zarn/list.h>
#include <zarn/points.h>

/// One connected region: its bounding box and its pixels. Coordinates are those of the picture, row 0 at the top,
/// whatever the row order in memory.
///
/// Mind the upper bounds: a pixel that lowers `min_x` is not tried against `max_x`, and likewise for rows. So the first
/// pixel of a region never raises `max_x` or `max_y` above 0, and a region of one pixel at column 5 has min_x 5 and
/// max_x 0.
///
/// Copying is shallow: both records then share one point list, and only one of them may `free` it. Records in an
/// image's subset list belong to the image.
struct ZARN_API zarn_subset_s {
    unsigned int min_x; ///< smallest column; 4294967295 when empty
    unsigned int max_x; ///< largest column, see above; 0 when empty
    unsigned int min_y; ///< smallest row; 4294967295 when empty
    unsigned int max_y; ///< largest row, see above; 0 when empty

    /// The pixels in the order in which the fill reached them; null when empty.
    zarn_list<zarn_point_s>* points;

    zarn_subset_s(); ///< an empty region

    /// Releases the point list and makes the record empty.
    void free();
};
