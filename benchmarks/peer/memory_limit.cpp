#include "benchmarks/peer/memory_limit.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>
#include <vector>

#include <sys/mman.h>

namespace zarn_bench {

namespace {

// What is read must count for something, or the compiler leaves the reading out.
volatile std::uint64_t sink;

void read(const std::uint8_t* from, std::size_t size) {
    std::uint64_t sum = 0, word = 0;
    for (std::size_t n = 0; n + sizeof word <= size; n += sizeof word) {
        std::memcpy(&word, from + n, sizeof word);
        sum += word;
    }
    sink = sum;
}

void change(std::uint8_t* bytes, std::size_t size) {
    for (std::size_t n = 0; n < size; ++n) bytes[n] ^= 0x55;
}

void advise_large_pages(const std::uint8_t* block, std::size_t size) {
    constexpr std::uintptr_t page = 2u << 20;
    const std::uintptr_t start = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(block) + size) & ~(page - 1);
    if (start < end) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

} // namespace

void memory_pass::free_block::operator()(std::uint8_t* block) const { std::free(block); }

memory_pass::bytes memory_pass::allocate(std::size_t size) {
    bytes block(static_cast<std::uint8_t*>(std::malloc(std::max<std::size_t>(size, 1))));
    if (!block) throw std::bad_alloc();
    advise_large_pages(block.get(), size);
    return block;
}

memory_pass::memory_pass(const traffic& per_pixel, std::size_t pixels, unsigned threads)
    : ___read(static_cast<std::size_t>(per_pixel.read * static_cast<double>(pixels)))
    , ___written(static_cast<std::size_t>(per_pixel.written * static_cast<double>(pixels)))
    , ___in_place(per_pixel.in_place)
    , ___threads(threads)
    , ___source(allocate(___read))
    , ___kept(allocate(___written)) {
    // Pages that nobody has written are all the same page of zeroes.
    std::memset(___source.get(), 1, ___read);
    std::memset(___kept.get(), 1, ___written);
}

void memory_pass::into_kept_array() { run(___kept.get()); }

void memory_pass::into_new_array() {
    const bytes fresh = allocate(___written);
    run(fresh.get());
}

void memory_pass::run(std::uint8_t* written) {
    const auto band = [this, written](unsigned n) {
        const auto start = [this, n](std::size_t size) { return size / ___threads * n; };
        const auto end = [this, n](std::size_t size) {
            return n + 1 == ___threads ? size : size / ___threads * (n + 1);
        };
        const std::size_t both = std::min(___read, ___written);
        if (___in_place && ___read) {
            change(written + start(both), end(both) - start(both));
            return;
        }
        std::memcpy(written + start(both), ___source.get() + start(both), end(both) - start(both));
        const std::size_t more_read = ___read - both, more_written = ___written - both;
        read(___source.get() + both + start(more_read), end(more_read) - start(more_read));
        std::memset(written + both + start(more_written), 1, end(more_written) - start(more_written));
    };
    std::vector<std::thread> threads;
    for (unsigned n = 0; n < ___threads; ++n) threads.emplace_back(band, n);
    for (std::thread& thread : threads) thread.join();
}

} // namespace zarn_bench
