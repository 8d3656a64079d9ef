// Tone operations in vectors, bit for bit the plain forms of kernels/tone.cpp.
#pragma once

#include <cstdint>

#include "kernels/vector/sample_run.h"

namespace zarn::vector {

// The curve of a sample max(0, min(full scale, (sample - pivot) * factor + shift)), in single precision.
struct affine_curve {
    float pivot;
    float factor;
    float shift;
};

// False, with nothing done, where the machine has no vectors for it.
bool map_affine(const sample_run<std::uint16_t>& run, const affine_curve& curve);

// RGBA only. The weights must not be negative and their sum, in any order, must not exceed 1.
bool map_grey(const sample_run<std::uint8_t>& run, const float (&weights)[3]);
bool map_grey(const sample_run<std::uint16_t>& run, const float (&weights)[3]);

// Exclusive-or with `mask`, one pixel of 1, 2, 4 or 8 bytes.
bool flip_bits(void* pixels, std::uint64_t bytes, const void* mask, unsigned pixel_bytes);

} // namespace zarn::vector
