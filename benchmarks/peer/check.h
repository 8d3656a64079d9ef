// Whether the two sides of a pair do the same: a comparison of speed means nothing otherwise.
#pragma once

#include "benchmarks/peer/our_operations.h"
#include "benchmarks/peer/peer_operations.h"
#include "benchmarks/peer/picture.h"

namespace zarn_bench {

// Mean difference of our result to the peer's, in its alpha form where it has one: the larger of that of alpha over all
// pixels, and that of colour over those which are opaque on both sides. 0..255. Throws std::runtime_error when the
// sizes differ or the difference exceeds the operation's tolerance.
double check_pair(const operation& one, const picture& source, peer& other);

} // namespace zarn_bench
