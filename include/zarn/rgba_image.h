// zarn_rgba_image: what zarn_image_8 and zarn_image_16 are, over their pixel record. Hosts name those two classes.
//
// Rules of every image class
//
// Results. Operations that can fail return 1 for success and 0 for failure. None throws. Reasons stand as English
// messages on the object's own error stack, oldest first; they accumulate until free() or create() (and so every
// load) clears them. A failed operation leaves the image as it was, except where its comment says otherwise.
//
// Ownership. The object owns its pixel array, its messages and its workers. free() releases pixels and messages; the
// destructor releases neither, so call free() before an image goes, on temporaries too, or hold it in a zarn_owned.
//
// Rows and origin. Pixels are packed records, row after row, without padding. The origin code tells which row comes
// first in memory: ZARN_ORIGIN_LOWER_LEFT the bottom row of the picture, any other value the top row. Coordinates of
// callers are picture coordinates: x from the left, y from the top, whatever the origin.
//
// Alpha. A pixel is visible when its alpha is not 0. The colour of invisible pixels never reaches a visible result of
// resampling, rotation, blurs (but of alpha alone) or alpha expansion (but where it fills alpha beyond its last ring).
//
// Empty images. On an image without pixels, tone operations, clear() and sharpen() do nothing; flips, blurs, rotate()
// and save_file() return 0 without a message; what differs is said with the operation.
//
// Threads. An operation cuts its rows (or columns) into at most get_thread_limit() bands, runs each on a thread of its
// own and returns when all have ended. Results depend neither on timing nor, sharpen() and means of histograms aside,
// on the limit. If the system refuses to start a thread, the remaining bands are left out in silence, with success.
// Only one thread may use one object at a time; different objects are independent.
//
// Rules of this class
//
// Samples run from 0 to full scale, 255 or 65535. Comments quote messages in the words of the 8-bit class; the 16-bit
// class says zarn_image_16, zarn_pixel_16_s, zarn_uint_16 and ..._thread_data_16_s instead.
#pragma once

#include <zarn/blend.h>
#include <zarn/detail/image_state.h>
#include <zarn/export.h>
#include <zarn/pixels.h>
#include <zarn/window.h>

/// Row order: the first row in memory is the bottom row of the picture.
#define ZARN_ORIGIN_LOWER_LEFT 1537u
/// Row order: the first row in memory is the top row of the picture.
#define ZARN_ORIGIN_UPPER_LEFT 1538u

/// Pixel is zarn_pixel_8_s or zarn_pixel_16_s.
template <class Pixel>
class zarn_rgba_image {
public:
    using sample = decltype(Pixel::r);
    using blend_callback = void (*)(float alpha, const Pixel& destination, const Pixel& source, Pixel& result,
                                    void* user_data);

    // ---- Life cycle ------------------------------------------------------------------------------------------------

    /// An empty image: no pixels, 0 x 0, origin 0. When its workers cannot be allocated, every operation that needs
    /// them fails with the message of its thread records and get_thread_limit() is 0.
    zarn_rgba_image();

    /// Releases the workers and the list of messages, but neither pixels nor message texts: call free() first.
    ~zarn_rgba_image();

    /// Deep copies: pixels, size, origin and messages. The target keeps its own workers and thread limit. Self-
    /// assignment changes nothing. When the pixels cannot be allocated the target is empty and holds the message
    /// "Memory Allocation Error: Failed to allocate zarn_image_8::___pixel_d_array.".
    zarn_rgba_image(const zarn_rgba_image& other);
    zarn_rgba_image& operator=(const zarn_rgba_image& other);

    /// Takes pixels, size, origin and messages; the source is left empty. Assignment frees the target first. Workers
    /// and thread limits stay where they are.
    zarn_rgba_image(zarn_rgba_image&& other) noexcept;
    zarn_rgba_image& operator=(zarn_rgba_image&& other) noexcept;

    /// Releases the pixels and all messages: the image is empty, its thread limit stays.
    void free();

    /// Replaces the contents with a copy of `source` (size, origin, pixels) and clears the messages. A copy of an empty
    /// image is empty and returns 1; a copy of the object itself only clears the messages. Fails, leaving the image
    /// empty, with "Memory Allocation Error: Failed to allocate zarn_image_8::___pixel_d_array.".
    unsigned int create(const zarn_rgba_image& source);

    /// Replaces the contents with width x height pixels of the given origin and clears the messages. No argument is
    /// checked: a zero side gives an empty image and 1.
    ///
    /// copy not 0: copies width * height records from `data`, in memory order; null `data` gives transparent black.
    /// copy 0: adopts `data` without copying; it may be null, else it must come from new[] of the record type, for the
    /// image releases it with delete[].
    ///
    /// Fails, leaving the image empty, with the message of the other create.
    unsigned int create(unsigned int width, unsigned int height, unsigned int origin, void* data, unsigned int copy);

    // ---- Queries and single pixels ---------------------------------------------------------------------------------

    /// 1 when there is a pixel array and both sides are above 0.
    unsigned int is_valid() const { return ___state.pixels && ___state.width && ___state.height ? 1u : 0u; }
    unsigned int get_width() const { return ___state.width; }
    unsigned int get_height() const { return ___state.height; }
    unsigned int get_origin() const { return ___state.origin; }

    /// Changes the row order, turning the rows in memory over so that the picture stays the same; any two different
    /// codes count as opposite orders. Returns 1 at once for the current code. When the flip fails: 0, origin
    /// unchanged, "Failed to zarn_image_8::flip_vertical()." (also on an empty image).
    unsigned int set_origin(unsigned int origin);

    /// The pixel at picture coordinates (x, y). Neither the coordinates nor the existence of pixels is checked.
    const Pixel& get_pixel(unsigned int x, unsigned int y) const { return get_pixel_array()[___index(x, y)]; }
    void set_pixel(unsigned int x, unsigned int y, const Pixel& pixel) { get_pixel_array()[___index(x, y)] = pixel; }

    /// The pixel array in memory order, owned by the image; null when nothing is held. Valid until the next operation
    /// that replaces it.
    const Pixel* get_pixel_array() const { return static_cast<const Pixel*>(___state.pixels); }
    Pixel* get_pixel_array() { return static_cast<Pixel*>(___state.pixels); }

    /// The most threads an operation may use. 0 means one per logical processor, which is also the initial value; any
    /// other value is taken as it is. It survives free() and create().
    void set_thread_limit(unsigned int limit);
    unsigned int get_thread_limit() const;

    /// The messages of failed operations, index 0 the oldest. List and strings belong to the image.
    const zarn_list<wchar_t*>* get_error_stack() const { return &___state.errors; }

    // ---- Files -----------------------------------------------------------------------------------------------------

    /// Writes the native format: a header of five little-endian 32-bit words (type code, origin, width, height, 1),
    /// then the pixel array in memory order, raw or (compress not 0) as LZ4 chunks of 2 MiB. Fails with "Failed to open
    /// file for binary write.", "Failed to write image to file." or "Compression Error: Failed to compress pixels to
    /// file."; a partial file stays. An empty image writes a file without pixels, which loads in its raw form only.
    unsigned int save_binary(const wchar_t* path, unsigned int compress);

    /// Replaces the image by a file that save_binary wrote for an image of this class. Every failure returns 0 with one
    /// message: "Failed to open file for binary read.", "Unexpected image type: Failed to load zarn_image_8 from
    /// binary.", "Failed to read pixels from file. Unexpected end of file." (a raw file shorter than its header says),
    /// "Memory Allocation Error: Failed to allocate ___pixel_d_array." or "Compression Error: Failed to decompress
    /// pixels from file.". The image is empty then, except after a chunk that does not decode: the pixels before it
    /// stay, the rest is transparent black. Memory is never claimed beyond what the size of the file can stand for.
    unsigned int load_binary(const wchar_t* path);

    /// Replaces the image by an ordinary image file. Needs zarn_initialize() for DevIL's part. Files ending in "psd"
    /// (16 bits and deeper), "hdr", "exr", "tif" and "tiff" (lower case) are read by FreeImage, and by DevIL where that
    /// fails; all others by DevIL, which picks the decoder by extension. Rows keep the order of the decoder, recorded
    /// as origin.
    ///
    /// Samples of another width are scaled to full scale and truncated; float samples are encoded with gamma 1/2.2,
    /// alpha included, and values beyond full scale wrap. DevIL's float sources get gamma(2.2) after conversion.
    ///
    /// DevIL's reasons become messages, as in "Failed to load image using ilLoadImage(). File open failed."; some
    /// failures have none. Files are looked over first. Damage, or a kind of picture, that a decoder would not survive:
    /// "Failed to load image using ilLoadImage(). Damaged file."; a type without a sound decoder, even where there is
    /// no such file: "Failed to load image using ilLoadImage(). Invalid file extension.". The image is empty after a
    /// failure. Calls may run at once on different objects: DevIL is used behind one process-wide lock.
    unsigned int load_file(const wchar_t* path);

    /// The same from `size` bytes of an image file in memory, by DevIL alone, which tells the format by its contents,
    /// and without the gamma step for float sources. Bytes of no known format: 0 without a message.
    unsigned int load_file(const void* data, unsigned int size);

    /// Writes an ordinary image file; the ending of the path picks the format. All but "exr" and "hdr" need
    /// zarn_initialize(). The image is not changed. Its origin must be one of the two codes: any other is written as
    /// lower-left.
    ///
    /// format: pixel layout in the file. 0 luminance, 1 RGB, 2 RGBA in 8 bits; 3 RGB, 4 RGBA in 16 bits; from 5 on
    /// as in memory. A type without alpha, as JPEG, drops it: invisible pixels show the colour they hold.
    /// "exr" takes 7 RGB, 8 RGBA, 9 red as halves, 10 RGB, 11 RGBA, 12 red as floats and "hdr" takes 10 only, both
    /// linearised with gamma 2.2; with other formats they fail with "Failed to save EXR. Unsupported pixel format." or
    /// "Failed to save HDR. Unsupported pixel format.".
    ///
    /// Of 16-bit layouts PNG and TIFF keep all bits; BMP, JPEG, TGA and DDS keep eight; PPM fails without a message.
    ///
    /// compression, for DDS, which is always compressed: 1 DXT1, 2 DXT3, 3 DXT5, anything else DevIL's default, which
    /// is DXT1. The alpha of DXT1 is on or off.
    ///
    /// A path ending in "tga" shows the picture upside down with every format but 2, which is the right way up and
    /// marked as having 8 bits of alpha, lower-left. Hosts rely on it; an ending in capitals is always right.
    ///
    /// DevIL's failures become messages such as "Failed to save image using ilSaveImage(). Invalid file extension.". A
    /// save that fails may leave an empty or partial file in the place of an older one.
    unsigned int save_file(const wchar_t* path, unsigned int format, unsigned int compression);

    /// Replaces the image by the picture on the clipboard, opaque and with the top row first. 8-bit samples are scaled
    /// to full scale.
    ///
    /// On Windows that is the clipboard's bitmap, in the colours of `window` (null: of the screen). 24 and 32 bits are
    /// read; other depths give transparent black. 24-bit rows are read without their padding, so that a width that is
    /// no multiple of 4 shears the picture.
    ///
    /// Elsewhere it is the CLIPBOARD selection of the X server that the environment's DISPLAY names, offered as
    /// image/bmp or image/png. `window` is not used. DevIL decodes it, so zarn_initialize() is needed. An owner of the
    /// selection that has not delivered after 5 seconds is given up; the calling thread answers nobody meanwhile, not
    /// even for a selection of its own.
    ///
    /// Every failure leaves the image empty: "Failed to open clipboard with OpenClipboard()." (no display), "No BITMAP
    /// found in clipboard." (no picture, or no answer), "Failed to get bitmap bits using GetDIBits()." (offered, but
    /// not delivered), "Memory Allocation Error: Failed to allocate bitmap bytes." (also for a file above 1 GiB); for a
    /// file that does not decode the messages of load_file() from memory; for pixels without memory that of create().
    unsigned int load_clipboard(zarn_window_handle window);

    // ---- Geometry --------------------------------------------------------------------------------------------------
    //
    // Each builds a new pixel array and puts it in the place of the old one only when all is done; a failure leaves the
    // image as it was. Allocation failures push "Memory Allocation Error: Failed to allocate zarn_pixel_8_s array." or
    // the same with the operation's thread record (crop_thread_data_8_s, resize_canvas_thread_data_8_s,
    // flip_canvas_thread_data_8_s, resample_thread_data_8_s, rotate_thread_data_8_s), then, flips aside, the line of
    // the routine that failed, as in "Failed to zarn_image_8::___do_crop().".

    /// Keeps the rectangle of the picture with its top-left corner at (x, y). A rectangle that does not lie inside the
    /// image or has a zero side fails with "Failed to zarn_image_8::crop(). Invalid size.".
    unsigned int crop(unsigned int x, unsigned int y, unsigned int width, unsigned int height);

    /// Trims the rows and columns at the edges in which every alpha is 0, and tells how many went at the left and the
    /// top. An image without visible pixels is emptied, and 1 returned; so is one whose visible pixels all lie in the
    /// first row in memory or in column 0 (and with it every image 1 pixel wide or high).
    unsigned int crop_to_pixels(unsigned int& left, unsigned int& top);

    /// Enlarges the canvas to width x height. The old picture sits at position 0 bottom left, 1 bottom right, 2 top
    /// left, 3 top right, 4 centre (an odd pixel of margin goes right and below); the rest is `colour`, alpha included.
    /// A smaller or zero side fails with "Failed to zarn_image_8::resize_canvas(). Invalid size.", another position
    /// with "Failed to zarn_image_8::___do_resize_canvas(). Unknown position.". An empty image becomes a canvas of
    /// `colour`.
    unsigned int resize_canvas(unsigned int width, unsigned int height, unsigned int position, const Pixel& colour);

    /// Adds margins of `colour` around the picture. A result with a zero side or one beyond 32 bits fails with "Failed
    /// to zarn_image_8::resize_canvas(). Invalid size.".
    unsigned int resize_canvas(unsigned int left, unsigned int right, unsigned int top, unsigned int bottom,
                               const Pixel& colour);

    /// Mirror the picture left to right, and top to bottom.
    unsigned int flip_horizontal();
    unsigned int flip_vertical();

    /// Resamples to width x height. Mode 0: cubic B-spline where a side grows, else area average; 1: nearest
    /// neighbour (sides below 65536); 2: cubic B-spline. The current size returns 1 and changes nothing.
    ///
    /// Area average: boxes of at least 3 x 3 pixels; colour is the mean of the visible pixels, alpha the mean of all,
    /// both truncated. B-spline: 16 taps, edges repeated, no half-pixel shift; invisible taps take the mean colour of
    /// the visible ones; rounded to nearest. Nearest: whole pixels.
    ///
    /// A zero side, or an empty image, fails with the line of the routine ("Failed to
    /// zarn_image_8::___do_downsample()." and the like). A mode above 2 resamples nothing: it only stores the new size
    /// and returns 1. The array is read with the new sides then, keeps what lies behind them, and grows by transparent
    /// black; without memory for that: 0 and "Memory Allocation Error: Failed to allocate zarn_pixel_8_s array.".
    unsigned int resample(unsigned int width, unsigned int height, unsigned int mode);

    /// Turns the picture clockwise by an angle in radians about its centre, bilinearly, on a canvas that holds the
    /// turned outline; outside of that it is transparent black. Quarter, half and full turns are no exception: the
    /// canvas may be a pixel larger, and a row or a column at an edge may be lost; both flips make a half turn without
    /// loss. Invisible neighbours lend the sampled pixel's own colour, and where the sampled pixel, the upper left one
    /// of the four, is itself invisible so is the result: edges of hard alpha come out smooth on two sides and stepped
    /// on the others. Results are truncated, so that some pixels inside an opaque picture have an alpha one short of
    /// full. An angle of 0 or NaN returns 1 and changes nothing.
    ///
    /// feather_edges not 0: lowers the alpha of opaque pixels at the edge of the canvas to 75..84 % and of those beside
    /// a fully transparent one to 55..69 %, with std::rand seeded by the new width (the process's generator; guarded
    /// among zarn's own calls). An angle that gives no finite canvas fails with "Failed to
    /// zarn_image_8::___do_rotate().".
    unsigned int rotate(double angle, unsigned int feather_edges);

    // ---- Filters ---------------------------------------------------------------------------------------------------

    /// Writes the red, green and blue of `colour` to every pixel, and its alpha too when with_alpha is not 0. Reports
    /// only on the error stack: "Memory Allocation Error: Failed to allocate adjust_thread_data_8_s.".
    void clear(const Pixel& colour, unsigned int with_alpha);

    /// Blurs with a Gaussian of standard deviation sigma (pixels, above 0, at most 250 counts). Colour is averaged over
    /// visible pixels, alpha over all; results are truncated after each of the two passes. The switches choose what is
    /// replaced: colour, alpha or both.
    ///
    /// fast 0, or sigma not above 3: the true Gaussian, cut at 2 sigma and at the image's edges, where it is
    /// renormalised. Otherwise three box blurs of radius trunc(sigma) (the third a little wider; none wider than the
    /// smaller side of the image) over the image with its edges repeated, at a cost that does not grow with sigma;
    /// there, a pixel whose span holds nothing visible gets colour 0 even when colour is not blurred.
    ///
    /// A sigma not above 0 (or NaN) fails with "Failed to zarn_image_8::gaussian_blur(). Invalid sigma.". Allocation
    /// failures push their messages and leave the image as it was, except that the fast form keeps what the passes
    /// before the failure did, and stays padded when its padding cannot be cropped away.
    unsigned int gaussian_blur(float sigma, unsigned int fast, unsigned int blur_colour, unsigned int blur_alpha);

    /// Blurs with a square box of side 2 * radius + 1, the radius cut to the smaller side of the image, edges repeated.
    /// Colour, alpha, switches and failures as in the fast form of gaussian_blur().
    unsigned int box_blur(unsigned int radius, unsigned int blur_colour, unsigned int blur_alpha);

    /// Sharpens colour with the 3 x 3 kernel (0, -a, 0 / -a, 4a + 1, -a / 0, -a, 0), in place from the top row of the
    /// picture down, so that each pixel sees its already sharpened left and upper neighbours; clamped to full scale,
    /// truncated. Where one band of rows meets the next, both see the other's rows as they were before: the result
    /// depends on the thread limit, never on timing. The feedback rings into a checkerboard from amounts of about 0.5
    /// on. Alpha and the outermost rows and columns stay; images below 3 x 3 stay whole. Reports only on the error
    /// stack: "Memory Allocation Error: Failed to allocate adjust_thread_data_8_s.".
    void sharpen(float amount);

    /// Grows the colour of opaque pixels into transparent ones, ring by ring: edge padding for texture atlases. Pixels
    /// with alpha above `threshold` (full scale less 1 at most) count as opaque, all others are filled, each with the
    /// mean colour of its opaque neighbours. `iterations` rings at the most, 0 for no limit. In the end alpha is as it
    /// was (keep_alpha not 0), or full everywhere, also beyond the last ring, where the old colours, often black, show.
    /// The last column never lends colour to its left, the last row never upward. Without an opaque pixel nothing
    /// changes and 1 is returned. The cost follows the pixels filled. Fails with "Memory Allocation Error: Failed to
    /// allocate zarn_uchar_8 array.".
    unsigned int expand_where_alpha(unsigned int iterations, sample threshold, unsigned int keep_alpha);

    // ---- Tone ------------------------------------------------------------------------------------------------------
    //
    // Colour only, every sample by itself, in 32-bit floats, truncated; alpha stays and does not count, normalize()
    // aside. They report only on the error stack: "Memory Allocation Error: Failed to allocate
    // adjust_thread_data_8_s.", with the image unchanged. NaN gives 0, and full scale in exposure().

    /// Multiplies by `factor`; values above full scale become full scale. There is no lower clamp: the low bits of a
    /// negative product are stored.
    void exposure(float factor);

    /// Adds `amount` times full scale, clamped to the range: 1 makes every colour white, -1 black.
    void brightness(float amount);

    /// Multiplies the distance from the pivot, 127 or 32766, by `factor`, clamped to the range.
    void contrast(float factor);

    /// Encodes colour with exponent 1 / gamma: above 1 brightens; 1 changes nothing in 8 bits, and in 16 lowers some
    /// values by 1. Clamped to the range.
    void gamma(float gamma);

    /// Colour becomes its weighted sum, (green + red) + blue, not clamped: weights are expected to sum to at most 1.
    /// Without arguments the weights of luma, 0.299, 0.587 and 0.114.
    void grayscale();
    void grayscale(float red_weight, float green_weight, float blue_weight);

    /// Takes colour, alpha or both from full scale.
    void negative(unsigned int invert_colour, unsigned int invert_alpha);

    /// Stretches the lightness of the visible pixels so that the least becomes 0 and the greatest 1; hue and saturation
    /// stay, up to truncation. Invisible pixels are neither counted nor changed; pixels that share one lightness are
    /// left alone. Runs on the calling thread. Fails with "Memory Allocation Error: Failed to allocate zarn_image_8
    /// lum_array.". auto_contrast() is the same.
    void normalize();
    void auto_contrast() { normalize(); }

    // ---- Compositing -----------------------------------------------------------------------------------------------

    /// Composites the rectangle (source_x, source_y, width, height) of `source` onto this image, its top-left corner at
    /// (destination_x, destination_y), picture to picture whatever the origins. What lies outside either image is left
    /// out; with nothing left the result is 1. `source` may be this image: it is read as it was before.
    ///
    /// Colour moves from the destination's towards the blended one (see blend.h) by the source pixel's alpha times
    /// `opacity`, which is meant to be in 0..1: beyond that the low bits of what comes out are stored. Alpha becomes
    /// the greater of the two when `flags` is 0, else the destination keeps it. ZARN_BLEND_REPLACE copies whole pixels,
    /// ZARN_BLEND_CUSTOM stores what the callback makes; codes above that change no colour.
    ///
    /// The callback runs on several threads at once; `user_data` is handed through. It gets the weight (source alpha in
    /// 0..1 times opacity), the destination pixel after the alpha rule, the source pixel, and a result to be written
    /// whole: it still holds what the previous call on the same thread left there. An exception out of the callback
    /// ends there; the result is taken as it stands.
    ///
    /// Fails with the image unchanged: "Failed to zarn_image_8::___do_blit(). ZARN_BLEND_CUSTOM without
    /// blend_callback.", "Memory Allocation Error: Failed to allocate blit_thread_data_8_s." or, for a blit onto
    /// itself, "Memory Allocation Error: Failed to allocate zarn_pixel_8_s array.".
    unsigned int blit(const zarn_rgba_image& source, unsigned int source_x, unsigned int source_y, unsigned int width,
                      unsigned int height, float opacity, int destination_x, int destination_y, unsigned int blend_mode,
                      unsigned int flags, blend_callback callback, void* user_data);

private:
    std::uint64_t ___index(unsigned int x, unsigned int y) const {
        const std::uint64_t row = ___state.origin == ZARN_ORIGIN_LOWER_LEFT ? ___state.height - y - 1 : y;
        return row * ___state.width + x;
    }

    zarn::image_state ___state;

    friend class zarn_rt_transform;
};
