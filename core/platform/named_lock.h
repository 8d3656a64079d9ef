// Locks that all processes share by name, where the system has them; else all threads of this process.
#pragma once

#include <cstdint>

namespace zarn {

// What is serialised.
enum class named_lock_id : std::uint8_t { real_32_load, real_32_save, real_16_load, real_16_save, count };

// Holds the lock while it lives.
class named_lock {
public:
    explicit named_lock(named_lock_id id) noexcept;
    ~named_lock();
    named_lock(const named_lock&) = delete;
    named_lock& operator=(const named_lock&) = delete;

private:
    void* ___handle;
};

} // namespace zarn
