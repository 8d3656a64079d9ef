#include "benchmarks/peer/our_operations.h"

#include <cstring>

namespace zarn_bench {

namespace {

constexpr double turned_canvas = 1.5647; // times the area: (cos 0.3 + sin 0.3)^2

constexpr bar no_bar{peer_form::plain, 0.0, 0.0};
constexpr bar mover_bar{peer_form::plain, 0.8, 1.5};
constexpr bar level_bar{peer_form::alpha, 1.0, 1.0};

// Bytes for each pixel of the source: four a pixel.
constexpr traffic into_new(double read, double written) { return {read, written, false}; }
constexpr traffic in_place(double read, double written) { return {read, written, true}; }

} // namespace

// Every lambda's second parameter is the source; most need only its size, many not even that.
const std::vector<operation>& our_operations() {
    using image = zarn_image_8;
    static const std::vector<operation> operations = {
        {"copy", [](image& i, const image& s) { i.create(s); }, false, into_new(4, 4), mover_bar, 0.0, ""},
        {"crop",
         [](image& i, const image& s) {
             const unsigned n = s.get_width();
             i.crop(n / 4, n / 4, n / 2, n / 2);
         },
         true, into_new(1, 1), mover_bar, 0.0,
         "Ours releases the whole old array within the time, the peer only its result."},
        {"canvas",
         [](image& i, const image& s) {
             const unsigned margin = s.get_width() / 8;
             i.resize_canvas(margin, margin, margin, margin, {10, 20, 30, 40});
         },
         true, into_new(4, 6.25), mover_bar, 0.0, ""},
        {"flip_horizontal", [](image& i, const image&) { i.flip_horizontal(); }, true, into_new(4, 4), mover_bar, 0.0,
         ""},
        {"flip_vertical", [](image& i, const image&) { i.flip_vertical(); }, true, into_new(4, 4), mover_bar, 0.0, ""},
        {"nearest_half", [](image& i, const image& s) { i.resample(s.get_width() / 2, s.get_height() / 2, 1); }, true,
         into_new(2, 1), mover_bar, 0.0, ""},
        {"nearest_2x", [](image& i, const image& s) { i.resample(s.get_width() * 2, s.get_height() * 2, 1); }, true,
         into_new(4, 16), mover_bar, 0.0, ""},
        {"area_half", [](image& i, const image& s) { i.resample(s.get_width() / 2, s.get_height() / 2, 0); }, true,
         into_new(4, 1), level_bar, 5.0,
         "Ours takes the mean of at least 3 x 3 pixels, overlapping here, the peer of 2 x 2."},
        {"area_quarter", [](image& i, const image& s) { i.resample(s.get_width() / 4, s.get_height() / 4, 0); }, true,
         into_new(4, 0.25), level_bar, 3.0, ""},
        {"bspline_2x",
         [](image& i, const image& s) { i.resample(s.get_width() * 2, s.get_height() * 2, 2); },
         true,
         into_new(4, 16),
         {peer_form::alpha, 3.0, 3.0},
         8.0,
         "Another kernel of 4 x 4 taps: ours the B-spline, which smooths, without half-pixel shift; the peer a sharper "
         "cubic in 11-bit fixed point."},
        {"rotate",
         [](image& i, const image&) { i.rotate(0.3, 0); },
         true,
         into_new(4, 4 * turned_canvas),
         {peer_form::alpha, 2.0, 2.0},
         4.0,
         "The peer rounds positions to 1/32 pixel; the centres of rotation differ by a fraction of a pixel."},
        {"gaussian_s2", [](image& i, const image&) { i.gaussian_blur(2.0f, 0, 1, 1); }, true, into_new(4, 4), level_bar,
         4.0,
         "9 taps. Ours renormalises at the edges and truncates after each pass; the peer computes in 8.8 fixed "
         "point and repeats edge pixels."},
        {"gaussian_s10", [](image& i, const image&) { i.gaussian_blur(10.0f, 0, 1, 1); }, true, into_new(4, 4),
         level_bar, 4.0, "41 taps; else as sigma 2."},
        {"fast_gaussian_s10",
         [](image& i, const image&) { i.gaussian_blur(10.0f, 1, 1, 1); },
         true,
         into_new(4, 4),
         {peer_form::plain, 1.0, 1.0},
         6.0,
         "Three box blurs on both sides; ours truncates after each pass, and its third box is a little wider."},
        {"box_r8",
         [](image& i, const image&) { i.box_blur(8, 1, 1); },
         true,
         into_new(4, 4),
         {peer_form::alpha, 1.5, 1.5},
         4.0,
         "Ours truncates after each of its two passes, the peer rounds once."},
        {"clear",
         [](image& i, const image&) {
             i.clear({10, 20, 30, 40}, 1);
         },
         false,
         in_place(0, 4),
         {peer_form::plain, 0.8, 0.9},
         0.0,
         ""},
        {"sharpen",
         [](image& i, const image&) { i.sharpen(0.5f); },
         true,
         in_place(4, 4),
         {peer_form::plain, 0.5, 0.5},
         20.0,
         "Ours works in place and feeds back: each pixel sees its sharpened left and upper neighbours, so a row is one "
         "chain. It keeps alpha. The peer convolves, alpha too, into an array that is kept between calls."},
        {"gamma", [](image& i, const image&) { i.gamma(2.2f); }, true, in_place(4, 4), no_bar, 1.0,
         "The peer applies a table that stands ready; ours makes its own in each call."},
    };
    return operations;
}

void load(zarn_image_8& image, const picture& source) {
    // Only reads from the array when it copies.
    auto* const pixels = const_cast<std::uint8_t*>(source.rgba.data());
    image.create(source.width, source.height, ZARN_ORIGIN_UPPER_LEFT, pixels, 1);
}

picture contents_of(const zarn_image_8& image) {
    picture result{image.get_width(), image.get_height(), {}};
    result.rgba.resize(result.pixels() * 4);
    if (image.is_valid()) std::memcpy(result.rgba.data(), image.get_pixel_array(), result.rgba.size());
    return result;
}

} // namespace zarn_bench
