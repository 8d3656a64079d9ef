#include "core/thread_pool.h"

#include <algorithm>
#include <thread>

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
    thread_crew crew(___count);
    std::uint32_t started = 0;
    for (; started < ___count; ++started) {
        record& band = ___records[started];
        band.work = work;
        band.job = job;
        band.thread.argument = &band;
        band.thread.work = [](void* argument) {
            const auto& one = *static_cast<const record*>(argument);
            one.work(one.job, one.rows);
        };
        // A refused thread is no failure: the caller learns it from the result.
        if (!crew.start(band.thread)) break;
    }
    for (std::uint32_t band = 0; band < started; ++band) thread_crew::join(___records[band].thread);
    return started ? ___records[started - 1].rows.end : ___first;
}

} // namespace zarn
