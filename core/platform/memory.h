// What the system can do for large blocks of memory.
#pragma once

#include <cstddef>

namespace zarn {

// Asks for large pages in a block about to be filled for the first time: the page faults of a fresh array of small
// pages cost more than most operations on it. Only advice: nothing depends on it.
void advise_large_pages(void* block, std::size_t bytes) noexcept;

} // namespace zarn
