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

bool narrow(const std::uint16_t* from, std::uint8_t* to, std::uint64_t count) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<std::uint16_t, decltype(df)> d16;
    const hn::Rebind<std::uint8_t, decltype(df)> d8;
    const auto to_unit = hn::Set(df, rgba_16::to_unit), full = hn::Set(df, static_cast<float>(rgba_8::full));
    const std::size_t lanes = hn::Lanes(df);
    std::uint64_t i = 0;
    for (; count - i >= lanes; i += lanes) {
        const auto value = hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d16, from + i)));
        const auto scaled = hn::ConvertTo(di, hn::Mul(hn::Mul(value, to_unit), full));
        hn::StoreU(hn::TruncateTo(d8, hn::BitCast(hn::RebindToUnsigned<decltype(di)>(), scaled)), d8, to + i);
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
