// Edge padding of a texture atlas: the colour of the islands grows into the empty space between them, so that neither
// filtering nor smaller mip levels mix the emptiness into their edges.
//
//     edge_padding ATLAS FOLDER
//
// writes FOLDER/padded.png, all of it opaque, FOLDER/padded_ring.png, padded by 8 pixels with its alpha kept, and
// FOLDER/mip.png, the level of an eighth of the size, from the padded atlas.

#include <algorithm>

#include "example.h"

int main(int argument_count, char** arguments) {
    using namespace example;
    if (argument_count != 3) {
        std::fprintf(stderr, "usage: edge_padding ATLAS FOLDER\n");
        return 2;
    }
    const std::filesystem::path folder = std::filesystem::u8path(arguments[2]);
    const session libraries;
    zarn_owned<zarn_image_8> atlas, padded, ring;
    if (!tell(atlas->load_file(wide(std::filesystem::u8path(arguments[1])).c_str()), *atlas, "loading")) return 1;

    // Pixels that are at least half covered lend their colour, all others are filled, ring after ring.
    constexpr std::uint8_t threshold = 127;
    const bool done = tell(padded->create(*atlas), *padded, "copying") &&
                      tell(padded->expand_where_alpha(0, threshold, 0), *padded, "padding") &&
                      tell(padded->save_file(wide(folder / "padded.png").c_str(), 1, 0), *padded, "saving") &&
                      tell(ring->create(*atlas), *ring, "copying") &&
                      tell(ring->expand_where_alpha(8, threshold, 1), *ring, "padding by 8 pixels") &&
                      tell(ring->save_file(wide(folder / "padded_ring.png").c_str(), 2, 0), *ring, "saving");
    if (!done) return 1;

    const unsigned width = std::max(1u, padded->get_width() / 8), height = std::max(1u, padded->get_height() / 8);
    return tell(padded->resample(width, height, 0), *padded, "resampling") &&
                   tell(padded->save_file(wide(folder / "mip.png").c_str(), 1, 0), *padded, "saving")
               ? 0
               : 1;
}
