#include "kernels/normals.h"

#include <algorithm>
#include <cmath>

#include "kernels/low_bits.h"
#include "kernels/pixel_format.h"
#include "kernels/vector/normals.h"

namespace zarn {

namespace {

constexpr std::uint64_t height_samples = channels<grey_16>;
constexpr std::uint64_t normal_samples = channels<rgba_16>;

// The position before or behind one, around the edge or held at it.
std::uint32_t before(std::uint32_t at, std::uint32_t length, bool wrap) { return at ? at - 1 : wrap ? length - 1 : at; }
std::uint32_t behind(std::uint32_t at, std::uint32_t length, bool wrap) {
    return at + 1 < length ? at + 1 : wrap ? 0 : at;
}

std::uint16_t encode(float component) {
    return low_bits<std::uint16_t>((component + 1.0f) * 0.5f * static_cast<float>(grey_16::full));
}

} // namespace

void normals_rows(const normals_job& job, row_range rows) {
    const float sign_x = job.flags & normal_invert_x ? -1.0f : 1.0f;
    const float sign_y = job.flags & normal_invert_y ? -1.0f : 1.0f;
    const float sign_z = job.flags & normal_invert_z ? -1.0f : 1.0f;
    const auto height_row = [&job](std::uint32_t y) {
        return job.heights + std::uint64_t{y} * job.width * height_samples;
    };
    for (std::uint32_t y = rows.start; y < rows.end; ++y) {
        const std::uint16_t* const above = height_row(before(y, job.height, job.wrap));
        const std::uint16_t* const here = height_row(y);
        const std::uint16_t* const below = height_row(behind(y, job.height, job.wrap));
        const vector::normals_row row{above, here, below, job.normals + std::uint64_t{y} * job.width * normal_samples};
        const auto write_column = [&](std::uint32_t x) {
            std::uint16_t* const out = row.out + x * normal_samples;
            const std::uint16_t* const centre = here + x * height_samples;
            out[3] = centre[1];
            if (!is_visible<grey_16>(centre)) {
                out[0] = out[1] = normal_level;
                out[2] = job.flags & normal_white_holes ? rgba_16::full : 0;
                return;
            }
            // Invisible neighbours stand at the centre's height.
            const auto height = [centre](const std::uint16_t* line, std::uint32_t column) {
                const std::uint16_t* const pixel = line + column * height_samples;
                return static_cast<float>(is_visible<grey_16>(pixel) ? *pixel : *centre) * grey_16::to_unit;
            };
            const std::uint32_t left = before(x, job.width, job.wrap);
            const std::uint32_t right = behind(x, job.width, job.wrap);
            const float gradient_x = height(above, right) + 2.0f * height(here, right) + height(below, right) -
                                     height(above, left) - 2.0f * height(here, left) - height(below, left);
            const float gradient_y = height(above, left) + 2.0f * height(above, x) + height(above, right) -
                                     height(below, left) - 2.0f * height(below, x) - height(below, right);
            const float normal_x = -job.strength * gradient_x;
            const float normal_y = job.strength * gradient_y;
            const float scale = 1.0f / std::sqrt(normal_x * normal_x + normal_y * normal_y + 1.0f);
            out[0] = encode(sign_x * (normal_x * scale));
            out[1] = encode(sign_y * (normal_y * scale));
            out[2] = encode(sign_z * scale);
        };
        std::uint32_t x = job.left;
        if (x == 0) write_column(x++);
        x = vector::normals_columns(job, row, x, std::min(job.right, job.width - 1));
        for (; x < job.right; ++x) write_column(x);
    }
}

} // namespace zarn
