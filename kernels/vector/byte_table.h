// Looking bytes up in a table of all their values, in vectors.
#pragma once

#include <cstdint>

#include "kernels/vector/sample_run.h"

namespace zarn::vector {

// Replaces every colour sample by its entry in the table of 256. False, with nothing done, where the machine has no
// instruction for it.
bool look_up(const sample_run<std::uint8_t>& run, const std::uint8_t* table);

} // namespace zarn::vector
