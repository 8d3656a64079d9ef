#include "operations/grading.h"

#include <algorithm>
#include <cstring>

#include "kernels/layout.h"
#include "operations/frame.h"

namespace zarn {

namespace {

float clamp_unit(float value) noexcept { return !(value > 0.0f) ? 0.0f : value >= 1.0f ? 1.0f : value; }

unsigned int fail_new_array(image_state& image) noexcept { return fail_allocation(image, L"new pixel array."); }

} // namespace

level_pair sanitised_levels(float low, float high) noexcept { return {clamp_unit(low), std::max(low, high)}; }

sector_weights weights_of_percents(float red, float yellow, float green, float cyan, float blue,
                                   float magenta) noexcept {
    constexpr float percent = 0.01f;
    return {red * percent, yellow * percent, green * percent, cyan * percent, blue * percent, magenta * percent};
}

hue_matrix hue_matrix_of(float hue, float saturation) noexcept {
    constexpr double radians_per_degree = 0.017453292519943295;
    const float limited = saturation >= 100.0f ? 100.0f : !(saturation > -100.0f) ? -100.0f : saturation;
    return make_hue_matrix(static_cast<float>(hue * radians_per_degree), (limited + 100.0f) * 0.01f);
}

void grade(image_state& image, grading_job job, grading_kernel kernel) noexcept {
    if (!has_pixels(image)) return;
    operation_bands bands(image, L"adjust", 0, image.height, at_most_one_band_per_row(image, image.height));
    if (!bands) return;
    job.pixels = image.pixels;
    job.width = image.width;
    bands.run(job, kernel);
}

unsigned int mix_to_grey(image_state& image, grey_mix_job job, grey_mix_kernel kernel,
                         std::uint64_t sample_bytes) noexcept {
    if (!has_pixels(image)) return 0;
    owned_pixels greys(allocate_pixels(pixel_count(image), 2 * sample_bytes));
    if (!greys) return fail_new_array(image);
    operation_bands bands(image, L"adjust", 0, image.height, at_most_one_band_per_row(image, image.height));
    if (!bands) return 0;
    job.pixels = image.pixels;
    job.greys = greys.get();
    job.width = image.width;
    const std::uint32_t ran_until = bands.run(job, kernel);
    const std::uint64_t row_bytes = 2 * sample_bytes * image.width;
    std::memset(static_cast<char*>(greys.get()) + ran_until * row_bytes, 0,
                static_cast<std::size_t>((image.height - ran_until) * row_bytes));
    install_pixels(image, greys.release(), image.width, image.height);
    return 1;
}

template <class Format>
unsigned int spread_grey(image_state& image) noexcept {
    if (!has_pixels(image)) return 0;
    constexpr std::uint64_t colour_bytes = 4 * sizeof(sample_of<Format>);
    owned_pixels colours(allocate_pixels(pixel_count(image), colour_bytes));
    if (!colours) return fail_new_array(image);
    spread_greys<Format>(samples<Format>(image), static_cast<sample_of<Format>*>(colours.get()), pixel_count(image));
    install_pixels(image, colours.release(), image.width, image.height);
    return 1;
}

#define ZARN_INSTANTIATE(format) template unsigned int spread_grey<format>(image_state&) noexcept;
ZARN_FOR_EACH_REAL_GREY_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
