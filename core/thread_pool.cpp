#include "core/thread_pool.h"

#include <algorithm>
#include <exception>

zarn_thread_pool::zarn_thread_pool() noexcept
    : ___processor_count(std::max(1u, std::thread::hardware_concurrency()))
    , ___thread_limit(___processor_count) {}

namespace zarn {

row_bands::row_bands(std::uint32_t first, std::uint32_t last, std::uint32_t count) noexcept
    : ___records(allocate_array<record>(count))
    , ___first(first)
    , ___count(count) {
    if (!___records) return;
    const std::uint32_t rows_per_band = (last - first) / count;
    for (std::uint32_t band = 0; band < count; ++band) {
        const std::uint32_t start = first + band * rows_per_band;
        ___records[band].rows = {start, band + 1 == count ? last : start + rows_per_band, band};
    }
}

std::uint32_t row_bands::run(procedure work, const void* job) noexcept {
    std::uint32_t started = 0;
    try {
        for (; started < ___count; ++started)
            ___records[started].thread = std::thread(work, job, ___records[started].rows);
    } catch (const std::exception&) {
        // The thread could not be started: the caller learns it from the result.
    }
    for (std::uint32_t band = 0; band < started; ++band) ___records[band].thread.join();
    return started ? ___records[started - 1].rows.end : ___first;
}

} // namespace zarn
