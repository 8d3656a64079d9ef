// Operations on single samples or pixels of real images in vectors. Bit for bit the plain forms of kernels/tone.cpp,
// kernels/grading.cpp and kernels/reals.h, but that NaNs may have other bits, and but for powers, which are within one
// unit in the last place of std::pow.
#pragma once

#include <cstdint>

#include <half.hpp>

#include "kernels/grading.h"
#include "kernels/tone.h"
#include "kernels/vector/sample_run.h"

namespace zarn::vector {

// Values below `low` and NaN count as `low`, those above `high` as `high`; then (value - low) * scale * range + shift.
struct levels_curve {
    float low;
    float high;
    float scale;
    float range;
    float shift;
};

// Each false, with nothing done, where the machine has no vectors for it. Alpha stays where the run has one.
#define ZARN_DECLARE(sample)                                                                                           \
    bool map_curve(const sample_run<sample>& run, tone_curve curve, float amount);                                     \
    bool raise(const sample_run<sample>& run, float exponent);                                                         \
    bool complement(const sample_run<sample>& run, bool of_colour, bool of_alpha);                                     \
    bool map_levels(const sample_run<sample>& run, const levels_curve& levels);                                        \
    bool map_factors(const sample_run<sample>& run, const float(&factors)[3]);                                         \
    bool map_hue(const sample_run<sample>& run, const hue_matrix& matrix);                                             \
    bool mix_greys(const sample_run<const sample>& colours, const sample_run<sample>& greys, const float(&weights)[3]);
ZARN_DECLARE(float)
ZARN_DECLARE(half_float::half)
#undef ZARN_DECLARE

// The same bits as the half type's own conversions, NaNs included.
bool convert_samples(const float* from, half_float::half* to, std::uint64_t count);
bool convert_samples(const half_float::half* from, float* to, std::uint64_t count);

} // namespace zarn::vector
