// Fresh threads that work while the one that started them waits.
#pragma once

#include <cstdint>

#if defined(_WIN32)
    #include <thread>
#else
    #include <pthread.h>
    #include <sched.h>
#endif

namespace zarn {

// One of them. Stays where it is from start to join.
struct crew_thread {
    void (*work)(void* argument);
    void* argument;
#if defined(_WIN32)
    std::thread handle;
#else
    pthread_t handle;
    const class thread_crew* crew;
#endif
};

// Says where its threads start; from there they go wherever the system takes them. A scheduler that places each by the
// load of the moment before puts two on one core if the caller has been busy: the caller's own core, which idles as
// soon as it waits, looks taken, and the next balancing is milliseconds away. So where there is a thread for every core
// that the caller may use, the last one starts on the caller's core and all others elsewhere.
class thread_crew {
public:
    explicit thread_crew(std::uint32_t size) noexcept;
    thread_crew(const thread_crew&) = delete;
    thread_crew& operator=(const thread_crew&) = delete;

    // Starts the next thread, which runs thread.work(thread.argument). False where the system refuses it.
    bool start(crew_thread& thread) noexcept;

    static void join(crew_thread& thread) noexcept;

#if defined(__GLIBC__)
private:
    static void* run(void* thread) noexcept;

    std::uint32_t ___to_start;
    bool ___are_placed;
    cpu_set_t ___allowed; // the cores the caller may use, and so may every thread once it runs
    cpu_set_t ___callers;
    cpu_set_t ___others;
#endif
};

} // namespace zarn
