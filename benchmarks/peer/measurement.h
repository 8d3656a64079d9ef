// One operation at one size with one number of threads, both sides and what bounds them, timed in turn.
#pragma once

#include "benchmarks/peer/our_operations.h"
#include "benchmarks/peer/peer_operations.h"
#include "benchmarks/peer/timing.h"

namespace zarn_bench {

constexpr unsigned small_image = 256;    // sides up to which the latency of a call is of interest
constexpr unsigned short_call = 1024;    // sides up to which the start of threads is timed beside
constexpr unsigned beyond_caches = 4096; // sides from which the moving of bytes alone is timed beside

// Times are those of one call; 0 where there is none.
struct measurement {
    const operation* what = nullptr;
    unsigned side = 0;
    unsigned threads = 0;

    seconds ours{};
    seconds peer_plain{};
    seconds peer_alpha{};

    // The least bytes moved, into an array that is kept and into a new one.
    seconds moved{};
    seconds moved_to_new{};

    // The threads of our side started and joined, doing nothing.
    seconds thread_start{};
    unsigned threads_started = 0;

    double peak_memory = 0.0; // of our side, the image included, in multiples of the image

    seconds theirs(peer_form form) const { return form == peer_form::alpha ? peer_alpha : peer_plain; }
    double ratio(peer_form form) const { return theirs(form) / ours; }
    double floor() const { return threads == 2 ? what->floor.at(side) : 0.0; }
    bool meets_floor() const { return ratio(what->floor.against) >= floor(); }
    double ratio_without_thread_start() const { return theirs(what->floor.against) / (ours - thread_start); }
    double nanoseconds_per_pixel(seconds time) const { return time.count() * 1e9 / side / side; }
};

measurement measure(const operation& one, const picture& source, peer& other, unsigned threads, const patience& limits);

// Reading and writing 64 MiB: what the memory gives.
struct yardstick {
    const char* name;
    unsigned threads;
    double bytes; // read and written, together
    seconds time;
};
std::vector<yardstick> measure_memory(unsigned threads, const patience& limits);

} // namespace zarn_bench
