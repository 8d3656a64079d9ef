// How the operations of a class become rows of the comparison: what all classes have in common.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/image_channel.h>
#include <zarn/image_real_32.h>
#include <zarn/owned.h>

#include "benchmarks/peer/our_operations.h"

namespace zarn_bench {

// A class with one form of pixels, its calls as the rows word them.
template <class Image, unsigned Bits>
struct rgba_kind {
    using image = Image;
    static constexpr pixel_form form{Bits, 4};
    static constexpr peer_form alpha_aware = peer_form::alpha; // what its bars are set against where pixels are mixed
    static void create(image& i, unsigned width, unsigned height, void* pixels) {
        i.create(width, height, ZARN_ORIGIN_UPPER_LEFT, pixels, 1);
    }
    static const void* array(const image& i) { return i.get_pixel_array(); }
    static pixel_form form_of(const image&) { return form; }
    static void copy(image& i, const image& source) { i.create(source); }
    static void add_margin(image& i, unsigned n) { i.resize_canvas(n, n, n, n, {10, 20, 30, 40}); }
    static void clear(image& i) { i.clear({10, 20, 30, 40}, 1); }
    static void box(image& i, unsigned radius) { i.box_blur(radius, 1, 1); }
    static void gaussian(image& i, float sigma, unsigned fast) { i.gaussian_blur(sigma, fast, 1, 1); }
};
using rgba_8 = rgba_kind<zarn_image_8, 8>;
using rgba_16 = rgba_kind<zarn_image_16, 16>;

template <unsigned Bits>
struct value_kind {
    using image = zarn_image_channel;
    static constexpr pixel_form form{Bits, 1};
    static constexpr peer_form alpha_aware = peer_form::plain;
    static constexpr unsigned image_type = Bits == 8 ? 0 : 1;
    static void create(image& i, unsigned width, unsigned height, void* pixels) {
        i.create(width, height, ZARN_ORIGIN_UPPER_LEFT, image_type, pixels, 1);
    }
    static const void* array(const image& i) {
        return Bits == 8 ? static_cast<const void*>(i.get_pixel_array_8()) : i.get_pixel_array_16();
    }
    static pixel_form form_of(const image&) { return form; }
    static void copy(image& i, const image& source) { i.create(source, image_type); }
    static void add_margin(image& i, unsigned n) {
        i.resize_canvas(i.get_width() + 2 * n, i.get_height() + 2 * n, n, n, 10);
    }
    static void clear(image& i) { i.clear(10); }
    static void box(image& i, unsigned radius) { i.box_blur(radius); }
    static void gaussian(image& i, float sigma, unsigned fast) { i.gaussian_blur(sigma, fast); }
};

struct real_kind {
    using image = zarn_image_real_32;
    static constexpr pixel_form form{32, 4};
    static constexpr peer_form alpha_aware = peer_form::alpha;
    static void create(image& i, unsigned width, unsigned height, void* pixels) {
        i.create(width, height, 0, 0, 0, static_cast<float*>(pixels), 1);
    }
    static const void* array(const image& i) { return i.get_pixel_array(); }
    static pixel_form form_of(const image& i) { return {32, i.is_grayscale() ? 2u : 4u}; }
    static void copy(image& i, const image& source) { i.create(source); }
    static void box(image& i, unsigned radius) { i.box_blur(radius, 1, 1); }
    static void gaussian(image& i, float sigma, unsigned fast) { i.gaussian_blur(sigma, fast, 1, 1); }
};

inline picture copy_of(const void* pixels, unsigned width, unsigned height, const pixel_form& form) {
    picture result{width, height, form};
    if (pixels) std::memcpy(result.bytes.data(), pixels, result.bytes.size());
    return result;
}

template <class Kind>
void load_image(typename Kind::image& image, const picture& source) {
    // Only reads from the array when it copies.
    Kind::create(image, source.width, source.height, const_cast<std::uint8_t*>(source.bytes.data()));
}

template <class Kind>
picture contents_of(const typename Kind::image& image) {
    return copy_of(Kind::array(image), image.get_width(), image.get_height(), Kind::form_of(image));
}

// Calls work(image, source, mirror): the image worked on, the source as it was, and its mirror image.
template <class Kind, class Work>
class image_subject final : public subject {
public:
    image_subject(const picture& source, Work work)
        : ___work(work) {
        load_image<Kind>(*___source, source);
        Kind::copy(*___mirror, *___source);
        ___mirror->flip_horizontal();
    }
    void set_threads(unsigned count) override { ___image->set_thread_limit(count); }
    void prepare() override { Kind::copy(*___image, *___source); }
    void run() override { ___work(*___image, *___source, *___mirror); }
    picture contents() const override { return contents_of<Kind>(*___image); }

private:
    Work ___work;
    zarn_owned<typename Kind::image> ___source, ___mirror, ___image;
};

template <class Kind, class Work>
start_subject start_image(Work work) {
    return [work](const picture& source) { return std::make_unique<image_subject<Kind, Work>>(source, work); };
}

// An operation that leaves its source alone and makes something else. A Making has a default constructor and load(),
// set_threads(), run() and contents().
template <class Making>
class making_subject final : public subject {
public:
    explicit making_subject(const picture& source) { ___making.load(source); }
    void set_threads(unsigned count) override { ___making.set_threads(count); }
    void prepare() override {}
    void run() override { ___making.run(); }
    picture contents() const override { return ___making.contents(); }

private:
    Making ___making;
};

template <class Making>
start_subject start_making() {
    return [](const picture& source) { return std::make_unique<making_subject<Making>>(source); };
}

// Bytes for each pixel of the source where samples have 8 bits and pixels four of them.
constexpr traffic into_new(double read, double written) { return {read, written, false}; }
constexpr traffic in_place(double read, double written) { return {read, written, true}; }

struct row {
    const char* name;
    start_subject start;
    bool consumes;
    traffic least; // of pixels of four bytes; scaled to the form's
    bar floor;
    double tolerance;
    const char* difference;
    const char* bound = "";
    subject_matter matter = subject_matter::photo;
};

inline std::vector<operation> operations_of(const pixel_form& form, const std::vector<row>& rows) {
    std::vector<operation> operations;
    const double scale = static_cast<double>(form.pixel_bytes()) / 4.0;
    for (const row& one : rows)
        operations.push_back({form,
                              one.name,
                              one.start,
                              one.consumes,
                              {one.least.read * scale, one.least.written * scale, one.least.in_place},
                              one.floor,
                              one.tolerance,
                              one.difference,
                              one.bound,
                              one.matter});
    return operations;
}

constexpr bar depth_bar{peer_form::plain, 0.9, 0.9};

// What measurement found in the way of bars that are missed.
constexpr const char* caller_bound = "By definition it runs on the caller's thread alone; the peer uses both";

constexpr const char* warm_bound =
    "At 1024² the array lies in the caches of the caller's core: two other threads need as long for it as one does "
    "there (140 µs to fill 4 MiB, by one and by two). Streaming stores take twice as long";

} // namespace zarn_bench
