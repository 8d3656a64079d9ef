// Floats and halves as vectors of floats, for the vector sources of real images; compiled for every instruction set.
#if defined(ZARN_KERNELS_VECTOR_REAL_SAMPLES_INL_H) == defined(HWY_TARGET_TOGGLE)
    #ifdef ZARN_KERNELS_VECTOR_REAL_SAMPLES_INL_H
        #undef ZARN_KERNELS_VECTOR_REAL_SAMPLES_INL_H
    #else
        #define ZARN_KERNELS_VECTOR_REAL_SAMPLES_INL_H
    #endif

    #include <cstdint>
    #include <cstring>
    #include <type_traits>

    #include <half.hpp>
    #include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

    #if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Whether an alpha is not 0.
inline bool is_seen(const float* alpha) { return *alpha != 0.0f; }
inline bool is_seen(const half_float::half* alpha) {
    std::uint16_t bits;
    std::memcpy(&bits, static_cast<const void*>(alpha), sizeof(bits));
    return (bits & 0x7FFF) != 0;
}

// What memory holds as many samples in as DF has floats: floats, or the bits of halves.
template <class Sample, class DF>
using stored_tag = std::conditional_t<std::is_same_v<Sample, float>, DF, hn::Rebind<std::uint16_t, DF>>;
template <class Sample, class DF>
using stored_vector = hn::Vec<stored_tag<Sample, DF>>;

template <class DF>
HWY_INLINE hn::Vec<DF> load_stored(DF df, const float* samples) {
    return hn::LoadU(df, samples);
}
template <class DF>
HWY_INLINE stored_vector<half_float::half, DF> load_stored(DF, const half_float::half* samples) {
    return hn::LoadU(stored_tag<half_float::half, DF>(), reinterpret_cast<const std::uint16_t*>(samples));
}
template <class DF>
HWY_INLINE void save_stored(hn::Vec<DF> stored, DF df, float* samples) {
    hn::StoreU(stored, df, samples);
}
template <class DF>
HWY_INLINE void save_stored(stored_vector<half_float::half, DF> stored, DF, half_float::half* samples) {
    hn::StoreU(stored, stored_tag<half_float::half, DF>(), reinterpret_cast<std::uint16_t*>(samples));
}

// In whole numbers. The bits of the half type's own conversions, NaNs included, whatever the machine has for it.
template <class DF>
HWY_INLINE hn::Vec<DF> expand_halves(DF df, stored_vector<half_float::half, DF> bits) {
    const hn::RebindToUnsigned<DF> du;
    const auto all = hn::PromoteTo(du, bits);
    const auto magnitude = hn::And(all, hn::Set(du, 0x7FFF));
    // In a float's place the exponent is 112 too low: a product that is exact, for subnormal halves too.
    const auto scaled = hn::BitCast(
        du, hn::Mul(hn::BitCast(df, hn::ShiftLeft<13>(magnitude)), hn::Set(df, 5192296858534827628530496329220096.0f)));
    const auto endless = hn::IfThenElseZero(hn::Gt(magnitude, hn::Set(du, 0x7BFF)), hn::Set(du, 0x7F800000));
    const auto sign = hn::ShiftLeft<16>(hn::Xor(all, magnitude));
    return hn::BitCast(df, hn::Or(hn::Or(scaled, endless), sign));
}
template <class DF>
HWY_INLINE stored_vector<half_float::half, DF> round_to_halves(DF df, hn::Vec<DF> values) {
    const hn::RebindToUnsigned<DF> du;
    const auto all = hn::BitCast(du, values);
    const auto magnitude = hn::And(all, hn::Set(du, 0x7FFFFFFF));
    // To nearest, ties to even: what is cut off carries into the mantissa, and that into the exponent.
    const auto is_odd = hn::And(hn::ShiftRight<13>(magnitude), hn::Set(du, 1));
    const auto normal = hn::ShiftRight<13>(hn::Add(hn::Add(magnitude, hn::Set(du, 0xC8000FFF)), is_odd));
    // Beside 0.5 a float has the last bit of a subnormal half.
    const auto beside = hn::BitCast(du, hn::Add(hn::BitCast(df, magnitude), hn::Set(df, 0.5f)));
    const auto subnormal = hn::Sub(beside, hn::Set(du, 0x3F000000));
    const auto mantissa = hn::Or(hn::And(hn::ShiftRight<13>(magnitude), hn::Set(du, 0x3FF)), hn::Set(du, 0x200));
    const auto is_nan = hn::Gt(magnitude, hn::Set(du, 0x7F800000));
    const auto endless = hn::Or(hn::Set(du, 0x7C00), hn::IfThenElseZero(is_nan, mantissa));
    auto half = hn::IfThenElse(hn::Lt(magnitude, hn::Set(du, 0x38800000)), subnormal, normal);
    half = hn::IfThenElse(hn::Gt(magnitude, hn::Set(du, 0x477FFFFF)), endless, half);
    const auto sign = hn::And(hn::ShiftRight<16>(all), hn::Set(du, 0x8000));
    return hn::TruncateTo(stored_tag<half_float::half, DF>(), hn::Or(half, sign));
}

        #if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2 && !defined(HWY_DISABLE_F16C)
            #define ZARN_HAS_HALF_INSTRUCTIONS 1
        #else
            #define ZARN_HAS_HALF_INSTRUCTIONS 0
        #endif

template <class DF>
HWY_INLINE hn::Vec<DF> as_floats(DF, hn::Vec<DF> stored) {
    return stored;
}
// A signalling NaN may come out as a quiet one, as after any arithmetic.
template <class DF>
HWY_INLINE hn::Vec<DF> as_floats(DF df, stored_vector<half_float::half, DF> stored) {
        #if ZARN_HAS_HALF_INSTRUCTIONS
    return hn::PromoteTo(df, hn::BitCast(hn::Rebind<hwy::float16_t, DF>(), stored));
        #else
    return expand_halves(df, stored);
        #endif
}

template <class Sample, class DF>
HWY_INLINE stored_vector<Sample, DF> as_stored(DF df, hn::Vec<DF> values) {
    if constexpr (std::is_same_v<Sample, float>) {
        return values;
    } else {
        #if ZARN_HAS_HALF_INSTRUCTIONS
        return hn::BitCast(stored_tag<Sample, DF>(), hn::DemoteTo(hn::Rebind<hwy::float16_t, DF>(), values));
        #else
        return round_to_halves(df, values);
        #endif
    }
}

template <class Sample, class DF>
HWY_INLINE hn::Vec<DF> load_reals(DF df, const Sample* samples) {
    return as_floats(df, load_stored(df, samples));
}
template <class Sample, class DF>
HWY_INLINE void save_reals(hn::Vec<DF> values, DF df, Sample* samples) {
    save_stored(as_stored<Sample>(df, values), df, samples);
}

} // namespace

    #endif

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
