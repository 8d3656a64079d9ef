#include "tests/reference/reference_blend.h"

#include <algorithm>

namespace zarn_test {

namespace {

__extension__ using wide = __int128; // holds every product of 32-bit samples

wide blend(unsigned mode, wide d, wide s, wide full) {
    const wide count = full + 1, half = count / 2, quarter = count / 4;
    const wide zero = 0;
    const wide product = 2 * s * d / full;
    const wide inverse_product = full - 2 * (full - s) * (full - d) / full;
    switch (mode) {
    case 0:
        return s;
    case 1:
        return std::max(d, s);
    case 2:
        return std::min(d, s);
    case 3:
        return s * d / full;
    case 4:
        return (s + d) / 2;
    case 5:
    case 16:
        return std::min(s + d, full);
    case 6:
    case 17:
        return std::max(s + d - full, zero);
    case 7:
        return d > s ? d - s : s - d;
    case 8:
        return full - (full - s - d < 0 ? -(full - s - d) : full - s - d);
    case 9:
        return full - (full - s) * (full - d) / count;
    case 10:
        return s + d - product;
    case 11:
        return s < half ? product : inverse_product;
    case 12: {
        const wide softened = d / 2 + quarter;
        return s < half ? 2 * softened * (s / full) : full - 2 * (full - softened) * (full - s) / full;
    }
    case 13:
        return d < half ? product : inverse_product;
    case 14:
        return d == full ? full : std::min(s * count / (full - d), full);
    case 15:
        return d == 0 ? zero : std::max(full + (s - full) * count / d, zero);
    case 18:
        return d < half ? std::max(s + 2 * d - full, zero) : std::min(s + 2 * (d - half), full);
    case 19:
        if (d < half) return d == 0 ? zero : std::max(full + (s - full) * count / (2 * d), zero);
        return std::min(s * count / (2 * full + 1 - 2 * d), full);
    case 20:
        return d < half ? std::min(s, 2 * d) : std::max(s, 2 * d - count);
    case 21:
        return blend(19, d, s, full) < half ? zero : full;
    case 22:
        return s == full ? full : std::min(d * d / (full - s), full);
    case 23:
        return d == full ? full : std::min(s * s / (full - d), full);
    default:
        return full - (d > s ? d - s : s - d);
    }
}

// 8 and 16 bits mix in 32-bit floats, 32 bits in doubles.
template <class Real>
void composite(const reference_image& format, std::uint32_t* d, const std::uint32_t* s,
               const reference_blit_call& call) {
    const Real k = format.full == 255     ? static_cast<Real>(0.003921569f)
                   : format.full == 65535 ? static_cast<Real>(1.5259022e-05f)
                                          : static_cast<Real>(1.0 / 4294967295.0);
    if (format.has_alpha && call.flags == 0) d[format.colours] = std::max(d[format.colours], s[format.colours]);
    Real weight = static_cast<Real>(call.opacity);
    if (format.has_alpha) weight = static_cast<Real>(s[format.colours]) * k * weight;
    if (call.mode <= 24) {
        for (unsigned c = 0; c < format.colours; ++c) {
            const Real b = static_cast<Real>(reference_blend(call.mode, d[c], s[c], format.full));
            d[c] = to_sample(static_cast<Real>(d[c]) * (1 - weight) + b * weight, format.full);
        }
    } else if (call.mode == 25) {
        format.copy_pixel(d, s);
    } else if (call.mode == 26) {
        std::uint32_t result[4] = {};
        call.custom(static_cast<float>(weight), d, s, result);
        for (unsigned i = 0; i < format.stride(); ++i) d[i] = static_cast<std::uint32_t>(result[i] & format.full);
    }
}

} // namespace

std::uint64_t reference_blend(unsigned mode, std::uint64_t destination, std::uint64_t source, std::uint64_t full) {
    return static_cast<std::uint64_t>(blend(mode, destination, source, full));
}

void reference_blit(reference_image& destination, reference_image source, const reference_blit_call& call) {
    const auto at = [](reference_image& of, std::uint64_t x, std::uint64_t y) { return of.at_picture(x, y); };
    each_drawn_pixel(destination, source, call, at, [&](std::uint32_t* d, const std::uint32_t* s) {
        if (destination.full > 65535) composite<double>(destination, d, s, call);
        if (destination.full <= 65535) composite<float>(destination, d, s, call);
    });
}

} // namespace zarn_test
