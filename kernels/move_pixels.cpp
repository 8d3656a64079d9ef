#include "kernels/move_pixels.h"

#include <cstring>

#include "kernels/pixel_word.h"
#include "kernels/vector/move_pixels.h"

namespace zarn {

namespace {

template <unsigned Bytes>
using word = typename word_of_bytes<Bytes>::type;

template <unsigned Bytes>
word<Bytes> load(const unsigned char* from) {
    word<Bytes> pixel;
    std::memcpy(&pixel, from, Bytes);
    return pixel;
}

template <unsigned Bytes>
void store(unsigned char* to, word<Bytes> pixel) {
    std::memcpy(to, &pixel, Bytes);
}

template <unsigned Bytes>
void fill(unsigned char* to, std::uint64_t count, word<Bytes> pixel) {
    for (std::uint64_t i = 0; i < count; ++i) store<Bytes>(to + i * Bytes, pixel);
}

template <unsigned Bytes>
const unsigned char* source_row(const geometry_job& job, std::uint32_t row) {
    return static_cast<const unsigned char*>(job.source) + static_cast<std::uint64_t>(row) * job.source_width * Bytes;
}

template <unsigned Bytes>
unsigned char* destination_row(const geometry_job& job, std::uint32_t row) {
    return static_cast<unsigned char*>(job.destination) + static_cast<std::uint64_t>(row) * job.width * Bytes;
}

} // namespace

template <unsigned Bytes>
void crop_rows(const crop_job& job, row_range rows) {
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        const std::uint32_t from = memory_row(row, job.source_height, job.lower_left);
        const std::uint32_t to = memory_row(row - job.top, job.height, job.lower_left);
        std::memcpy(destination_row<Bytes>(job, to),
                    source_row<Bytes>(job, from) + static_cast<std::uint64_t>(job.left) * Bytes,
                    static_cast<std::uint64_t>(job.width) * Bytes);
    }
}

template <unsigned Bytes>
void canvas_rows(const canvas_job& job, row_range rows) {
    const auto colour = load<Bytes>(static_cast<const unsigned char*>(job.colour));
    const std::uint64_t right = static_cast<std::uint64_t>(job.left) + job.source_width;
    const std::uint64_t bottom = static_cast<std::uint64_t>(job.top) + job.source_height;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        unsigned char* to = destination_row<Bytes>(job, memory_row(row, job.height, job.lower_left));
        if (row < job.top || row >= bottom) {
            fill<Bytes>(to, job.width, colour);
            continue;
        }
        const std::uint32_t from = memory_row(row - job.top, job.source_height, job.lower_left);
        fill<Bytes>(to, job.left, colour);
        std::memcpy(to + static_cast<std::uint64_t>(job.left) * Bytes, source_row<Bytes>(job, from),
                    static_cast<std::uint64_t>(job.source_width) * Bytes);
        fill<Bytes>(to + right * Bytes, job.width - right, colour);
    }
}

template <unsigned Bytes>
void flip_horizontal_rows(const geometry_job& job, row_range rows) {
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        const unsigned char* from = source_row<Bytes>(job, row);
        unsigned char* to = destination_row<Bytes>(job, row);
        for (std::uint64_t x = vector::reverse_pixels(from, to, job.width, Bytes); x < job.width; ++x)
            store<Bytes>(to + x * Bytes, load<Bytes>(from + (job.width - 1 - x) * Bytes));
    }
}

template <unsigned Bytes>
void flip_vertical_rows(const geometry_job& job, row_range rows) {
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        std::memcpy(destination_row<Bytes>(job, row), source_row<Bytes>(job, job.height - 1 - row),
                    static_cast<std::uint64_t>(job.width) * Bytes);
    }
}

// Positions are 16.16 fixed point; 64 bits keep them right for sides from 65536 on.
template <unsigned Bytes>
void nearest_rows(const geometry_job& job, row_range rows) {
    constexpr std::uint64_t one = 1 << 16;
    const std::uint64_t step_x = (static_cast<std::uint64_t>(job.source_width) << 16) / job.width;
    const std::uint64_t step_y = (static_cast<std::uint64_t>(job.source_height) << 16) / job.height;
    const unsigned char* last_from = nullptr;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        const unsigned char* from = source_row<Bytes>(job, static_cast<std::uint32_t>((row * step_y) >> 16));
        unsigned char* to = destination_row<Bytes>(job, row);
        if (from == last_from) {
            const std::uint64_t row_bytes = job.width * std::uint64_t{Bytes};
            std::memcpy(to, to - row_bytes, row_bytes);
            continue;
        }
        last_from = from;
        std::uint64_t x = 0;
        if (step_x == 2 * one) x = vector::every_second_pixel(from, to, job.width, Bytes);
        if (step_x == one / 2) x = vector::every_pixel_twice(from, to, job.width, Bytes);
        for (; x < job.width; ++x) {
            store<Bytes>(to + x * Bytes, load<Bytes>(from + ((x * step_x) >> 16) * Bytes));
        }
    }
}

template <unsigned Bytes>
void fill_rows(const fill_job& job, row_range rows) {
    unsigned char* to =
        static_cast<unsigned char*>(job.pixels) + static_cast<std::uint64_t>(rows.start) * job.width * Bytes;
    fill<Bytes>(to, static_cast<std::uint64_t>(rows.end - rows.start) * job.width,
                load<Bytes>(static_cast<const unsigned char*>(job.colour)));
}

#define ZARN_INSTANTIATE(bytes)                                                                                        \
    template void crop_rows<bytes>(const crop_job&, row_range);                                                        \
    template void canvas_rows<bytes>(const canvas_job&, row_range);                                                    \
    template void flip_horizontal_rows<bytes>(const geometry_job&, row_range);                                         \
    template void flip_vertical_rows<bytes>(const geometry_job&, row_range);                                           \
    template void nearest_rows<bytes>(const geometry_job&, row_range);                                                 \
    template void fill_rows<bytes>(const fill_job&, row_range);

ZARN_INSTANTIATE(1)
ZARN_INSTANTIATE(2)
ZARN_INSTANTIATE(4)
ZARN_INSTANTIATE(8)
ZARN_INSTANTIATE(16)

} // namespace zarn
