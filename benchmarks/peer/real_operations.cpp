#include <algorithm>
#include <cmath>
#include <vector>

#include <zarn/histogram.h>
#include <zarn/image_real_16.h>

#include "benchmarks/peer/common_rows.h"

namespace zarn_bench {

namespace {

using image = zarn_image_real_32;

class to_halves {
public:
    void load(const picture& source) { load_image<real_kind>(*___source, source); }
    void set_threads(unsigned count) { ___result->set_thread_limit(count); }
    void run() { ___result->create(*___source); }
    picture contents() const {
        picture result{___result->get_width(), ___result->get_height(), real_kind::form};
        const half_float::half* const halves = ___result->get_pixel_array();
        for (std::size_t n = 0; n < result.pixels() * 4; ++n) {
            const auto value = static_cast<float>(halves[n]);
            std::memcpy(&result.bytes[n * sizeof value], &value, sizeof value);
        }
        return result;
    }

private:
    zarn_owned<image> ___source;
    zarn_owned<zarn_image_real_16> ___result;
};

class from_halves {
public:
    void load(const picture& source) {
        zarn_owned<image> floats;
        load_image<real_kind>(*floats, source);
        ___source->create(*floats);
    }
    void set_threads(unsigned count) { ___result->set_thread_limit(count); }
    void run() {
        ___result->create(___source->get_width(), ___source->get_height(), 0, 0, 0, ___source->get_pixel_array(), 1);
    }
    picture contents() const { return contents_of<real_kind>(*___result); }

private:
    zarn_owned<zarn_image_real_16> ___source;
    zarn_owned<image> ___result;
};

// Mean and deviation of red, green, blue, alpha and luminance, and the tallest bin as a share of the pixels.
class histogram {
public:
    void load(const picture& source) {
        zarn_owned<image> floats;
        load_image<real_kind>(*floats, source);
        ___source->create(*floats);
    }
    void set_threads(unsigned count) { ___source->set_thread_limit(count); }
    void run() { ___source->build_histogram(256, ___result); }
    picture contents() const {
        picture result{5, 3, {32, 1}};
        for (unsigned n = 0; n < 5; ++n) {
            const zarn_histogram_channel_s& channel = ___result.channel[n + 1];
            result.set_level(n, channel.mean * 255.0);
            result.set_level(5 + n, channel.std_dev * 255.0);
            result.set_level(10 + n, 255.0 * channel.max_count / ___result.pixel_count);
        }
        return result;
    }

private:
    zarn_owned<zarn_image_real_16> ___source;
    zarn_histogram_s ___result;
};

constexpr bar power_bar{peer_form::plain, 3.0, 3.0};
constexpr bar affine_bar{peer_form::plain, 1.0, 1.0};
constexpr bar matrix_bar{peer_form::plain, 4.0, 4.0};
constexpr const char* alpha_kept = "Ours keeps alpha and clamps; the peer's call has no way to.";

std::vector<row> tone_rows() {
    const auto on = [](auto work) { return start_image<real_kind>(+work); };
    return {
        {"to_linear", on([](image& i, const image&, const image&) {
             i.set_if_is_sRGB(1);
             i.convert_to_linear_space();
         }),
         true, in_place(4, 4), power_bar, 0.1, ""},
        {"gamma", on([](image& i, const image&, const image&) { i.gamma(2.2f); }), true, in_place(4, 4), power_bar, 3.0,
         alpha_kept},
        {"exposure", on([](image& i, const image&, const image&) { i.exposure(1.3f); }), true, in_place(4, 4),
         affine_bar, 6.0, alpha_kept},
        {"brightness", on([](image& i, const image&, const image&) { i.brightness(0.1f); }), true, in_place(4, 4),
         affine_bar, 6.0, alpha_kept},
        {"contrast", on([](image& i, const image&, const image&) { i.contrast(1.25f); }), true, in_place(4, 4),
         affine_bar, 6.0, alpha_kept},
        {"grayscale", on([](image& i, const image&, const image&) { i.convert_to_grayscale(0.299f, 0.587f, 0.114f); }),
         true, into_new(4, 2), matrix_bar, 0.1, ""},
        {"hue", on([](image& i, const image&, const image&) { i.hue_saturation(0.1f, 1.2f); }), true, in_place(4, 4),
         matrix_bar, 60.0, "Ours turns the hue of each pixel, the peer multiplies with one matrix."},
    };
}

} // namespace

std::vector<operation> real_operations() {
    const char* const wanted[] = {"bspline_2x",        "rotate", "gaussian_s2", "gaussian_s10",
                                  "fast_gaussian_s10", "box_r8", "sharpen"};
    std::vector<row> rows;
    for (const row& one : filter_rows<real_kind>())
        if (std::find(std::begin(wanted), std::end(wanted), std::string(one.name)) != std::end(wanted))
            rows.push_back(one);
    for (const row& one : tone_rows()) rows.push_back(one);
    rows.push_back({"to_halves", start_making<to_halves>(), false, into_new(4, 2), depth_bar, 0.1, ""});
    rows.push_back({"from_halves", start_making<from_halves>(), false, into_new(2, 4), depth_bar, 0.1, ""});
    rows.push_back({"histogram",
                    start_making<histogram>(),
                    false,
                    {2, 0, true},
                    {peer_form::plain, 2.0, 2.0},
                    0.5,
                    "Of halves, with medians; the peer's of floats, without."});
    return operations_of(real_kind::form, rows);
}

} // namespace zarn_bench
