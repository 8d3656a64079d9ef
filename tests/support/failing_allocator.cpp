#include "tests/support/failing_allocator.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::int64_t> live{0};
std::atomic<std::int64_t> requests_until_failure{0}; // the request that takes it from 1 to 0 fails; idle at 0 and below
std::atomic<bool> armed{false};
std::atomic<bool> fail_all_after{false};
std::atomic<bool> fail_throwing_forms{false};
std::atomic<bool> failed{false};

bool shall_fail() {
    if (!armed.load()) return false;
    const std::int64_t left = requests_until_failure.fetch_sub(1);
    if (left > 1 || (left < 1 && !fail_all_after.load())) return false;
    failed.store(true);
    return true;
}

void* allocate(std::size_t size) {
    void* memory = std::malloc(size ? size : 1);
    if (memory) live.fetch_add(1);
    return memory;
}

void* allocate_or_throw(std::size_t size) {
    if (fail_throwing_forms.load() && shall_fail()) throw std::bad_alloc();
    if (void* memory = allocate(size)) return memory;
    throw std::bad_alloc();
}

void release(void* memory) {
    if (!memory) return;
    live.fetch_sub(1);
    std::free(memory);
}

} // namespace

// clang's static ThreadSanitizer has operators that cannot be replaced: use GCC's.
void* operator new(std::size_t size) { return allocate_or_throw(size); }
void* operator new[](std::size_t size) { return allocate_or_throw(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return shall_fail() ? nullptr : allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return shall_fail() ? nullptr : allocate(size);
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { release(memory); }

namespace zarn_test {

std::int64_t live_allocations() { return live.load(); }

allocation_failure::allocation_failure(std::int64_t n, bool and_after, bool throwing_forms) {
    requests_until_failure.store(n);
    fail_all_after.store(and_after);
    fail_throwing_forms.store(throwing_forms);
    failed.store(false);
    armed.store(true);
}

allocation_failure::~allocation_failure() { armed.store(false); }

bool allocation_failure::happened() const { return failed.load(); }

} // namespace zarn_test
