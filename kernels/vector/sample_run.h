// Samples that lie in one run of memory.
#pragma once

#include <cstdint>

namespace zarn::vector {

// Whole pixels. Alpha, where there is one, is the last of `channels` samples, which are 1, 2 or 4.
template <class Sample>
struct sample_run {
    Sample* samples;
    std::uint64_t count; // of samples
    unsigned channels;
    bool has_alpha;
};

} // namespace zarn::vector
