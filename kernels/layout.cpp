#include "kernels/layout.h"

#include "kernels/pixel_format.h"

namespace zarn {

template <class Grey>
void spread_greys(const typename Grey::sample* greys, typename Grey::sample* colours, std::uint64_t count) {
    for (std::uint64_t i = 0; i < count; ++i, greys += 2, colours += 4) {
        colours[0] = colours[1] = colours[2] = greys[0];
        colours[3] = greys[1];
    }
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template void spread_greys<format>(const format::sample*, format::sample*, std::uint64_t);
ZARN_FOR_EACH_REAL_GREY_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
