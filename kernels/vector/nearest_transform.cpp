#include "kernels/vector/nearest_transform.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "kernels/fixed_step.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/nearest_transform.cpp"
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

// ---- Scaling -------------------------------------------------------------------------------------------------------

// A vector of destination pixels comes from a window of one or two vectors of source pixels, shuffled. Where the
// windows lie and how they are shuffled is computed once for all rows.
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
    }

private:
    using D = hn::ScalableTag<Pixel>;
    static constexpr std::uint32_t lanes = HWY_LANES(Pixel);
    static constexpr std::uint32_t strip = 16384 / sizeof(Pixel);

    const scale_job& job;
    const fixed_step column, line;
    HWY_ALIGN Pixel places[strip]; // in the window
    std::uint32_t windows[strip / lanes];

    template <unsigned Vectors>
    HWY_INLINE void run_strip(row_range rows, std::uint32_t start, std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; i += lanes) {
            const std::uint32_t first = std::min(column(start + i), column(start + i + lanes - 1));
            windows[i / lanes] = std::min(first, job.source_width - Vectors * lanes);
            for (std::uint32_t k = i; k < i + lanes; ++k) places[k] = column(start + k) - windows[i / lanes];
        }
        const auto* const source = static_cast<const Pixel*>(job.source);
        Pixel* out = static_cast<Pixel*>(job.destination) + std::uint64_t{rows.start} * job.width + start;
        for (std::uint32_t row = rows.start; row < rows.end; ++row, out += job.width) {
            if (row > rows.start && line(row) == line(row - 1)) {
                std::memcpy(out, out - job.width, std::size_t{count} * sizeof(Pixel));
            } else {
                shuffle<Vectors>(source + std::uint64_t{line(row)} * job.source_width, out, count);
            }
        }
    }

    template <unsigned Vectors>
    HWY_INLINE void shuffle(const Pixel* from, Pixel* out, std::uint32_t count) const {
        const D d;
        for (std::uint32_t i = 0; i < count; i += lanes) {
            const Pixel* const window = from + windows[i / lanes];
            const auto place = hn::Load(d, places + i);
            if constexpr (Vectors == 1) {
                hn::StoreU(hn::TableLookupLanes(hn::LoadU(d, window), hn::IndicesFromVec(d, place)), d, out + i);
            } else {
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

template <class Pixel>
class turner {
public:
    explicit turner(const rotate_job& what)
        : job(what) {}

    void run_row(std::uint32_t row) {
        const double y = row + job.y_offset;
        y_sine = y * job.sine;
        y_cosine = y * job.cosine;
        Pixel* const out = static_cast<Pixel*>(job.destination) + std::uint64_t{row} * job.width;
        const span inside = columns_inside();
        std::fill(out, out + inside.start, Pixel{0});
        move(out, inside);
        std::fill(out + inside.end, out + job.width, Pixel{0});
    }

private:
    using D = hn::ScalableTag<double>;
    using DI = hn::Rebind<std::int32_t, D>;
    static constexpr std::uint32_t lanes = HWY_LANES(double);

    struct span {
        std::uint32_t start, end;
    };

    const rotate_job& job;
    double y_sine = 0.0, y_cosine = 0.0;

    double x_at(std::uint32_t column) const { return (column + job.x_offset) * job.cosine + y_sine; }
    double y_at(std::uint32_t column) const { return y_cosine - (column + job.x_offset) * job.sine; }

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

    HWY_INLINE span columns_inside() const {
        span columns{0, job.width};
        const double width = job.source_width, height = job.source_height;
        const double per_x = 1.0 / job.cosine, per_y = 1.0 / job.sine; // infinite ones guess nothing
        narrow(columns, (-1.0 - y_sine) * per_x - job.x_offset, [&](std::uint32_t c) { return x_at(c) > -1.0; });
        narrow(columns, (y_cosine + 1.0) * per_y - job.x_offset, [&](std::uint32_t c) { return y_at(c) > -1.0; });
        narrow(columns, (width - y_sine) * per_x - job.x_offset, [&](std::uint32_t c) { return x_at(c) < width; });
        narrow(columns, (y_cosine - height) * per_y - job.x_offset, [&](std::uint32_t c) { return y_at(c) < height; });
        return columns;
    }

    // Plain loads and stores of pixels: the instructions that gather take longer.
    HWY_INLINE void move(Pixel* out, span columns) const {
        const D d;
        const auto* const source = static_cast<const Pixel*>(job.source);
        const auto line = hn::Set(DI(), static_cast<std::int32_t>(job.source_width));
        const auto x_offset = hn::Set(d, job.x_offset), numbers = hn::Iota(d, 0), last = hn::Set(d, columns.end - 1.0);
        const auto cosine = hn::Set(d, job.cosine), sine = hn::Set(d, job.sine);
        const auto of_y_x = hn::Set(d, y_sine), of_y_y = hn::Set(d, y_cosine);
        HWY_ALIGN std::int32_t place[lanes];
        for (std::uint32_t start = columns.start; start < columns.end; start += lanes) {
            // Columns are whole numbers, so that the sum with the offset rounds once, as for a single pixel.
            const auto column = hn::Min(hn::Add(numbers, hn::Set(d, start)), last);
            const auto x = hn::Add(column, x_offset);
            const auto source_x = hn::DemoteTo(DI(), hn::Add(hn::Mul(x, cosine), of_y_x));
            const auto source_y = hn::DemoteTo(DI(), hn::Sub(of_y_y, hn::Mul(x, sine)));
            hn::Store(hn::Add(hn::Mul(source_y, line), source_x), DI(), place);
            if (HWY_LIKELY(columns.end - start >= lanes)) {
                for (std::uint32_t lane = 0; lane < lanes; ++lane) out[start + lane] = source[place[lane]];
            } else {
                for (std::uint32_t lane = 0; start + lane < columns.end; ++lane)
                    out[start + lane] = source[place[lane]];
            }
        }
    }
};

template <class Pixel>
bool rotate(const rotate_job& job, row_range rows) {
    // Indices are signed 32-bit numbers.
    if (std::uint64_t{job.source_width} * job.source_height > INT32_MAX) return false;
    turner<Pixel> all(job);
    for (std::uint32_t row = rows.start; row < rows.end; ++row) all.run_row(row);
    return true;
}

#endif

} // namespace

// Dispatch takes functions, not templates.
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

    #define ZARN_DISPATCH(name, kernel, bytes, job_type)                                                               \
        HWY_EXPORT(kernel);                                                                                            \
        template <>                                                                                                    \
        bool name<bytes>(const job_type& job, row_range rows) {                                                        \
            return HWY_DYNAMIC_DISPATCH(kernel)(job, rows);                                                            \
        }
ZARN_DISPATCH(scale_nearest_rows, scale_4, 4, scale_job)
ZARN_DISPATCH(scale_nearest_rows, scale_8, 8, scale_job)
ZARN_DISPATCH(rotate_nearest_rows, rotate_1, 1, rotate_job)
ZARN_DISPATCH(rotate_nearest_rows, rotate_2, 2, rotate_job)
ZARN_DISPATCH(rotate_nearest_rows, rotate_4, 4, rotate_job)
ZARN_DISPATCH(rotate_nearest_rows, rotate_8, 8, rotate_job)

} // namespace zarn::vector
#endif
