#include <algorithm>

#include "kernels/bspline_taps.h"
#include "kernels/pixel_format.h"
#include "kernels/resample.h"
#include "kernels/store.h"
#include "kernels/vector/bspline.h"

namespace zarn {

namespace {

template <class Format>
void sample_taps(const geometry_job& job, const bspline_taps& columns, const bspline_taps& lines,
                 typename Format::sample* out) {
    using sample = typename Format::sample;
    constexpr unsigned n = channels<Format>;

    double weighted[n] = {};
    sum_of<Format> plain[Format::colours] = {};
    std::uint64_t visible = 0;
    double invisible_weight = 0.0;
    for (unsigned m = 0; m < bspline_tap_count; ++m) {
        const auto* row = static_cast<const sample*>(job.source) +
                          static_cast<std::uint64_t>(lines.position[m]) * job.source_width * n;
        for (unsigned k = 0; k < bspline_tap_count; ++k) {
            const sample* pixel = row + static_cast<std::uint64_t>(columns.position[k]) * n;
            const double weight = lines.weight[m] * columns.weight[k];
            if (is_visible<Format>(pixel)) {
                for (unsigned c = 0; c < n; ++c) weighted[c] += weight * number(pixel[c]);
                for (unsigned c = 0; c < Format::colours; ++c) plain[c] += number(pixel[c]);
                ++visible;
            } else {
                invisible_weight += weight;
            }
        }
    }
    // Integers are rounded to nearest.
    constexpr double rounding = is_real<Format> ? 0.0 : 0.5;
    // Invisible taps take the mean colour of the visible ones, so that edges get no dark fringe.
    const bool fill = invisible_weight > 0.0 && visible > 0;
    for (unsigned c = 0; c < Format::colours; ++c) {
        const double filled =
            fill ? static_cast<double>(mean_of<Format>(plain[c], visible)) * invisible_weight + weighted[c]
                 : weighted[c];
        out[c] = stored<Format>(filled + rounding);
    }
    if constexpr (Format::has_alpha) {
        out[Format::colours] = stored<Format>(weighted[Format::colours] + rounding);
    }
}

} // namespace

template <class Format>
void bspline_rows(const geometry_job& job, row_range rows) {
    if (vector::bspline_rows<Format>(job, rows)) return;
    using sample = typename Format::sample;
    constexpr std::uint32_t block = 64;

    // Column blocks, so that the taps of a block's columns are placed once for all rows.
    bspline_taps columns[block];
    for (std::uint64_t left = 0; left < job.width; left += block) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, job.width - left));
        for (std::uint32_t i = 0; i < count; ++i) {
            columns[i] = place_bspline_taps(static_cast<std::uint32_t>(left) + i, job.source_width, job.width);
        }
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            const bspline_taps lines = place_bspline_taps(row, job.source_height, job.height);
            auto* out = static_cast<sample*>(job.destination) +
                        (static_cast<std::uint64_t>(row) * job.width + left) * channels<Format>;
            for (std::uint32_t i = 0; i < count; ++i) {
                sample_taps<Format>(job, columns[i], lines, out + i * channels<Format>);
            }
        }
    }
}

#define ZARN_INSTANTIATE(format) template void bspline_rows<format>(const geometry_job&, row_range);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
