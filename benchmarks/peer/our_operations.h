// The operations under comparison: how each is called here, the bar it is held to, and what it must at least move.
#pragma once

#include <string>
#include <vector>

#include <zarn/image_8.h>

#include "benchmarks/peer/memory_limit.h"
#include "benchmarks/peer/picture.h"

namespace zarn_bench {

// The two ways in which the peer does an operation: as it is, its alpha a fourth channel like the others; and on
// colour multiplied with alpha before and divided by it again behind.
enum class peer_form { plain, alpha };

// The least ratio of the peer's time to ours that is good enough, with 2 threads. 0: none is set.
struct bar {
    peer_form against;
    double at_1024;
    double at_4096;

    double at(unsigned side) const { return side == 1024 ? at_1024 : side == 4096 ? at_4096 : 0.0; }
};

struct operation {
    std::string name;
    void (*run)(zarn_image_8& image, const zarn_image_8& source);
    bool consumes; // the image must be as `source` before each run
    traffic least;
    bar floor;
    double tolerance;       // mean difference of colour to the peer's result, 0..255, above which the pairing is wrong
    std::string difference; // in meaning, to the peer
    std::string bound = ""; // what keeps it from its bar, where it is known to miss it: said beside the miss
};

const std::vector<operation>& our_operations();

// Makes the image a copy of the picture, with rows from the top.
void load(zarn_image_8& image, const picture& source);
picture contents_of(const zarn_image_8& image);

} // namespace zarn_bench
