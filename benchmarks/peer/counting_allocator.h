// Every operator new of the program is counted, so that the memory an operation needs can be told.
#pragma once

#include <cstdint>
#include <functional>

namespace zarn_bench {

// The most bytes that were live at one time during run(), less those that were live before.
std::int64_t peak_bytes_of(const std::function<void()>& run);

} // namespace zarn_bench
