// Control over the memory of the test program: non-throwing allocations can be made to fail, and all are counted.
//
// The program's operator new and delete are replaced; forms that throw fail on purpose only where a test says so.
// Over-aligned forms are the standard library's own and not counted.
#pragma once

#include <cstdint>

namespace zarn_test {

// Allocations by operator new that have not been released.
std::int64_t live_allocations();

// Bytes that are allocated now, and the most there were since the last watch_peak_bytes().
std::int64_t live_bytes();
void watch_peak_bytes();
std::int64_t peak_bytes();

// While it lives, the n-th non-throwing allocation (counted from 1) of any thread gives null, and with `and_after`
// every later one too. With `throwing_forms` those that throw count and fail as well. One at a time.
class allocation_failure {
public:
    explicit allocation_failure(std::int64_t n, bool and_after = false, bool throwing_forms = false);
    ~allocation_failure();
    allocation_failure(const allocation_failure&) = delete;
    allocation_failure& operator=(const allocation_failure&) = delete;

    // Whether an allocation was made to fail.
    bool happened() const;
};

} // namespace zarn_test
