#include "kernels/vector/nearest_transform.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "kernels/fixed_step.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/nearest_transform.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {
// Other sources have kernels of the same names.
namespace {

// Windows and positions are laid out by the number of lanes, which has to be known beforehand.
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128 || HWY_HAVE_SCALABLE

template <class Pixel>
bool scale(const scale_job&, row_range) {
    return false;
}
template <class Pixel>
bool rotate(const rotate_job&, row_range) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// Destinations of more bytes than this are written past the caches, which saves reading their lines first; smaller ones
// may lie there already and are wanted there soon.
constexpr std::uint64_t most_cached_bytes = std::uint64_t{8} << 20;

bool passes_caches(const geometry_job& job, std::size_t pixel_bytes) {
    return std::uint64_t{job.width} * job.height * pixel_bytes > most_cached_bytes;
}

// Copies pixels past the caches; whoever is done calls FlushStream.
template <class Pixel>
HWY_INLINE void stream(const Pixel* from, Pixel* to, std::size_t count) {
    const hn::ScalableTag<Pixel> d;
    constexpr std::size_t lanes = HWY_LANES(Pixel), vector = lanes * sizeof(Pixel);
    const std::size_t misplaced = reinterpret_cast<std::uintptr_t>(to) % vector;
    const std::size_t head = std::min(count, (vector - misplaced) % vector / sizeof(Pixel));
    std::size_t i = head;
    std::memcpy(to, from, head * sizeof(Pixel));
    for (; i + lanes <= count; i += lanes) hn::Stream(hn::LoadU(d, from + i), d, to + i);
    std::memcpy(to + i, from + i, (count - i) * sizeof(Pixel));
}

// ---- Scaling -------------------------------------------------------------------------------------------------------

// A vector of destination pixels comes from a window of one or two vectors of source pixels, shuffled: pixels of 1 and
// 2 bytes as the bytes of short vectors. Where the windows lie and how they are shuffled is computed once for all rows.
template <class Pixel>
class scaler {
public:
    explicit scaler(const scale_job& what)
        : job(what)
        , column(what.source_width, what.width, what.mirror_x)
        , line(what.source_height, what.height, what.mirror_y) {}

    // Steps of up to `Vectors` leave the pixels of a vector within as many vectors.
    template <unsigned Vectors>
    bool fits() const {
        return column.step() <= (Vectors << 16) && job.source_width >= Vectors * lanes && job.width >= lanes;
    }

    template <unsigned Vectors>
    void run(row_range rows) {
        const std::uint32_t strips = job.width / lanes * lanes;
        for (std::uint32_t start = 0; start < strips; start += strip) {
            run_strip<Vectors>(rows, start, std::min(strip, strips - start));
        }
        // The last pixels once more, together with ones before them.
        if (strips < job.width) run_strip<Vectors>(rows, job.width - lanes, lanes);
        hwy::FlushStream();
    }

private:
    using D = hn::ScalableTag<Pixel>;
    static constexpr bool is_small = sizeof(Pixel) <= 2;
    static constexpr std::uint32_t block = 16; // bytes that one instruction shuffles
    static constexpr std::uint32_t lanes = is_small ? block / sizeof(Pixel) : HWY_LANES(Pixel);
    static constexpr std::uint32_t strip_bytes = 8192, strip = strip_bytes / sizeof(Pixel);

    const scale_job& job;
    const fixed_step column, line;
    HWY_ALIGN Pixel places[strip];                                     // in the window
    HWY_ALIGN std::uint8_t byte_places[2][is_small ? strip_bytes : 1]; // in the window's halves; 128: not there
    HWY_ALIGN Pixel line_pixels[strip];
    std::uint32_t windows[strip / lanes];

    template <unsigned Vectors>
    HWY_INLINE void run_strip(row_range rows, std::uint32_t start, std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; i += lanes) {
            const std::uint32_t first = std::min(column(start + i), column(start + i + lanes - 1));
            windows[i / lanes] = std::min(first, job.source_width - Vectors * lanes);
            for (std::uint32_t k = i; k < i + lanes; ++k) {
                places[k] = static_cast<Pixel>(column(start + k) - windows[i / lanes]);
                if constexpr (is_small) place_bytes(k);
            }
        }
        const auto* const source = static_cast<const Pixel*>(job.source);
        Pixel* out = static_cast<Pixel*>(job.destination) + std::uint64_t{rows.start} * job.width + start;
        const bool streams = passes_caches(job, sizeof(Pixel));
        for (std::uint32_t row = rows.start; row < rows.end; ++row, out += job.width) {
            const bool is_new = row == rows.start || line(row) != line(row - 1);
            const Pixel* const from = source + std::uint64_t{line(row)} * job.source_width;
            const Pixel* const next = source + std::uint64_t{line(std::min(row + 1, rows.end - 1))} * job.source_width;
            if (streams) {
                if (is_new) shuffle<Vectors>(from, next, line_pixels, count);
                stream(line_pixels, out, count);
            } else if (is_new) {
                shuffle<Vectors>(from, next, out, count);
            } else {
                std::memcpy(out, out - job.width, std::size_t{count} * sizeof(Pixel));
            }
        }
    }

    void place_bytes(std::uint32_t pixel) {
        for (std::uint32_t i = 0; i < sizeof(Pixel); ++i) {
            const auto place = static_cast<std::uint32_t>(places[pixel] * sizeof(Pixel)) + i;
            byte_places[0][pixel * sizeof(Pixel) + i] = static_cast<std::uint8_t>(place < block ? place : 128);
            byte_places[1][pixel * sizeof(Pixel) + i] = static_cast<std::uint8_t>(place < block ? 128 : place - block);
        }
    }

    template <unsigned Vectors>
    HWY_INLINE void shuffle_bytes(const Pixel* window, Pixel* out, std::uint32_t at) const {
        const hn::FixedTag<std::uint8_t, block> d;
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(window);
        auto found = hn::TableLookupBytesOr0(hn::LoadU(d, bytes), hn::Load(d, byte_places[0] + at * sizeof(Pixel)));
        if constexpr (Vectors == 2) {
            const auto in_high = hn::Load(d, byte_places[1] + at * sizeof(Pixel));
            found = hn::Or(found, hn::TableLookupBytesOr0(hn::LoadU(d, bytes + block), in_high));
        }
        hn::StoreU(found, d, reinterpret_cast<std::uint8_t*>(out + at));
    }

    // Processors foresee what comes within a row, not which row comes next.
    template <unsigned Vectors>
    HWY_INLINE void shuffle(const Pixel* from, const Pixel* next, Pixel* out, std::uint32_t count) const {
        [[maybe_unused]] const D d;
        for (std::uint32_t i = 0; i < count; i += lanes) {
            const Pixel* const window = from + windows[i / lanes];
            for (std::uint32_t k = 0; k < Vectors; ++k) hwy::Prefetch(next + windows[i / lanes] + k * lanes);
            if constexpr (is_small) {
                shuffle_bytes<Vectors>(window, out, i);
            } else if constexpr (Vectors == 1) {
                const auto in_vector = hn::IndicesFromVec(d, hn::Load(d, places + i));
                hn::StoreU(hn::TableLookupLanes(hn::LoadU(d, window), in_vector), d, out + i);
            } else {
                const auto place = hn::Load(d, places + i);
                const auto in_vector = hn::IndicesFromVec(d, hn::And(place, hn::Set(d, lanes - 1)));
                const auto low = hn::TableLookupLanes(hn::LoadU(d, window), in_vector);
                const auto high = hn::TableLookupLanes(hn::LoadU(d, window + lanes), in_vector);
                const auto is_low = hn::Eq(hn::And(place, hn::Set(d, lanes)), hn::Zero(d));
                hn::StoreU(hn::IfThenElse(is_low, low, high), d, out + i);
            }
        }
    }
};

template <class Pixel>
bool scale(const scale_job& job, row_range rows) {
    scaler<Pixel> all(job);
    if (all.template fits<1>()) {
        all.template run<1>(rows);
    } else if (all.template fits<2>()) {
        all.template run<2>(rows);
    } else {
        return false;
    }
    return true;
}

// ---- Rotation ------------------------------------------------------------------------------------------------------

// Tile by tile, so that the source rows under a tile stay in the cache however steeply a destination row crosses them.
template <class Pixel>
class turner {
public:
    explicit turner(const rotate_job& what)
        : job(what) {}

    void run(row_range rows) {
        for (std::uint32_t top = rows.start; top < rows.end; top += tile_rows) {
            const std::uint32_t bottom = std::min(rows.end, top + tile_rows);
            span all{job.width, 0};
            for (std::uint32_t row = top; row < bottom; ++row) {
                const span inside = start_row(row, lines[row - top]);
                all = {std::min(all.start, inside.start), std::max(all.end, inside.end)};
            }
            for (std::uint32_t start = all.start; start < all.end; start += tile_columns) {
                run_tile(top, bottom, {start, std::min(all.end, start + tile_columns)});
            }
        }
    }

private:
    using D = hn::ScalableTag<double>;
    using DI = hn::Rebind<std::int32_t, D>;
    static constexpr std::uint32_t lanes = HWY_LANES(double);
    static constexpr std::uint32_t tile_columns = 256, tile_rows = 64;

    struct span {
        std::uint32_t start, end;
    };
    struct line {
        double y_sine, y_cosine;
        span inside;
    };

    const rotate_job& job;
    line lines[tile_rows];
    HWY_ALIGN double x_cosines[tile_columns];
    HWY_ALIGN double x_sines[tile_columns];

    double x_at(std::uint32_t column, const line& row) const {
        return (column + job.x_offset) * job.cosine + row.y_sine;
    }
    double y_at(std::uint32_t column, const line& row) const {
        return row.y_cosine - (column + job.x_offset) * job.sine;
    }

    // The columns of a span for which a condition holds that changes once at most, probably near `guess`. Every
    // operation of a position rounds monotonically, so that all conditions on positions are such.
    template <class Condition>
    HWY_INLINE static void narrow(span& columns, double guess, Condition holds) {
        if (columns.start == columns.end) return;
        const bool at_start = holds(columns.start), at_end = holds(columns.end - 1);
        if (at_start && at_end) return;
        if (!at_start && !at_end) {
            columns.end = columns.start;
            return;
        }
        std::uint32_t low = columns.start, high = columns.end - 1; // the change lies between
        const auto probe = [&](std::uint32_t column) { (holds(column) == at_start ? low : high) = column; };
        if (guess > low + 1.0 && guess < high - 1.0) {
            const auto near = static_cast<std::uint32_t>(guess);
            probe(near);
            probe(high == near ? near - 1 : near + 1);
        }
        while (high - low > 1) probe(low + (high - low) / 2);
        (at_start ? columns.end : columns.start) = high;
    }

    HWY_INLINE span columns_inside(const line& row) const {
        span columns{0, job.width};
        const double width = job.source_width, height = job.source_height, offset = job.x_offset;
        const double per_x = 1.0 / job.cosine, per_y = 1.0 / job.sine; // infinite ones guess nothing
        const auto x = [&](std::uint32_t column) { return x_at(column, row); };
        const auto y = [&](std::uint32_t column) { return y_at(column, row); };
        narrow(columns, (-1.0 - row.y_sine) * per_x - offset, [&](std::uint32_t c) { return x(c) > -1.0; });
        narrow(columns, (row.y_cosine + 1.0) * per_y - offset, [&](std::uint32_t c) { return y(c) > -1.0; });
        narrow(columns, (width - row.y_sine) * per_x - offset, [&](std::uint32_t c) { return x(c) < width; });
        narrow(columns, (row.y_cosine - height) * per_y - offset, [&](std::uint32_t c) { return y(c) < height; });
        return columns;
    }

    // What a row's tiles share; clears its pixels outside. The columns inside.
    span start_row(std::uint32_t number, line& row) {
        const double y = number + job.y_offset;
        row.y_sine = y * job.sine;
        row.y_cosine = y * job.cosine;
        row.inside = columns_inside(row);
        Pixel* const out = static_cast<Pixel*>(job.destination) + std::uint64_t{number} * job.width;
        std::fill(out, out + row.inside.start, Pixel{0});
        std::fill(out + row.inside.end, out + job.width, Pixel{0});
        return row.inside;
    }

    void run_tile(std::uint32_t top, std::uint32_t bottom, span columns) {
        for (std::uint32_t column = columns.start; column < columns.end; ++column) {
            x_cosines[column - columns.start] = (column + job.x_offset) * job.cosine;
            x_sines[column - columns.start] = (column + job.x_offset) * job.sine;
        }
        Pixel* out = static_cast<Pixel*>(job.destination) + std::uint64_t{top} * job.width + columns.start;
        for (std::uint32_t row = top; row < bottom; ++row, out += job.width) {
            const line& at = lines[row - top];
            const std::uint32_t first = std::max(at.inside.start, columns.start);
            const std::uint32_t end = std::min(at.inside.end, columns.end);
            if (first < end) move(out, {first - columns.start, end - columns.start}, at);
        }
    }

    // Plain loads and stores of pixels: the instructions that gather take longer. Columns count from the tile's first.
    HWY_INLINE void move(Pixel* out, span columns, const line& row) const {
        const auto* const source = static_cast<const Pixel*>(job.source);
        const std::uint32_t count = columns.end - columns.start;
        if (HWY_UNLIKELY(count < lanes)) {
            for (std::uint32_t i = columns.start; i < columns.end; ++i) {
                const auto x = static_cast<std::int64_t>(x_cosines[i] + row.y_sine);
                const auto y = static_cast<std::int64_t>(row.y_cosine - x_sines[i]);
                out[i] = source[y * job.source_width + x];
            }
            return;
        }
        const D d;
        const auto source_width = hn::Set(DI(), static_cast<std::int32_t>(job.source_width));
        const auto y_sine = hn::Set(d, row.y_sine), y_cosine = hn::Set(d, row.y_cosine);
        const auto move_vector = [&](std::uint32_t start) HWY_ATTR {
            HWY_ALIGN std::int32_t place[lanes];
            const auto x = hn::DemoteTo(DI(), hn::Add(hn::LoadU(d, x_cosines + start), y_sine));
            const auto y = hn::DemoteTo(DI(), hn::Sub(y_cosine, hn::LoadU(d, x_sines + start)));
            hn::Store(hn::Add(hn::Mul(y, source_width), x), DI(), place);
            for (std::uint32_t lane = 0; lane < lanes; ++lane) out[start + lane] = source[place[lane]];
        };
        std::uint32_t start = columns.start;
        for (; start + lanes <= columns.end; start += lanes) move_vector(start);
        // The last pixels together with ones before them, which become what they are.
        if (start < columns.end) move_vector(columns.end - lanes);
    }
};

template <class Pixel>
bool rotate(const rotate_job& job, row_range rows) {
    // Indices are signed 32-bit numbers.
    if (std::uint64_t{job.source_width} * job.source_height > INT32_MAX) return false;
    turner<Pixel>(job).run(rows);
    return true;
}

#endif

} // namespace

// Dispatch takes functions, not templates.
bool scale_1(const scale_job& job, row_range rows) { return scale<std::uint8_t>(job, rows); }
bool scale_2(const scale_job& job, row_range rows) { return scale<std::uint16_t>(job, rows); }
bool scale_4(const scale_job& job, row_range rows) { return scale<std::uint32_t>(job, rows); }
bool scale_8(const scale_job& job, row_range rows) { return scale<std::uint64_t>(job, rows); }
bool rotate_1(const rotate_job& job, row_range rows) { return rotate<std::uint8_t>(job, rows); }
bool rotate_2(const rotate_job& job, row_range rows) { return rotate<std::uint16_t>(job, rows); }
bool rotate_4(const rotate_job& job, row_range rows) { return rotate<std::uint32_t>(job, rows); }
bool rotate_8(const rotate_job& job, row_range rows) { return rotate<std::uint64_t>(job, rows); }

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(scale_1);
HWY_EXPORT(scale_2);
HWY_EXPORT(scale_4);
HWY_EXPORT(scale_8);
HWY_EXPORT(rotate_1);
HWY_EXPORT(rotate_2);
HWY_EXPORT(rotate_4);
HWY_EXPORT(rotate_8);

template <>
bool scale_nearest_rows<1>(const scale_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(scale_1)(job, rows);
}

template <>
bool scale_nearest_rows<2>(const scale_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(scale_2)(job, rows);
}

template <>
bool scale_nearest_rows<4>(const scale_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(scale_4)(job, rows);
}

template <>
bool scale_nearest_rows<8>(const scale_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(scale_8)(job, rows);
}

template <>
bool rotate_nearest_rows<1>(const rotate_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(rotate_1)(job, rows);
}

template <>
bool rotate_nearest_rows<2>(const rotate_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(rotate_2)(job, rows);
}

template <>
bool rotate_nearest_rows<4>(const rotate_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(rotate_4)(job, rows);
}

template <>
bool rotate_nearest_rows<8>(const rotate_job& job, row_range rows) {
    return HWY_DYNAMIC_DISPATCH(rotate_8)(job, rows);
}

} // namespace zarn::vector
#endif
