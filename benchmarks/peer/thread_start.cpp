#include "benchmarks/peer/thread_start.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>

namespace {

std::atomic<unsigned> threads_started{0};

}

// Stands in front of the system's function for the whole program.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                              void* argument) {
    using function = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto original = reinterpret_cast<function>(dlsym(RTLD_NEXT, "pthread_create"));
    threads_started.fetch_add(1, std::memory_order_relaxed);
    return original(thread, attributes, routine, argument);
}

namespace zarn_bench {

unsigned threads_started_by(const std::function<void()>& run) {
    const unsigned before = threads_started.load();
    run();
    return threads_started.load() - before;
}

void start_and_join(unsigned total, unsigned at_a_time) {
    std::thread threads[16];
    for (unsigned done = 0; done < total;) {
        const unsigned count = std::min({total - done, at_a_time, 16u});
        for (unsigned n = 0; n < count; ++n) threads[n] = std::thread([] {});
        for (unsigned n = 0; n < count; ++n) threads[n].join();
        done += count;
    }
}

} // namespace zarn_bench
