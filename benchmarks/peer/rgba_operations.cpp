#include <type_traits>

#include <zarn/blend.h>
#include <zarn/image_8_16.h>

#include "benchmarks/peer/common_rows.h"

namespace zarn_bench {

namespace {

constexpr unsigned normal_mode = ZARN_BLEND_NORMAL;
constexpr bar transform_bar{peer_form::plain, 5.0, 5.0};

// What the two forms differ in.
template <class Kind>
struct differences_of;
template <>
struct differences_of<rgba_8> {
    static constexpr unsigned image_type = 0;
    static constexpr const char* to_other_depth = "to_16_bits";
    static constexpr bar curve_bar{peer_form::plain, 1.5, 1.5}; // against a table
    static constexpr const char* curve_difference =
        "The peer applies a table that stands ready; ours makes its own in each call.";
    static const void* array(const zarn_image_8_16& holder) { return holder.get_pixel_array_8(); }
};
template <>
struct differences_of<rgba_16> {
    static constexpr unsigned image_type = 1;
    static constexpr const char* to_other_depth = "to_8_bits";
    static constexpr bar curve_bar{peer_form::plain, 5.0, 5.0}; // against floats
    static constexpr const char* curve_difference = "The peer converts to floats, computes and converts back.";
    static const void* array(const zarn_image_8_16& holder) { return holder.get_pixel_array_16(); }
};

// Converts the source to the other depth, into a holder that is made and released each time but the last.
template <class Kind>
class other_depth {
public:
    void load(const picture& source) { load_image<Kind>(*___source, source); }
    void set_threads(unsigned count) { ___result->set_thread_limit(count); }
    void run() { ___result->create(*___source, differences_of<other>::image_type); }
    picture contents() const {
        return copy_of(differences_of<other>::array(*___result), ___result->get_width(), ___result->get_height(),
                       other::form);
    }

private:
    using other = std::conditional_t<std::is_same_v<Kind, rgba_8>, rgba_16, rgba_8>;
    zarn_owned<typename Kind::image> ___source;
    zarn_owned<zarn_image_8_16> ___result;
};

template <class Kind>
start_subject start_blend_of(const unsigned& mode) {
    using image = typename Kind::image;
    return start_image<Kind>([&mode](image& i, const image& s, const image& mirror) {
        i.blit(mirror, 0, 0, s.get_width(), s.get_height(), 0.7f, 0, 0, mode, 0, nullptr, nullptr);
    });
}

template <class Kind>
std::vector<row> tone_rows() {
    using image = typename Kind::image;
    using differences = differences_of<Kind>;
    const auto on = [](auto work) { return start_image<Kind>(+work); };
    return {
        {"exposure", on([](image& i, const image&, const image&) { i.exposure(1.3f); }), true, in_place(4, 4),
         differences::curve_bar, 1.0, differences::curve_difference},
        {"brightness", on([](image& i, const image&, const image&) { i.brightness(0.1f); }), true, in_place(4, 4),
         differences::curve_bar, 1.0, differences::curve_difference},
        {"contrast", on([](image& i, const image&, const image&) { i.contrast(1.25f); }), true, in_place(4, 4),
         differences::curve_bar, 1.0, differences::curve_difference},
        {"gamma", on([](image& i, const image&, const image&) { i.gamma(2.2f); }), true, in_place(4, 4),
         differences::curve_bar, 1.0, differences::curve_difference},
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
         "bits, rounds hue, lightness and saturation to 8 bits each.",
         caller_bound},
        {"blend_over",
         start_blend_of<Kind>(normal_mode),
         true,
         in_place(8, 4),
         {peer_form::plain, 4.0, 4.0},
         1.0,
         "Opacity 0.7. The peer makes weights of alpha, blends with `blendLinear` and puts the greater alpha back."},
        {differences::to_other_depth, start_making<other_depth<Kind>>(), false,
         into_new(4, Kind::form.bits == 8 ? 8 : 2), depth_bar, 1.0,
         "Both on the caller's thread. Ours truncates, the peer rounds."},
    };
}

template <class Kind>
std::vector<operation> all_of() {
    std::vector<row> rows = mover_rows<Kind>();
    for (const auto& more : {filter_rows<Kind>(), tone_rows<Kind>()}) rows.insert(rows.end(), more.begin(), more.end());
    return operations_of(Kind::form, rows);
}

} // namespace

std::vector<operation> rgba_operations(unsigned bits) { return bits == 8 ? all_of<rgba_8>() : all_of<rgba_16>(); }

start_subject start_blend(unsigned bits, const unsigned& mode) {
    return bits == 8 ? start_blend_of<rgba_8>(mode) : start_blend_of<rgba_16>(mode);
}

void load(zarn_image_8& image, const picture& source) { load_image<rgba_8>(image, source); }

} // namespace zarn_bench
