#include "kernels/vector/normals.h"

#include "kernels/pixel_format.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/normals.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// All is computed in 32-bit floats in the order of the plain form; square root and quotient are correctly rounded.

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {
// Other sources have kernels of the same names.
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128 || HWY_IS_BIG_ENDIAN

std::uint32_t make_normals(const normals_job&, const normals_row&, std::uint32_t start, std::uint32_t) { return start; }

#else

namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using DU = hn::RebindToUnsigned<DF>;
using D16 = hn::Rebind<std::uint16_t, DF>;
using VF = hn::Vec<DF>;
using VU = hn::Vec<DU>;

constexpr std::uint32_t lanes = HWY_LANES(float);

HWY_INLINE VU load_pixels(const std::uint16_t* row, std::uint32_t x) {
    return hn::BitCast(DU(), hn::LoadU(hn::Repartition<std::uint16_t, DU>(), row + x * std::uint64_t{2}));
}

HWY_INLINE VU alpha_of(VU pixels) { return hn::ShiftRight<16>(pixels); }
HWY_INLINE hn::Mask<DU> is_visible(VU pixels) { return hn::Ne(alpha_of(pixels), hn::Zero(DU())); }
HWY_INLINE VU value_of(VU pixels) { return hn::And(pixels, hn::Set(DU(), 0xFFFFu)); }

// Invisible pixels stand at the centre's height.
struct heights {
    VU centre;

    HWY_INLINE VF operator()(const std::uint16_t* row, std::uint32_t x) const {
        const VU pixels = load_pixels(row, x);
        const VU value = value_of(hn::IfThenElse(is_visible(pixels), pixels, centre));
        return hn::Mul(hn::ConvertTo(DF(), hn::BitCast(DI(), value)), hn::Set(DF(), grey_16::to_unit));
    }
};

// What is not a number becomes 0; all else fits.
HWY_INLINE VU encode(VF component) {
    const DF d;
    const VF half = hn::Mul(hn::Add(component, hn::Set(d, 1.0f)), hn::Set(d, 0.5f));
    const VF scaled = hn::Mul(half, hn::Set(d, static_cast<float>(grey_16::full)));
    const VF number = hn::IfThenElseZero(hn::Eq(scaled, scaled), scaled);
    return value_of(hn::BitCast(DU(), hn::ConvertTo(DI(), number)));
}

HWY_INLINE hn::Vec<D16> narrow(VU samples) { return hn::TruncateTo(D16(), samples); }

std::uint32_t make_normals(const normals_job& job, const normals_row& row, std::uint32_t x, std::uint32_t end) {
    const DF d;
    const VF two = hn::Set(d, 2.0f), one = hn::Set(d, 1.0f);
    const VF sign_x = hn::Set(d, job.flags & normal_invert_x ? -1.0f : 1.0f);
    const VF sign_y = hn::Set(d, job.flags & normal_invert_y ? -1.0f : 1.0f);
    const VF sign_z = hn::Set(d, job.flags & normal_invert_z ? -1.0f : 1.0f);
    const VU level = hn::Set(DU(), normal_level);
    const VU depth_of_holes = hn::Set(DU(), job.flags & normal_white_holes ? rgba_16::full : 0u);
    for (; x < end && end - x >= lanes; x += lanes) {
        const VU centre = load_pixels(row.here, x);
        const heights height{centre};
        const VF above_left = height(row.above, x - 1), above_right = height(row.above, x + 1);
        const VF below_left = height(row.below, x - 1), below_right = height(row.below, x + 1);
        VF gradient_x = hn::Add(above_right, hn::Mul(two, height(row.here, x + 1)));
        gradient_x = hn::Sub(hn::Add(gradient_x, below_right), above_left);
        gradient_x = hn::Sub(hn::Sub(gradient_x, hn::Mul(two, height(row.here, x - 1))), below_left);
        VF gradient_y = hn::Add(above_left, hn::Mul(two, height(row.above, x)));
        gradient_y = hn::Sub(hn::Add(gradient_y, above_right), below_left);
        gradient_y = hn::Sub(hn::Sub(gradient_y, hn::Mul(two, height(row.below, x))), below_right);
        const VF normal_x = hn::Mul(hn::Set(d, -job.strength), gradient_x);
        const VF normal_y = hn::Mul(hn::Set(d, job.strength), gradient_y);
        const VF squares = hn::Add(hn::Add(hn::Mul(normal_x, normal_x), hn::Mul(normal_y, normal_y)), one);
        const VF scale = hn::Div(one, hn::Sqrt(squares));
        const auto seen = is_visible(centre);
        const VU r = hn::IfThenElse(seen, encode(hn::Mul(sign_x, hn::Mul(normal_x, scale))), level);
        const VU g = hn::IfThenElse(seen, encode(hn::Mul(sign_y, hn::Mul(normal_y, scale))), level);
        const VU b = hn::IfThenElse(seen, encode(hn::Mul(sign_z, scale)), depth_of_holes);
        hn::StoreInterleaved4(narrow(r), narrow(g), narrow(b), narrow(alpha_of(centre)), D16(),
                              row.out + x * std::uint64_t{4});
    }
    return x;
}

#endif

} // namespace

// Dispatch takes functions of this namespace.
std::uint32_t normals_columns(const normals_job& job, const normals_row& row, std::uint32_t start, std::uint32_t end) {
    return make_normals(job, row, start, end);
}

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(normals_columns);

std::uint32_t normals_columns(const normals_job& job, const normals_row& row, std::uint32_t start, std::uint32_t end) {
    return HWY_DYNAMIC_DISPATCH(normals_columns)(job, row, start, end);
}

} // namespace zarn::vector
#endif
