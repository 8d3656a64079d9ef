#include "core/platform/memory.h"

namespace zarn {

// Large pages need a privilege and locked memory there.
void advise_large_pages(void*, std::size_t) noexcept {}

} // namespace zarn
