#include <zarn/image_real_32.h>

#include <algorithm>
#include <cfloat>

#include <half.hpp>

#include <zarn/owned.h>

#include "core/error_stack.h"
#include "kernels/premultiplied_blur.h"
#include "kernels/reals.h"
#include "operations/blit.h"
#include "operations/frame.h"
#include "operations/real_forms.h"
#include "operations/real_geometry.h"
#include "operations/tone.h"
#include "real/blend_caller.h"

unsigned int zarn_image_real_32::create(const zarn_image_real_32& source) { return ___create_copy(source); }

unsigned int zarn_image_real_32::create(unsigned int width, unsigned int height, unsigned int is_grayscale,
                                        unsigned int is_rasterized, unsigned int is_sRGB, half_float::half* data,
                                        unsigned int) {
    if (!data) return create(width, height, is_grayscale, is_rasterized, is_sRGB, nullptr, 1);
    if (!___allocate(width, height, is_grayscale, is_rasterized, is_sRGB)) return 0;
    zarn::convert_reals(data, get_pixel_array(), zarn::pixel_count(___state) * ___channels());
    return 1;
}

unsigned int zarn_image_real_32::create(unsigned int width, unsigned int height, unsigned int is_grayscale,
                                        unsigned int is_rasterized, unsigned int is_sRGB, std::nullptr_t,
                                        unsigned int copy) {
    return create(width, height, is_grayscale, is_rasterized, is_sRGB, static_cast<float*>(nullptr), copy);
}

void zarn_image_real_32::get_min_max(float& min, float& max) const {
    min = FLT_MAX;
    max = FLT_MIN; // the least positive normal number, not the least of all
    if (!is_valid()) return;
    const unsigned int channels = ___channels();
    const float* pixel = get_pixel_array();
    const std::uint64_t count = zarn::pixel_count(___state);
    for (std::uint64_t i = 0; i < count; ++i, pixel += channels) {
        for (unsigned int c = 0; c + 1 < channels; ++c) {
            min = pixel[c] < min ? pixel[c] : min;
            max = pixel[c] > max ? pixel[c] : max;
        }
    }
}

unsigned int zarn_image_real_32::resample(unsigned int width, unsigned int height, unsigned int mode, unsigned int) {
    return ___resample(width, height, mode);
}

unsigned int zarn_image_real_32::rotate_by_90(int quarter_turns) {
    return zarn::with_layout<float>(___is_grayscale,
                                    [&](auto f) { return zarn::rotate_by_90<decltype(f)>(___state, quarter_turns); });
}

void zarn_image_real_32::brightness_2(float amount) { ___adjust(zarn::tone_curve::proportional_brightness, amount); }

void zarn_image_real_32::contrast_2(float factor) { contrast(factor + 1.0f); }

// ---- The blur that weights colour by alpha -------------------------------------------------------------------------

namespace {

template <class Format>
bool run_pass(zarn::image_state& image, const zarn::premultiplied_blur_job& job,
              void (*kernel)(const zarn::premultiplied_blur_job&, zarn::row_range), void* written) {
    zarn::operation_bands bands(image, L"blur_2", 0, image.height, zarn::at_most_one_band_per_row(image, image.height));
    if (!bands) return false;
    const std::uint32_t ran_until = bands.run(job, kernel);
    // Rows of bands that never ran stay as they are.
    const std::uint64_t line = image.width * std::uint64_t{zarn::channels<Format>};
    const auto* const kept = static_cast<const float*>(image.pixels);
    std::copy(kept + ran_until * line, kept + image.height * line, static_cast<float*>(written) + ran_until * line);
    return true;
}

} // namespace

unsigned int zarn_image_real_32::gaussian_blur_2(float sigma, unsigned int blur_colour, unsigned int blur_alpha) {
    if (!is_valid()) return 0;
    if (!(sigma > 0.0f)) return zarn::fail_method(___state, L"gaussian_blur_2(). Invalid sigma.");
    zarn_owned<zarn_image_real_32> blurred;
    const zarn::owned_pixels across(zarn::allocate_pixels(zarn::pixel_count(___state), ___channels() * sizeof(float)));
    if (!across || !blurred->___allocate(get_width(), get_height(), ___is_grayscale, 0, 0)) {
        return zarn::fail(___state, L"Image Creation Error: Failed to create temp_image.");
    }
    const zarn::premultiplied_weights weights = zarn::make_premultiplied_weights(sigma);
    const zarn::premultiplied_blur_job job{___state.pixels, across.get(), blurred->get_pixel_array(), get_width(),
                                           get_height(),    &weights,     blur_colour != 0,           blur_alpha != 0};
    const bool done = zarn::with_layout<float>(___is_grayscale, [&](auto f) {
        using format = decltype(f);
        if (!run_pass<format>(___state, job, zarn::premultiplied_horizontal<format>, job.across)) {
            zarn::fail_method(___state, L"___do_horizontal_blur_2().");
            return false;
        }
        if (!run_pass<format>(___state, job, zarn::premultiplied_vertical<format>, job.blurred)) {
            zarn::fail_method(___state, L"___do_total_blur_2().");
            return false;
        }
        return true;
    });
    if (!done) return 0;
    if (blit(*blurred, 0, 0, get_width(), get_height(), 1.0f, 0, 0, ZARN_BLEND_REPLACE, 0, nullptr, nullptr)) return 1;
    return zarn::fail_method(___state, L"blit().");
}

// ---- Compositing ---------------------------------------------------------------------------------------------------

unsigned int zarn_image_real_32::blit(const zarn_image_real_32& source, unsigned int source_x, unsigned int source_y,
                                      unsigned int width, unsigned int height, float opacity, int destination_x,
                                      int destination_y, unsigned int blend_mode, unsigned int flags,
                                      zarn_blend_callback_r32 callback, void* user_data) {
    zarn::blend_caller<zarn_blend_callback_r32> caller{callback, ___is_grayscale, source.is_grayscale(), user_data};
    return ___blit(source, {source_x, source_y, width, height, destination_x, destination_y}, opacity, blend_mode,
                   flags, caller.blend<float>());
}
