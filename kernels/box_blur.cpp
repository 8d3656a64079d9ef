#include <algorithm>
#include <type_traits>

#include "kernels/blur.h"
#include "kernels/pixel_format.h"
#include "kernels/vector/box_blur.h"

namespace zarn {

namespace {

// The running sums of one line's span.
template <class Format>
struct span_sums {
    using sample = typename Format::sample;

    typename Format::box_sum sums[channels<Format>] = {};
    typename Format::box_sum visible = 0;

    void add(const sample* pixel) {
        if (!is_visible<Format>(pixel)) return;
        for (unsigned c = 0; c < channels<Format>; ++c) sums[c] += pixel[c];
        ++visible;
    }

    void remove(const sample* pixel) {
        if (!is_visible<Format>(pixel)) return;
        for (unsigned c = 0; c < channels<Format>; ++c) sums[c] -= pixel[c];
        --visible;
    }

    // A span without visible pixels has colour 0 even where colour is kept.
    void write(const box_pass_job& job, std::uint32_t all, const sample* pixel, sample* out) const {
        for (unsigned c = 0; c < Format::colours; ++c) {
            out[c] = !visible ? sample{0} : job.blur_colour ? static_cast<sample>(sums[c] / visible) : pixel[c];
        }
        if constexpr (Format::has_alpha) {
            constexpr unsigned a = Format::colours;
            out[a] = job.blur_alpha ? static_cast<sample>(sums[a] / all) : pixel[a];
        }
    }
};

// Runs the spans of `count` neighbouring lines along their `length` positions. `step` samples lie between positions,
// `line_step` between lines.
template <class Format>
void run_lines(const box_pass_job& job, std::uint64_t first_line, std::uint32_t count, std::uint32_t length,
               std::uint64_t step, std::uint64_t line_step, span_sums<Format>* spans) {
    using sample = typename Format::sample;

    const sample* source = static_cast<const sample*>(job.source) + first_line * line_step;
    sample* destination = static_cast<sample*>(job.destination) + first_line * line_step;
    const std::uint64_t radius = job.radius;
    for (std::uint32_t line = 0; line < count; ++line) spans[line] = {};
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(radius, length); ++i) {
        for (std::uint32_t line = 0; line < count; ++line) spans[line].add(source + i * step + line * line_step);
    }
    for (std::uint64_t i = 0; i < length; ++i) {
        const bool leaves = i > radius;
        const bool enters = i + radius < length;
        const std::uint64_t first = leaves ? i - radius : 0;
        const std::uint64_t last = enters ? i + radius : length - 1;
        const auto all = static_cast<std::uint32_t>(last - first + 1);
        const sample* leaving = source + (leaves ? first - 1 : 0) * step;
        const sample* entering = source + last * step;
        const sample* pixel = source + i * step;
        sample* out = destination + i * step;
        for (std::uint32_t line = 0; line < count; ++line) {
            const std::uint64_t at = line * line_step;
            if (leaves) spans[line].remove(leaving + at);
            if (enters) spans[line].add(entering + at);
            spans[line].write(job, all, pixel + at, out + at);
        }
    }
}

} // namespace

template <class Format>
void box_pass_horizontal(const box_pass_job& job, row_range rows) {
    if constexpr (std::is_same_v<Format, rgba_8>) {
        if (vector::box_pass_horizontal_rgba_8(job, rows)) return;
    }
    const std::uint64_t line_step = static_cast<std::uint64_t>(job.width) * channels<Format>;
    span_sums<Format> span;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        run_lines<Format>(job, row, 1, job.width, channels<Format>, line_step, &span);
    }
}

// Neighbouring columns run together, so that whole stretches of a row are read and written at a time.
template <class Format>
void box_pass_vertical(const box_pass_job& job, row_range columns) {
    if constexpr (std::is_same_v<Format, rgba_8>) {
        if (vector::box_pass_vertical_rgba_8(job, columns)) return;
    }
    constexpr std::uint32_t block = 128;
    const std::uint64_t step = static_cast<std::uint64_t>(job.width) * channels<Format>;
    span_sums<Format> spans[block];
    for (std::uint64_t left = columns.start; left < columns.end; left += block) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, columns.end - left));
        run_lines<Format>(job, left, count, job.height, step, channels<Format>, spans);
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void box_pass_horizontal<format>(const box_pass_job&, row_range);                                         \
    template void box_pass_vertical<format>(const box_pass_job&, row_range);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
