#include "core/platform/memory.h"

#include <cstdint>

#include <sys/mman.h>

namespace zarn {

void advise_large_pages(void* block, std::size_t bytes) noexcept {
#if defined(MADV_HUGEPAGE)
    constexpr std::uintptr_t large_page = 2u << 20;
    // Only whole large pages inside the block; neighbouring memory is none of ours.
    const std::uintptr_t start = (reinterpret_cast<std::uintptr_t>(block) + large_page - 1) & ~(large_page - 1);
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(large_page - 1);
    if (start < end) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
#else
    static_cast<void>(block);
    static_cast<void>(bytes);
#endif
}

} // namespace zarn
