#include "benchmarks/peer/our_operations.h"

#include <cstring>
#include <type_traits>

#include <zarn/blend.h>
#include <zarn/image_16.h>
#include <zarn/image_8_16.h>
#include <zarn/owned.h>

namespace zarn_bench {

namespace {

constexpr double turned_canvas = 1.5647; // times the area: (cos 0.3 + sin 0.3)^2

// What measurement found in the way of bars that are missed.
constexpr const char* crop_bound =
    "The peer's time is that of a bare copy on the caller's own thread. At 1024² starting and joining two threads "
    "takes "
    "about as long as its whole call; at 4096² the copy alone, by two threads, would give a ratio of about 1.3.";
constexpr const char* half_bound = "At 1024² starting and joining two threads takes half as long as the peer's whole "
                                   "call; at 4096² reading and writing "
                                   "alone, by two threads, would give a ratio of about 1.5.";
constexpr const char* warm_bound =
    "At 1024² the array lies in the caches of the caller's core: two other threads need as long for it as one does "
    "there "
    "(140 µs to fill 4 MiB, by one and by two), and their start and join comes on top. Streaming stores take twice as "
    "long.";

constexpr unsigned normal_mode = ZARN_BLEND_NORMAL;

constexpr bar mover_bar{peer_form::plain, 0.8, 1.5};
constexpr bar level_bar{peer_form::alpha, 1.0, 1.0};
constexpr bar transform_bar{peer_form::plain, 5.0, 5.0};
constexpr bar depth_bar{peer_form::plain, 0.9, 0.9};

// Bytes for each pixel of the source where samples have 8 bits: four a pixel.
constexpr traffic into_new(double read, double written) { return {read, written, false}; }
constexpr traffic in_place(double read, double written) { return {read, written, true}; }

// What the two formats differ in.
template <class Image>
struct format;
template <>
struct format<zarn_image_8> {
    static constexpr unsigned bits = 8;
    static constexpr unsigned image_type = 0;
    static constexpr const char* to_other_depth = "to_16_bits";
    static constexpr bar curve_bar{peer_form::plain, 1.5, 1.5}; // against a table
    static constexpr const char* curve_difference =
        "The peer applies a table that stands ready; ours makes its own in each call.";
    static const void* array(const zarn_image_8_16& holder) { return holder.get_pixel_array_8(); }
};
template <>
struct format<zarn_image_16> {
    static constexpr unsigned bits = 16;
    static constexpr unsigned image_type = 1;
    static constexpr const char* to_other_depth = "to_8_bits";
    static constexpr bar curve_bar{peer_form::plain, 5.0, 5.0}; // against floats
    static constexpr const char* curve_difference = "The peer converts to floats, computes and converts back.";
    static const void* array(const zarn_image_8_16& holder) { return holder.get_pixel_array_16(); }
};
template <class Image>
using other_depth = format<std::conditional_t<std::is_same_v<Image, zarn_image_8>, zarn_image_16, zarn_image_8>>;

picture copy_of(const void* pixels, unsigned width, unsigned height, unsigned bits) {
    picture result{width, height, bits};
    if (pixels) std::memcpy(result.bytes.data(), pixels, result.bytes.size());
    return result;
}

template <class Image>
void load_image(Image& image, const picture& source) {
    // Only reads from the array when it copies.
    auto* const pixels = const_cast<std::uint8_t*>(source.bytes.data());
    image.create(source.width, source.height, ZARN_ORIGIN_UPPER_LEFT, pixels, 1);
}

// Calls work(image, source, mirror): the image worked on, the source as it was, and its mirror image.
template <class Image, class Work>
class image_subject final : public subject {
public:
    image_subject(const picture& source, Work work)
        : ___work(work) {
        load_image(*___source, source);
        ___mirror->create(*___source);
        ___mirror->flip_horizontal();
    }
    void set_threads(unsigned count) override { ___image->set_thread_limit(count); }
    void prepare() override { ___image->create(*___source); }
    void run() override { ___work(*___image, *___source, *___mirror); }
    picture contents() const override {
        return copy_of(___image->get_pixel_array(), ___image->get_width(), ___image->get_height(), format<Image>::bits);
    }

private:
    Work ___work;
    zarn_owned<Image> ___source, ___mirror, ___image;
};

// Converts the source to the other depth, into a holder that is made and released each time but the last.
template <class Image>
class depth_subject final : public subject {
public:
    explicit depth_subject(const picture& source) { load_image(*___source, source); }
    void set_threads(unsigned count) override { ___result->set_thread_limit(count); }
    void prepare() override {}
    void run() override { ___result->create(*___source, other_depth<Image>::image_type); }
    picture contents() const override {
        return copy_of(other_depth<Image>::array(*___result), ___result->get_width(), ___result->get_height(),
                       other_depth<Image>::bits);
    }

private:
    zarn_owned<Image> ___source;
    zarn_owned<zarn_image_8_16> ___result;
};

template <class Image, class Work>
start_subject start_image(Work work) {
    return [work](const picture& source) { return std::make_unique<image_subject<Image, Work>>(source, work); };
}

template <class Image>
start_subject start_blend_of(const unsigned& mode) {
    return start_image<Image>([&mode](Image& i, const Image& s, const Image& mirror) {
        i.blit(mirror, 0, 0, s.get_width(), s.get_height(), 0.7f, 0, 0, mode, 0, nullptr, nullptr);
    });
}

struct row {
    const char* name;
    start_subject start;
    bool consumes;
    traffic least;
    bar floor;
    double tolerance;
    const char* difference;
    const char* bound = "";
};

// Every lambda's second parameter is the source; most need only its size, many not even that.
template <class Image>
std::vector<row> rows_of() {
    using image = Image;
    using this_format = format<Image>;
    const auto on = [](auto work) { return start_image<Image>(+work); };
    return {
        {"copy", on([](image& i, const image& s, const image&) { i.create(s); }), false, into_new(4, 4), mover_bar, 0.0,
         ""},
        {"crop", on([](image& i, const image& s, const image&) {
             const unsigned n = s.get_width();
             i.crop(n / 4, n / 4, n / 2, n / 2);
         }),
         true, into_new(1, 1), mover_bar, 0.0,
         "Ours releases the whole old array within the time, the peer only its result.", crop_bound},
        {"canvas", on([](image& i, const image& s, const image&) {
             const unsigned margin = s.get_width() / 8;
             i.resize_canvas(margin, margin, margin, margin, {10, 20, 30, 40});
         }),
         true, into_new(4, 6.25), mover_bar, 0.0, ""},
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
         {peer_form::alpha, 3.0, 3.0},
         8.0,
         "Another kernel of 4 x 4 taps: ours the B-spline, which smooths, without half-pixel shift; the peer a sharper "
         "cubic in 11-bit fixed point."},
        {"rotate",
         on([](image& i, const image&, const image&) { i.rotate(0.3, 0); }),
         true,
         into_new(4, 4 * turned_canvas),
         {peer_form::alpha, 2.0, 2.0},
         4.0,
         "The peer rounds positions to 1/32 pixel; the centres of rotation differ by a fraction of a pixel."},
        {"gaussian_s2", on([](image& i, const image&, const image&) { i.gaussian_blur(2.0f, 0, 1, 1); }), true,
         into_new(4, 4), level_bar, 4.0,
         "9 taps. Ours renormalises at the edges and truncates after each pass; the peer computes in 8.8 fixed "
         "point and repeats edge pixels."},
        {"gaussian_s10", on([](image& i, const image&, const image&) { i.gaussian_blur(10.0f, 0, 1, 1); }), true,
         into_new(4, 4), level_bar, 4.0, "41 taps; else as sigma 2."},
        {"fast_gaussian_s10",
         on([](image& i, const image&, const image&) { i.gaussian_blur(10.0f, 1, 1, 1); }),
         true,
         into_new(4, 4),
         {peer_form::plain, 1.0, 1.0},
         6.0,
         "Three box blurs on both sides; ours truncates after each pass, and its third box is a little wider."},
        {"box_r8",
         on([](image& i, const image&, const image&) { i.box_blur(8, 1, 1); }),
         true,
         into_new(4, 4),
         {peer_form::alpha, 1.5, 1.5},
         4.0,
         "Ours truncates after each of its two passes, the peer rounds once."},
        {"clear",
         on([](image& i, const image&, const image&) {
             i.clear({10, 20, 30, 40}, 1);
         }),
         false,
         in_place(0, 4),
         {peer_form::plain, 0.8, 0.9},
         0.0,
         "",
         warm_bound},
        {"sharpen",
         on([](image& i, const image&, const image&) { i.sharpen(0.5f); }),
         true,
         in_place(4, 4),
         {peer_form::plain, 0.5, 0.5},
         20.0,
         "Ours works in place and feeds back: each pixel sees its sharpened left and upper neighbours, so a row is one "
         "chain. It keeps alpha. The peer convolves, alpha too, into an array that is kept between calls."},
        {"exposure", on([](image& i, const image&, const image&) { i.exposure(1.3f); }), true, in_place(4, 4),
         this_format::curve_bar, 1.0, this_format::curve_difference},
        {"brightness", on([](image& i, const image&, const image&) { i.brightness(0.1f); }), true, in_place(4, 4),
         this_format::curve_bar, 1.0, this_format::curve_difference},
        {"contrast", on([](image& i, const image&, const image&) { i.contrast(1.25f); }), true, in_place(4, 4),
         this_format::curve_bar, 1.0, this_format::curve_difference},
        {"gamma", on([](image& i, const image&, const image&) { i.gamma(2.2f); }), true, in_place(4, 4),
         this_format::curve_bar, 1.0, this_format::curve_difference},
        {"contrast_matrix", on([](image& i, const image&, const image&) { i.contrast(1.25f); }), true, in_place(4, 4),
         transform_bar, 1.0, "The same contrast beside the peer's matrix."},
        {"grayscale", on([](image& i, const image&, const image&) { i.grayscale(); }), true, in_place(4, 4),
         transform_bar, 1.0, "The peer rounds."},
        {"negative", on([](image& i, const image&, const image&) { i.negative(1, 0); }), false, in_place(4, 4),
         depth_bar, 0.0, "", warm_bound},
        {"normalize",
         on([](image& i, const image&, const image&) { i.normalize(); }),
         true,
         in_place(4, 4),
         {peer_form::plain, 1.5, 1.5},
         6.0,
         "Ours runs on the caller's thread and skips invisible pixels; the peer stretches over all of them and, of 8 "
         "bits, rounds hue, lightness and saturation to 8 bits each."},
        {"blend_over",
         start_blend_of<Image>(normal_mode),
         true,
         in_place(8, 4),
         {peer_form::plain, 4.0, 4.0},
         1.0,
         "Opacity 0.7. The peer makes weights of alpha, blends with `blendLinear` and puts the greater alpha back."},
        {this_format::to_other_depth,
         [](const picture& source) { return std::make_unique<depth_subject<Image>>(source); }, false,
         into_new(4, this_format::bits == 8 ? 8 : 2), depth_bar, 1.0,
         "Both on the caller's thread. Ours truncates, the peer rounds."},
    };
}

template <class Image>
std::vector<operation> operations_of() {
    std::vector<operation> operations;
    constexpr double scale = format<Image>::bits / 8;
    for (const row& one : rows_of<Image>())
        operations.push_back({format<Image>::bits,
                              one.name,
                              one.start,
                              one.consumes,
                              {one.least.read * scale, one.least.written * scale, one.least.in_place},
                              one.floor,
                              one.tolerance,
                              one.difference,
                              one.bound});
    return operations;
}

} // namespace

const std::vector<operation>& our_operations(unsigned bits) {
    static const std::vector<operation> of_8_bits = operations_of<zarn_image_8>();
    static const std::vector<operation> of_16_bits = operations_of<zarn_image_16>();
    return bits == 8 ? of_8_bits : of_16_bits;
}

start_subject start_blend(unsigned bits, const unsigned& mode) {
    return bits == 8 ? start_blend_of<zarn_image_8>(mode) : start_blend_of<zarn_image_16>(mode);
}

void load(zarn_image_8& image, const picture& source) { load_image(image, source); }

} // namespace zarn_bench
