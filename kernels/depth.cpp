#include "kernels/depth.h"

#include "kernels/vector/depth.h"

namespace zarn {

template <class To, class From>
void convert_depth_rows(const depth_job& job, row_range rows) {
    const std::uint64_t first = rows.start * job.row_samples;
    const std::uint64_t count = (rows.end - rows.start) * job.row_samples;
    const auto* source = static_cast<const typename From::sample*>(job.source) + first;
    auto* destination = static_cast<typename To::sample*>(job.destination) + first;
    if (vector::convert_depth(source, destination, count)) return;
    for (std::uint64_t i = 0; i < count; ++i) destination[i] = convert_depth<To, From>(source[i]);
}

template void convert_depth_rows<rgba_16, rgba_8>(const depth_job&, row_range);
template void convert_depth_rows<rgba_8, rgba_16>(const depth_job&, row_range);

} // namespace zarn
