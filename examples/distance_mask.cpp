// Makes distance-field masks from a label image, in which each region has one value and 0 stands between them: how deep
// inside its region each pixel lies, and a mask that fades from the regions' edges inwards.
//
//     distance_mask LABELS FOLDER
//
// writes FOLDER/distance.png and FOLDER/mask.png, and tells of each region.

#include "example.h"

int main(int argument_count, char** arguments) {
    using namespace example;
    if (argument_count != 3) {
        std::fprintf(stderr, "usage: distance_mask LABELS FOLDER\n");
        return 2;
    }
    const std::filesystem::path folder = std::filesystem::u8path(arguments[2]);
    const session libraries;
    zarn_owned<zarn_image_channel> labels;
    if (!tell(labels->load_file(wide(std::filesystem::u8path(arguments[1])).c_str(), 0), *labels, "loading") ||
        !tell(labels->calculate_subset_list(0), *labels, "listing regions"))
        return 1;
    const zarn_list<zarn_subset_s*>& regions = *labels->get_subset_list();
    for (unsigned i = 0; i < regions.get_count(); ++i) {
        const zarn_point_s& first = (*regions[i]->points)[0];
        std::printf("region %u: value %u, %u pixels, from column %u, row %u on\n", i,
                    labels->get_pixel_8(first.x, first.y), regions[i]->points->get_count(), regions[i]->min_x,
                    regions[i]->min_y);
    }

    // The transform works on edges at 8 bits; its results have as many steps as the image's type.
    const bool done = tell(labels->set_image_type(1), *labels, "taking 16 bits") &&
                      tell(labels->distance_transform(), *labels, "measuring distances") &&
                      tell(labels->save_file(wide(folder / "distance.png").c_str(), 0, 0), *labels, "saving");
    if (!done) return 1;

    labels->exposure(4.0f); // full from a quarter of the greatest depth on
    return tell(labels->gaussian_blur(1.5f, 0), *labels, "smoothing") &&
                   tell(labels->save_file(wide(folder / "mask.png").c_str(), 0, 0), *labels, "saving")
               ? 0
               : 1;
}
