#include "kernels/vector/real_tone.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/real_tone.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "kernels/vector/real_samples-inl.h"

// x^y is 2^(y log2 x) in doubles. log2 x is the exponent plus that of m in [sqrt 1/2, sqrt 2), with s = (m - 1) /
// (m + 1) a polynomial of s^2 times s, off by 2^-45 of itself; 2^t is that of the nearest whole number times that of
// the rest, off by 2^-34 of itself. Beside 150, the greatest |y log2 x| of a result that is neither 0 nor infinite,
// both make less than 2^-9 of a float's last bit.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Sample>
bool curve_of(const sample_run<Sample>&, tone_curve, float) {
    return false;
}
template <class Sample>
bool power_of(const sample_run<Sample>&, float) {
    return false;
}
template <class Sample>
bool complement_of(const sample_run<Sample>&, bool, bool) {
    return false;
}
template <class Sample>
bool levels_of(const sample_run<Sample>&, const levels_curve&) {
    return false;
}
template <class Sample>
bool factors_of(const sample_run<Sample>&, const float (&)[3]) {
    return false;
}
template <class Sample>
bool hue_of(const sample_run<Sample>&, const hue_matrix&) {
    return false;
}
template <class Sample>
bool greys_of(const sample_run<const Sample>&, const sample_run<Sample>&, const float (&)[3]) {
    return false;
}
template <class From, class To>
bool conversion_of(const From*, To*, std::uint64_t) {
    return false;
}

#else

using DF = hn::ScalableTag<float>;
using V = hn::Vec<DF>;
using M = hn::Mask<DF>;

constexpr DF df;
constexpr std::size_t most_lanes = hn::MaxLanes(DF());
constexpr std::size_t prefetch_distance = 1024; // bytes; long arithmetic keeps the processor from looking so far ahead

// ---- Runs of samples -----------------------------------------------------------------------------------------------

template <class Sample>
HWY_INLINE stored_vector<Sample, DF> stored_ones(const bool (&chosen)[4], unsigned channels) {
    std::uint8_t mask[most_lanes * sizeof(Sample)] = {};
    for (std::size_t i = 0; i < hn::Lanes(df); ++i)
        if (chosen[i % channels]) std::memset(mask + i * sizeof(Sample), 0xFF, sizeof(Sample));
    const stored_tag<Sample, DF> ds;
    return hn::BitCast(ds, hn::LoadU(hn::Repartition<std::uint8_t, decltype(ds)>(), mask));
}

// The chosen samples become change(value), the others stay to the bit.
template <class Sample, class Change>
HWY_INLINE void map_chosen(const sample_run<Sample>& run, const bool (&chosen)[4], Change change) {
    const auto changes = stored_ones<Sample>(chosen, run.channels);
    const auto map_vector = [&](Sample* samples) HWY_ATTR {
        const auto old = load_stored(df, samples);
        const auto fresh = as_stored<Sample>(df, change(as_floats(df, old)));
        save_stored(hn::IfVecThenElse(changes, fresh, old), df, samples);
    };
    const std::size_t lanes = hn::Lanes(df);
    std::uint64_t at = 0;
    for (; run.count - at >= lanes; at += lanes) {
        hwy::Prefetch(run.samples + at + prefetch_distance / sizeof(Sample));
        map_vector(run.samples + at);
    }
    if (at == run.count) return;
    Sample rest[most_lanes] = {};
    std::copy_n(run.samples + at, run.count - at, rest);
    map_vector(rest);
    std::copy_n(rest, run.count - at, run.samples + at);
}

template <class Sample, class Change>
HWY_INLINE bool map_colours(const sample_run<Sample>& run, Change change) {
    bool chosen[4];
    for (unsigned c = 0; c < 4; ++c) chosen[c] = !run.has_alpha || c + 1 != run.channels;
    map_chosen(run, chosen, change);
    return true;
}

// NaN becomes 0 and -0 stays.
HWY_INLINE V clamp_to_unit(V v) {
    const V one = hn::Set(df, 1.0f);
    const V above_zero = hn::IfThenElseZero(hn::Ge(v, hn::Zero(df)), v);
    return hn::IfThenElse(hn::Le(above_zero, one), above_zero, one);
}
// The same, but that -0 becomes 0.
HWY_INLINE V clamp_grade(V v) {
    const V one = hn::Set(df, 1.0f);
    const V above_zero = hn::IfThenElseZero(hn::Gt(v, hn::Zero(df)), v);
    return hn::IfThenElse(hn::Ge(above_zero, one), one, above_zero);
}

// ---- Powers --------------------------------------------------------------------------------------------------------

class power {
public:
    // -0 may keep its sign and is left to std::pow, as is 0 where y is below 0.
    explicit power(float y)
        : ___exponent(y)
        , ___zeroes(y > 0.0f ? hn::FirstN(df, hn::Lanes(df)) : hn::FirstN(df, 0)) {}

    HWY_INLINE V operator()(V x) const {
        const hn::Half<DF> dh;
        const M is_usual =
            hn::And(hn::Gt(x, hn::Zero(df)), hn::Lt(x, hn::Set(df, std::numeric_limits<float>::infinity())));
        // 1 in place of the others: results below the least normal number take the processor long.
        const V base = hn::IfThenElse(is_usual, x, hn::Set(df, 1.0f));
        const V raised = hn::Combine(df, half(hn::UpperHalf(dh, base)), half(hn::LowerHalf(dh, base)));
        const hn::RebindToUnsigned<DF> du;
        const M is_zero = hn::And(hn::RebindMask(df, hn::Eq(hn::BitCast(du, x), hn::Zero(du))), ___zeroes);
        V result = hn::IfThenZeroElse(is_zero, raised);
        const M is_done = hn::Or(is_usual, is_zero);
        if (HWY_UNLIKELY(!hn::AllTrue(df, is_done))) result = correct(x, is_done, result);
        return result;
    }

private:
    float ___exponent;
    M ___zeroes; // where 0 becomes 0: everywhere or nowhere

    HWY_NOINLINE V correct(V x, M is_done, V result) const {
        float values[most_lanes], results[most_lanes];
        hn::StoreU(hn::IfThenElse(is_done, hn::Set(df, 1.0f), x), df, values);
        hn::StoreU(result, df, results);
        for (std::size_t i = 0; i < hn::Lanes(df); ++i)
            if (!(values[i] == 1.0f)) results[i] = std::pow(values[i], ___exponent);
        return hn::LoadU(df, results);
    }

    // Of positive finite numbers, subnormal ones too: doubles have room for them.
    HWY_INLINE hn::Vec<hn::Half<DF>> half(hn::Vec<hn::Half<DF>> x) const {
        const hn::Rebind<double, hn::Half<DF>> d;
        const hn::RebindToUnsigned<decltype(d)> du;
        using VD = hn::Vec<decltype(d)>;
        // c0 + c1 v, in pairs that do not wait for each other.
        const auto line = [d](VD v, double c0, double c1)
                              HWY_ATTR { return hn::MulAdd(v, hn::Set(d, c1), hn::Set(d, c0)); };
        constexpr std::uint64_t one = std::uint64_t{1023} << 52, root_half = 0x3FE6A09E667F3BCD;
        constexpr double whole = 4503599627370496.0, magic = 1.5 * whole; // 2^52: its low bits are a whole number
        const VD unit = hn::Set(d, 1.0);
        // The exponent, of m in [sqrt 1/2, sqrt 2), above a rest without sign.
        const auto scaled = hn::Sub(hn::BitCast(du, hn::PromoteTo(d, x)), hn::Set(du, root_half - one));
        const auto rest_of_m = hn::And(scaled, hn::Set(du, (std::uint64_t{1} << 52) - 1));
        const VD m = hn::BitCast(d, hn::Add(rest_of_m, hn::Set(du, root_half)));
        const auto exponent = hn::Or(hn::ShiftRight<52>(scaled), hn::BitCast(du, hn::Set(d, whole)));
        const VD e = hn::Sub(hn::BitCast(d, exponent), hn::Set(d, whole + 1023.0));
        const VD s = hn::Div(hn::Sub(m, unit), hn::Add(m, unit));
        const VD s2 = hn::Mul(s, s), s4 = hn::Mul(s2, s2);
        VD log =
            hn::MulAdd(s4, hn::Set(d, 0.34072800825968909225), line(s2, 0.5770835832694418742, 0.41167282689514417204));
        log = hn::MulAdd(s4, log, line(s2, 2.8853900817900801725, 0.96179667335006013576));
        log = hn::MulAdd(s, log, e);
        const VD limit = hn::Set(d, 200.0); // beyond it all is 0 or infinite
        const VD t = hn::Min(hn::Max(hn::Mul(log, hn::Set(d, double{___exponent})), hn::Neg(limit)), limit);
        const VD moved = hn::Add(t, hn::Set(d, magic));
        const VD f = hn::Sub(t, hn::Sub(moved, hn::Set(d, magic))), f2 = hn::Mul(f, f);
        VD fraction = hn::MulAdd(f2, hn::Set(d, 0.00015345812158740182477),
                                 line(f, 0.0096184889565227915705, 0.0013399931209474140493));
        fraction = hn::MulAdd(f2, fraction, line(f, 0.24022646890639572134, 0.055503287769976637639));
        fraction = hn::MulAdd(f2, fraction, line(f, 1.0000000005541662993, 0.69314720573725267536));
        const auto result = hn::Add(hn::BitCast(du, fraction), hn::ShiftLeft<52>(hn::BitCast(du, moved)));
        return hn::DemoteTo(hn::Half<DF>(), hn::BitCast(d, result));
    }
};

bool has_power(float exponent) { return std::isfinite(exponent) && exponent != 0.0f; }

template <class Sample>
bool power_of(const sample_run<Sample>& run, float exponent) {
    if (!has_power(exponent)) return false;
    const power raised(exponent);
    return map_colours(run, [&](V v) HWY_ATTR { return raised(v); });
}

// ---- Tone and grading ----------------------------------------------------------------------------------------------

template <class Sample>
bool curve_of(const sample_run<Sample>& run, tone_curve curve, float amount) {
    const V by = hn::Set(df, amount), one = hn::Set(df, 1.0f), pivot = hn::Set(df, 0.5f);
    switch (curve) {
    case tone_curve::exposure:
        return map_colours(run, [=](V v) HWY_ATTR {
            const V exposed = hn::Mul(v, by);
            return hn::IfThenElse(hn::Le(exposed, one), exposed, one);
        });
    case tone_curve::brightness:
        return map_colours(run, [=](V v) HWY_ATTR { return clamp_to_unit(hn::Add(v, by)); });
    case tone_curve::contrast:
        return map_colours(run,
                           [=](V v) HWY_ATTR { return clamp_to_unit(hn::Add(hn::Mul(hn::Sub(v, pivot), by), pivot)); });
    case tone_curve::proportional_brightness:
        if (amount < 0.0f) {
            const V factor = hn::Set(df, amount + 1.0f);
            return map_colours(run, [=](V v) HWY_ATTR { return hn::Mul(v, factor); });
        }
        return map_colours(run, [=](V v) HWY_ATTR { return hn::Add(v, hn::Mul(hn::Sub(one, v), by)); });
    case tone_curve::gamma:
        break;
    }
    if (!has_power(amount)) return false;
    const power raised(amount);
    return map_colours(run, [&](V v) HWY_ATTR { return clamp_to_unit(raised(v)); });
}

template <class Sample>
bool complement_of(const sample_run<Sample>& run, bool of_colour, bool of_alpha) {
    bool chosen[4];
    for (unsigned c = 0; c < 4; ++c) chosen[c] = c + 1 != run.channels ? of_colour : of_alpha;
    map_chosen(run, chosen, [](V v) HWY_ATTR { return hn::Sub(hn::Set(df, 1.0f), v); });
    return true;
}

template <class Sample>
bool levels_of(const sample_run<Sample>& run, const levels_curve& levels) {
    const V low = hn::Set(df, levels.low), high = hn::Set(df, levels.high), scale = hn::Set(df, levels.scale);
    const V range = hn::Set(df, levels.range), shift = hn::Set(df, levels.shift);
    return map_colours(run, [=](V v) HWY_ATTR {
        v = hn::IfThenElse(hn::Gt(v, low), v, low);
        v = hn::IfThenElse(hn::Ge(v, high), high, v);
        return hn::Add(hn::Mul(hn::Mul(hn::Sub(v, low), scale), range), shift);
    });
}

HWY_INLINE V in_each_pixel(float red, float green, float blue) {
    const float four[4] = {red, green, blue, 0.0f};
    return hn::LoadDup128(df, four);
}

// A pixel is one block of four lanes.
template <class Sample>
bool factors_of(const sample_run<Sample>& run, const float (&factors)[3]) {
    const V by = in_each_pixel(factors[0], factors[1], factors[2]);
    return map_colours(run, [=](V v) HWY_ATTR { return clamp_grade(hn::Mul(v, by)); });
}

template <class Sample>
bool hue_of(const sample_run<Sample>& run, const hue_matrix& matrix) {
    const auto& row = matrix.row;
    const V of_red = in_each_pixel(row[0][0], row[1][0], row[2][0]);
    const V of_green = in_each_pixel(row[0][1], row[1][1], row[2][1]);
    const V of_blue = in_each_pixel(row[0][2], row[1][2], row[2][2]);
    return map_colours(run, [=](V v) HWY_ATTR {
        const V red_green = hn::Add(hn::Mul(of_red, hn::Broadcast<0>(v)), hn::Mul(of_green, hn::Broadcast<1>(v)));
        return clamp_grade(hn::Add(red_green, hn::Mul(of_blue, hn::Broadcast<2>(v))));
    });
}

template <class Sample>
bool greys_of(const sample_run<const Sample>& colours, const sample_run<Sample>& greys, const float (&weights)[3]) {
    const V red = hn::Set(df, weights[0]), green = hn::Set(df, weights[1]), blue = hn::Set(df, weights[2]);
    const stored_tag<Sample, DF> ds;
    using word = hn::TFromD<decltype(ds)>;
    const auto mix_vector = [&](const Sample* from, Sample* to) HWY_ATTR {
        stored_vector<Sample, DF> r, g, b, a;
        hn::LoadInterleaved4(ds, reinterpret_cast<const word*>(from), r, g, b, a);
        const V red_green = hn::Add(hn::Mul(red, as_floats(df, r)), hn::Mul(green, as_floats(df, g)));
        const V mixed = hn::Add(red_green, hn::Mul(blue, as_floats(df, b)));
        hn::StoreInterleaved2(as_stored<Sample>(df, mixed), a, ds, reinterpret_cast<word*>(to));
    };
    const std::size_t lanes = hn::Lanes(df);
    const std::uint64_t count = colours.count / 4; // pixels
    std::uint64_t at = 0;
    for (; count - at >= lanes; at += lanes) mix_vector(colours.samples + at * 4, greys.samples + at * 2);
    if (at == count) return true;
    Sample from[most_lanes * 4] = {}, to[most_lanes * 2];
    std::copy_n(colours.samples + at * 4, (count - at) * 4, from);
    mix_vector(from, to);
    std::copy_n(to, (count - at) * 2, greys.samples + at * 2);
    return true;
}

// ---- Conversions ---------------------------------------------------------------------------------------------------

template <class From, class To>
HWY_INLINE void convert_vector(const From* from, To* to) {
    if constexpr (std::is_same_v<From, float>) {
        save_reals(hn::LoadU(df, from), df, to);
    } else {
        const auto bits = load_stored(df, from);
        V values = as_floats(df, bits);
        if (HWY_UNLIKELY(!hn::AllFalse(df, hn::IsNaN(values)))) values = expand_halves(df, bits);
        hn::StoreU(values, df, to);
    }
}

template <class From, class To>
bool conversion_of(const From* from, To* to, std::uint64_t count) {
    const std::size_t lanes = hn::Lanes(df);
    std::uint64_t at = 0;
    for (; count - at >= lanes; at += lanes) convert_vector(from + at, to + at);
    if (at == count) return true;
    From rest[most_lanes] = {};
    To converted[most_lanes];
    std::copy_n(from + at, count - at, rest);
    convert_vector(rest, converted);
    std::copy_n(converted, count - at, to + at);
    return true;
}

#endif

} // namespace

// Dispatch takes functions, not templates.
#define ZARN_DEFINE(name, sample)                                                                                      \
    bool curve_##name(const sample_run<sample>& run, tone_curve curve, float amount) {                                 \
        return curve_of(run, curve, amount);                                                                           \
    }                                                                                                                  \
    bool power_##name(const sample_run<sample>& run, float exponent) { return power_of(run, exponent); }               \
    bool complement_##name(const sample_run<sample>& run, bool of_colour, bool of_alpha) {                             \
        return complement_of(run, of_colour, of_alpha);                                                                \
    }                                                                                                                  \
    bool levels_##name(const sample_run<sample>& run, const levels_curve& levels) { return levels_of(run, levels); }   \
    bool factors_##name(const sample_run<sample>& run, const float(&factors)[3]) { return factors_of(run, factors); }  \
    bool hue_##name(const sample_run<sample>& run, const hue_matrix& matrix) { return hue_of(run, matrix); }           \
    bool greys_##name(const sample_run<const sample>& colours, const sample_run<sample>& greys,                        \
                      const float(&weights)[3]) {                                                                      \
        return greys_of(colours, greys, weights);                                                                      \
    }
ZARN_DEFINE(float, float)
ZARN_DEFINE(half, half_float::half)
#undef ZARN_DEFINE

bool convert_to_halves(const float* from, half_float::half* to, std::uint64_t count) {
    return conversion_of(from, to, count);
}
bool convert_from_halves(const half_float::half* from, float* to, std::uint64_t count) {
    return conversion_of(from, to, count);
}

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

    #define ZARN_DISPATCH(name, sample)                                                                                \
        HWY_EXPORT(curve_##name);                                                                                      \
        HWY_EXPORT(power_##name);                                                                                      \
        HWY_EXPORT(complement_##name);                                                                                 \
        HWY_EXPORT(levels_##name);                                                                                     \
        HWY_EXPORT(factors_##name);                                                                                    \
        HWY_EXPORT(hue_##name);                                                                                        \
        HWY_EXPORT(greys_##name);                                                                                      \
        bool map_curve(const sample_run<sample>& run, tone_curve curve, float amount) {                                \
            return HWY_DYNAMIC_DISPATCH(curve_##name)(run, curve, amount);                                             \
        }                                                                                                              \
        bool raise(const sample_run<sample>& run, float exponent) {                                                    \
            return HWY_DYNAMIC_DISPATCH(power_##name)(run, exponent);                                                  \
        }                                                                                                              \
        bool complement(const sample_run<sample>& run, bool of_colour, bool of_alpha) {                                \
            return HWY_DYNAMIC_DISPATCH(complement_##name)(run, of_colour, of_alpha);                                  \
        }                                                                                                              \
        bool map_levels(const sample_run<sample>& run, const levels_curve& levels) {                                   \
            return HWY_DYNAMIC_DISPATCH(levels_##name)(run, levels);                                                   \
        }                                                                                                              \
        bool map_factors(const sample_run<sample>& run, const float(&factors)[3]) {                                    \
            return HWY_DYNAMIC_DISPATCH(factors_##name)(run, factors);                                                 \
        }                                                                                                              \
        bool map_hue(const sample_run<sample>& run, const hue_matrix& matrix) {                                        \
            return HWY_DYNAMIC_DISPATCH(hue_##name)(run, matrix);                                                      \
        }                                                                                                              \
        bool mix_greys(const sample_run<const sample>& colours, const sample_run<sample>& greys,                       \
                       const float(&weights)[3]) {                                                                     \
            return HWY_DYNAMIC_DISPATCH(greys_##name)(colours, greys, weights);                                        \
        }
ZARN_DISPATCH(float, float)
ZARN_DISPATCH(half, half_float::half)

HWY_EXPORT(convert_to_halves);
HWY_EXPORT(convert_from_halves);

bool convert_samples(const float* from, half_float::half* to, std::uint64_t count) {
    return HWY_DYNAMIC_DISPATCH(convert_to_halves)(from, to, count);
}
bool convert_samples(const half_float::half* from, float* to, std::uint64_t count) {
    return HWY_DYNAMIC_DISPATCH(convert_from_halves)(from, to, count);
}

} // namespace zarn::vector
#endif
