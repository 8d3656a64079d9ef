// zarn_rt_transform: interactive scaling and turning of one object at a time, without loss over many steps.
#pragma once

#include <atomic>
#include <cstdint>

#include <zarn/bezier_path.h>
#include <zarn/detail/image_state.h>
#include <zarn/export.h>
#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/image_8_16.h>
#include <zarn/image_channel.h>
#include <zarn/image_grayscale.h>

/// Check an image or a path in, call transform() as often as the user drags, check it out. Every transform() starts
/// from the copy that was kept at check-in and writes into the object itself; checking out puts the object back as it
/// was checked in, so copy a wanted result first. Pixels are taken from their nearest neighbour.
///
/// The checked-in object must outlive the check-in. Read it freely meanwhile, but leave changes to the engine: the next
/// transform() undoes them.
///
/// One thread drives an engine. Turning runs on worker threads, everything else on the caller's.
class ZARN_API zarn_rt_transform {
public:
    /// Nothing is checked in. Without memory for the workers, turning fails with the message of its records and
    /// get_thread_limit() is 0.
    zarn_rt_transform();

    /// Releases the kept copy, the scratch memory and the messages; a checked-in object stays as it is.
    ~zarn_rt_transform();

    zarn_rt_transform(const zarn_rt_transform&) = delete;
    zarn_rt_transform& operator=(const zarn_rt_transform&) = delete;

    /// Keeps a copy of the object; of a zarn_image_8_16, of the image that it holds. What was checked in before is
    /// forgotten and keeps the pixels it has. An object that is not valid: 0, no message, and the engine as it was.
    /// Fails, the engine as it was, with "Memory Allocation Error: Failed to allocate
    /// zarn_rt_transform::___original_pixels.".
    unsigned int checkin_image(zarn_image_8& image);
    unsigned int checkin_image(zarn_image_16& image);
    unsigned int checkin_image(zarn_image_8_16& image);
    unsigned int checkin_image(zarn_image_channel& image);
    unsigned int checkin_image(zarn_image_grayscale& image);
    unsigned int checkin_image(zarn_bezier_path& path);

    /// Makes an image from the kept copy: scaled to width x height, a negative side mirrored, then turned clockwise by
    /// an angle in radians on the smallest canvas that holds its outline. What lies outside the turned picture is 0.
    /// Quarter, half and full turns are no exception: the canvas may be a pixel larger, and a row or a column at an
    /// edge may be lost. A side of 0 gives the image the size 0 x 0.
    ///
    /// The pixel array grows by doubling and does not shrink before the check-out: get_pixel_array() may be longer than
    /// width x height says.
    ///
    /// A path takes the sides as factors: it is mirrored, scaled about the upper left corner of its box, then turned
    /// about the centre of its box, its vertices built anew at scale 1; 1, 1 and no angle give the kept path. A side of
    /// 0 frees it.
    ///
    /// 0 without a message: nothing is checked in, a transform is running, or the image has another type than at
    /// check-in. Fails with "Function zarn_rt_transform::___allocate_image_pixels() returned FALSE.": too little
    /// memory, a canvas of 2^32 pixels or more, an array that would double beyond that, an angle that is not finite.
    /// Turning also fails with the message of its records, as in "Memory Allocation Error: Failed to allocate
    /// rt_rotate_thread_data_8_s." (16, c8, c16, c32, g8, g16, g32 for the other types). A failure leaves an image as
    /// it was; a path may have lost knots or vertices, which the next transform() brings back.
    unsigned int transform(int width, int height, double angle);

    /// Puts the object back as it was checked in and forgets it. 0 without a message when nothing is checked in, or
    /// when a zarn_image_8_16 no longer holds an image of the type; without memory for a path 0 with the message of
    /// transform(), the path still checked in.
    unsigned int checkout_image();

    /// 1 while transform() runs; also for other threads.
    unsigned int is_transforming() const { return ___transforming.load(); }
    /// 1 while something is checked in.
    unsigned int is_valid() const;

    /// The most threads that turning may use, for canvases of more rows than that; 0: one per logical processor.
    void set_thread_limit(unsigned int limit);
    unsigned int get_thread_limit() const;
    const zarn_list<wchar_t*>* get_error_stack() const { return &___context.errors; }

private:
    static zarn::image_state* ___held_by(zarn_image_8_16& holder);
    unsigned int ___checkin(zarn::image_state* image, zarn_image_8_16* holder, std::uint64_t pixel_bytes,
                            const zarn::image_names& names);
    unsigned int ___checkin_values(zarn::image_state& image);
    zarn::image_state* ___checked_in_image() const;
    unsigned int ___transform_image(int width, int height, double angle);
    unsigned int ___transform_path(int width, int height, double angle);
    unsigned int ___restore_path();
    unsigned int ___fail_allocation();
    bool ___allocate_temp_pixels(std::uint64_t count);
    void ___forget();

    // What is checked in: one of the three at most.
    zarn::image_state* ___image;
    zarn_image_8_16* ___holder;
    zarn_bezier_path* ___path;

    void* ___original_pixels;          // owned
    const zarn::image_names* ___names; // the image's form at check-in, as are
    unsigned int ___origin;            // its row order
    unsigned int ___original_width;    // and size
    unsigned int ___original_height;
    std::uint64_t ___pixel_bytes;
    zarn_bezier_path* ___original_path;  // owned
    void* ___temp_pixel_buffer;          // owned: the scaled image before it is turned
    unsigned int ___temp_pixel_capacity; // pixels
    std::atomic<unsigned int> ___transforming;
    zarn::image_state ___context; // the engine's workers and messages
};
