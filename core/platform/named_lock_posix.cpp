#include "core/platform/named_lock.h"

#include <mutex>

namespace zarn {

namespace {

std::mutex& mutex_of(named_lock_id id) noexcept {
    static std::mutex mutexes[static_cast<unsigned>(named_lock_id::count)];
    return mutexes[static_cast<unsigned>(id)];
}

} // namespace

named_lock::named_lock(named_lock_id id) noexcept
    : ___handle(&mutex_of(id)) {
    static_cast<std::mutex*>(___handle)->lock();
}

named_lock::~named_lock() { static_cast<std::mutex*>(___handle)->unlock(); }

} // namespace zarn
