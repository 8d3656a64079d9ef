#include "benchmarks/peer/check.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>

namespace zarn_bench {

namespace {

class mean {
public:
    void add(double a, double b) {
        ___sum += std::fabs(a - b);
        ++___count;
    }
    double value() const { return ___count ? ___sum / static_cast<double>(___count) : 0.0; }

private:
    double ___sum = 0.0;
    std::size_t ___count = 0;
};

double mean_difference(const picture& ours, const picture& theirs) {
    constexpr double opaque = 250.0; // rounding takes some off 255
    mean colour, alpha;
    const std::size_t channels = ours.form.channels;
    for (std::size_t pixel = 0; pixel < ours.pixels(); ++pixel) {
        const std::size_t red = pixel * channels;
        if (channels != 4) {
            for (std::size_t sample = red; sample < red + channels; ++sample)
                colour.add(ours.level(sample), theirs.level(sample));
            continue;
        }
        const double a = ours.level(red + 3), b = theirs.level(red + 3);
        alpha.add(a, b);
        if (a < opaque || b < opaque) continue;
        for (std::size_t sample = red; sample < red + 3; ++sample) colour.add(ours.level(sample), theirs.level(sample));
    }
    return std::max(colour.value(), alpha.value());
}

std::string size_of(const picture& image) { return std::to_string(image.width) + " x " + std::to_string(image.height); }

} // namespace

double check_pair(const operation& one, const picture& source, peer& other) {
    const std::unique_ptr<subject> ours_at_work = one.start(source);
    ours_at_work->prepare();
    ours_at_work->run();
    const picture ours = ours_at_work->contents();

    const bool has_alpha_form = static_cast<bool>(other.call(one, peer_form::alpha));
    const picture theirs = other.result_of(one, has_alpha_form ? peer_form::alpha : peer_form::plain);
    if (ours.width != theirs.width || ours.height != theirs.height || !(ours.form == theirs.form))
        throw std::runtime_error(one.name + ": ours gives " + size_of(ours) + ", the peer " + size_of(theirs));
    const double difference = mean_difference(ours, theirs);
    if (difference > one.tolerance)
        throw std::runtime_error(one.name + ": results differ by " + std::to_string(difference) + " levels");
    return difference;
}

} // namespace zarn_bench
