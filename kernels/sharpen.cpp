#include "kernels/sharpen.h"

#include <type_traits>

#include "kernels/pixel_format.h"
#include "kernels/vector/sharpen.h"

namespace zarn {

template <class Format>
void sharpen_rows(const sharpen_job& job, row_range rows) {
    if constexpr (std::is_same_v<Format, rgba_8>) {
        if (vector::sharpen_rgba_8(job, rows)) return;
    }
    using sample = typename Format::sample;
    constexpr unsigned n = channels<Format>;

    constexpr auto full = static_cast<float>(Format::full);
    const float side = -job.amount;
    const float middle = 4.0f * job.amount + 1.0f;
    const std::uint64_t line = static_cast<std::uint64_t>(job.width) * n;
    const sample* borders = static_cast<const sample*>(job.border_rows) + 2 * line * rows.band;
    const auto image_row = [&](std::uint32_t row) {
        return static_cast<sample*>(job.pixels) + line * memory_row(row, job.height, job.lower_left);
    };
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        const sample* above = row == rows.start ? borders : image_row(row - 1);
        const sample* below = row + 1 == rows.end ? borders + line : image_row(row + 1);
        sample* here = image_row(row);
        for (std::uint64_t at = n; at < line - n; at += n) {
            for (unsigned c = 0; c < Format::colours; ++c) {
                const std::uint64_t i = at + c;
                float sum = side * static_cast<float>(above[i]);
                sum += side * static_cast<float>(here[i - n]);
                sum += middle * static_cast<float>(here[i]);
                sum += side * static_cast<float>(here[i + n]);
                sum += side * static_cast<float>(below[i]);
                // Written so that NaN becomes 0.
                sum = sum >= 0.0f ? sum : 0.0f;
                here[i] = static_cast<sample>(sum <= full ? sum : full);
            }
        }
    }
}

#define ZARN_INSTANTIATE(format) template void sharpen_rows<format>(const sharpen_job&, row_range);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
