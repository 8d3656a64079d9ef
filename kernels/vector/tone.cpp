#include "kernels/vector/tone.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/tone.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

bool affine_16(const sample_run<std::uint16_t>&, const affine_curve&) { return false; }
bool grey_8(const sample_run<std::uint8_t>&, const float (&)[3]) { return false; }
bool grey_16(const sample_run<std::uint16_t>&, const float (&)[3]) { return false; }
bool flip(void*, std::uint64_t, const void*, unsigned) { return false; }

#else

namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using V = hn::Vec<DF>;
template <class Sample>
using DS = hn::Rebind<Sample, DF>; // as many samples as a vector of floats has lanes

constexpr std::size_t most_lanes = hn::MaxLanes(DF());

// The samples under `kept` stay; the others become change(sample), which must lie within the range.
template <class Sample, class Change>
HWY_INLINE void map_vector(Sample* samples, hn::Vec<DS<Sample>> kept, Change change) {
    const DS<Sample> ds;
    const auto old = hn::LoadU(ds, samples);
    const V changed = change(hn::ConvertTo(DF(), hn::PromoteTo(DI(), old)));
    const auto whole = hn::BitCast(hn::RebindToUnsigned<DI>(), hn::ConvertTo(DI(), changed));
    const auto result = hn::TruncateTo(ds, whole);
    hn::StoreU(hn::IfVecThenElse(kept, old, result), ds, samples);
}

template <class Sample, class Change>
HWY_INLINE void map_samples(const sample_run<Sample>& run, Change change) {
    const std::size_t lanes = hn::Lanes(DF());
    Sample mask[most_lanes] = {};
    if (run.has_alpha) {
        for (std::size_t i = run.channels - 1; i < lanes; i += run.channels) mask[i] = static_cast<Sample>(~Sample{0});
    }
    const auto kept = hn::LoadU(DS<Sample>(), mask);
    std::uint64_t at = 0;
    for (; run.count - at >= lanes; at += lanes) map_vector(run.samples + at, kept, change);
    if (at == run.count) return;
    Sample rest[most_lanes] = {};
    const std::size_t rest_bytes = (run.count - at) * sizeof(Sample);
    std::memcpy(rest, run.samples + at, rest_bytes);
    map_vector(rest, kept, change);
    std::memcpy(run.samples + at, rest, rest_bytes);
}

bool affine_16(const sample_run<std::uint16_t>& run, const affine_curve& curve) {
    const V pivot = hn::Set(DF(), curve.pivot), factor = hn::Set(DF(), curve.factor);
    const V shift = hn::Set(DF(), curve.shift);
    const V full = hn::Set(DF(), 65535.0f);
    map_samples(run, [=](V value) HWY_ATTR {
        const V curved = hn::Add(hn::Mul(hn::Sub(value, pivot), factor), shift);
        return hn::Min(hn::IfThenElseZero(hn::Ge(curved, hn::Zero(DF())), curved), full);
    });
    return true;
}

// A pixel is one block of four lanes. The last weight is 0, so alpha adds nothing.
template <class Sample>
HWY_INLINE bool grey(const sample_run<Sample>& run, const float (&weights)[3]) {
    const float four[4] = {weights[0], weights[1], weights[2], 0.0f};
    const V weight = hn::LoadDup128(DF(), four);
    map_samples(run, [=](V value) HWY_ATTR {
        const V terms = hn::Mul(value, weight);
        const V red_green = hn::Broadcast<0>(hn::Add(terms, hn::Shuffle2301(terms)));
        return hn::Add(red_green, hn::Broadcast<2>(terms));
    });
    return true;
}

bool grey_8(const sample_run<std::uint8_t>& run, const float (&weights)[3]) { return grey(run, weights); }
bool grey_16(const sample_run<std::uint16_t>& run, const float (&weights)[3]) { return grey(run, weights); }

bool flip(void* pixels, std::uint64_t bytes, const void* mask, unsigned pixel_bytes) {
    using DB = hn::ScalableTag<std::uint8_t>;
    const std::size_t lanes = hn::Lanes(DB());
    std::uint8_t pattern[hn::MaxLanes(DB())];
    for (std::size_t i = 0; i < lanes; i += pixel_bytes) std::memcpy(pattern + i, mask, pixel_bytes);
    const auto flipped = hn::LoadU(DB(), pattern);
    auto* const at = static_cast<std::uint8_t*>(pixels);
    std::uint64_t i = 0;
    for (; bytes - i >= lanes; i += lanes) hn::StoreU(hn::Xor(hn::LoadU(DB(), at + i), flipped), DB(), at + i);
    for (std::size_t k = 0; i < bytes; ++i, ++k) at[i] = static_cast<std::uint8_t>(at[i] ^ pattern[k]);
    return true;
}

#endif

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(affine_16);
HWY_EXPORT(grey_8);
HWY_EXPORT(grey_16);
HWY_EXPORT(flip);

bool map_affine(const sample_run<std::uint16_t>& run, const affine_curve& curve) {
    return HWY_DYNAMIC_DISPATCH(affine_16)(run, curve);
}
bool map_grey(const sample_run<std::uint8_t>& run, const float (&weights)[3]) {
    return HWY_DYNAMIC_DISPATCH(grey_8)(run, weights);
}
bool map_grey(const sample_run<std::uint16_t>& run, const float (&weights)[3]) {
    return HWY_DYNAMIC_DISPATCH(grey_16)(run, weights);
}
bool flip_bits(void* pixels, std::uint64_t bytes, const void* mask, unsigned pixel_bytes) {
    return HWY_DYNAMIC_DISPATCH(flip)(pixels, bytes, mask, pixel_bytes);
}

} // namespace zarn::vector
#endif
