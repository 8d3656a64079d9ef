#include "kernels/vector/normalize.h"

#include <algorithm>
#include <cstring>

#include "kernels/pixel_format.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/normalize.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

template <class Format>
bool span_of(const typename Format::sample*, std::uint64_t, lightness_span&) {
    return false;
}
template <class Format>
bool stretch_pixels(typename Format::sample*, std::uint64_t, lightness_span) {
    return false;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// A lane is a pixel. Every sum, product and quotient of kernels/hsl.h stands here in the same order; of its branches
// all are computed and one is chosen.
using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using V = hn::Vec<DF>;
using VI = hn::Vec<DI>;
template <class Sample>
using DS = hn::Rebind<Sample, DF>;

constexpr std::size_t most_lanes = hn::MaxLanes(DF());

HWY_INLINE V constant(float value) { return hn::Set(DF(), value); }
HWY_INLINE V choose(hn::Mask<DF> condition, V a, V b) { return hn::IfThenElse(condition, a, b); }

struct pixels {
    VI samples[3];
    VI alpha;
    V colour[3]; // 0..1
};

template <class Format>
HWY_INLINE pixels load(const typename Format::sample* from) {
    const DS<typename Format::sample> ds;
    hn::Vec<decltype(ds)> r, g, b, a;
    hn::LoadInterleaved4(ds, from, r, g, b, a);
    pixels p;
    p.samples[0] = hn::PromoteTo(DI(), r);
    p.samples[1] = hn::PromoteTo(DI(), g);
    p.samples[2] = hn::PromoteTo(DI(), b);
    p.alpha = hn::PromoteTo(DI(), a);
    for (unsigned c = 0; c < 3; ++c) {
        p.colour[c] = hn::Mul(hn::ConvertTo(DF(), p.samples[c]), constant(Format::to_unit));
    }
    return p;
}

HWY_INLINE V greatest_of(const pixels& p) { return hn::Max(hn::Max(p.colour[0], p.colour[1]), p.colour[2]); }
HWY_INLINE V least_of(const pixels& p) { return hn::Min(hn::Min(p.colour[0], p.colour[1]), p.colour[2]); }
HWY_INLINE hn::Mask<DF> is_hidden(const pixels& p) { return hn::RebindMask(DF(), hn::Eq(p.alpha, hn::Zero(DI()))); }

template <class Format>
bool span_of(const typename Format::sample* rgba, std::uint64_t count, lightness_span& span) {
    const std::size_t lanes = hn::Lanes(DF());
    V least = constant(span.least), greatest = constant(span.greatest);
    const auto widen = [&](const typename Format::sample* from) HWY_ATTR {
        const pixels p = load<Format>(from);
        const V lightness = hn::Mul(hn::Add(greatest_of(p), least_of(p)), constant(0.5f));
        const auto hidden = is_hidden(p);
        least = hn::Min(least, choose(hidden, least, lightness));
        greatest = hn::Max(greatest, choose(hidden, greatest, lightness));
    };
    std::uint64_t i = 0;
    for (; count - i >= lanes; i += lanes) widen(rgba + i * 4);
    if (i < count) {
        typename Format::sample rest[most_lanes * 4] = {}; // the added ones are hidden
        std::memcpy(rest, rgba + i * 4, (count - i) * pixel_bytes<Format>);
        widen(rest);
    }
    float leasts[most_lanes], greatests[most_lanes];
    hn::StoreU(least, DF(), leasts);
    hn::StoreU(greatest, DF(), greatests);
    span.least = *std::min_element(leasts, leasts + lanes);
    span.greatest = *std::max_element(greatests, greatests + lanes);
    return true;
}

HWY_INLINE V component(V t, V p, V q) {
    const V one = constant(1.0f), span = hn::Sub(q, p);
    t = choose(hn::Lt(t, hn::Zero(DF())), hn::Add(t, one), t);
    t = choose(hn::Gt(t, one), hn::Sub(t, one), t);
    const V rising = hn::Add(p, hn::Mul(hn::Mul(span, constant(6.0f)), t));
    const V falling = hn::Add(p, hn::Mul(hn::Mul(span, hn::Sub(constant(0.6666667f), t)), constant(6.0f)));
    return choose(hn::Lt(hn::Mul(constant(6.0f), t), one), rising,
                  choose(hn::Lt(hn::Mul(constant(2.0f), t), one), q,
                         choose(hn::Lt(hn::Mul(constant(3.0f), t), constant(2.0f)), falling, p)));
}

template <class Format>
HWY_INLINE void stretch_vector(typename Format::sample* rgba, V span_least, V span_length) {
    const pixels in = load<Format>(rgba);
    const auto& [red, green, blue] = in.colour;
    const V one = constant(1.0f), half = constant(0.5f), zero = hn::Zero(DF());
    const V greatest = greatest_of(in), least = least_of(in);
    const V delta = hn::Sub(greatest, least), sum = hn::Add(greatest, least);
    const auto is_grey = hn::Eq(delta, zero);
    V lightness = hn::Mul(sum, half);
    const V saturation =
        hn::Div(delta, choose(hn::Lt(lightness, half), sum, hn::Sub(hn::Sub(constant(2.0f), greatest), least)));

    // The hue of the greatest component's third, and the distances of the two others. Where red is the greatest the
    // third starts at 0, which changes no bit.
    const auto red_wins = hn::Eq(red, greatest), green_wins = hn::Eq(green, greatest);
    const V start = hn::IfThenZeroElse(red_wins, choose(green_wins, constant(0.33333334f), constant(0.6666667f)));
    const V added = choose(red_wins, blue, choose(green_wins, red, green));
    const V taken = choose(red_wins, green, choose(green_wins, blue, red));
    const V inverse = hn::Div(one, delta), half_delta = hn::Mul(delta, half);
    const auto distance = [=](V value) HWY_ATTR {
        const V sixth = hn::Mul(hn::Sub(greatest, value), constant(0.16666667f));
        return hn::Mul(hn::Add(sixth, half_delta), inverse);
    };
    V hue = hn::Sub(hn::Add(start, distance(added)), distance(taken));
    hue = choose(hn::Lt(hue, zero), hn::Add(hue, one), hue);
    hue = choose(hn::Gt(hue, one), hn::Sub(hue, one), hue);

    lightness = hn::Div(hn::Sub(lightness, span_least), span_length);

    const V q = choose(hn::Lt(lightness, half), hn::Mul(hn::Add(one, saturation), lightness),
                       hn::Sub(hn::Add(lightness, saturation), hn::Mul(saturation, lightness)));
    const V p = hn::Sub(hn::Mul(constant(2.0f), lightness), q);
    const V hues[3] = {hn::Add(hue, constant(0.33333334f)), hue, hn::Sub(hue, constant(0.33333334f))};

    const DS<typename Format::sample> ds;
    const hn::RebindToUnsigned<DI> du;
    const auto hidden = hn::Eq(in.alpha, hn::Zero(DI()));
    hn::Vec<decltype(ds)> out[3];
    for (unsigned c = 0; c < 3; ++c) {
        const V value = choose(is_grey, lightness, component(hues[c], p, q));
        const VI whole = hn::ConvertTo(DI(), hn::Mul(value, constant(static_cast<float>(Format::full))));
        out[c] = hn::TruncateTo(ds, hn::BitCast(du, hn::IfThenElse(hidden, in.samples[c], whole)));
    }
    hn::StoreInterleaved4(out[0], out[1], out[2], hn::TruncateTo(ds, hn::BitCast(du, in.alpha)), ds, rgba);
}

template <class Format>
bool stretch_pixels(typename Format::sample* rgba, std::uint64_t count, lightness_span span) {
    const std::size_t lanes = hn::Lanes(DF());
    const V least = constant(span.least), length = constant(span.greatest - span.least);
    std::uint64_t i = 0;
    for (; count - i >= lanes; i += lanes) stretch_vector<Format>(rgba + i * 4, least, length);
    if (i < count) {
        typename Format::sample rest[most_lanes * 4] = {};
        const std::size_t rest_bytes = (count - i) * pixel_bytes<Format>;
        std::memcpy(rest, rgba + i * 4, rest_bytes);
        stretch_vector<Format>(rest, least, length);
        std::memcpy(rgba + i * 4, rest, rest_bytes);
    }
    return true;
}

#endif

bool span_8(const std::uint8_t* rgba, std::uint64_t pixels, lightness_span& span) {
    return span_of<rgba_8>(rgba, pixels, span);
}
bool span_16(const std::uint16_t* rgba, std::uint64_t pixels, lightness_span& span) {
    return span_of<rgba_16>(rgba, pixels, span);
}
bool stretch_8(std::uint8_t* rgba, std::uint64_t pixels, lightness_span span) {
    return stretch_pixels<rgba_8>(rgba, pixels, span);
}
bool stretch_16(std::uint16_t* rgba, std::uint64_t pixels, lightness_span span) {
    return stretch_pixels<rgba_16>(rgba, pixels, span);
}

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(span_8);
HWY_EXPORT(span_16);
HWY_EXPORT(stretch_8);
HWY_EXPORT(stretch_16);

bool widen_span(const std::uint8_t* rgba, std::uint64_t pixels, lightness_span& span) {
    return HWY_DYNAMIC_DISPATCH(span_8)(rgba, pixels, span);
}
bool widen_span(const std::uint16_t* rgba, std::uint64_t pixels, lightness_span& span) {
    return HWY_DYNAMIC_DISPATCH(span_16)(rgba, pixels, span);
}
bool stretch(std::uint8_t* rgba, std::uint64_t pixels, lightness_span span) {
    return HWY_DYNAMIC_DISPATCH(stretch_8)(rgba, pixels, span);
}
bool stretch(std::uint16_t* rgba, std::uint64_t pixels, lightness_span span) {
    return HWY_DYNAMIC_DISPATCH(stretch_16)(rgba, pixels, span);
}

} // namespace zarn::vector
#endif
