#include "core/platform/thread_crew.h"

#include <exception>

namespace zarn {

// Where threads start is left to the system.
thread_crew::thread_crew(std::uint32_t) noexcept {}

bool thread_crew::start(crew_thread& thread) noexcept {
    try {
        thread.handle = std::thread(thread.work, thread.argument);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void thread_crew::join(crew_thread& thread) noexcept { thread.handle.join(); }

} // namespace zarn
