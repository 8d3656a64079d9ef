#include "kernels/nearest_transform.h"

#include <algorithm>
#include <cstring>

#include "kernels/fixed_step.h"
#include "kernels/vector/nearest_transform.h"

namespace zarn {

namespace {

// A coordinate truncated toward zero, or -1 where it lies outside [0, length).
std::int64_t whole_coordinate(double value, double length) {
    return value > -1.0 && value < length ? static_cast<std::int64_t>(value) : -1;
}

} // namespace

// Strip by strip, so that the columns' positions are computed once for all rows.
template <unsigned Bytes>
void scale_nearest_rows(const scale_job& job, row_range rows) {
    if (vector::scale_nearest_rows<Bytes>(job, rows)) return;
    constexpr std::uint32_t strip = 4096;
    const fixed_step column(job.source_width, job.width, job.mirror_x);
    const fixed_step line(job.source_height, job.height, job.mirror_y);
    const auto* const source = static_cast<const unsigned char*>(job.source);
    auto* const destination = static_cast<unsigned char*>(job.destination);
    const std::uint64_t source_row_bytes = std::uint64_t{job.source_width} * Bytes;
    const std::uint64_t row_bytes = std::uint64_t{job.width} * Bytes;
    std::uint32_t columns[strip];
    for (std::uint64_t start = 0; start < job.width; start += strip) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(strip, job.width - start));
        for (std::uint32_t i = 0; i < count; ++i) columns[i] = column(static_cast<std::uint32_t>(start) + i);
        for (std::uint32_t row = rows.start; row < rows.end; ++row) {
            unsigned char* const out = destination + row * row_bytes + start * Bytes;
            if (row > rows.start && line(row) == line(row - 1)) {
                std::memcpy(out, out - row_bytes, std::size_t{count} * Bytes);
                continue;
            }
            const unsigned char* const from = source + line(row) * source_row_bytes;
            for (std::uint32_t i = 0; i < count; ++i) {
                std::memcpy(out + std::size_t{i} * Bytes, from + std::uint64_t{columns[i]} * Bytes, Bytes);
            }
        }
    }
}

template <unsigned Bytes>
void rotate_nearest_rows(const rotate_job& job, row_range rows) {
    if (vector::rotate_nearest_rows<Bytes>(job, rows)) return;
    const auto* const source = static_cast<const unsigned char*>(job.source);
    unsigned char* out = static_cast<unsigned char*>(job.destination) + std::uint64_t{rows.start} * job.width * Bytes;
    const double source_width = job.source_width;
    const double source_height = job.source_height;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        const double y = row + job.y_offset;
        for (std::uint32_t column = 0; column < job.width; ++column, out += Bytes) {
            const double x = column + job.x_offset;
            const std::int64_t source_x = whole_coordinate(x * job.cosine + y * job.sine, source_width);
            const std::int64_t source_y = whole_coordinate(y * job.cosine - x * job.sine, source_height);
            if (source_x >= 0 && source_y >= 0) {
                std::memcpy(out, source + (source_y * job.source_width + source_x) * Bytes, Bytes);
            } else {
                std::memset(out, 0, Bytes);
            }
        }
    }
}

#define ZARN_INSTANTIATE(bytes)                                                                                        \
    template void scale_nearest_rows<bytes>(const scale_job&, row_range);                                              \
    template void rotate_nearest_rows<bytes>(const rotate_job&, row_range);
ZARN_INSTANTIATE(1)
ZARN_INSTANTIATE(2)
ZARN_INSTANTIATE(4)
ZARN_INSTANTIATE(8)

} // namespace zarn
