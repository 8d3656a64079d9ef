// Pixels of colour and alpha from pixels of value and alpha.
#pragma once

#include <cstdint>

namespace zarn {

// Grey: the format of the values. (v, a) becomes (v, v, v, a).
template <class Grey>
void spread_greys(const typename Grey::sample* greys, typename Grey::sample* colours, std::uint64_t count);

} // namespace zarn
