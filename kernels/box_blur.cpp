#include <algorithm>
#include <type_traits>

#include "kernels/blur.h"
#include "kernels/box_passes.h"
#include "kernels/pixel_format.h"
#include "kernels/store.h"
#include "kernels/vector/box_blur.h"

namespace zarn {

namespace {

// The running sums of one line's span.
template <class Format>
struct span_sums {
    using sample = typename Format::sample;

    typename Format::box_sum sums[channels<Format>] = {};
    std::conditional_t<is_real<Format>, std::uint64_t, typename Format::box_sum> visible = 0;
    // Visible pixels that would not leave the sums as they found them. They are never in the sums.
    std::uint64_t untamed = 0;

    void add(const sample* pixel) {
        if (!is_visible<Format>(pixel)) return;
        ++visible;
        if (!is_tame(pixel)) {
            ++untamed;
            return;
        }
        for (unsigned c = 0; c < channels<Format>; ++c) sums[c] += number(pixel[c]);
    }

    void remove(const sample* pixel) {
        if (!is_visible<Format>(pixel)) return;
        --visible;
        if (!is_tame(pixel)) {
            --untamed;
            return;
        }
        for (unsigned c = 0; c < channels<Format>; ++c) sums[c] -= number(pixel[c]);
    }

    // Adds a pixel that is never removed again, whatever it is.
    void add_for_good(const sample* pixel) {
        if (!is_visible<Format>(pixel)) return;
        for (unsigned c = 0; c < channels<Format>; ++c) sums[c] += number(pixel[c]);
        ++visible;
    }

    // Integers always. Infinities, NaN and numbers beside which others drown cannot be taken out of a sum again.
    static bool is_tame(const sample* pixel) {
        if constexpr (is_real<Format>) {
            constexpr float bound = 1.0e9f;
            for (unsigned c = 0; c < channels<Format>; ++c) {
                if (!(number(pixel[c]) < bound && number(pixel[c]) > -bound)) return false;
            }
        }
        return true;
    }

    // A span without visible pixels has colour 0 even where colour is kept.
    void write(const box_pass_job& job, std::uint32_t all, const sample* pixel, sample* out) const {
        for (unsigned c = 0; c < Format::colours; ++c) {
            out[c] = !visible ? sample(0) : job.blur_colour ? stored_mean<Format>(sums[c], visible) : pixel[c];
        }
        if constexpr (Format::has_alpha) {
            constexpr unsigned a = Format::colours;
            out[a] = job.blur_alpha ? stored_mean<Format>(sums[a], all) : pixel[a];
        }
    }
};

// The first of some lines. `step` samples lie between positions, `line_step` between lines.
template <class Format>
struct box_samples {
    const typename Format::sample* source;
    std::uint64_t step;
    std::uint64_t line_step;
    typename Format::sample* out;
    std::uint64_t out_step;
    std::uint64_t out_line_step;
};

// Runs the spans of `count` neighbouring lines; place(i) tells where the source has its position i.
template <class Format, class Place>
void run_lines(const box_pass_job& job, const box_line& line, std::uint32_t count, const box_samples<Format>& lines,
               Place place, span_sums<Format>* spans) {
    for (std::uint32_t l = 0; l < count; ++l) spans[l] = {};
    for (std::uint64_t i = line.start_of_first_span(); i < line.end_of_first_span(); ++i) {
        const auto* entering = lines.source + place(line.in_source(i)) * lines.step;
        for (std::uint32_t l = 0; l < count; ++l) spans[l].add(entering + l * lines.line_step);
    }
    for (std::uint64_t i = line.first; i < line.end; ++i) {
        const bool leaves = line.leaves(i), enters = line.enters(i);
        const std::uint64_t start = i - std::min(i, line.radius);
        const auto all = static_cast<std::uint32_t>(std::min(line.length, i + line.radius + 1) - start);
        const auto* leaving = lines.source + place(leaves ? line.leaving(i) : line.in_source(i)) * lines.step;
        const auto* entering = lines.source + place(enters ? line.entering(i) : line.in_source(i)) * lines.step;
        const auto* pixel = lines.source + place(line.in_source(i)) * lines.step;
        auto* out = lines.out + (i - line.first) * lines.out_step;
        for (std::uint32_t l = 0; l < count; ++l) {
            const std::uint64_t at = l * lines.line_step;
            if (leaves) spans[l].remove(leaving + at);
            if (enters) spans[l].add(entering + at);
            if constexpr (is_real<Format>) {
                if (spans[l].untamed) {
                    span_sums<Format> whole;
                    for (std::uint64_t j = start; j < start + all; ++j) {
                        whole.add_for_good(lines.source + place(line.in_source(j)) * lines.step + at);
                    }
                    whole.write(job, all, pixel + at, out + l * lines.out_line_step);
                    continue;
                }
            }
            spans[l].write(job, all, pixel + at, out + l * lines.out_line_step);
        }
    }
}

template <class Format>
void blur_along_rows(const box_pass_job& job, row_range rows) {
    if (vector::box_pass_horizontal<Format>(job, rows)) return;
    using sample = typename Format::sample;
    constexpr std::uint64_t n = channels<Format>;
    const box_area &from = job.source, &to = job.destination;
    span_sums<Format> span;
    for (std::uint32_t row = rows.start; row < rows.end; ++row) {
        const box_samples<Format> lines{
            static_cast<const sample*>(from.pixels) + std::uint64_t{row - from.top} * from.width * n, n, 0,
            static_cast<sample*>(to.pixels) + (job.ring.place(row) - to.top) * to.width * n,          n, 0};
        run_lines<Format>(
            job, box_line::of_rows(job), 1, lines, [](std::uint64_t i) { return i; }, &span);
    }
}

// Neighbouring columns run together, so that whole stretches of a row are read and written at a time.
template <class Format>
void blur_along_columns(const box_pass_job& job) {
    if (vector::box_pass_vertical<Format>(job)) return;
    using sample = typename Format::sample;
    constexpr std::uint64_t n = channels<Format>;
    constexpr std::uint32_t block = 128;
    const box_area &from = job.source, &to = job.destination;
    span_sums<Format> spans[block];
    for (std::uint64_t x = 0; x < to.width; x += block) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(block, to.width - x));
        const box_samples<Format> lines{static_cast<const sample*>(from.pixels) + (x + to.left - from.left) * n,
                                        from.width * n,
                                        n,
                                        static_cast<sample*>(to.pixels) + x * n,
                                        to.width * n,
                                        n};
        run_lines<Format>(
            job, box_line::of_columns(job), count, lines, [&](std::uint64_t y) { return job.source_row(y); }, spans);
    }
}

// The rows of the source that a band blurs along themselves, and those of them that no other band looks at.
struct band_rows {
    row_range all;
    row_range inner;

    band_rows(const box_job& job, row_range rows) {
        const std::uint32_t top = job.source.top, bottom = top + job.source.height;
        all = {std::min(std::max(rows.start, top), bottom), std::max(std::min(rows.end, bottom), top)};
        // The outermost rows stand for those beyond them too, whatever the radius.
        const std::uint32_t reach = std::min(std::max(job.radius, 1u), all.end - all.start);
        const std::uint32_t start = rows.start ? all.start + reach : all.start;
        inner = {start, rows.end < job.height ? std::max(start, all.end - reach) : all.end};
    }
};

box_pass_job pass_along_rows(const box_job& job, row_ring ring) {
    const box_area scratch{job.scratch, job.destination.left, job.source.top, job.destination.width, job.source.height};
    return {job.source, scratch, job.width, job.height, job.radius, job.blur_colour, job.blur_alpha, ring};
}

} // namespace

template <class Format>
void box_band_ends(const box_job& job, row_range rows) {
    const band_rows band(job, rows);
    const box_pass_job pass = pass_along_rows(job, {band.inner.start, band.inner.start, 1});
    blur_along_rows<Format>(pass, {band.all.start, band.inner.start});
    blur_along_rows<Format>(pass, {band.inner.end, band.all.end});
}

template <class Format>
void box_band(const box_job& job, row_range rows) {
    const row_range inner = band_rows(job, rows).inner;
    const std::uint64_t radius = job.radius;
    // Every strip sums up its first spans anew: that must not outweigh the rest.
    const std::uint64_t strip = std::max<std::uint64_t>(64, 4 * radius);
    const auto capacity = static_cast<std::uint32_t>(
        std::max<std::uint64_t>(1, std::min<std::uint64_t>(strip + 2 * radius, inner.end - inner.start)));
    const box_pass_job along = pass_along_rows(job, {inner.start, inner.end, capacity});
    box_pass_job across = along;
    across.source = along.destination;
    const std::uint32_t top = job.destination.top, bottom = top + job.destination.height;
    const std::uint32_t last = std::min(rows.end, bottom);
    std::uint32_t done = inner.start;
    for (std::uint32_t row = std::max(rows.start, top); row < last;) {
        const auto end = static_cast<std::uint32_t>(std::min<std::uint64_t>(row + strip, last));
        const auto reached = static_cast<std::uint32_t>(std::min<std::uint64_t>(inner.end, end + radius));
        if (done < reached) blur_along_rows<Format>(along, {done, reached});
        done = std::max(done, reached);
        across.destination = job.destination;
        across.destination.top = row;
        across.destination.height = end - row;
        across.destination.pixels = static_cast<typename Format::sample*>(job.destination.pixels) +
                                    std::uint64_t{row - top} * job.destination.width * channels<Format>;
        blur_along_columns<Format>(across);
        row = end;
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void box_band_ends<format>(const box_job&, row_range);                                                    \
    template void box_band<format>(const box_job&, row_range);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
