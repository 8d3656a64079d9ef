#include "operations/blur.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

#include "core/error_stack.h"
#include "kernels/blur.h"
#include "operations/frame.h"
#include "operations/geometry.h"

namespace zarn {

namespace {

// Rows that no band wrote must not show what the memory held before. `row_bytes` to a row, `height` rows.
void clear_rows(void* pixels, std::uint64_t row_bytes, std::uint64_t height, std::uint64_t first) noexcept {
    if (first >= height) return;
    std::memset(static_cast<char*>(pixels) + first * row_bytes, 0,
                static_cast<std::size_t>((height - first) * row_bytes));
}

// ---- The true Gaussian ---------------------------------------------------------------------------------------------

template <class Format>
unsigned int do_gaussian_blur(image_state& image, float sigma, blur_switches blur) noexcept {
    const owned_pixels temporary(allocate_pixels(pixel_count(image), pixel_bytes<Format>));
    if (!temporary) {
        // Real classes name one array for every blur.
        return fail_allocation(image, is_real<Format> ? image.names->gaussian_scratch : image.names->pixel_array);
    }
    operation_bands bands(image, L"gaussian", 0, image.height, one_band_unless_rows_abound(image, image.height));
    if (!bands) return 0;
    const gaussian_weights weights = make_gaussian_weights(sigma);
    const gaussian_job job{image.pixels, temporary.get(), image.width, image.height, &weights, blur.colour, blur.alpha};
    const std::uint32_t ran_until = bands.run(job, gaussian_band_ends<Format>);
    clear_rows(temporary.get(), image.width * pixel_bytes<Format>, image.height, ran_until);
    bands.run(job, gaussian_band<Format>);
    return 1;
}

// ---- Box passes over a padded image --------------------------------------------------------------------------------

constexpr std::uint32_t padding_beyond_radius = 4;

struct box_iteration {
    std::uint32_t radius;
    const wchar_t* vertical_class; // as the message of a failed vertical pass names it
};

// Box passes over a picture whose edge pixels are repeated around it. The padded picture comes into being with the
// first iteration that another one follows, and the last one leaves the padding out. A single iteration works in place:
// it asks for the arrays of the padded picture and of the crop only because without them it has to fail. Where the
// latter cannot be had the image stays padded.
template <class Format>
class padded_blur {
public:
    padded_blur(image_state& image, std::uint32_t padding, blur_switches blur) noexcept
        : ___image(image)
        , ___padding(padding)
        , ___picture{nullptr, padding, padding, image.width, image.height}
        , ___padded{nullptr, 0, 0, image.width + 2 * padding, image.height + 2 * padding}
        , ___blur(blur) {}

    // The arrays of the padded picture and of what lies between two passes, with their messages.
    bool allocate(const wchar_t* scratch_name) noexcept {
        ___canvas = allocate_with_records(___padded, L"resize_canvas");
        if (!___canvas) {
            fail_method(___image, L"___do_resize_canvas().");
            push_error(___image.errors,
                       {L"Failed to pad image edges. ", ___image.names->image_class, L"::resize_canvas() failed."});
            return false;
        }
        ___scratch = allocate_area(___padded);
        if (!___scratch) fail_allocation(___image, scratch_name);
        return static_cast<bool>(___scratch);
    }

    unsigned int run(const box_iteration* iterations, unsigned count) noexcept {
        for (unsigned i = 0; i < count; ++i) {
            if (!run(iterations[i], i == 0, i + 1 == count)) return 0;
        }
        return 1;
    }

private:
    static owned_pixels allocate_area(const box_area& area) noexcept {
        return owned_pixels(allocate_pixels(std::uint64_t{area.width} * area.height, pixel_bytes<Format>));
    }

    // As an operation of its own allocates its result and its records.
    owned_pixels allocate_with_records(const box_area& area, const wchar_t* record) noexcept {
        owned_pixels pixels = allocate_area(area);
        if (!pixels) {
            fail_allocation(___image, ___image.names->pixel_array);
        } else if (!operation_bands(___image, record, 0, area.height,
                                    at_most_one_band_per_row(___image, area.height))) {
            pixels.reset();
        }
        return pixels;
    }

    operation_bands bands() noexcept {
        return {___image, L"blur", 0, ___padded.height, one_band_unless_rows_abound(___image, ___padded.height)};
    }

    void fail_crop() noexcept {
        fail_method(___image, L"___do_crop().");
        push_error(___image.errors,
                   {L"Failed to crop image padding. ", ___image.names->image_class, L"::crop() failed."});
    }

    // After a failure: the padding is taken away again, if there is any.
    unsigned int undo(bool is_padded) noexcept {
        ___scratch.reset();
        if (is_padded && !do_crop<Format>(___image, ___padding, ___padding, ___picture.width, ___picture.height)) {
            fail_crop();
        }
        return 0;
    }

    unsigned int run(const box_iteration& iteration, bool is_first, bool is_last) noexcept {
        operation_bands ends = bands();
        if (!ends) {
            push_error(___image.errors, {L"Failed to ", ___image.names->blur_class, L"::___do_horizontal_blur()."});
            return undo(!is_first);
        }
        operation_bands whole = bands();
        if (!whole) {
            push_error(___image.errors, {L"Failed to ", iteration.vertical_class, L"::___do_vertical_blur()."});
            return undo(!is_first);
        }
        owned_pixels fresh; // the result, unless that takes the place of what it is made from
        bool is_cropped = is_last;
        if (is_last) {
            ___canvas.reset(); // the crop may need its room
            fresh = allocate_with_records(___picture, L"crop");
            is_cropped = static_cast<bool>(fresh);
            if (!is_cropped) fail_crop();
            if (is_first && is_cropped) fresh.reset();
        }
        if (is_first && !is_cropped) {
            fresh = is_last ? allocate_area(___padded) : std::move(___canvas);
            if (!fresh) return 0;
        }
        box_area before = is_first ? ___picture : ___padded;
        box_area after = is_cropped ? ___picture : ___padded;
        before.pixels = ___image.pixels;
        after.pixels = fresh ? fresh.get() : ___image.pixels;
        run_bands(ends, whole, before, after, iteration.radius);
        if (fresh) install_pixels(___image, fresh.release(), after.width, after.height);
        return is_cropped || !is_last;
    }

    void run_bands(operation_bands& ends, operation_bands& whole, const box_area& before, const box_area& after,
                   std::uint32_t radius) noexcept {
        const box_job job{before,           after,  ___scratch.get(), ___padded.width,
                          ___padded.height, radius, ___blur.colour,   ___blur.alpha};
        const std::uint32_t ends_until = ends.run(job, box_band_ends<Format>);
        clear_rows(job.scratch, after.width * pixel_bytes<Format>, before.height,
                   std::max(ends_until, before.top) - before.top);
        const std::uint32_t until = whole.run(job, box_band<Format>);
        if (after.pixels != before.pixels) copy_rows(before, after, std::max(until, after.top) - after.top);
    }

    // What no band wrote stays as it was: rows from `first` on, with the nearest pixels of `from` where it has none.
    static void copy_rows(const box_area& from, const box_area& to, std::uint64_t first) noexcept {
        const auto place = [](std::uint64_t i, std::uint64_t start, std::uint64_t length) {
            return std::min(std::max(i, start) - start, length - 1);
        };
        for (std::uint64_t y = first; y < to.height; ++y) {
            const std::uint64_t line = place(to.top + y, from.top, from.height) * from.width;
            for (std::uint64_t x = 0; x < to.width; ++x) {
                std::memcpy(static_cast<char*>(to.pixels) + (y * to.width + x) * pixel_bytes<Format>,
                            static_cast<const char*>(from.pixels) +
                                (line + place(to.left + x, from.left, from.width)) * pixel_bytes<Format>,
                            pixel_bytes<Format>);
            }
        }
    }

    image_state& ___image;
    std::uint32_t ___padding;
    box_area ___picture; // the part of the padded picture without padding
    box_area ___padded;
    blur_switches ___blur;
    owned_pixels ___canvas;
    owned_pixels ___scratch;
};

// The padded blurs replace the image's array: one that is the caller's is left to the caller.
template <class Format>
bool own_pixels(image_state& image) noexcept {
    if (!image.borrowed) return true;
    void* const own = allocate_pixels(pixel_count(image), pixel_bytes<Format>);
    if (!own) {
        fail_allocation(image, image.names->pixel_array);
        return false;
    }
    std::memcpy(own, image.pixels, static_cast<std::size_t>(pixel_count(image) * pixel_bytes<Format>));
    install_pixels(image, own, image.width, image.height);
    return true;
}

// `reach` is how far beyond the picture the passes look; a margin wider than that changes no pixel of the picture.
template <class Format>
unsigned int blur_padded(image_state& image, std::uint32_t padding, std::uint64_t reach, const wchar_t* scratch_name,
                         const box_iteration* iterations, unsigned count, blur_switches blur) noexcept {
    // A padding whose canvas exceeds 32 bits a side fails, whatever of it would be made.
    if (std::max(image.width, image.height) + 2ull * padding > UINT32_MAX) {
        fail_method(image, L"resize_canvas(). Invalid size.");
        push_error(image.errors,
                   {L"Failed to pad image edges. ", image.names->image_class, L"::resize_canvas() failed."});
        return 0;
    }
    if (!own_pixels<Format>(image)) return 0;
    const std::uint64_t needed = std::min<std::uint64_t>(padding, reach + padding_beyond_radius);
    padded_blur<Format> work(image, static_cast<std::uint32_t>(needed), blur);
    return work.allocate(scratch_name) ? work.run(iterations, count) : 0;
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
    const box_iteration iterations[] = {
        {radii[0], names.first_vertical_blur_class}, {radii[1], names.blur_class}, {radii[2], names.blur_class}};
    const std::uint64_t reach = std::uint64_t{radii[0]} + radii[1] + radii[2];
    return blur_padded<Format>(image, saturating_sum(radius, padding_beyond_radius), reach, names.gaussian_scratch,
                               iterations, 3, blur);
}

template <class Format>
unsigned int box_blur(image_state& image, std::uint32_t radius, blur_switches blur) noexcept {
    if (!has_pixels(image)) return 0;
    const std::uint32_t cut = std::min({radius, image.width, image.height});
    const box_iteration iteration{cut, image.names->blur_class};
    return blur_padded<Format>(image, saturating_sum(cut, padding_beyond_radius), cut, image.names->box_scratch,
                               &iteration, 1, blur);
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template unsigned int gaussian_blur<format>(image_state&, float, bool, blur_switches) noexcept;                    \
    template unsigned int box_blur<format>(image_state&, std::uint32_t, blur_switches) noexcept;
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
