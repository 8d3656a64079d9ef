// zarn_depth_image: what zarn_image_channel and zarn_image_grayscale share. Hosts name those two classes.
//
// Both hold one grey value a pixel, the grayscale image an alpha beside it, at a depth that is chosen at run time. The
// rules of every image class stand in rgba_image.h, and so does what an operation does: here stands only what differs.
// Where the channel image has no alpha, every pixel counts as visible and opaque.
//
// 8- and 16-bit samples are computed in 32-bit floats as those of the RGBA classes, 32-bit ones in doubles and in exact
// integers, with the constants of their range: full scale 4294967295, pivot of contrast 2147483646.
//
// Messages name the class (zarn_image_channel) and its records (crop_thread_data_c_s, of the grayscale image
// crop_thread_data_g_s). New arrays are called "zarn_uchar_8 array.", "zarn_uint_16 array.", "zarn_uint_32 array." or
// "zarn_grayscale_pixel_8_s array." and so on, the second array of a blur "temp_pixel_8_data." and so on.
#pragma once

#include <zarn/blend.h>
#include <zarn/detail/image_state.h>
#include <zarn/export.h>
#include <zarn/pixels.h>
#include <zarn/rgba_image.h>

namespace zarn {
enum class tone_curve : std::uint8_t;
struct blit_placement;
struct const_sample_run;
struct rgba_source;
} // namespace zarn

class ZARN_API zarn_depth_image {
public:
    // ---- Life cycle ------------------------------------------------------------------------------------------------

    /// Replaces the contents with width x height pixels of an image type, 0 for 8 bits, 1 for 16, 2 for 32, and clears
    /// the messages. No size is checked. copy not 0: copies the pixels from `data`, or makes zeros for null; copy 0:
    /// adopts `data`, which delete[] of the sample (or record) type must be able to release. A type above 2 gives no
    /// array and returns 1. Fails, leaving the image empty, with "Memory Allocation Error: Failed to allocate
    /// zarn_image_channel::___pixel_8_d_array." (or ___pixel_16_d_array, ___pixel_32_d_array).
    unsigned int create(unsigned int width, unsigned int height, unsigned int origin, unsigned int image_type,
                        void* data, unsigned int copy);

    /// Releases the pixels and all messages.
    void free();

    // ---- Queries ---------------------------------------------------------------------------------------------------

    unsigned int is_valid() const { return ___state.pixels && ___state.width && ___state.height ? 1u : 0u; }
    unsigned int get_width() const { return ___state.width; }
    unsigned int get_height() const { return ___state.height; }
    unsigned int get_origin() const { return ___state.origin; }
    unsigned int set_origin(unsigned int origin);

    /// 0, 1 or 2 for 8, 16 or 32 bits; an image without an array says 2.
    unsigned int get_image_type() const;

    /// Converts every sample: times the reciprocal of the old full scale, times the new one, in double, truncated. 1 at
    /// once for the current type and for one above 2; 0 on an image without an array. When the new array cannot be
    /// allocated: the message of create() and 0, the image unchanged.
    unsigned int set_image_type(unsigned int image_type);

    void set_thread_limit(unsigned int limit);
    unsigned int get_thread_limit() const;
    const zarn_list<wchar_t*>* get_error_stack() const { return &___state.errors; }

    // ---- Files -----------------------------------------------------------------------------------------------------

    /// The native format, with a header of four words: type code, origin, width, height. Beyond the messages of the
    /// RGBA classes: "Unknown file type."; the array is ___pixel_8_d_array and so on. Files of the two classes look
    /// alike: load them into the class that wrote them.
    unsigned int save_binary(const wchar_t* path, unsigned int compress);
    unsigned int load_binary(const wchar_t* path);

    /// Saves through a temporary zarn_image_8, or for 16 and 32 bits a zarn_image_16, whose red, green and blue are the
    /// value; its alpha is the image's own or full. Fails with "Failed to create zarn_image_8 for save." or "Failed to
    /// save zarn_image_8 to file." (or zarn_image_16).
    unsigned int save_file(const wchar_t* path, unsigned int format, unsigned int compression);

    // ---- Geometry --------------------------------------------------------------------------------------------------

    unsigned int crop(unsigned int x, unsigned int y, unsigned int width, unsigned int height);
    /// Without alpha, samples of 0 are trimmed.
    unsigned int crop_to_pixels(unsigned int& left, unsigned int& top);
    unsigned int flip_horizontal();
    unsigned int flip_vertical();
    unsigned int resample(unsigned int width, unsigned int height, unsigned int mode);
    /// Without alpha, feather_edges counts for nothing, and pixels outside the turned picture are 0.
    unsigned int rotate(double angle, unsigned int feather_edges);

    // ---- Tone: on the value; alpha stays ---------------------------------------------------------------------------

    void exposure(float factor);
    void brightness(float amount);
    void contrast(float factor);
    void gamma(float gamma);
    void sharpen(float amount);
    /// Takes the value from full scale.
    void negative();

    /// Stretches the lightness of all pixels, of invisible ones too, over the whole range, through 16 bits. Each pixel
    /// receives the value that belongs to the one before it in memory, the first one that of the last pixel, not
    /// stretched: hosts rely on this order. Pixels of one lightness are left alone. Fails with "Memory Allocation
    /// Error: Failed to allocate zarn_image_channel lum_array.". auto_contrast() is the same.
    void normalize();
    void auto_contrast() { normalize(); }

protected:
    enum class pixel_kind : unsigned char { value, value_with_alpha };

    explicit zarn_depth_image(pixel_kind kind);
    ~zarn_depth_image();
    zarn_depth_image(const zarn_depth_image& other);
    zarn_depth_image& operator=(const zarn_depth_image& other);
    zarn_depth_image(zarn_depth_image&& other) noexcept;
    zarn_depth_image& operator=(zarn_depth_image&& other) noexcept;

    // The state, its names those of the image type that get_image_type() says: the names tell the form.
    zarn::image_state& ___current();
    // Empties the image and fills it with the samples of `sources`, one run for each sample of a pixel, converted to an
    // image type. Without pixels in the sources it stays empty.
    unsigned int ___create_from(const zarn::const_sample_run* sources, unsigned int width, unsigned int height,
                                unsigned int origin, unsigned int image_type);
    // The same from another image of this library, or from one of its samples. Of the image itself: its conversion.
    unsigned int ___create_copy(const zarn_depth_image& source, unsigned int image_type);
    unsigned int ___create_from_part(const zarn_depth_image& source, unsigned int channel, unsigned int image_type);
    // Empties the image and pushes the message of a component that is not there; 0.
    unsigned int ___refuse_channel();

    // The operations whose arguments differ between the classes. A pixel is its value and its alpha, which images
    // without alpha do not look at; both are cut to the depth's bits.
    unsigned int ___resize_canvas(unsigned int width, unsigned int height, unsigned int anchor,
                                  const std::uint32_t (&pixel)[2]);
    unsigned int ___resize_canvas_at(unsigned int width, unsigned int height, unsigned int x, unsigned int y,
                                     const std::uint32_t (&pixel)[2]);
    unsigned int ___box_blur(unsigned int radius, bool blur_colour, bool blur_alpha);
    unsigned int ___gaussian_blur(float sigma, bool fast, bool blur_colour, bool blur_alpha);
    void ___clear(const std::uint32_t (&pixel)[2], bool with_alpha);
    unsigned int ___blit(const zarn_depth_image& source, const zarn::blit_placement& placement, float opacity,
                         unsigned int mode, bool keep_alpha);

    // The pixel array if it has the type.
    void* ___array_of(unsigned int image_type) const {
        return get_image_type() == image_type ? ___state.pixels : nullptr;
    }
    std::uint64_t ___index(unsigned int x, unsigned int y) const {
        const std::uint64_t row = ___state.origin == ZARN_ORIGIN_LOWER_LEFT ? ___state.height - y - 1 : y;
        return row * ___state.width + x;
    }

    zarn::image_state ___state;

private:
    void ___adjust(zarn::tone_curve curve, float amount);

    friend class zarn_rt_transform;
};
