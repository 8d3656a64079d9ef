#include "kernels/rotate.h"

#include <cstdlib>
#include <cstring>

#include "kernels/pixel_format.h"
#include "kernels/store.h"
#include "kernels/vector/rotate.h"

namespace zarn {

namespace {

template <class Format>
void sample_bilinear(const rotate_job& job, double source_x, double source_y, typename Format::sample* out) {
    using sample = typename Format::sample;
    constexpr unsigned n = channels<Format>;

    // Coordinates in (-1, 0) count as column or row 0 and extrapolate.
    const auto x0 = static_cast<std::uint32_t>(source_x > 0.0 ? source_x : 0.0);
    const auto y0 = static_cast<std::uint32_t>(source_y > 0.0 ? source_y : 0.0);
    const std::uint64_t right = x0 + 1 < job.source_width ? n : 0;
    const std::uint64_t below = y0 + 1 < job.source_height ? static_cast<std::uint64_t>(job.source_width) * n : 0;
    const sample* p00 =
        static_cast<const sample*>(job.source) + (static_cast<std::uint64_t>(y0) * job.source_width + x0) * n;
    if (!is_visible<Format>(p00)) {
        std::memcpy(out, p00, n * sizeof(sample));
        return;
    }
    const sample* p10 = p00 + right;
    const sample* p01 = p00 + below;
    const sample* p11 = p01 + right;

    const double fx = source_x - x0;
    const double fy = source_y - y0;
    const double w00 = (1.0 - fx) * (1.0 - fy);
    const double w10 = fx * (1.0 - fy);
    const double w01 = (1.0 - fx) * fy;
    const double w11 = fx * fy;
    const auto mix = [=](sample a, sample b, sample c, sample d) {
        return stored<Format>(w00 * number(a) + w10 * number(b) + w01 * number(c) + w11 * number(d));
    };
    const sample* colour10 = is_visible<Format>(p10) ? p10 : p00;
    const sample* colour01 = is_visible<Format>(p01) ? p01 : p00;
    const sample* colour11 = is_visible<Format>(p11) ? p11 : p00;
    for (unsigned c = 0; c < Format::colours; ++c) out[c] = mix(p00[c], colour10[c], colour01[c], colour11[c]);
    if constexpr (Format::has_alpha) {
        constexpr unsigned a = Format::colours;
        out[a] = mix(p00[a], p10[a], p01[a], p11[a]);
    }
}

} // namespace

template <class Format>
void rotate_rows(const rotate_job& job, row_range rows) {
    if (vector::rotate_rows<Format>(job, rows)) return;
    using sample = typename Format::sample;
    constexpr unsigned n = channels<Format>;

    const double width = job.source_width;
    const double height = job.source_height;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        sample* out = static_cast<sample*>(job.destination) + static_cast<std::uint64_t>(row) * job.width * n;
        const double y = row + job.y_offset;
        for (std::uint32_t column = 0; column < job.width; ++column, out += n) {
            const double x = column + job.x_offset;
            const double source_x = x * job.cosine + y * job.sine;
            const double source_y = y * job.cosine - x * job.sine;
            const bool inside = source_x > -1.0 && source_x < width && source_y > -1.0 && source_y < height;
            if (inside) {
                sample_bilinear<Format>(job, source_x, source_y, out);
            } else {
                std::memset(static_cast<void*>(out), 0, n * sizeof(sample));
            }
        }
    }
}

template <class Format>
void feather_edges(typename Format::sample* pixels, std::uint32_t width, std::uint32_t height) {
    using sample = typename Format::sample;
    if constexpr (Format::has_alpha) {
        using real = typename Format::real;
        const auto none = sample(0);
        constexpr auto hundredth = static_cast<real>(0.01L);
        constexpr std::uint64_t n = channels<Format>;
        const std::uint64_t line = width * n;
        sample* alpha = pixels + Format::colours;
        for (std::uint32_t y = 0; y < height; ++y) {
            for (std::uint32_t x = 0; x < width; ++x, alpha += n) {
                if (!(number(*alpha) >= Format::full)) continue;
                int percent = 0;
                if (x == 0 || x == width - 1 || y == 0 || y == height - 1) {
                    percent = std::rand() % 10 + 75;
                } else if (*(alpha - n) == none || *(alpha + n) == none || *(alpha - line) == none ||
                           *(alpha + line) == none) {
                    percent = std::rand() % 15 + 55;
                } else {
                    continue;
                }
                *alpha = stored<Format>(static_cast<real>(percent) * hundredth * static_cast<real>(*alpha));
            }
        }
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void rotate_rows<format>(const rotate_job&, row_range);                                                   \
    template void feather_edges<format>(format::sample*, std::uint32_t, std::uint32_t);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
