#include "kernels/vector/dead_reckoning.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/dead_reckoning.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Steps of one length share one addition: rounding never turns an order round, so the least distance plus the step is
// the least of the sums, bit for bit.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// One pixel a lane, one lane or many.
template <class D>
HWY_INLINE hn::Vec<D> least_far(D tag, const double* beside, std::ptrdiff_t done) {
    const double* const second = beside + done;
    const double* const third = second + done;
    const auto pair = [&](const double* row, int apart) {
        return hn::Min(hn::LoadU(tag, row - apart), hn::LoadU(tag, row + apart));
    };
    const auto step = [&](double length, hn::Vec<D> least) { return hn::Add(hn::Set(tag, length), least); };
    return hn::Min(hn::Min(step(step_2_1, hn::Min(pair(second, 1), pair(beside, 2))),
                           step(step_3_1, hn::Min(pair(third, 1), pair(beside, 3)))),
                   step(step_3_2, hn::Min(pair(third, 2), pair(second, 3))));
}

template <class D>
HWY_INLINE hn::Vec<D> least_touching(D tag, const double* beside) {
    const auto slanting = hn::Min(hn::LoadU(tag, beside - 1), hn::LoadU(tag, beside + 1));
    return hn::Min(hn::Add(hn::Set(tag, step_1_1), slanting), hn::Add(hn::Set(tag, step_1_0), hn::LoadU(tag, beside)));
}

using one_lane = hn::CappedTag<double, 1>;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using DF = hn::ScalableTag<double>;
using DU = hn::RebindToUnsigned<DF>;
using DI = hn::Repartition<std::int32_t, DF>;
using VF = hn::Vec<DF>;
using VU = hn::Vec<DU>;

// Three neighbours one after the other. Which of them win is a question of distances, roots of sums of squares; it is
// answered by the squares unless they agree to the last bits, and only the winner's root is taken.
HWY_INLINE void ask_touching_lanes(const reckoning_row& row, std::int32_t i) {
    const DF df;
    const DU du;
    const DI di;
    constexpr double two_to_52 = 4503599627370496.0;
    const auto exponent = hn::BitCast(du, hn::Set(df, two_to_52));
    const auto low_half = hn::Set(du, 0xFFFFFFFFu);
    // Taken from a coordinate in the last bits of 2^52, these give the difference to the pixel's own.
    const auto own_x = hn::Add(hn::Set(df, two_to_52 + row.x + i), hn::Iota(df, 0.0));
    const auto own_y = hn::Set(df, two_to_52 + row.y);

    double* const distances = row.distances + i;
    const VF before = hn::LoadU(df, distances);
    VF square = before; // 0 and what counts as unreached compare with squares as with distances
    VU nearest = hn::Zero(du);
    auto won = hn::Lt(before, before);
    for (const neighbour& n : touching_neighbours) {
        const std::ptrdiff_t offset = row.done + n.columns;
        const auto way = hn::Add(hn::Set(df, n.step), hn::LoadU(df, distances + offset));
        const auto way_square = hn::Mul(way, way);
        auto wins = hn::Lt(way_square, square);
        // Each square is off by less than 2^-51 of itself. Mostly both ways lead to one border pixel then, along a
        // line; who wins makes no difference.
        const auto* const point = reinterpret_cast<const std::int32_t*>(row.nearest + i + offset);
        const VU packed = hn::BitCast(du, hn::LoadU(di, point));
        const auto alike = hn::Le(hn::Abs(hn::Sub(way_square, square)), hn::Mul(square, hn::Set(df, 0x1p-48)));
        const auto unclear = hn::AndNot(hn::RebindMask(df, hn::Eq(packed, nearest)), hn::And(alike, won));
        if (HWY_UNLIKELY(!hn::AllFalse(df, unclear))) {
            wins = hn::Lt(way, hn::IfThenElse(won, hn::Sqrt(square), before));
        }
        if (hn::AllFalse(df, wins)) continue;
        const auto across = hn::Sub(hn::BitCast(df, hn::Or(hn::And(packed, low_half), exponent)), own_x);
        const auto down = hn::Sub(hn::BitCast(df, hn::Or(hn::ShiftRight<32>(packed), exponent)), own_y);
        const auto measured = hn::Add(hn::Mul(across, across), hn::Mul(down, down));
        square = hn::IfThenElse(wins, measured, square);
        nearest = hn::IfThenElse(hn::RebindMask(du, wins), packed, nearest);
        won = hn::Or(won, wins);
    }
    if (hn::AllFalse(df, won)) return;
    hn::StoreU(hn::IfThenElse(won, hn::Sqrt(square), before), df, distances);
    auto* const point = reinterpret_cast<std::int32_t*>(row.nearest + i);
    const VU kept = hn::BitCast(du, hn::LoadU(di, point));
    hn::StoreU(hn::BitCast(di, hn::IfThenElse(hn::RebindMask(du, won), nearest, kept)), di, point);
}

#endif

void least_steps(const reckoning_row& row, std::int32_t count, double* least, double* far) {
    const double* const beside = row.distances + row.done;
    std::int32_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const DF df;
    const auto lanes = static_cast<std::int32_t>(hn::Lanes(df));
    for (; count - i >= lanes; i += lanes) {
        const VF beyond = least_far(df, beside + i, row.done);
        hn::StoreU(hn::Min(least_touching(df, beside + i), beyond), df, least + i);
        hn::StoreU(beyond, df, far + i);
    }
#endif
    const one_lane one;
    for (; i < count; ++i) {
        const auto beyond = least_far(one, beside + i, row.done);
        hn::StoreU(hn::Min(least_touching(one, beside + i), beyond), one, least + i);
        hn::StoreU(beyond, one, far + i);
    }
}

void ask_touching(const reckoning_row& row, std::int32_t count, double* far) {
    const double* const beside = row.distances + row.done;
    std::int32_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const DF df;
    const auto lanes = static_cast<std::int32_t>(hn::Lanes(df));
    for (; count - i >= lanes; i += lanes) {
        ask_touching_lanes(row, i);
        hn::StoreU(least_far(df, beside + i, row.done), df, far + i);
    }
#endif
    const one_lane one;
    for (; i < count; ++i) {
        for (const neighbour& n : touching_neighbours) {
            ask_neighbour(row, i, row.done + n.columns, n.step, row.distances[i]);
        }
        hn::StoreU(least_far(one, beside + i, row.done), one, far + i);
    }
}

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(least_steps);
HWY_EXPORT(ask_touching);

void least_steps(const reckoning_row& row, std::int32_t count, double* least, double* far) {
    HWY_DYNAMIC_DISPATCH(least_steps)(row, count, least, far);
}

void ask_touching(const reckoning_row& row, std::int32_t count, double* far) {
    HWY_DYNAMIC_DISPATCH(ask_touching)(row, count, far);
}

} // namespace zarn::vector
#endif
