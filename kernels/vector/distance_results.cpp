#include "kernels/vector/distance_results.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/distance_results.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <class D>
HWY_INLINE hn::Vec<D> magnitude(D tag, const double* distance, double limit) {
    const auto value = hn::Abs(hn::LoadU(tag, distance));
    return hn::IfThenElseZero(hn::Lt(value, hn::Set(tag, limit)), value);
}

double largest_distance(const double* distances, std::uint64_t count, double limit) {
    const hn::ScalableTag<double> lanes;
    const std::uint64_t n = hn::Lanes(lanes);
    auto large = hn::Zero(lanes), larger = large; // two, for a maximum waits for the one before
    std::uint64_t i = 0;
    for (; count - i >= 2 * n; i += 2 * n) {
        large = hn::Max(large, magnitude(lanes, distances + i, limit));
        larger = hn::Max(larger, magnitude(lanes, distances + i + n, limit));
    }
    double largest = hn::GetLane(hn::MaxOfLanes(lanes, hn::Max(large, larger)));
    const hn::CappedTag<double, 1> one;
    for (; i < count; ++i) largest = std::max(largest, hn::GetLane(magnitude(one, distances + i, limit)));
    return largest;
}

template <class D>
HWY_INLINE void scale(D tag, const double* distance, double limit, double largest, double full, std::int32_t* scaled) {
    const auto share = hn::Div(magnitude(tag, distance, limit), hn::Set(tag, largest));
    const hn::Rebind<std::int32_t, D> whole;
    hn::StoreU(hn::DemoteTo(whole, hn::Mul(share, hn::Set(tag, full))), whole, scaled);
}

void scale_distances(const double* distances, std::uint32_t count, double limit, double largest, double full,
                     std::int32_t* scaled) {
    const hn::ScalableTag<double> lanes;
    const auto n = static_cast<std::uint32_t>(hn::Lanes(lanes));
    std::uint32_t i = 0;
    for (; count - i >= n; i += n) scale(lanes, distances + i, limit, largest, full, scaled + i);
    const hn::CappedTag<double, 1> one;
    for (; i < count; ++i) scale(one, distances + i, limit, largest, full, scaled + i);
}

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(largest_distance);
HWY_EXPORT(scale_distances);

double largest_distance(const double* distances, std::uint64_t count, double limit) {
    return HWY_DYNAMIC_DISPATCH(largest_distance)(distances, count, limit);
}

void scale_distances(const double* distances, std::uint32_t count, double limit, double largest, double full,
                     std::int32_t* scaled) {
    HWY_DYNAMIC_DISPATCH(scale_distances)(distances, count, limit, largest, full, scaled);
}

} // namespace zarn::vector
#endif
