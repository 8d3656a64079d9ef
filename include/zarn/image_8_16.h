// zarn_image_8_16: an RGBA image of either depth, 8 or 16 bits, with conversion between the two.
#pragma once

#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/window.h>

/// Holds one zarn_image_8 (image type 0) or one zarn_image_16 (type 1), or nothing, and forwards operations to it. The
/// rules of every image class, and all that an operation does, stand in rgba_image.h.
///
/// Forwarded operations leave their messages with the held image, where a host cannot read them: of such a failure only
/// the 0 is told. The holder's own stack has those of create(), set_image_type(), loading, save_binary() and the blits'
/// conversion.
///
/// A call that needs an image which is not held, for the holder is empty or holds the other depth, returns 0, a null
/// pointer or a constant transparent black pixel, or does nothing; without a message and without a file.
///
/// From one depth to the other every sample is scaled in 32-bit floats and truncated: 255 and 65535 become each other,
/// 128 becomes 32896 and comes back as 127.
class ZARN_API zarn_image_8_16 {
public:
    // ---- Life cycle ------------------------------------------------------------------------------------------------

    /// Holds nothing; image type 1, thread limit 0.
    zarn_image_8_16();

    /// Releases the list of messages, but neither the held image nor message texts: call free() first.
    ~zarn_image_8_16();

    /// Copies what is held and the messages; the target keeps its thread limit. When memory is short the target is
    /// empty and has the message of create().
    zarn_image_8_16(const zarn_image_8_16& other);
    zarn_image_8_16& operator=(const zarn_image_8_16& other);

    /// Takes what is held and the messages; the source is left empty. Thread limits stay where they are.
    zarn_image_8_16(zarn_image_8_16&& other) noexcept;
    zarn_image_8_16& operator=(zarn_image_8_16&& other) noexcept;

    /// Releases what is held and all messages.
    void free();

    /// Replace the contents by a copy of `source` in the given type, converted where depths differ. They fail, before
    /// anything is freed, with "Invalid zarn_image_8 parameter." (or zarn_image_16, zarn_image_8_16) for a source that
    /// is not valid, and with "Unknown image type." for a type above 1; and, the holder then empty, with the message of
    /// what could not be allocated, as in "Memory Allocation Error: Failed to allocate zarn_image_8.".
    unsigned int create(const zarn_image_8& source, unsigned int type);
    unsigned int create(const zarn_image_16& source, unsigned int type);
    unsigned int create(const zarn_image_8_16& source, unsigned int type);

    /// Makes width x height pixels of the type, as create() of the held class does with `data` and `copy`. Does not
    /// free first: a held image of that type is made anew, one of the other type stays held beside it (8 bits go
    /// before 16), and messages stay. Call free() before. Fails with "Unknown image type." or a message of allocation.
    unsigned int create(unsigned int width, unsigned int height, unsigned int origin, unsigned int type, void* data,
                        unsigned int copy);

    // ---- Queries and single pixels ---------------------------------------------------------------------------------

    /// 0 when an 8-bit image is held, else 1; so an empty holder says 1.
    unsigned int get_image_type() const { return ___image_8 ? 0u : 1u; }

    /// Converts the held image. Returns 1 at once for the type that get_image_type() says; 0 without a message for a
    /// type above 1 and on an empty holder. Allocation failures leave the held image as it was and push "Memory
    /// Allocation Error: Failed to allocate zarn_image_8." (or zarn_image_16), or the message of the new image's
    /// create().
    unsigned int set_image_type(unsigned int type);

    unsigned int is_valid() const;

    /// 1 when any pixel is not opaque.
    unsigned int is_alpha() const;

    unsigned int get_width() const;
    unsigned int get_height() const;
    unsigned int get_origin() const;
    unsigned int set_origin(unsigned int origin);

    /// Single pixels of the held image of that depth, coordinates unchecked.
    const zarn_pixel_8_s& get_pixel_8(unsigned int x, unsigned int y) const;
    const zarn_pixel_16_s& get_pixel_16(unsigned int x, unsigned int y) const;
    void set_pixel(unsigned int x, unsigned int y, const zarn_pixel_8_s& pixel);
    void set_pixel(unsigned int x, unsigned int y, const zarn_pixel_16_s& pixel);

    /// The held image's pixel array; null when none of that depth is held.
    const zarn_pixel_8_s* get_pixel_array_8() const;
    zarn_pixel_8_s* get_pixel_array_8();
    const zarn_pixel_16_s* get_pixel_array_16() const;
    zarn_pixel_16_s* get_pixel_array_16();

    /// Stored as it is and handed to every image that is held or made; there 0 means one thread per processor.
    void set_thread_limit(unsigned int limit);
    unsigned int get_thread_limit() const { return ___thread_limit; }

    const zarn_list<wchar_t*>* get_error_stack() const { return &___errors; }

    // ---- Files -----------------------------------------------------------------------------------------------------

    /// The native file of what is held; load_binary() takes files of either class. Beyond the messages of the RGBA
    /// classes: "Unknown file type."; pixels that cannot be allocated are ___image_8->___pixel_d_array in both depths.
    unsigned int save_binary(const wchar_t* path, unsigned int compress);
    unsigned int load_binary(const wchar_t* path);

    /// Loads an ordinary image file at the depth that suits it: 16 bits for more than 32 bits a pixel, else 8. Files
    /// ending in "psd", "tif" and "tiff" go to FreeImage; pixels of 32 or 64 bits are taken as its bytes lie, origin
    /// lower left (32-bit ones so have red and blue exchanged), those of other depths go on to DevIL, as do all other
    /// files: EXR is not read. A file that FreeImage cannot load fails with "Failed to load image using
    /// FreeImage_LoadU(). File open failed.".
    unsigned int load_file(const wchar_t* path);
    /// By DevIL alone, without the gamma step for float sources.
    unsigned int load_file(const void* data, unsigned int size);
    /// Forwarded.
    unsigned int save_file(const wchar_t* path, unsigned int format, unsigned int compression);

    /// The picture on the clipboard, at 8 bits.
    unsigned int load_clipboard(zarn_window_handle window);

    // ---- Forwarded to the held image -------------------------------------------------------------------------------

    unsigned int crop(unsigned int x, unsigned int y, unsigned int width, unsigned int height);
    unsigned int crop_to_pixels(unsigned int& left, unsigned int& top);
    unsigned int flip_horizontal();
    unsigned int flip_vertical();
    unsigned int resample(unsigned int width, unsigned int height, unsigned int mode);
    unsigned int rotate(double angle, unsigned int feather_edges);
    unsigned int box_blur(unsigned int radius, unsigned int blur_colour, unsigned int blur_alpha);
    unsigned int gaussian_blur(float sigma, unsigned int fast, unsigned int blur_colour, unsigned int blur_alpha);
    void exposure(float factor);
    void brightness(float amount);
    void contrast(float factor);
    void gamma(float gamma);
    void sharpen(float amount);
    void grayscale();
    void grayscale(float red_weight, float green_weight, float blue_weight);
    void negative(unsigned int invert_colour, unsigned int invert_alpha);
    void normalize();
    void auto_contrast();

    // ---- Forwarded to the held image of the depth in the name ------------------------------------------------------

    unsigned int resize_canvas_8(unsigned int width, unsigned int height, unsigned int position,
                                 const zarn_pixel_8_s& colour);
    unsigned int resize_canvas_8(unsigned int left, unsigned int right, unsigned int top, unsigned int bottom,
                                 const zarn_pixel_8_s& colour);
    unsigned int resize_canvas_16(unsigned int width, unsigned int height, unsigned int position,
                                  const zarn_pixel_16_s& colour);
    unsigned int resize_canvas_16(unsigned int left, unsigned int right, unsigned int top, unsigned int bottom,
                                  const zarn_pixel_16_s& colour);
    void clear_8(const zarn_pixel_8_s& colour, unsigned int with_alpha);
    void clear_16(const zarn_pixel_16_s& colour, unsigned int with_alpha);
    unsigned int expand_where_alpha_8(unsigned int iterations, std::uint8_t threshold, unsigned int keep_alpha);
    unsigned int expand_where_alpha_16(unsigned int iterations, std::uint16_t threshold, unsigned int keep_alpha);

    /// Composite `source` at this image's depth. A source of the other depth is converted into an image that `source`
    /// holds during the call; when that cannot be allocated: "Memory Allocation Error: Failed to allocate
    /// src_image.___image_8." (or ___image_16) on this object. 0 from an empty source.
    unsigned int blit_8(zarn_image_8_16& source, unsigned int source_x, unsigned int source_y, unsigned int width,
                        unsigned int height, float opacity, int destination_x, int destination_y,
                        unsigned int blend_mode, unsigned int flags, zarn_blend_callback_8 callback, void* user_data);
    unsigned int blit_16(zarn_image_8_16& source, unsigned int source_x, unsigned int source_y, unsigned int width,
                         unsigned int height, float opacity, int destination_x, int destination_y,
                         unsigned int blend_mode, unsigned int flags, zarn_blend_callback_16 callback, void* user_data);

private:
    zarn_image_8* ___image_8 = nullptr;   // owned
    zarn_image_16* ___image_16 = nullptr; // owned
    unsigned int ___thread_limit = 0;
    zarn_list<wchar_t*> ___errors; // owned strings, oldest first

    friend struct zarn_image_8_16_access;
    friend class zarn_rt_transform;
};
