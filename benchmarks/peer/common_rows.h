// The rows that every class has.
#pragma once

#include "benchmarks/peer/operation_rows.h"

namespace zarn_bench {

constexpr double turned_canvas = 1.5647; // times the area: (cos 0.3 + sin 0.3)^2

constexpr const char* crop_bound =
    "The peer's time is that of a bare copy on the caller's own thread; at 4096² the copy alone, by two threads, would "
    "give a ratio of about 1.3";
constexpr const char* half_bound =
    "At 4096² reading and writing alone, by two threads, would give a ratio of about 1.5";
constexpr const char* bspline_bound =
    "Half of the time goes into rounding and storing, most of that waiting for the destination's cache lines; the rest "
    "into the exact rework of sums at a rounding step and into transparent edges";

constexpr const char* rotate_bound =
    "Three quarters of the time is mixing. The alpha of opaque pixels, which rounded weights may leave one short of "
    "full, has to be summed in doubles: a twelfth of the time";

constexpr bar mover_bar{peer_form::plain, 0.8, 1.5};

// Every lambda's second parameter is the source; most need only its size, many not even that.

// Those that copy, cut, mirror and take single pixels.
template <class Kind>
std::vector<row> mover_rows() {
    using image = typename Kind::image;
    const auto on = [](auto work) { return start_image<Kind>(+work); };
    return {
        {"copy", on([](image& i, const image& s, const image&) { Kind::copy(i, s); }), false, into_new(4, 4), mover_bar,
         0.0, ""},
        {"crop", on([](image& i, const image& s, const image&) {
             const unsigned n = s.get_width();
             i.crop(n / 4, n / 4, n / 2, n / 2);
         }),
         true, into_new(1, 1), mover_bar, 0.0,
         "Ours releases the whole old array within the time, the peer only its result.", crop_bound},
        {"canvas", on([](image& i, const image& s, const image&) { Kind::add_margin(i, s.get_width() / 8); }), true,
         into_new(4, 6.25), mover_bar, 0.0, ""},
        {"flip_horizontal", on([](image& i, const image&, const image&) { i.flip_horizontal(); }), true, into_new(4, 4),
         mover_bar, 0.0, ""},
        {"flip_vertical", on([](image& i, const image&, const image&) { i.flip_vertical(); }), true, into_new(4, 4),
         mover_bar, 0.0, ""},
        {"nearest_half",
         on([](image& i, const image& s, const image&) { i.resample(s.get_width() / 2, s.get_height() / 2, 1); }), true,
         into_new(2, 1), mover_bar, 0.0, "", half_bound},
        {"nearest_2x",
         on([](image& i, const image& s, const image&) { i.resample(s.get_width() * 2, s.get_height() * 2, 1); }), true,
         into_new(4, 16), mover_bar, 0.0, ""},
        {"clear",
         on([](image& i, const image&, const image&) { Kind::clear(i); }),
         false,
         in_place(0, 4),
         {peer_form::plain, 0.8, 0.9},
         0.0,
         "",
         warm_bound},
    };
}

// Those that mix pixels.
template <class Kind>
std::vector<row> filter_rows() {
    using image = typename Kind::image;
    constexpr bar level_bar{Kind::alpha_aware, 1.0, 1.0};
    const auto on = [](auto work) { return start_image<Kind>(+work); };
    return {
        {"area_half",
         on([](image& i, const image& s, const image&) { i.resample(s.get_width() / 2, s.get_height() / 2, 0); }), true,
         into_new(4, 1), level_bar, 5.0,
         "Ours takes the mean of at least 3 x 3 pixels, overlapping here, the peer of 2 x 2."},
        {"area_quarter",
         on([](image& i, const image& s, const image&) { i.resample(s.get_width() / 4, s.get_height() / 4, 0); }), true,
         into_new(4, 0.25), level_bar, 3.0, ""},
        {"bspline_2x",
         on([](image& i, const image& s, const image&) { i.resample(s.get_width() * 2, s.get_height() * 2, 2); }),
         true,
         into_new(4, 16),
         {Kind::alpha_aware, 3.0, 3.0},
         8.0,
         "Another kernel of 4 x 4 taps: ours the B-spline, which smooths, without half-pixel shift; the peer a sharper "
         "cubic in 11-bit fixed point.",
         bspline_bound},
        {"rotate",
         on([](image& i, const image&, const image&) { i.rotate(0.3, 0); }),
         true,
         into_new(4, 4 * turned_canvas),
         {Kind::alpha_aware, 2.0, 2.0},
         4.0,
         "The peer rounds positions to 1/32 pixel; the centres of rotation differ by a fraction of a pixel.",
         rotate_bound},
        {"gaussian_s2", on([](image& i, const image&, const image&) { Kind::gaussian(i, 2.0f, 0); }), true,
         into_new(4, 4), level_bar, 4.0,
         "9 taps. Ours renormalises at the edges and truncates after each pass; the peer computes in 8.8 fixed "
         "point and repeats edge pixels."},
        {"gaussian_s10", on([](image& i, const image&, const image&) { Kind::gaussian(i, 10.0f, 0); }), true,
         into_new(4, 4), level_bar, 4.0, "41 taps; else as sigma 2."},
        {"fast_gaussian_s10",
         on([](image& i, const image&, const image&) { Kind::gaussian(i, 10.0f, 1); }),
         true,
         into_new(4, 4),
         {peer_form::plain, 1.0, 1.0},
         6.0,
         "Three box blurs on both sides; ours truncates after each pass, and its third box is a little wider."},
        {"box_r8",
         on([](image& i, const image&, const image&) { Kind::box(i, 8); }),
         true,
         into_new(4, 4),
         {Kind::alpha_aware, 1.5, 1.5},
         4.0,
         "Ours truncates after each of its two passes, the peer rounds once."},
        {"sharpen",
         on([](image& i, const image&, const image&) { i.sharpen(0.5f); }),
         true,
         in_place(4, 4),
         {peer_form::plain, 0.5, 0.5},
         20.0,
         "Ours works in place and feeds back: each pixel sees its sharpened left and upper neighbours, so a row is one "
         "chain. It keeps alpha. The peer convolves, alpha too, into an array that is kept between calls."},
    };
}

} // namespace zarn_bench
