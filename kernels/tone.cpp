#include "kernels/tone.h"

#include <cmath>

#include "kernels/pixel_format.h"

namespace zarn {

namespace {

// The band's pixels lie in one run of memory.
template <class Format, class Work>
void for_each_pixel(void* pixels, std::uint32_t width, row_range rows, Work work) {
    auto* pixel = static_cast<typename Format::sample*>(pixels) +
                  static_cast<std::uint64_t>(rows.start) * width * channels<Format>;
    const std::uint64_t count = static_cast<std::uint64_t>(rows.end - rows.start) * width;
    for (std::uint64_t i = 0; i < count; ++i, pixel += channels<Format>) work(pixel);
}

} // namespace

template <class Format>
void clear_colour_rows(const clear_colour_job& job, row_range rows) {
    using sample = typename Format::sample;
    sample colour[Format::colours];
    for (unsigned c = 0; c < Format::colours; ++c) colour[c] = static_cast<const sample*>(job.colour)[c];
    for_each_pixel<Format>(job.pixels, job.width, rows, [&colour](sample* pixel) {
        for (unsigned c = 0; c < Format::colours; ++c) pixel[c] = colour[c];
    });
}

template <class Format>
void map_colour_rows(const map_colour_job& job, row_range rows) {
    using sample = typename Format::sample;
    const auto* table = static_cast<const sample*>(job.table);
    for_each_pixel<Format>(job.pixels, job.width, rows, [table](sample* pixel) {
        for (unsigned c = 0; c < Format::colours; ++c) pixel[c] = table[pixel[c]];
    });
}

template <class Format>
typename Format::sample gamma_sample(typename Format::sample value, float gamma) {
    constexpr auto full = static_cast<float>(Format::full);
    const float exponent = 100.0f / (gamma * 100.0f);
    const float encoded = std::pow(static_cast<float>(value) * Format::to_unit, exponent) * full;
    const float above_zero = encoded >= 0.0f ? encoded : 0.0f;
    return static_cast<typename Format::sample>(above_zero <= full ? above_zero : full);
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void clear_colour_rows<format>(const clear_colour_job&, row_range);                                       \
    template void map_colour_rows<format>(const map_colour_job&, row_range);                                           \
    template format::sample gamma_sample<format>(format::sample, float);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
