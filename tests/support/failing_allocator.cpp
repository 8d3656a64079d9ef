#include "tests/support/failing_allocator.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
    #include <malloc.h>
#endif

namespace {

std::atomic<std::int64_t> live{0};
std::atomic<std::int64_t> bytes{0};
std::atomic<std::int64_t> most_bytes{0};
std::atomic<std::int64_t> requests_until_failure{0}; // the request that takes it from 1 to 0 fails; idle at 0 and below
std::atomic<bool> armed{false};
std::atomic<bool> fail_all_after{false};
std::atomic<bool> fail_throwing_forms{false};
std::atomic<bool> failed{false};

// The size of a block stands in front of it, but under AddressSanitizer, which knows it and watches what lies there.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t head = 0;
std::size_t size_of(const void* block) { return malloc_usable_size(const_cast<void*>(block)); }
#else
constexpr std::size_t head = alignof(std::max_align_t);
std::size_t size_of(const void* block) {
    std::size_t size;
    std::memcpy(&size, block, sizeof size);
    return size;
}
#endif

bool shall_fail() {
    if (!armed.load()) return false;
    const std::int64_t left = requests_until_failure.fetch_sub(1);
    if (left > 1 || (left < 1 && !fail_all_after.load())) return false;
    failed.store(true);
    return true;
}

void* allocate(std::size_t size) {
    if (size > SIZE_MAX - head) return nullptr;
    void* const block = std::malloc(size + head);
    if (!block) return nullptr;
    if (head) std::memcpy(block, &size, sizeof size);
    live.fetch_add(1);
    const std::int64_t now = bytes.fetch_add(static_cast<std::int64_t>(size)) + static_cast<std::int64_t>(size);
    for (std::int64_t most = most_bytes.load(); most < now && !most_bytes.compare_exchange_weak(most, now);) {}
    return static_cast<char*>(block) + head;
}

void* allocate_or_throw(std::size_t size) {
    if (fail_throwing_forms.load() && shall_fail()) throw std::bad_alloc();
    if (void* memory = allocate(size)) return memory;
    throw std::bad_alloc();
}

void release(void* memory) {
    if (!memory) return;
    void* const block = static_cast<char*>(memory) - head;
    live.fetch_sub(1);
    bytes.fetch_sub(static_cast<std::int64_t>(size_of(block)));
    std::free(block);
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
std::int64_t live_bytes() { return bytes.load(); }
void watch_peak_bytes() { most_bytes.store(bytes.load()); }
std::int64_t peak_bytes() { return most_bytes.load(); }

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
