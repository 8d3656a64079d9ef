#include <vector>

#include <zarn/image_grayscale.h>

#include "benchmarks/peer/common_rows.h"

namespace zarn_bench {

namespace {

// Each pixel of a region becomes the number of the region's pixels, in its low 16 bits: what regions agree in when they
// are found in whatever order.
class subset_list {
public:
    void load(const picture& source) { load_image<value_kind<8>>(*___image, source); }
    void set_threads(unsigned count) { ___image->set_thread_limit(count); }
    void run() { ___image->calculate_subset_list(0); }
    picture contents() const {
        picture result{___image->get_width(), ___image->get_height(), {16, 1}};
        const zarn_list<zarn_subset_s*>& subsets = *___image->get_subset_list();
        for (unsigned n = 0; n < subsets.count; ++n) {
            const zarn_list<zarn_point_s>& points = *subsets.data[n]->points;
            const auto size = static_cast<std::uint16_t>(points.count);
            for (unsigned i = 0; i < points.count; ++i) {
                // Counted from the picture's top; its rows are stored from there.
                const auto x = static_cast<std::size_t>(points.data[i].x),
                           y = static_cast<std::size_t>(points.data[i].y);
                std::memcpy(&result.bytes[(y * result.width + x) * sizeof size], &size, sizeof size);
            }
        }
        return result;
    }

private:
    zarn_owned<zarn_image_channel> ___image;
};

// Of a height field of 16 bits, all of it visible.
class normals {
public:
    void load(const picture& source) {
        std::vector<std::uint16_t> samples;
        for (std::size_t pixel = 0; pixel < source.pixels(); ++pixel) {
            std::uint16_t value;
            std::memcpy(&value, &source.bytes[pixel * sizeof value], sizeof value);
            samples.push_back(value);
            samples.push_back(65535);
        }
        ___heights->create(source.width, source.height, ZARN_ORIGIN_UPPER_LEFT, 1, samples.data(), 1);
    }
    void set_threads(unsigned count) { ___heights->set_thread_limit(count); }
    void run() {
        ___normals->free(); // the peer makes its own anew too
        ___heights->convert_to_normals(4.0f, 0, 0, nullptr, *___normals);
    }
    picture contents() const { return contents_of<rgba_16>(*___normals); }

private:
    zarn_owned<zarn_image_grayscale> ___heights;
    zarn_owned<zarn_image_16> ___normals;
};

template <class Kind>
std::vector<row> all_rows() {
    std::vector<row> rows = mover_rows<Kind>();
    for (const row& one : filter_rows<Kind>()) rows.push_back(one);
    return rows;
}

} // namespace

std::vector<operation> value_operations(unsigned bits) {
    if (bits == 16) {
        std::vector<row> rows = all_rows<value_kind<16>>();
        rows.push_back({"normals",
                        start_making<normals>(),
                        false,
                        into_new(8, 16),
                        {peer_form::plain, 2.0, 2.0},
                        1.0,
                        "Ours reads alpha too, and whether each neighbour is visible."});
        return operations_of({16, 1}, rows);
    }
    std::vector<row> rows = all_rows<value_kind<8>>();
    rows.push_back(
        {"subset_list",
         start_making<subset_list>(),
         false,
         into_new(4, 32),
         {peer_form::plain, 1.0, 1.0},
         0.0,
         "Ours lists the points of a region in the order in which a flood fill reaches them, the peer's side "
         "row by row.",
         "",
         subject_matter::labels});
    rows.push_back({"distance",
                    start_image<value_kind<8>>([](zarn_image_channel& i, const zarn_image_channel&,
                                                  const zarn_image_channel&) { i.distance_transform(); }),
                    true,
                    in_place(4, 4),
                    {peer_form::plain, 1.5, 1.5},
                    2.0,
                    "Ours measures to the nearest pixel of another value by dead reckoning, the peer to the nearest of "
                    "0 and to the nearest that is not.",
                    caller_bound,
                    subject_matter::labels});
    return operations_of({8, 1}, rows);
}

} // namespace zarn_bench
