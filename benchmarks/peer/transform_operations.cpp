#include <cmath>

#include <zarn/rt_transform.h>

#include "benchmarks/peer/common_rows.h"

namespace zarn_bench {

namespace {

constexpr bar engine_bar{peer_form::plain, 1.5, 1.5};
constexpr const char* engine_difference =
    "Arrays are kept from call to call on both sides. Ours scales in steps of 16.16 fixed point, rounded down, and on "
    "the caller's thread; the peer rounds positions to 1/1024 pixel when it turns.";
constexpr const char* scaling_bound = "By definition scaling runs on the caller's thread alone; the peer uses both";
constexpr const char* reduction_bound = "Ours takes about as long as a copy of the bytes it reads (0.19 ms of "
                                        "processor time at 1024²), and the peer hardly "
                                        "longer";

// An image checked in, of which each run makes it scaled and turned.
template <class Kind>
class engine_subject final : public subject {
public:
    engine_subject(const picture& source, double scale, double angle)
        : ___width(static_cast<int>(source.width * scale))
        , ___height(static_cast<int>(source.height * scale))
        , ___angle(angle) {
        load_image<Kind>(*___image, source);
        ___engine.checkin_image(*___image);
    }
    void set_threads(unsigned count) override { ___engine.set_thread_limit(count); }
    void prepare() override {}
    void run() override { ___engine.transform(___width, ___height, ___angle); }
    picture contents() const override { return contents_of<Kind>(*___image); }

private:
    int ___width, ___height;
    double ___angle;
    zarn_owned<typename Kind::image> ___image;
    zarn_rt_transform ___engine;
};

template <class Kind>
std::vector<row> engine_rows() {
    const auto start = [](double scale, double angle) -> start_subject {
        return [scale, angle](const picture& source) {
            return std::make_unique<engine_subject<Kind>>(source, scale, angle);
        };
    };
    return {
        {"engine_enlarge", start(1.5, 0.0), false, into_new(4, 9), engine_bar, 5.0, engine_difference, scaling_bound},
        {"engine_reduce", start(0.75, 0.0), false, into_new(3, 2.25), engine_bar, 5.0, engine_difference,
         reduction_bound},
        {"engine_rotate", start(1.0, 0.3), false, into_new(4, 4 * turned_canvas), engine_bar, 5.0, engine_difference},
        {"engine_both", start(0.75, 0.3), false, into_new(5.25, 2.25 + 2.25 * turned_canvas), engine_bar, 8.0,
         engine_difference, scaling_bound},
    };
}

// Fills a path over the source.
class path_filling {
public:
    void load(const picture& source) {
        load_image<rgba_8>(*___image, source);
        for (const auto& [x, y] : benchmark_polygon(source.width)) {
            ___path->push_knot(zarn_fpoint_s(static_cast<float>(x), static_cast<float>(y)), 0, 3);
        }
        ___path->push_knot(___path->get_knot(0).position, 0, 3);
        ___path->build_linear_vertex_list();
    }
    void set_threads(unsigned count) { ___image->set_thread_limit(count); }
    void run() { ___path->rasterize_to_image_existing(0, 0.0, {200, 100, 50, 255}, 1, *___image); }
    picture contents() const { return contents_of<rgba_8>(*___image); }

private:
    zarn_owned<zarn_image_8> ___image;
    zarn_owned<zarn_bezier_path> ___path;
};

} // namespace

std::vector<std::pair<double, double>> benchmark_polygon(unsigned side) {
    constexpr unsigned count = 600;
    constexpr double whole_turn = 6.283185307179586;
    std::vector<std::pair<double, double>> vertices;
    for (unsigned i = 0; i < count; ++i) {
        const double angle = whole_turn * i / count;
        const double radius = side * (0.38 + 0.07 * std::sin(9 * angle));
        vertices.emplace_back(side / 2.0 + radius * std::cos(angle), side / 2.0 + radius * std::sin(angle));
    }
    return vertices;
}

std::vector<operation> transform_operations(const pixel_form& form) {
    std::vector<row> rows;
    if (form.channels == 4) {
        rows = form.bits == 8 ? engine_rows<rgba_8>() : engine_rows<rgba_16>();
    } else {
        rows = form.bits == 8 ? engine_rows<value_kind<8>>() : engine_rows<value_kind<16>>();
    }
    if (form == rgba_8::form) {
        rows.push_back({"path_fill",
                        start_making<path_filling>(),
                        false,
                        in_place(0, 2),
                        {peer_form::plain, 0.5, 0.5},
                        2.0,
                        "A closed path of 600 vertices, with opaque colour, on the caller's thread."});
    }
    return operations_of(form, rows);
}

} // namespace zarn_bench
