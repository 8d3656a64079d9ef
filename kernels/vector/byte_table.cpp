#include "kernels/vector/byte_table.h"

// The one set with a table look-up across 128 bytes; Highway leaves it out unless asked. Not without optimisation: what
// Highway then does not inline has one body for all sources, whichever sets each is compiled for.
#ifdef __OPTIMIZE__
    #define HWY_WANT_AVX3_DL
#endif

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/vector/byte_table.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace zarn::vector::HWY_NAMESPACE {

#if HWY_TARGET == HWY_AVX3_DL

bool look_up_bytes(const sample_run<std::uint8_t>& run, const std::uint8_t* table) {
    constexpr std::uint64_t lanes = 64;
    __m512i quarters[4];
    for (unsigned n = 0; n < 4; ++n) quarters[n] = _mm512_loadu_si512(table + n * lanes);

    __mmask64 colours = ~__mmask64{0};
    if (run.has_alpha) {
        for (unsigned n = run.channels - 1; n < lanes; n += run.channels) colours &= ~(__mmask64{1} << n);
    }
    for (std::uint64_t at = 0; at < run.count; at += lanes) {
        const std::uint64_t left = run.count - at;
        const __mmask64 inside = left < lanes ? (__mmask64{1} << left) - 1 : ~__mmask64{0};
        const __m512i bytes = _mm512_maskz_loadu_epi8(inside, run.samples + at);
        // The low seven bits choose within each half of the table, the top bit between the halves.
        const __m512i lower = _mm512_permutex2var_epi8(quarters[0], bytes, quarters[1]);
        const __m512i upper = _mm512_permutex2var_epi8(quarters[2], bytes, quarters[3]);
        const __m512i entries = _mm512_mask_blend_epi8(_mm512_movepi8_mask(bytes), lower, upper);
        _mm512_mask_storeu_epi8(run.samples + at, inside, _mm512_mask_blend_epi8(colours, bytes, entries));
    }
    return true;
}

#else

bool look_up_bytes(const sample_run<std::uint8_t>&, const std::uint8_t*) { return false; }

#endif

} // namespace zarn::vector::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zarn::vector {

HWY_EXPORT(look_up_bytes);

bool look_up(const sample_run<std::uint8_t>& run, const std::uint8_t* table) {
    return HWY_DYNAMIC_DISPATCH(look_up_bytes)(run, table);
}

} // namespace zarn::vector
#endif
