#include "benchmarks/peer/measurement.h"

#include <cstddef>
#include <memory>
#include <optional>

#include "benchmarks/peer/counting_allocator.h"
#include "benchmarks/peer/thread_start.h"

namespace zarn_bench {

measurement measure(const operation& one, const picture& source, peer& other, unsigned threads,
                    const patience& limits) {
    measurement result;
    result.what = &one;
    result.side = source.width;
    result.threads = threads;

    const std::unique_ptr<subject> ours = one.start(source);
    ours->set_threads(threads);
    peer::set_threads(threads);

    const auto prepare = [&] { ours->prepare(); };
    const auto run = [&] { ours->run(); };
    prepare();
    const std::int64_t more = peak_bytes_of([&] { result.threads_started = threads_started_by(run); });
    result.peak_memory = 1.0 + static_cast<double>(more) / static_cast<double>(source.bytes.size());

    std::vector<contender> contenders;
    std::vector<seconds*> times;
    const auto enter = [&](contender next, seconds& time) {
        contenders.push_back(std::move(next));
        times.push_back(&time);
    };

    enter({prepare, run, !one.consumes}, result.ours);
    // Their source is written before each sample as ours is, so it is as warm in the caches.
    const auto restore = [&other] { other.restore(); };
    enter({restore, other.call(one, peer_form::plain)}, result.peer_plain);
    if (const std::function<void()> call = other.call(one, peer_form::alpha)) enter({restore, call}, result.peer_alpha);

    std::optional<memory_pass> pass;
    if (source.width >= beyond_caches) {
        pass.emplace(one.least, source.pixels(), threads);
        enter({{}, [&] { pass->into_kept_array(); }}, result.moved);
        if (!one.least.in_place) enter({{}, [&] { pass->into_new_array(); }}, result.moved_to_new);
    }
    if (source.width <= short_call && result.threads_started > 0)
        // Prepared as ours is: the caches hold no more of the system's own code and data then.
        enter({prepare, [&] { start_and_join(result.threads_started, threads); }, false}, result.thread_start);

    const std::vector<seconds> medians = time_in_turn(contenders, limits);
    for (std::size_t n = 0; n < times.size(); ++n) *times[n] = medians[n];
    return result;
}

std::vector<yardstick> measure_memory(unsigned threads, const patience& limits) {
    constexpr std::size_t pixels = std::size_t{1} << 24;
    constexpr double array = 4.0 * pixels;
    memory_pass read({4, 0, false}, pixels, threads), fill({0, 4, false}, pixels, threads);
    memory_pass copy({4, 4, false}, pixels, threads), change({4, 4, true}, pixels, threads);
    std::vector<yardstick> results = {
        {"read", threads, array, {}},
        {"fill (`memset`)", threads, array, {}},
        {"copy (`memcpy`)", threads, 2 * array, {}},
        {"change in place", threads, 2 * array, {}},
        {"fill a new array", threads, array, {}},
        {"copy to a new array", threads, 2 * array, {}},
    };
    const std::vector<seconds> medians = time_in_turn({{{}, [&] { read.into_kept_array(); }},
                                                       {{}, [&] { fill.into_kept_array(); }},
                                                       {{}, [&] { copy.into_kept_array(); }},
                                                       {{}, [&] { change.into_kept_array(); }},
                                                       {{}, [&] { fill.into_new_array(); }},
                                                       {{}, [&] { copy.into_new_array(); }}},
                                                      limits);
    for (std::size_t n = 0; n < results.size(); ++n) results[n].time = medians[n];
    return results;
}

} // namespace zarn_bench
