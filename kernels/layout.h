// Between pixels of colour and alpha and pixels of value and alpha.
#pragma once

#include <cstdint>

namespace zarn {

// Grey: the format of the values. (v, a) becomes (v, v, v, a).
template <class Grey>
void spread_greys(const typename Grey::sample* greys, typename Grey::sample* colours, std::uint64_t count);

// (r, g, b, a) becomes its luma, (0.299 r + 0.587 g + 0.114 b, a).
template <class Grey>
void mix_lumas(const typename Grey::sample* colours, typename Grey::sample* greys, std::uint64_t count);

} // namespace zarn
