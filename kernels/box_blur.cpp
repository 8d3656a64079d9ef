#include <algorithm>

#include "kernels/blur.h"
#include "kernels/box_passes.h"
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

// Runs the spans of `count` neighbouring lines. `step` samples lie between positions, `line_step` between lines; the
// pointers are those of the first line's start in each array.
template <class Format>
void run_lines(const box_pass_job& job, const box_line& line, std::uint32_t count,
               const typename Format::sample* source, std::uint64_t step, std::uint64_t line_step,
               typename Format::sample* destination, std::uint64_t out_step, std::uint64_t out_line_step,
               span_sums<Format>* spans) {
    for (std::uint32_t l = 0; l < count; ++l) spans[l] = {};
    for (std::uint64_t i = line.start_of_first_span(); i < line.end_of_first_span(); ++i) {
        const auto* entering = source + line.in_source(i) * step;
        for (std::uint32_t l = 0; l < count; ++l) spans[l].add(entering + l * line_step);
    }
    for (std::uint64_t i = line.first; i < line.end; ++i) {
        const bool leaves = line.leaves(i), enters = line.enters(i);
        const std::uint64_t start = i - std::min(i, line.radius);
        const auto all = static_cast<std::uint32_t>(std::min(line.length, i + line.radius + 1) - start);
        const auto* leaving = source + (leaves ? line.leaving(i) : 0) * step;
        const auto* entering = source + (enters ? line.entering(i) : 0) * step;
        const auto* pixel = source + line.in_source(i) * step;
        auto* out = destination + (i - line.first) * out_step;
        for (std::uint32_t l = 0; l < count; ++l) {
            const std::uint64_t at = l * line_step;
            if (leaves) spans[l].remove(leaving + at);
            if (enters) spans[l].add(entering + at);
            spans[l].write(job, all, pixel + at, out + l * out_line_step);
        }
    }
}

} // namespace

template <class Format>
void box_pass_horizontal(const box_pass_job& job, row_range rows) {
    if (vector::box_pass_horizontal<Format>(job, rows)) return;
    using sample = typename Format::sample;
    constexpr std::uint64_t n = channels<Format>;
    const box_area &from = job.source, &to = job.destination;
    const row_range wanted = wanted_rows(job, rows);
    span_sums<Format> span;
    for (std::uint64_t row = wanted.start; row < wanted.end; ++row) {
        run_lines<Format>(job, box_line::of_rows(job), 1,
                          static_cast<const sample*>(from.pixels) + (row - from.top) * from.width * n, n, 0,
                          static_cast<sample*>(to.pixels) + (row - to.top) * to.width * n, n, 0, &span);
    }
}

// Neighbouring columns run together, so that whole stretches of a row are read and written at a time.
template <class Format>
void box_pass_vertical(const box_pass_job& job, row_range columns) {
    if (vector::box_pass_vertical<Format>(job, columns)) return;
    using sample = typename Format::sample;
    constexpr std::uint64_t n = channels<Format>;
    constexpr std::uint32_t block = 128;
    const box_area &from = job.source, &to = job.destination;
    const row_range wanted = wanted_columns(job, columns);
    span_sums<Format> spans[block];
    for (std::uint64_t left = wanted.start; left < wanted.end; left += block) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, wanted.end - left));
        run_lines<Format>(job, box_line::of_columns(job), count,
                          static_cast<const sample*>(from.pixels) + (left - from.left) * n, from.width * n, n,
                          static_cast<sample*>(to.pixels) + (left - to.left) * n, to.width * n, n, spans);
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void box_pass_horizontal<format>(const box_pass_job&, row_range);                                         \
    template void box_pass_vertical<format>(const box_pass_job&, row_range);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
