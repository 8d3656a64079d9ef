// zarn_real_image: what zarn_image_real_32 and zarn_image_real_16 share. Hosts name those two classes.
//
// Samples are floats or halves, nominally in 0..1, and never quantised: what the integer classes truncate is kept.
// Halves are read into floats, computed there as floats are, and stored with the half type's own rounding. A pixel is
// red, green, blue and alpha, or, where is_grayscale() says so, value and alpha. Rows are packed, the top row first,
// always: there is no origin code.
//
// The rules of every image class stand in rgba_image.h, and so does what an operation does: here stands only what
// differs. A pixel is visible when its alpha is not 0, opaque when it is at least 1. Not-a-numbers and infinities go
// through the arithmetic as its rules give; clamps say what they make of them.
//
// Comments quote messages in the words of zarn_image_real_32; the half class says zarn_image_real_16, "zarn_real_16
// array." and ..._thread_data_r16_s instead, except in flips (they say "zarn_real_32 array.") and where it is said.
#pragma once

#include <cstdint>

#include <zarn/blend.h>
#include <zarn/detail/image_state.h>
#include <zarn/export.h>
#include <zarn/pixels.h>

namespace zarn {
enum class tone_curve : std::uint8_t;
struct blit_placement;
struct custom_blend;
struct grey_mix_job;
struct real_flags;
struct row_range;
} // namespace zarn

class zarn_image_8;
class zarn_image_16;
class zarn_image_8_16;
class zarn_image_grayscale;

/// Sample is float or half_float::half.
template <class Sample>
class zarn_real_image {
public:
    // ---- Life cycle ------------------------------------------------------------------------------------------------

    zarn_real_image();
    /// Releases the workers and the list of messages, but neither pixels nor message texts: call free() first.
    ~zarn_real_image();

    /// Deep copies: pixels, size, flags and messages; a copy owns its pixels. When they cannot be allocated the target
    /// is empty and holds the message of create().
    zarn_real_image(const zarn_real_image& other);
    zarn_real_image& operator=(const zarn_real_image& other);
    zarn_real_image(zarn_real_image&& other) noexcept;
    zarn_real_image& operator=(zarn_real_image&& other) noexcept;

    /// Releases the pixels, unless they are borrowed, and all messages; every flag becomes 0.
    void free();

    /// Every create() frees first. Those from other images scale the samples to 0..1 (8 bits by 0.003921569, 16 by
    /// 1.5259022e-05, 32 by 2^-32, in floats), put the top row first and set is_rasterized() and is_sRGB(). A copy of
    /// an empty image is empty and returns 1. They fail, leaving the image empty, with "Memory Allocation Error: Failed
    /// to allocate zarn_image_real_32::___pixel_d_array.".
    unsigned int create(const zarn_image_8& source);
    unsigned int create(const zarn_image_16& source);
    unsigned int create(const zarn_image_8_16& source);
    unsigned int create(const zarn_image_grayscale& source);

    /// Makes width x height pixels of 4 samples, or of 2 with is_grayscale, and takes the flags. copy not 0: copies
    /// from `data`, or makes zeros for null. copy 0: borrows `data`, which stays the caller's: it is used in place and
    /// never released; an operation that builds a new array leaves it to the caller and owns the new one.
    unsigned int create(unsigned int width, unsigned int height, unsigned int is_grayscale, unsigned int is_rasterized,
                        unsigned int is_sRGB, Sample* data, unsigned int copy);

    // ---- Queries, flags and single pixels --------------------------------------------------------------------------

    unsigned int is_valid() const { return ___state.pixels && ___state.width && ___state.height ? 1u : 0u; }
    unsigned int get_width() const { return ___state.width; }
    unsigned int get_height() const { return ___state.height; }

    /// Not 0: two samples a pixel. Changed by create() and the conversions only.
    unsigned int is_grayscale() const { return ___is_grayscale; }
    /// The caller's mark that the pixels came from an 8- or 16-bit source; stored and reported only.
    void set_if_is_rasterized(unsigned int value) { ___is_rasterized = value; }
    unsigned int is_rasterized() const { return ___is_rasterized; }
    /// Not 0: samples are gamma-encoded, 0: linear. Setting it converts nothing.
    void set_if_is_sRGB(unsigned int value) { ___is_sRGB = value; }
    unsigned int is_sRGB() const { return ___is_sRGB; }
    /// The caller's mark for save_file(); free() and every create() but a copy of a float
    /// image reset it to 0.
    void set_if_is_u8_max_256(int value) { ___is_u8_max_256 = value; }
    int is_u8_max_256() const { return ___is_u8_max_256; }

    /// The 2 or 4 samples of the pixel at (x, y). Nothing is checked.
    const Sample* get_pixel(unsigned int x, unsigned int y) const { return get_pixel_array() + ___index(x, y); }
    void set_pixel(unsigned int x, unsigned int y, const Sample* pixel) {
        Sample* const to = get_pixel_array() + ___index(x, y);
        for (unsigned int i = 0; i < ___channels(); ++i) to[i] = pixel[i];
    }
    const Sample* get_pixel_array() const { return static_cast<const Sample*>(___state.pixels); }
    Sample* get_pixel_array() { return static_cast<Sample*>(___state.pixels); }

    void set_thread_limit(unsigned int limit);
    unsigned int get_thread_limit() const;
    const zarn_list<wchar_t*>* get_error_stack() const { return &___state.errors; }

    // ---- Files -----------------------------------------------------------------------------------------------------

    /// The native format, with a header of six words: type code, width, height and the flags is_grayscale,
    /// is_rasterized, is_sRGB. The half class loads files of floats too, truncating each to a half; their array that is
    /// short of memory is "temp_array.".
    unsigned int save_binary(const wchar_t* path, unsigned int compress);
    unsigned int load_binary(const wchar_t* path);

    /// Loads an image file as the RGBA classes do. force_grayscale makes a value-and-alpha image, of colours by 0.299,
    /// 0.587 and 0.114; force_rgba a colour image; with neither the file's channels decide, more than two being colour.
    /// Integer samples become 0..1 and set is_sRGB(), float ones are kept and clear it; files without alpha give 1.
    /// Loads, and saves, of one class run one at a time in the process.
    unsigned int load_file(const wchar_t* path, unsigned int force_grayscale, unsigned int force_rgba);

    /// Saves with the format and compression codes of the RGBA classes. "exr" and "hdr" are linear: samples are raised
    /// to 2.2 first where is_sRGB(). Other files: with is_u8_max_256() and format 1 or 2, 8-bit RGB or RGBA, encoded
    /// with 1/2.2 first where not is_sRGB(); else the floats as RGBA, which few kinds of files hold: a PNG then fails
    /// without a message, a TIFF is written but is one that cannot be loaded again. Eight bits are not clamped: what
    /// lies outside 0..1, alpha too, wraps. exposure(1) cuts colours at 1, clear_alpha() sets alpha.
    unsigned int save_file(const wchar_t* path, unsigned int format, unsigned int compression);

    // ---- Layout and colour space -----------------------------------------------------------------------------------

    /// Raise every sample, alpha included, to 2.2 where is_sRGB(), to 1/2.2 where not, and change the flag. Samples
    /// below 0 become NaN. Without memory for their records they change neither.
    void convert_to_linear_space();
    void convert_to_sRGB_space();

    /// Turns (v, a) into (v, v, v, a). 1 at once for a colour image; 0 for an empty one. Fails with "Memory Allocation
    /// Error: Failed to allocate new pixel array.".
    unsigned int convert_to_rgba();

    /// Turn a colour image into a value-and-alpha one; alpha is kept. Weighted: the sum of the weighted colours, not
    /// clamped. _ex: mixes the colour wheel's six sectors, weighted in percent, 100 being neutral; then the greatest
    /// colour, clamped; grey pixels keep their value. _ex2: after levels, as adjust_levels() has them. A grayscale
    /// image returns 1 and stays, an empty one 0. They fail with the message of convert_to_rgba() or of their records.
    unsigned int convert_to_grayscale(Sample red_weight, Sample green_weight, Sample blue_weight);
    unsigned int convert_to_grayscale_ex(Sample red, Sample yellow, Sample green, Sample cyan, Sample blue,
                                         Sample magenta);
    unsigned int convert_to_grayscale_ex2(const Sample* in_levels, const Sample* out_levels, Sample red, Sample yellow,
                                          Sample green, Sample cyan, Sample blue, Sample magenta);

    // ---- Geometry and filters --------------------------------------------------------------------------------------

    unsigned int crop(unsigned int x, unsigned int y, unsigned int width, unsigned int height);
    unsigned int crop_to_pixels(unsigned int& left, unsigned int& top);
    /// `colour` holds one pixel of the image's layout.
    unsigned int resize_canvas(unsigned int width, unsigned int height, unsigned int position, const Sample* colour);
    unsigned int resize_canvas(unsigned int left, unsigned int right, unsigned int top, unsigned int bottom,
                               const Sample* colour);
    unsigned int flip_horizontal();
    unsigned int flip_vertical();
    unsigned int rotate(double angle, unsigned int feather_edges);
    /// Blurs say "zarn_image_real_32 temp pixel data." of what they fail to allocate, and box blurs the float class's
    /// "Failed to zarn_image_real_32::___do_horizontal_blur()." and ..._vertical_blur(), in both classes.
    unsigned int box_blur(unsigned int radius, unsigned int blur_colour, unsigned int blur_alpha);
    unsigned int gaussian_blur(Sample sigma, unsigned int fast, unsigned int blur_colour, unsigned int blur_alpha);
    /// Clamped to 0..1; NaN becomes 0.
    void sharpen(Sample amount);
    /// The threshold counts up to the greatest sample below 1. Full alpha is 1: with keep_alpha 0 every pixel has it
    /// afterwards, those above 1 too.
    unsigned int expand_where_alpha(unsigned int iterations, Sample threshold, unsigned int keep_alpha);

    // ---- Tone: on colour or value; alpha stays ---------------------------------------------------------------------

    /// `colour` holds one pixel of the image's layout; its alpha is written when with_alpha is not 0.
    void clear(const Sample* colour, unsigned int with_alpha);
    void clear_alpha(Sample alpha);
    /// Multiplies; what is not at most 1 becomes 1, NaN too. No lower clamp.
    void exposure(Sample factor);
    /// Adds, clamped to 0..1.
    void brightness(Sample amount);
    /// Multiplies the distance from 0.5, clamped to 0..1.
    void contrast(Sample factor);
    /// Raises to the power `gamma` (not to its inverse), clamped to 0..1.
    void gamma(Sample gamma);
    /// Takes colour, alpha or both from 1, not clamped.
    void negative(unsigned int invert_colour, unsigned int invert_alpha);
    /// Stretches the visible pixels' lightness onto low..high, or onto 0..1; colours clamped to 0..1. Fails with
    /// "Memory Allocation Error: Failed to allocate zarn_image_real_32 lum_array.".
    void normalize();
    void normalize(Sample low, Sample high);
    void auto_contrast() { normalize(); }

    // ---- Grading ---------------------------------------------------------------------------------------------------
    //
    // Clamped means: to 0..1, NaN to 0. Only adjust_levels() changes a grayscale image.

    /// Multiplies red, green and blue, clamped.
    void adjust_color(Sample red, Sample green, Sample blue);

    /// Strengthens or weakens the six sectors of the colour wheel, weights in percent, 100 being neutral; clamped. Grey
    /// pixels stay as they are.
    void adjust_color_ex(Sample red, Sample yellow, Sample green, Sample cyan, Sample blue, Sample magenta);

    /// Levels, then, but for pixels that are grey by then, sectors, then hue and saturation.
    void adjust_color_ex2(const Sample* in_levels, const Sample* out_levels, Sample red, Sample yellow, Sample green,
                          Sample cyan, Sample blue, Sample magenta, Sample hue, Sample saturation);

    /// Maps in_levels (low, high) onto out_levels; values outside count as the ends. Each low is clamped to 0..1, each
    /// high raised to the given low. Equal input levels make every value NaN.
    void adjust_levels(const Sample* in_levels, const Sample* out_levels);

    /// Turns the colours about the grey axis by `hue` degrees, 120 taking red to blue (against the hues of colour.h),
    /// and scales their distance from luma: by 0 at a saturation of -100, by 1 at 0, by 2 at 100; beyond counts as the
    /// end. Clamped. Even 0 and 0 lower blue by 0.001 (red + green).
    void hue_saturation(Sample hue, Sample saturation);

protected:
    unsigned int ___channels() const { return ___is_grayscale ? 2u : 4u; }
    std::uint64_t ___index(unsigned int x, unsigned int y) const {
        return (std::uint64_t{y} * ___state.width + x) * ___channels();
    }
    // Empties the image and gives it width x height pixels, not cleared, and flags; false with the message.
    bool ___allocate(unsigned int width, unsigned int height, unsigned int is_grayscale, unsigned int is_rasterized,
                     unsigned int is_sRGB);
    // A copy of an image of either sample type, flags included.
    template <class Other>
    unsigned int ___create_copy(const zarn_real_image<Other>& source);
    template <class Integer>
    unsigned int ___create_scaled(const Integer* samples, unsigned int width, unsigned int height, unsigned int origin,
                                  unsigned int is_grayscale, float factor);
    void ___clear_flags();
    void ___take_flags(const zarn::real_flags& flags);
    unsigned int ___load_binary(const unsigned char* data, unsigned int size);
    unsigned int ___mix_to_grey(const zarn::grey_mix_job& job,
                                void (*kernel)(const zarn::grey_mix_job&, zarn::row_range));
    void ___adjust(zarn::tone_curve curve, float amount);
    unsigned int ___resample(unsigned int width, unsigned int height, unsigned int mode);
    // The custom blend's user data is the context of the callback's caller.
    unsigned int ___blit(const zarn_real_image& source, const zarn::blit_placement& placement, Sample opacity,
                         unsigned int mode, unsigned int flags, const zarn::custom_blend& custom);

    zarn::image_state ___state;
    unsigned int ___is_grayscale = 0;
    unsigned int ___is_rasterized = 0;
    unsigned int ___is_sRGB = 0;
    int ___is_u8_max_256 = 0;

    template <class>
    friend class zarn_real_image;
};
