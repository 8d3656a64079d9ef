// zarn_image_grayscale: grey value and alpha, at 8, 16 or 32 bits.
#pragma once

#include <zarn/depth_image.h>
#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/image_8_16.h>
#include <zarn/points.h>

/// The shared operations stand in depth_image.h. Blurs, resampling and rotation are alpha-aware as those of the RGBA
/// classes, on one colour.
class ZARN_API zarn_image_grayscale : public zarn_depth_image {
public:
    // ---- Life cycle ------------------------------------------------------------------------------------------------

    /// Holds nothing; image type 2.
    zarn_image_grayscale();

    /// Takes two components, 0 red to 3 alpha, of an RGBA image as value and alpha and converts them to an image type,
    /// as set_image_type() does. An empty source gives an empty image and 1, a type above 2 no array and 1. Fails, the
    /// image then empty, with "Invalid channel parameter." or the message of the other create().
    unsigned int create(const zarn_image_8& source, unsigned int value_channel, unsigned int alpha_channel,
                        unsigned int image_type);
    unsigned int create(const zarn_image_16& source, unsigned int value_channel, unsigned int alpha_channel,
                        unsigned int image_type);
    unsigned int create(const zarn_image_8_16& source, unsigned int value_channel, unsigned int alpha_channel,
                        unsigned int image_type);

    /// A copy at an image type. Of the image itself: its conversion.
    unsigned int create(const zarn_image_grayscale& source, unsigned int image_type);
    using zarn_depth_image::create;

    // ---- Single pixels ---------------------------------------------------------------------------------------------

    /// The pixel at picture coordinates (x, y), of an image that has the type of the name. Nothing is checked.
    const zarn_grayscale_pixel_8_s& get_pixel_8(unsigned int x, unsigned int y) const {
        return static_cast<const zarn_grayscale_pixel_8_s*>(___state.pixels)[___index(x, y)];
    }
    const zarn_grayscale_pixel_16_s& get_pixel_16(unsigned int x, unsigned int y) const {
        return static_cast<const zarn_grayscale_pixel_16_s*>(___state.pixels)[___index(x, y)];
    }
    const zarn_grayscale_pixel_32_s& get_pixel_32(unsigned int x, unsigned int y) const {
        return static_cast<const zarn_grayscale_pixel_32_s*>(___state.pixels)[___index(x, y)];
    }
    void set_pixel_8(unsigned int x, unsigned int y, const zarn_grayscale_pixel_8_s& pixel) {
        static_cast<zarn_grayscale_pixel_8_s*>(___state.pixels)[___index(x, y)] = pixel;
    }
    void set_pixel_16(unsigned int x, unsigned int y, const zarn_grayscale_pixel_16_s& pixel) {
        static_cast<zarn_grayscale_pixel_16_s*>(___state.pixels)[___index(x, y)] = pixel;
    }
    void set_pixel_32(unsigned int x, unsigned int y, const zarn_grayscale_pixel_32_s& pixel) {
        static_cast<zarn_grayscale_pixel_32_s*>(___state.pixels)[___index(x, y)] = pixel;
    }

    /// The pixel array in memory order, owned by the image; null for an image of another type.
    const zarn_grayscale_pixel_8_s* get_pixel_array_8() const {
        return static_cast<const zarn_grayscale_pixel_8_s*>(___array_of(0));
    }
    const zarn_grayscale_pixel_16_s* get_pixel_array_16() const {
        return static_cast<const zarn_grayscale_pixel_16_s*>(___array_of(1));
    }
    const zarn_grayscale_pixel_32_s* get_pixel_array_32() const {
        return static_cast<const zarn_grayscale_pixel_32_s*>(___array_of(2));
    }
    zarn_grayscale_pixel_8_s* get_pixel_array_8() { return static_cast<zarn_grayscale_pixel_8_s*>(___array_of(0)); }
    zarn_grayscale_pixel_16_s* get_pixel_array_16() { return static_cast<zarn_grayscale_pixel_16_s*>(___array_of(1)); }
    zarn_grayscale_pixel_32_s* get_pixel_array_32() { return static_cast<zarn_grayscale_pixel_32_s*>(___array_of(2)); }

    // ---- Files -----------------------------------------------------------------------------------------------------

    /// Loads as the RGBA classes do and keeps two components, 0 red to 3 alpha. Up to 32 bits a pixel give 8-bit
    /// samples, up to 64 give 16, more give 32; of FreeImage's bitmaps the ordinary ones 8, those of 16-bit integers
    /// 16, all others 32. Beyond their messages: "Unknown image format. Bits per channel not accepted." and "Invalid
    /// channel parameter.".
    unsigned int load_file(const wchar_t* path, unsigned int value_channel, unsigned int alpha_channel);
    unsigned int load_file(const void* data, unsigned int size, unsigned int value_channel, unsigned int alpha_channel);

    // ---- Operations ------------------------------------------------------------------------------------------------

    /// The fill is cut to the depth's bits.
    unsigned int resize_canvas(unsigned int width, unsigned int height, unsigned int anchor, unsigned int value,
                               unsigned int alpha);
    /// The old picture's top-left corner stands at (x, y) of the new canvas, which must hold it there: else "Failed to
    /// zarn_image_grayscale::resize_canvas(). Invalid size.".
    unsigned int resize_canvas(unsigned int width, unsigned int height, unsigned int x, unsigned int y,
                               unsigned int value, unsigned int alpha);
    unsigned int box_blur(unsigned int radius, unsigned int blur_colour, unsigned int blur_alpha);
    unsigned int gaussian_blur(float sigma, unsigned int fast, unsigned int blur_colour, unsigned int blur_alpha);
    /// Writes the value everywhere, and the alpha too when with_alpha is not 0; both cut to the depth's bits.
    void clear(unsigned int value, unsigned int alpha, unsigned int with_alpha);
    /// The threshold counts up to full scale less 1.
    unsigned int expand_where_alpha(unsigned int iterations, std::uint64_t threshold, unsigned int keep_alpha);

    /// Composites as the RGBA classes do, on one colour. A source of another depth is converted, as set_image_type()
    /// does. There is no callback: ZARN_BLEND_CUSTOM fails with its message.
    unsigned int blit(zarn_image_grayscale& source, unsigned int source_x, unsigned int source_y, unsigned int width,
                      unsigned int height, float opacity, int x, int y, unsigned int mode, unsigned int flags);

    /// Reads the values as heights and writes their tangent-space normals into `output`: x to red, y to green, z to
    /// blue, each from -1..1 to 0..65535; alpha is this image's. The slope is a 3 x 3 Sobel sum of the heights, 1 being
    /// full scale, times `strength`.
    ///
    /// This image is converted to 16 bits and turned to the upper-left origin, and stays so. `output` is made anew,
    /// upper-left, unless it has this image's size; outside the rectangle it then keeps its pixels. It keeps its origin
    /// too and is written from its first row in memory on: turn one that is lower-left to upper-left first.
    ///
    /// wrap not 0: the map tiles; 0: beyond the edge stands the edge pixel. An invisible neighbour stands at the
    /// centre's height. An invisible pixel becomes (32767, 32767, 0), under flag 0x10 (32767, 32767, 65535), with alpha
    /// 0 and whatever the other flags. Flags: 0x1, 0x4, 0x20 turn x, y, z round.
    ///
    /// rectangle: the pixels to write, or null for all; it is cut to the image, in place. One that lies outside:
    /// 1, with no pixel written.
    ///
    /// Fails with "Failed to zarn_image_16::set_image_type().", "Failed to zarn_image_16::set_origin()." or "Failed to
    /// zarn_image_16::create().", after causes that this object knows, or with the message of its records. An empty
    /// image: 0 without a message.
    unsigned int convert_to_normals(float strength, unsigned int wrap, unsigned int flags, zarn_irect_s* rectangle,
                                    zarn_image_16& output);

private:
    unsigned int ___create_from_rgba(const zarn::rgba_source& source, unsigned int value_channel,
                                     unsigned int alpha_channel, unsigned int image_type);
};
