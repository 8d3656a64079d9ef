// The operations under comparison: how each is called here, the bar it is held to, and what it must at least move.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
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

// An operation of ours on a picture, of whichever class.
class subject {
public:
    virtual ~subject() = default;
    subject() = default;
    subject(const subject&) = delete;
    subject& operator=(const subject&) = delete;

    virtual void set_threads(unsigned count) = 0;
    virtual void prepare() = 0; // makes the image as the source is
    virtual void run() = 0;
    virtual picture contents() const = 0;
};

using start_subject = std::function<std::unique_ptr<subject>(const picture& source)>;

enum class subject_matter { photo, labels };

struct operation {
    pixel_form form; // of the source
    std::string name;
    start_subject start;
    bool consumes; // the image must be prepared before each run
    traffic least;
    bar floor;
    double tolerance;       // mean difference of colour to the peer's result, 0..255, above which the pairing is wrong
    std::string difference; // in meaning, to the peer
    std::string bound;      // what keeps it from its bar, where it is known to miss it: said beside the miss
    subject_matter matter;  // what the source shows
};

const std::vector<pixel_form>& compared_forms();
const std::vector<operation>& our_operations(const pixel_form& form);

std::vector<operation> rgba_operations(unsigned bits);
std::vector<operation> value_operations(unsigned bits);
std::vector<operation> real_operations();

// Of the transform engine; and, on RGBA of 8 bits, of paths.
std::vector<operation> transform_operations(const pixel_form& form);

// The picture's mirror image over the picture, with opacity 0.7 and the mode of the code that `mode` then has.
start_subject start_blend(unsigned bits, const unsigned& mode);

// The corners that "path_fill" fills in a square picture: a disc with a wavy rim, x and y in pixels.
std::vector<std::pair<double, double>> benchmark_polygon(unsigned side);

// Makes the image a copy of the picture.
void load(zarn_image_8& image, const picture& source);

} // namespace zarn_bench
