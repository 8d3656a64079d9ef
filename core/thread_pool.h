// Rows cut into bands, one fresh thread per band.
#pragma once

#include <cstdint>

#include "core/owned_array.h"
#include "core/platform/thread_crew.h"
#include "core/row_range.h"

// How many threads an object may use. One per object, made by its constructor.
class zarn_thread_pool {
public:
    zarn_thread_pool() noexcept;

    std::uint32_t get_processor_count() const noexcept { return ___processor_count; }
    std::uint32_t get_thread_limit() const noexcept { return ___thread_limit; }

    // 0 means one thread per logical processor.
    void set_thread_limit(std::uint32_t limit) noexcept { ___thread_limit = limit ? limit : ___processor_count; }

private:
    std::uint32_t ___processor_count;
    std::uint32_t ___thread_limit;
};

namespace zarn {

// Rows [first, last) in `count` bands of equal height, the remainder going to the last. Holds one record per band.
class row_bands {
public:
    using procedure = void (*)(const void* job, row_range rows);

    row_bands() = default;

    // Allocates the records; the object tests false when that fails. `count` must not be 0.
    row_bands(std::uint32_t first, std::uint32_t last, std::uint32_t count) noexcept;

    explicit operator bool() const noexcept { return static_cast<bool>(___records); }
    std::uint32_t count() const noexcept { return ___count; }
    const row_range& operator[](std::uint32_t band) const noexcept { return ___records[band].rows; }

    // Starts the bands in order, each on a thread of its own, and returns when all have ended: the row after the last
    // band that ran. Where the system refuses a thread, that band and all later ones are left out.
    std::uint32_t run(procedure work, const void* job) noexcept;

private:
    struct record {
        row_range rows;
        procedure work;
        const void* job;
        crew_thread thread;
    };

    owned_array<record> ___records;
    std::uint32_t ___first = 0;
    std::uint32_t ___count = 0;
};

} // namespace zarn
