#include "operations/nradar.h"

#include <algorithm>

#include "kernels/nradar.h"
#include "operations/frame.h"

namespace zarn {

namespace {

enum radar_flag : std::uint32_t { negate_x = 1, negate_y = 4, swap_hemispheres = 16 };

bool make_samples(zarn_list<zarn_nradar_sample_s>& samples_of_bins, std::uint32_t bins) noexcept {
    samples_of_bins.set_size(bins);
    samples_of_bins.set_count_to_size();
    return samples_of_bins.count == bins;
}

} // namespace

unsigned int build_normal_map_radar(image_state& image, bool is_grayscale, std::uint32_t bins, std::uint32_t flags,
                                    zarn_nradar_s& radar) noexcept {
    radar.free();
    if (bins == 0 || is_grayscale) return fail_method(image, L"build_normal_map_radar(). Invalid parameter.");
    if (!make_samples(radar.first_samples, bins) || !make_samples(radar.second_samples, bins)) {
        radar.free();
        return fail_allocation(image, L"zarn_nradar_sample_s array.");
    }
    hemisphere_tally first{radar.first_samples.data, 0, 0, 0}, second{radar.second_samples.data, 0, 0, 0};
    if (has_pixels(image)) {
        const normal_count_job job{samples<colour_real_16>(image), pixel_count(image), bins, (flags & negate_x) != 0,
                                   (flags & negate_y) != 0};
        if (flags & swap_hemispheres) {
            count_normals(job, second, first);
        } else {
            count_normals(job, first, second);
        }
    }
    radar.flags = flags;
    radar.first_count = first.count;
    radar.second_count = second.count;
    radar.total = first.count + second.count;
    radar.first_max = first.most;
    radar.second_max = second.most;
    radar.max_count = std::max(first.most, second.most);
    radar.first_poles = first.poles;
    radar.second_poles = second.poles;
    radar.first_used = first.count ? 1 : 0;
    radar.second_used = second.count ? 1 : 0;
    return 1;
}

} // namespace zarn
