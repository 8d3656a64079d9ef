// The instruction sets that vector code is compiled for, one at a time.
#pragma once

#include <cstdint>

#include <hwy/targets.h>

namespace zarn_test {

// Limits vector code to these sets; 0: no limit.
inline void use_targets(std::int64_t targets) {
    hwy::SetSupportedTargetsForTest(targets);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

} // namespace zarn_test
