#include "benchmarks/peer/check.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <zarn/owned.h>

namespace zarn_bench {

namespace {

class mean {
public:
    void add(int a, int b) {
        ___sum += std::abs(a - b);
        ++___count;
    }
    double value() const { return ___count ? ___sum / static_cast<double>(___count) : 0.0; }

private:
    double ___sum = 0.0;
    std::size_t ___count = 0;
};

double mean_difference(const picture& ours, const picture& theirs) {
    constexpr int opaque = 250; // rounding takes some off 255
    mean colour, alpha;
    for (std::size_t pixel = 0; pixel < ours.pixels(); ++pixel) {
        const std::uint8_t* const a = &ours.rgba[pixel * 4];
        const std::uint8_t* const b = &theirs.rgba[pixel * 4];
        alpha.add(a[3], b[3]);
        if (a[3] < opaque || b[3] < opaque) continue;
        for (int channel = 0; channel < 3; ++channel) colour.add(a[channel], b[channel]);
    }
    return std::max(colour.value(), alpha.value());
}

std::string size_of(const picture& image) { return std::to_string(image.width) + " x " + std::to_string(image.height); }

} // namespace

double check_pair(const operation& one, const picture& source, peer& other) {
    zarn_owned<zarn_image_8> original, image;
    load(*original, source);
    load(*image, source);
    one.run(*image, *original);
    const picture ours = contents_of(*image);

    const bool has_alpha_form = static_cast<bool>(other.call(one.name, peer_form::alpha));
    const picture theirs = other.result_of(one.name, has_alpha_form ? peer_form::alpha : peer_form::plain);
    if (ours.width != theirs.width || ours.height != theirs.height)
        throw std::runtime_error(one.name + ": ours gives " + size_of(ours) + ", the peer " + size_of(theirs));
    const double difference = mean_difference(ours, theirs);
    if (difference > one.tolerance)
        throw std::runtime_error(one.name + ": results differ by " + std::to_string(difference) + " levels");
    return difference;
}

} // namespace zarn_bench
