#include "operations/normals.h"

#include <algorithm>

#include "kernels/normals.h"
#include "operations/frame.h"

namespace zarn {

namespace {

bool meets(std::int32_t start, std::int32_t end, std::uint32_t length) noexcept {
    return start < static_cast<std::int64_t>(length) && end >= 1;
}

void cut(std::int32_t& start, std::int32_t& end, std::uint32_t length) noexcept {
    start = std::max(start, 0);
    end = static_cast<std::int32_t>(std::min<std::int64_t>(end, length));
}

} // namespace

unsigned int write_normals(image_state& image, float strength, bool wrap, std::uint32_t flags, zarn_irect_s* rectangle,
                           zarn_pixel_16_s* output) noexcept {
    std::uint32_t left = 0, top = 0, right = image.width, bottom = image.height;
    if (rectangle) {
        zarn_irect_s& r = *rectangle;
        if (!meets(r.left, r.right, image.width) || !meets(r.top, r.bottom, image.height)) return 1;
        cut(r.left, r.right, image.width);
        cut(r.top, r.bottom, image.height);
        if (r.left >= r.right || r.top >= r.bottom) return 1;
        left = static_cast<std::uint32_t>(r.left);
        top = static_cast<std::uint32_t>(r.top);
        right = static_cast<std::uint32_t>(r.right);
        bottom = static_cast<std::uint32_t>(r.bottom);
    }
    // The one record that is named after the depth as well.
    const image_names& names = *image.names;
    image_names names_of_record = names;
    names_of_record.record_suffix = L"16_g";
    image.names = &names_of_record;
    operation_bands bands(image, L"normals", top, bottom, at_most_one_band_per_row(image, bottom - top));
    image.names = &names;
    if (!bands) return 0;
    const normals_job job{samples<grey_16>(image),
                          reinterpret_cast<std::uint16_t*>(output),
                          image.width,
                          image.height,
                          left,
                          right,
                          strength,
                          wrap,
                          flags};
    bands.run(job, normals_rows);
    return 1;
}

} // namespace zarn
