// Times several ways of doing the same, in turn, so that whatever else the machine does meets all of them alike.
#pragma once

#include <chrono>
#include <functional>
#include <vector>

namespace zarn_bench {

using seconds = std::chrono::duration<double>;

// One of the ways.
struct contender {
    std::function<void()> prepare; // before each sample, not timed; may be empty
    std::function<void()> run;
    bool repeatable = true; // many runs may follow one prepare(): short ones are timed in batches
};

// How long to go on: until both the time is spent and the fewest rounds are done; never beyond the most rounds, nor
// into another round when the time is spent four times over.
struct patience {
    seconds time{0.5};
    unsigned fewest_rounds = 5;
    unsigned most_rounds = 200;
};

double median(std::vector<double> values); // not empty

// The median time of one run of each contender. One untimed run goes ahead, so buffers that a contender keeps stand.
std::vector<seconds> time_in_turn(const std::vector<contender>& contenders, const patience& limits);

} // namespace zarn_bench
