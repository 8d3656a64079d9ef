#include "kernels/vector/move_pixels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/move_pixels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

std::uint64_t reverse(const void*, void*, std::uint64_t, unsigned) { return 0; }
std::uint64_t halve(const void*, void*, std::uint64_t, unsigned) { return 0; }
std::uint64_t twice(const void*, void*, std::uint64_t, unsigned) { return 0; }

#else

namespace hn = hwy::HWY_NAMESPACE;

// Calls work(pixel, from, to) with the arrays as numbers as wide as a pixel.
template <class Work>
HWY_INLINE std::uint64_t with_pixels(const void* from, void* to, unsigned pixel_bytes, Work work) {
    switch (pixel_bytes) {
    case 1:
        return work(static_cast<const std::uint8_t*>(from), static_cast<std::uint8_t*>(to));
    case 2:
        return work(static_cast<const std::uint16_t*>(from), static_cast<std::uint16_t*>(to));
    case 4:
        return work(static_cast<const std::uint32_t*>(from), static_cast<std::uint32_t*>(to));
    case 8:
        return work(static_cast<const std::uint64_t*>(from), static_cast<std::uint64_t*>(to));
    default:
        return 0;
    }
}

template <class D>
HWY_INLINE hn::Vec<D> reversed(D d, hn::Vec<D> pixels) {
    if constexpr (sizeof(hn::TFromD<D>) == 1) {
        // There is no reversal of bytes: of pairs, and in each pair.
        const hn::Repartition<std::uint16_t, D> d_pair;
        const auto pairs = hn::Reverse(d_pair, hn::BitCast(d_pair, pixels));
        return hn::BitCast(d, hn::Or(hn::ShiftLeft<8>(pairs), hn::ShiftRight<8>(pairs)));
    } else {
        return hn::Reverse(d, pixels);
    }
}

template <class Pixel>
std::uint64_t reverse_row(const Pixel* from, Pixel* to, std::uint64_t count) {
    const hn::ScalableTag<Pixel> d;
    const std::size_t lanes = hn::Lanes(d);
    std::uint64_t x = 0;
    for (; count - x >= lanes; x += lanes) {
        hn::StoreU(reversed(d, hn::LoadU(d, from + (count - x - lanes))), d, to + x);
    }
    return x;
}

template <class Pixel>
std::uint64_t halve_row(const Pixel* from, Pixel* to, std::uint64_t count) {
    const hn::ScalableTag<Pixel> d;
    const std::size_t lanes = hn::Lanes(d);
    std::uint64_t x = 0;
    for (; count - x >= lanes; x += lanes) {
        const auto low = hn::LoadU(d, from + 2 * x), high = hn::LoadU(d, from + 2 * x + lanes);
        hn::StoreU(hn::ConcatEven(d, high, low), d, to + x);
    }
    return x;
}

template <class Pixel>
std::uint64_t double_row(const Pixel* from, Pixel* to, std::uint64_t count) {
    const hn::ScalableTag<Pixel> d;
    const std::size_t lanes = hn::Lanes(d);
    std::uint64_t x = 0;
    for (; count - x >= 2 * lanes; x += 2 * lanes) {
        const auto pixels = hn::LoadU(d, from + x / 2);
        hn::StoreInterleaved2(pixels, pixels, d, to + x);
    }
    return x;
}

std::uint64_t reverse(const void* from, void* to, std::uint64_t count, unsigned pixel_bytes) {
    return with_pixels(from, to, pixel_bytes,
                       [count](auto* source, auto* target) HWY_ATTR { return reverse_row(source, target, count); });
}
std::uint64_t halve(const void* from, void* to, std::uint64_t count, unsigned pixel_bytes) {
    return with_pixels(from, to, pixel_bytes,
                       [count](auto* source, auto* target) HWY_ATTR { return halve_row(source, target, count); });
}
std::uint64_t twice(const void* from, void* to, std::uint64_t count, unsigned pixel_bytes) {
    return with_pixels(from, to, pixel_bytes,
                       [count](auto* source, auto* target) HWY_ATTR { return double_row(source, target, count); });
}

#endif

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(reverse);
HWY_EXPORT(halve);
HWY_EXPORT(twice);

std::uint64_t reverse_pixels(const void* from, void* to, std::uint64_t count, unsigned pixel_bytes) {
    return HWY_DYNAMIC_DISPATCH(reverse)(from, to, count, pixel_bytes);
}
std::uint64_t every_second_pixel(const void* from, void* to, std::uint64_t count, unsigned pixel_bytes) {
    return HWY_DYNAMIC_DISPATCH(halve)(from, to, count, pixel_bytes);
}
std::uint64_t every_pixel_twice(const void* from, void* to, std::uint64_t count, unsigned pixel_bytes) {
    return HWY_DYNAMIC_DISPATCH(twice)(from, to, count, pixel_bytes);
}

} // namespace zarn::vector
#endif
