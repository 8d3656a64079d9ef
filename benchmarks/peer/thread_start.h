// What the start and the end of threads cost, and how many an operation starts.
#pragma once

#include <functional>

namespace zarn_bench {

// The threads that run() starts, in all.
unsigned threads_started_by(const std::function<void()>& run);

// Starts `total` threads that do nothing and waits for them, `at_a_time` beside one another.
void start_and_join(unsigned total, unsigned at_a_time);

} // namespace zarn_bench
