#include "kernels/quarter_turn.h"

#include <algorithm>
#include <cstring>

namespace zarn {

namespace {

// Fills the destination with pixels source(x, y), in squares, so that neither array is walked across its rows for long.
template <unsigned Bytes, class Source>
void turn_rows(const geometry_job& job, row_range rows, Source source) {
    constexpr std::uint32_t square = 32;
    const auto* const from = static_cast<const unsigned char*>(job.source);
    auto* const to = static_cast<unsigned char*>(job.destination);
    for (std::uint64_t top = rows.start; top < rows.end; top += square) {
        const std::uint64_t bottom = std::min<std::uint64_t>(top + square, rows.end);
        for (std::uint64_t left = 0; left < job.width; left += square) {
            const std::uint64_t right = std::min<std::uint64_t>(left + square, job.width);
            for (std::uint64_t y = top; y < bottom; ++y) {
                for (std::uint64_t x = left; x < right; ++x) {
                    std::memcpy(to + (y * job.width + x) * Bytes, from + source(x, y) * Bytes, Bytes);
                }
            }
        }
    }
}

} // namespace

template <unsigned Bytes>
void quarter_turn_rows(const geometry_job& job, row_range rows) {
    const std::uint64_t width = job.source_width;
    const std::uint64_t bottom = job.source_height - 1;
    turn_rows<Bytes>(job, rows, [=](std::uint64_t x, std::uint64_t y) { return (bottom - x) * width + y; });
}

template <unsigned Bytes>
void three_quarter_turn_rows(const geometry_job& job, row_range rows) {
    const std::uint64_t width = job.source_width;
    turn_rows<Bytes>(job, rows, [=](std::uint64_t x, std::uint64_t y) { return x * width + (width - 1 - y); });
}

template <unsigned Bytes>
void half_turn_rows(const geometry_job& job, row_range rows) {
    const std::uint64_t last = std::uint64_t{job.source_width} * job.source_height - 1;
    const std::uint64_t width = job.source_width;
    turn_rows<Bytes>(job, rows, [=](std::uint64_t x, std::uint64_t y) { return last - (y * width + x); });
}

#define ZARN_INSTANTIATE(bytes)                                                                                        \
    template void quarter_turn_rows<bytes>(const geometry_job&, row_range);                                            \
    template void three_quarter_turn_rows<bytes>(const geometry_job&, row_range);                                      \
    template void half_turn_rows<bytes>(const geometry_job&, row_range);
ZARN_INSTANTIATE(8)
ZARN_INSTANTIATE(16)

} // namespace zarn
