// Every operator new of the program is counted, so that the memory an operation needs can be told.
#pragma once

#include <cstdint>
#include <functional>

namespace zarn_bench {

// The most bytes that were live at one time during run(), less those that were live before.
std::int64_t peak_bytes_of(const std::function<void()>& run);

// Brings the C library's heap to where a process has it after a while of work on images: freed arrays of up to 32 MiB
// stay with the process, to be used again. Otherwise that would depend on which operations ran before.
void settle_heap();

} // namespace zarn_bench
