#include "kernels/sharpen.h"

#include "kernels/pixel_format.h"
#include "kernels/store.h"
#include "kernels/vector/sharpen.h"

namespace zarn {

template <class Format>
void sharpen_rows(const sharpen_job& job, row_range rows) {
    if (vector::sharpen_rows<Format>(job, rows)) return;
    using sample = typename Format::sample;
    constexpr unsigned n = channels<Format>;

    using real = typename Format::real;
    constexpr auto full = static_cast<real>(Format::full);
    const real amount = job.amount;
    const real side = -amount;
    const real middle = real{4} * amount + real{1};
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
                real sum = side * static_cast<real>(above[i]);
                sum += side * static_cast<real>(here[i - n]);
                sum += middle * static_cast<real>(here[i]);
                sum += side * static_cast<real>(here[i + n]);
                sum += side * static_cast<real>(below[i]);
                // Written so that NaN becomes 0.
                sum = sum >= real{0} ? sum : real{0};
                here[i] = stored<Format>(sum <= full ? sum : full);
            }
        }
    }
}

#define ZARN_INSTANTIATE(format) template void sharpen_rows<format>(const sharpen_job&, row_range);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
