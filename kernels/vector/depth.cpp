#include "kernels/vector/depth.h"

#include "kernels/depth.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/depth.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool widen(const std::uint8_t*, std::uint16_t*, std::uint64_t) { return false; }
bool narrow(const std::uint16_t*, std::uint8_t*, std::uint64_t) { return false; }

#else

namespace hn = hwy::HWY_NAMESPACE;

// Of 8 bits every value comes out as 257 times itself: its bits twice.
bool widen(const std::uint8_t* from, std::uint16_t* to, std::uint64_t count) {
    const hn::ScalableTag<std::uint16_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> half;
    const std::size_t lanes = hn::Lanes(d);
    std::uint64_t i = 0;
    for (; count - i >= lanes; i += lanes) {
        const auto value = hn::PromoteTo(d, hn::LoadU(half, from + i));
        hn::StoreU(hn::Or(hn::ShiftLeft<8>(value), value), d, to + i);
    }
    for (; i < count; ++i) to[i] = zarn::convert_depth<rgba_16, rgba_8>(from[i]);
    return true;
}

// Of 16 bits a value comes out as its 257th part, truncated: value * 65281 / 2^24. At 257, 514 and on to 32896 the
// float product falls short of a whole number, and the result is 1 less.
bool narrow(const std::uint16_t* from, std::uint8_t* to, std::uint64_t count) {
    const hn::ScalableTag<std::uint16_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> half;
    const auto reciprocal = hn::Set(d, std::uint16_t{65281}), one = hn::Set(d, std::uint16_t{1});
    const std::size_t lanes = hn::Lanes(d);
    std::uint64_t i = 0;
    for (; count - i >= lanes; i += lanes) {
        const auto value = hn::LoadU(d, from + i);
        const auto part = hn::ShiftRight<8>(hn::MulHigh(value, reciprocal));
        // 0 passes for a power of 2; it stays 0.
        const auto is_power = hn::Eq(hn::And(part, hn::Sub(part, one)), hn::Zero(d));
        const auto is_whole = hn::Eq(hn::Or(hn::ShiftLeft<8>(part), part), value);
        const auto less = hn::IfThenElseZero(hn::And(is_power, is_whole), one);
        hn::StoreU(hn::TruncateTo(half, hn::SaturatedSub(part, less)), half, to + i);
    }
    for (; i < count; ++i) to[i] = zarn::convert_depth<rgba_8, rgba_16>(from[i]);
    return true;
}

#endif

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(widen);
HWY_EXPORT(narrow);

bool convert_depth(const std::uint8_t* from, std::uint16_t* to, std::uint64_t count) {
    return HWY_DYNAMIC_DISPATCH(widen)(from, to, count);
}
bool convert_depth(const std::uint16_t* from, std::uint8_t* to, std::uint64_t count) {
    return HWY_DYNAMIC_DISPATCH(narrow)(from, to, count);
}

} // namespace zarn::vector
#endif
