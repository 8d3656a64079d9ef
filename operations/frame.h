// The steps that operations share: records and bands, and the new pixel array that takes the place of the old one.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/image_state.h"
#include "core/thread_pool.h"
#include "kernels/move_pixels.h"
#include "kernels/pixel_format.h"

namespace zarn {

template <class Format>
using sample_of = typename Format::sample;

template <class Format>
sample_of<Format>* samples(image_state& image) noexcept {
    return static_cast<sample_of<Format>*>(image.pixels);
}

template <class Format>
const sample_of<Format>* samples(const image_state& image) noexcept {
    return static_cast<const sample_of<Format>*>(image.pixels);
}

// The two ways in which operations count their bands. Without workers the count is 0 and the records fail.
inline std::uint32_t at_most_one_band_per_row(const image_state& image, std::uint32_t rows) noexcept {
    return std::min(thread_limit(image), rows);
}
inline std::uint32_t one_band_unless_rows_abound(const image_state& image, std::uint32_t rows) noexcept {
    return rows > thread_limit(image) ? thread_limit(image) : 1;
}

// Pushes the message of thread records that cannot be allocated. `record` is their name up to the class's suffix, as in
// L"crop".
void fail_record_allocation(image_state& image, const wchar_t* record) noexcept;

// The bands of one operation. Where their records cannot be allocated it pushes the record's message and tests false.
class operation_bands {
public:
    operation_bands() = default;
    operation_bands(image_state& image, const wchar_t* record, std::uint32_t first, std::uint32_t last,
                    std::uint32_t count) noexcept;

    explicit operator bool() const noexcept { return static_cast<bool>(___bands); }
    const row_bands& bands() const noexcept { return ___bands; }

    // Runs kernel(job, rows) on every band; the row after the last band that ran.
    template <class Job, class KernelJob>
    std::uint32_t run(const Job& job, void (*kernel)(const KernelJob&, row_range)) noexcept {
        struct call {
            const KernelJob* job;
            void (*kernel)(const KernelJob&, row_range);
        };
        const call bound{&job, kernel};
        return ___bands.run(
            [](const void* erased, row_range rows) {
                const auto& work = *static_cast<const call*>(erased);
                work.kernel(*work.job, rows);
            },
            &bound);
    }

private:
    row_bands ___bands;
};

// Whether the bands of an operation count picture rows or rows in memory.
enum class row_order : std::uint8_t { picture, memory };

// A new pixel array and the bands that fill it. Tests false, with the message pushed, when either is missing.
class replacement {
public:
    replacement(image_state& image, std::uint32_t width, std::uint32_t height, std::uint64_t bytes_per_pixel,
                const wchar_t* record, std::uint32_t count, std::uint32_t first_row = 0,
                const wchar_t* array_name = nullptr) noexcept; // null: the class's own
    ~replacement() { release_pixel_array(___pixels); }
    replacement(const replacement&) = delete;
    replacement& operator=(const replacement&) = delete;

    explicit operator bool() const noexcept { return ___pixels && ___bands; }

    // The arrays and sizes as kernels take them.
    geometry_job job() const noexcept;

    // Fills the array and puts it in the place of the image's own; always 1. Rows of bands that never ran are 0.
    template <class Job, class KernelJob>
    unsigned int run(const Job& job, void (*kernel)(const KernelJob&, row_range), row_order order) noexcept {
        install(___bands.run(job, kernel), order);
        return 1;
    }

private:
    void install(std::uint32_t ran_until, row_order order) noexcept;

    image_state& ___image;
    void* ___pixels;
    std::uint32_t ___width;
    std::uint32_t ___height;
    std::uint64_t ___bytes_per_pixel;
    std::uint32_t ___first_row;
    operation_bands ___bands;
};

} // namespace zarn
