#include "benchmarks/peer/timing.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <thread>

namespace zarn_bench {

namespace {

using stopwatch = std::chrono::steady_clock;

// Keeps the second core busy as long as it lives, which is long enough for idle threads of the contender before to go
// to sleep. Without it, a short run would meet a core that those threads still spin on, or one that is deep asleep, by
// chance and by what its preparation takes.
class awake_core {
public:
    awake_core()
        : ___end(stopwatch::now() + std::chrono::microseconds(150))
        , ___spinner([this] {
            while (!___stop.load(std::memory_order_relaxed)) {}
        }) {}
    ~awake_core() {
        while (stopwatch::now() < ___end) {}
        ___stop.store(true, std::memory_order_relaxed);
        ___spinner.join();
    }
    awake_core(const awake_core&) = delete;
    awake_core& operator=(const awake_core&) = delete;

private:
    stopwatch::time_point ___end;
    std::atomic<bool> ___stop{false};
    std::thread ___spinner;
};

seconds time_runs(const contender& one, unsigned runs) {
    {
        const awake_core second;
        if (one.prepare) one.prepare();
    }
    const stopwatch::time_point start = stopwatch::now();
    for (unsigned n = 0; n < runs; ++n) one.run();
    return seconds(stopwatch::now() - start) / runs;
}

// So many runs that the clock's own cost and grain vanish.
unsigned choose_batch(const contender& one) {
    if (!one.repeatable) return 1;
    constexpr double sample = 50e-6;
    const double run = std::max(1e-9, time_runs(one, 1).count());
    return static_cast<unsigned>(std::clamp(std::ceil(sample / run), 1.0, 5000.0));
}

} // namespace

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 ? values[half] : (values[half - 1] + values[half]) / 2;
}

std::vector<seconds> time_in_turn(const std::vector<contender>& contenders, const patience& limits) {
    const std::size_t count = contenders.size();
    std::vector<unsigned> batches(count, 1);
    for (std::size_t n = 0; n < count; ++n) {
        const seconds first = time_runs(contenders[n], 1);
        if (first.count() < 1e-3) batches[n] = choose_batch(contenders[n]);
    }

    std::vector<std::vector<double>> samples(count);
    const stopwatch::time_point start = stopwatch::now();
    for (unsigned round = 0; round < limits.most_rounds; ++round) {
        const seconds spent = stopwatch::now() - start;
        if (round >= limits.fewest_rounds && spent >= limits.time) break;
        if (round > 0 && spent >= 12 * limits.time) break;
        for (std::size_t turn = 0; turn < count; ++turn) {
            // Every other round backwards: none always follows the same neighbour.
            const std::size_t n = round % 2 ? count - 1 - turn : turn;
            samples[n].push_back(time_runs(contenders[n], batches[n]).count());
        }
    }

    std::vector<seconds> result;
    result.reserve(count);
    for (std::vector<double>& times : samples) result.emplace_back(median(std::move(times)));
    return result;
}

} // namespace zarn_bench
