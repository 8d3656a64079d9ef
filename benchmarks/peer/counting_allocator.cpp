#include "benchmarks/peer/counting_allocator.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

std::atomic<std::int64_t> live{0};
std::atomic<std::int64_t> peak{0};

// The block's size is asked of the C library: a header of our own would shift every array from where it lies otherwise.
void* allocate(std::size_t size) noexcept {
    void* const block = std::malloc(size ? size : 1);
    if (!block) return nullptr;
    const auto bytes = static_cast<std::int64_t>(malloc_usable_size(block));
    const std::int64_t sum = live.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    std::int64_t most = peak.load(std::memory_order_relaxed);
    while (sum > most && !peak.compare_exchange_weak(most, sum, std::memory_order_relaxed)) {}
    return block;
}

void* allocate_or_throw(std::size_t size) {
    if (void* const block = allocate(size)) return block;
    throw std::bad_alloc();
}

void release(void* block) noexcept {
    if (!block) return;
    live.fetch_sub(static_cast<std::int64_t>(malloc_usable_size(block)), std::memory_order_relaxed);
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) { return allocate_or_throw(size); }
void* operator new[](std::size_t size) { return allocate_or_throw(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { release(block); }

namespace zarn_bench {

std::int64_t peak_bytes_of(const std::function<void()>& run) {
    const std::int64_t before = live.load();
    peak.store(before);
    run();
    return peak.load() - before;
}

// The heap takes the largest block that was mapped and freed as the size from which it maps blocks, up to 32 MiB.
void settle_heap() {
    constexpr std::size_t largest = (32u << 20) - (64u << 10);
    void* const block = std::malloc(largest);
    if (block) *static_cast<volatile char*>(block) = 1;
    std::free(block);
}

} // namespace zarn_bench
