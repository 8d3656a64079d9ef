#include "core/platform/thread_crew.h"

namespace zarn {

#if defined(__GLIBC__)

thread_crew::thread_crew(std::uint32_t size) noexcept
    : ___to_start(size)
    , ___are_placed(false) {
    const int core = sched_getcpu();
    if (size < 2 || core < 0 || core >= CPU_SETSIZE) return;
    // Fails where there are more cores than a set of this size can name.
    if (sched_getaffinity(0, sizeof(___allowed), &___allowed) != 0) return;
    CPU_ZERO(&___callers);
    CPU_SET(static_cast<unsigned>(core), &___callers);
    CPU_XOR(&___others, &___allowed, &___callers);
    ___are_placed = CPU_ISSET(static_cast<unsigned>(core), &___allowed) &&
                    static_cast<std::uint32_t>(CPU_COUNT(&___allowed)) == size;
}

void* thread_crew::run(void* thread) noexcept {
    const auto& one = *static_cast<const crew_thread*>(thread);
    if (one.crew->___are_placed) sched_setaffinity(0, sizeof(___allowed), &one.crew->___allowed);
    one.work(one.argument);
    return nullptr;
}

bool thread_crew::start(crew_thread& thread) noexcept {
    thread.crew = this;
    --___to_start;
    pthread_attr_t attributes;
    if (___are_placed && pthread_attr_init(&attributes) == 0) {
        const cpu_set_t& cores = ___to_start ? ___others : ___callers;
        const bool runs = pthread_attr_setaffinity_np(&attributes, sizeof(cores), &cores) == 0 &&
                          pthread_create(&thread.handle, &attributes, run, &thread) == 0;
        pthread_attr_destroy(&attributes);
        if (runs) return true;
        // The cores may have been withdrawn since.
    }
    return pthread_create(&thread.handle, nullptr, run, &thread) == 0;
}

#else

namespace {

void* run_thread(void* thread) noexcept {
    const auto& one = *static_cast<const crew_thread*>(thread);
    one.work(one.argument);
    return nullptr;
}

} // namespace

thread_crew::thread_crew(std::uint32_t) noexcept {}

bool thread_crew::start(crew_thread& thread) noexcept {
    return pthread_create(&thread.handle, nullptr, run_thread, &thread) == 0;
}

#endif

void thread_crew::join(crew_thread& thread) noexcept { pthread_join(thread.handle, nullptr); }

} // namespace zarn
