#include "benchmarks/peer/alpha_expansion.h"

#include <zarn/image_8.h>
#include <zarn/owned.h>

#include "benchmarks/peer/counting_allocator.h"
#include "benchmarks/peer/our_operations.h"

namespace zarn_bench {

namespace {

constexpr std::uint8_t threshold = 254;

picture one_pixel_in_the_corner(unsigned side) {
    picture image{side, side};
    for (std::size_t sample = 0; sample < 4; ++sample) image.bytes[sample] = 255;
    return image;
}

expansion measure_one(const char* name, const picture& source, unsigned threads, const patience& limits) {
    expansion result{name, source.width, threads, 0, {}, 0.0};
    for (std::size_t pixel = 0; pixel < source.pixels(); ++pixel)
        result.filled += source.bytes[pixel * 4 + 3] <= threshold;

    zarn_owned<zarn_image_8> original, image;
    load(*original, source);
    image->set_thread_limit(threads);
    const auto prepare = [&] { image->create(*original); };
    const auto run = [&] { image->expand_where_alpha(0, threshold, 0); };
    prepare();
    result.peak_memory = 1.0 + static_cast<double>(peak_bytes_of(run)) / static_cast<double>(source.bytes.size());
    result.time = time_in_turn({{prepare, run, false}}, limits).front();
    return result;
}

} // namespace

std::vector<expansion> measure_expansion(const picture& source, unsigned threads, const patience& limits) {
    return {measure_one("holes of the picture", source, threads, limits),
            measure_one("all, from one corner", one_pixel_in_the_corner(source.width), threads, limits)};
}

} // namespace zarn_bench
