#include "operations/blur.h"

#include <cmath>
#include <cstring>
#include <memory>

#include "core/error_stack.h"
#include "kernels/blur.h"
#include "operations/frame.h"
#include "operations/geometry.h"

namespace zarn {

namespace {

struct array_releaser {
    void operator()(void* pixels) const noexcept { release_pixel_array(pixels); }
};
using scratch_array = std::unique_ptr<void, array_releaser>;

template <class Format>
scratch_array allocate_scratch(const image_state& image) noexcept {
    return scratch_array(allocate_pixels(pixel_count(image), pixel_bytes<Format>));
}

// Rows that no band wrote must not show what the memory held before.
template <class Format>
void clear_rows(void* pixels, const image_state& image, std::uint32_t first) noexcept {
    if (first >= image.height) return;
    const std::uint64_t row_bytes = image.width * pixel_bytes<Format>;
    std::memset(static_cast<char*>(pixels) + first * row_bytes, 0,
                static_cast<std::size_t>((image.height - first) * row_bytes));
}

// ---- The true Gaussian ---------------------------------------------------------------------------------------------

template <class Format>
unsigned int do_gaussian_blur(image_state& image, float sigma, blur_switches blur) noexcept {
    const scratch_array temporary = allocate_scratch<Format>(image);
    if (!temporary) return fail_allocation(image, image.names->pixel_array);
    operation_bands bands(image, L"gaussian", 0, image.height, one_band_unless_rows_abound(image, image.height));
    if (!bands) return 0;
    const gaussian_weights weights = make_gaussian_weights(sigma);
    const gaussian_job job{image.pixels, temporary.get(), image.width, image.height, &weights, blur.colour, blur.alpha};
    clear_rows<Format>(temporary.get(), image, bands.run(job, gaussian_band_ends<Format>));
    bands.run(job, gaussian_band<Format>);
    return 1;
}

// ---- Box passes over a padded image --------------------------------------------------------------------------------

constexpr std::uint32_t padding_beyond_radius = 4;

// Copies the picture's outermost pixels into a margin of `padding` pixels around it.
template <class Format>
void repeat_edges(image_state& image, std::uint32_t padding) noexcept {
    using sample = sample_of<Format>;
    constexpr std::uint64_t n = channels<Format>;
    const std::uint64_t line = image.width * n;
    const std::uint64_t left = padding * n;
    const std::uint64_t right = line - left;
    const auto row = [&](std::uint32_t y) { return samples<Format>(image) + y * line; };
    for (std::uint32_t y = padding; y < image.height - padding; ++y) {
        sample* const here = row(y);
        for (std::uint64_t i = 0; i < left; ++i) here[i] = here[left + i % n];
        for (std::uint64_t i = right; i < line; ++i) here[i] = here[right - n + i % n];
    }
    for (std::uint32_t y = 0; y < padding; ++y) {
        std::memcpy(row(y), row(padding), line * sizeof(sample));
        std::memcpy(row(image.height - 1 - y), row(image.height - 1 - padding), line * sizeof(sample));
    }
}

// A padding whose canvas exceeds 32 bits a side fails; of any other no more than `reach` asks for is made.
template <class Format>
unsigned int pad_edges(image_state& image, std::uint32_t& padding, std::uint64_t reach) noexcept {
    const bool too_large = std::max(image.width, image.height) + 2ull * padding > UINT32_MAX;
    padding = static_cast<std::uint32_t>(std::min<std::uint64_t>(padding, reach + padding_beyond_radius));
    const std::uint64_t width = image.width + 2ull * padding;
    const std::uint64_t height = image.height + 2ull * padding;
    const sample_of<Format> transparent[channels<Format>] = {};
    constexpr std::uint32_t centre = 4;
    bool padded = false;
    if (too_large) {
        fail_method(image, L"resize_canvas(). Invalid size.");
    } else {
        padded = do_resize_canvas<Format>(image, static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                                          centre, transparent);
        if (!padded) fail_method(image, L"___do_resize_canvas().");
    }
    if (!padded) {
        push_error(image.errors,
                   {L"Failed to pad image edges. ", image.names->image_class, L"::resize_canvas() failed."});
        return 0;
    }
    repeat_edges<Format>(image, padding);
    return 1;
}

template <class Format>
unsigned int crop_padding(image_state& image, std::uint32_t padding, std::uint32_t width,
                          std::uint32_t height) noexcept {
    if (do_crop<Format>(image, padding, padding, width, height)) return 1;
    fail_method(image, L"___do_crop().");
    push_error(image.errors, {L"Failed to crop image padding. ", image.names->image_class, L"::crop() failed."});
    return 0;
}

template <class Format>
unsigned int do_horizontal_blur(image_state& image, const box_pass_job& job) noexcept {
    operation_bands bands(image, L"blur", 0, job.height, one_band_unless_rows_abound(image, job.height));
    if (!bands) return 0;
    clear_rows<Format>(job.destination, image, bands.run(job, box_pass_horizontal<Format>));
    return 1;
}

template <class Format>
unsigned int do_vertical_blur(image_state& image, const box_pass_job& job) noexcept {
    operation_bands bands(image, L"blur", 0, job.width, one_band_unless_rows_abound(image, job.width));
    if (!bands) return 0;
    bands.run(job, box_pass_vertical<Format>);
    return 1;
}

unsigned int fail_vertical_blur(image_state& image, const wchar_t* class_name) noexcept {
    push_error(image.errors, {L"Failed to ", class_name, L"::___do_vertical_blur()."});
    return 0;
}

// A horizontal pass into the scratch array and a vertical pass back.
template <class Format>
unsigned int blur_both_ways(image_state& image, void* scratch, std::uint32_t radius, blur_switches blur,
                            const wchar_t* vertical_class) noexcept {
    const box_pass_job across{image.pixels, scratch, image.width, image.height, radius, blur.colour, blur.alpha};
    if (!do_horizontal_blur<Format>(image, across)) return fail_method(image, L"___do_horizontal_blur().");
    box_pass_job down = across;
    down.source = scratch;
    down.destination = image.pixels;
    return do_vertical_blur<Format>(image, down) ? 1 : fail_vertical_blur(image, vertical_class);
}

// Pads the image by repeated edges, calls passes(scratch), and takes the padding away again whatever came of them.
// `reach` is how far beyond the picture the passes look; a margin wider than that changes no pixel of the picture.
template <class Format, class Passes>
unsigned int blur_padded(image_state& image, std::uint32_t padding, std::uint64_t reach, const wchar_t* scratch_name,
                         Passes passes) noexcept {
    const std::uint32_t width = image.width;
    const std::uint32_t height = image.height;
    if (!pad_edges<Format>(image, padding, reach)) return 0;
    unsigned int result = 0;
    if (const scratch_array scratch = allocate_scratch<Format>(image)) {
        result = passes(scratch.get());
    } else {
        fail_allocation(image, scratch_name);
    }
    return crop_padding<Format>(image, padding, width, height) ? result : 0;
}

// The whole part of a positive float, as far as a 32-bit number reaches.
std::uint32_t whole_part(float value) noexcept {
    return value < 4294967296.0f ? static_cast<std::uint32_t>(value) : UINT32_MAX;
}

std::uint32_t saturating_sum(std::uint32_t a, std::uint32_t b) noexcept {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(std::uint64_t{a} + b, UINT32_MAX));
}

} // namespace

template <class Format>
unsigned int gaussian_blur(image_state& image, float sigma, bool fast, blur_switches blur) noexcept {
    if (!has_pixels(image)) return 0;
    if (!(sigma > 0.0f)) return fail_method(image, L"gaussian_blur(). Invalid sigma.");
    if (!fast || !(sigma > 3.0f)) return do_gaussian_blur<Format>(image, sigma, blur);

    const std::uint32_t side = std::min(image.width, image.height);
    const std::uint32_t radius = whole_part(sigma);
    const std::uint32_t widening = std::isfinite(sigma) ? static_cast<std::uint32_t>(3.0f * std::fmod(sigma, 1.0f)) : 0;
    const std::uint32_t radii[] = {std::min(radius, side), std::min(radius, side),
                                   std::min(saturating_sum(radius, widening), side)};
    const image_names& names = *image.names;
    const wchar_t* vertical_class[] = {names.first_vertical_blur_class, names.image_class, names.image_class};
    const auto three_boxes = [&](void* scratch) -> unsigned int {
        for (unsigned i = 0; i < 3; ++i) {
            if (!blur_both_ways<Format>(image, scratch, radii[i], blur, vertical_class[i])) return 0;
        }
        return 1;
    };
    const std::uint64_t reach = std::uint64_t{radii[0]} + radii[1] + radii[2];
    return blur_padded<Format>(image, saturating_sum(radius, padding_beyond_radius), reach, names.gaussian_scratch,
                               three_boxes);
}

template <class Format>
unsigned int box_blur(image_state& image, std::uint32_t radius, blur_switches blur) noexcept {
    if (!has_pixels(image)) return 0;
    const std::uint32_t cut = std::min({radius, image.width, image.height});
    return blur_padded<Format>(
        image, saturating_sum(cut, padding_beyond_radius), cut, image.names->box_scratch,
        [&](void* scratch) { return blur_both_ways<Format>(image, scratch, cut, blur, image.names->image_class); });
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template unsigned int gaussian_blur<format>(image_state&, float, bool, blur_switches) noexcept;                    \
    template unsigned int box_blur<format>(image_state&, std::uint32_t, blur_switches) noexcept;
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
