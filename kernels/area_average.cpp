#include <algorithm>

#include "kernels/area_box.h"
#include "kernels/pixel_format.h"
#include "kernels/resample.h"
#include "kernels/store.h"
#include "kernels/vector/area_average.h"

namespace zarn {

namespace {

template <class Format>
void average_box(const geometry_job& job, area_box columns, area_box rows, typename Format::sample* out) {
    using sample = typename Format::sample;
    constexpr unsigned n = channels<Format>;

    sum_of<Format> sums[n] = {};
    std::uint64_t invisible = 0;
    for (std::uint32_t y = rows.start; y < rows.end; ++y) {
        const std::uint64_t memory_y = memory_row(y, job.source_height, job.lower_left);
        const auto* pixel = static_cast<const sample*>(job.source) + (memory_y * job.source_width + columns.start) * n;
        for (std::uint32_t x = columns.start; x < columns.end; ++x, pixel += n) {
            // An invisible pixel adds nothing to any sum: its alpha is 0 already.
            const bool visible = is_visible<Format>(pixel);
            invisible += visible ? 0 : 1;
            for (unsigned c = 0; c < n; ++c) sums[c] += visible ? number(pixel[c]) : 0;
        }
    }
    const std::uint64_t all = static_cast<std::uint64_t>(columns.end - columns.start) * (rows.end - rows.start);
    const std::uint64_t visible = all - invisible;
    for (unsigned c = 0; c < Format::colours; ++c) {
        out[c] = visible ? stored_mean<Format>(sums[c], visible) : sample(0);
    }
    if constexpr (Format::has_alpha) {
        out[Format::colours] = all ? stored_mean<Format>(sums[Format::colours], all) : sample(0);
    }
}

} // namespace

template <class Format>
void area_average_rows(const geometry_job& job, row_range rows) {
    if (vector::area_average_rows<Format>(job, rows)) return;
    using sample = typename Format::sample;
    constexpr std::uint32_t block = 256;

    const area_box_placement columns(job.source_width, job.width);
    const area_box_placement lines(job.source_height, job.height);
    // Column blocks, so that the boxes of a block's columns are placed once for all rows.
    area_box placed[block];
    for (std::uint64_t left = 0; left < job.width; left += block) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, job.width - left));
        for (std::uint32_t i = 0; i < count; ++i) placed[i] = columns(static_cast<std::uint32_t>(left) + i);
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            const area_box line = lines(row);
            const std::uint64_t memory_y = memory_row(row, job.height, job.lower_left);
            auto* out = static_cast<sample*>(job.destination) + (memory_y * job.width + left) * channels<Format>;
            for (std::uint32_t i = 0; i < count; ++i)
                average_box<Format>(job, placed[i], line, out + i * channels<Format>);
        }
    }
}

#define ZARN_INSTANTIATE(format) template void area_average_rows<format>(const geometry_job&, row_range);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
