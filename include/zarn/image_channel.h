// zarn_image_channel: one value a pixel, at 8, 16 or 32 bits: masks, height fields, label images.
#pragma once

#include <zarn/depth_image.h>
#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/image_8_16.h>
#include <zarn/subset.h>

class zarn_image_grayscale;

/// The shared operations stand in depth_image.h.
class ZARN_API zarn_image_channel : public zarn_depth_image {
public:
    // ---- Life cycle ------------------------------------------------------------------------------------------------

    /// Holds nothing; image type 2.
    zarn_image_channel();

    /// Releases the lists' arrays, but neither pixels, message texts nor subsets: call free() first.
    ~zarn_image_channel();

    /// Copies and moves as every image; a copy starts without subsets, a move takes them.
    zarn_image_channel(const zarn_image_channel& other);
    zarn_image_channel& operator=(const zarn_image_channel& other);
    zarn_image_channel(zarn_image_channel&& other) noexcept;
    zarn_image_channel& operator=(zarn_image_channel&& other) noexcept;

    /// Releases the pixels, all messages and the subset list.
    void free();

    /// As in depth_image.h; clears the subset list too.
    unsigned int create(unsigned int width, unsigned int height, unsigned int origin, unsigned int image_type,
                        void* data, unsigned int copy);

    /// Takes one component of another image, 0 red to 3 alpha, or of a grayscale image 0 value and 1 alpha, and
    /// converts it to an image type, as set_image_type() does. An empty source gives an empty image and 1, a type above
    /// 2 no array and 1. Fails, the image then empty, with "Invalid channel parameter." or the message of the other
    /// create().
    unsigned int create(const zarn_image_8& source, unsigned int channel, unsigned int image_type);
    unsigned int create(const zarn_image_16& source, unsigned int channel, unsigned int image_type);
    unsigned int create(const zarn_image_8_16& source, unsigned int channel, unsigned int image_type);
    unsigned int create(const zarn_image_grayscale& source, unsigned int channel, unsigned int image_type);

    /// A copy at an image type. Of the image itself: its conversion.
    unsigned int create(const zarn_image_channel& source, unsigned int image_type);

    // ---- Single pixels ---------------------------------------------------------------------------------------------

    /// The sample at picture coordinates (x, y), of an image that has the type of the name. Nothing is checked.
    std::uint8_t get_pixel_8(unsigned int x, unsigned int y) const {
        return static_cast<const std::uint8_t*>(___state.pixels)[___index(x, y)];
    }
    std::uint16_t get_pixel_16(unsigned int x, unsigned int y) const {
        return static_cast<const std::uint16_t*>(___state.pixels)[___index(x, y)];
    }
    std::uint32_t get_pixel_32(unsigned int x, unsigned int y) const {
        return static_cast<const std::uint32_t*>(___state.pixels)[___index(x, y)];
    }
    void set_pixel_8(unsigned int x, unsigned int y, std::uint8_t value) {
        static_cast<std::uint8_t*>(___state.pixels)[___index(x, y)] = value;
    }
    void set_pixel_16(unsigned int x, unsigned int y, std::uint16_t value) {
        static_cast<std::uint16_t*>(___state.pixels)[___index(x, y)] = value;
    }
    void set_pixel_32(unsigned int x, unsigned int y, std::uint32_t value) {
        static_cast<std::uint32_t*>(___state.pixels)[___index(x, y)] = value;
    }

    /// The samples in memory order, owned by the image; null for an image of another type.
    const std::uint8_t* get_pixel_array_8() const { return static_cast<const std::uint8_t*>(___array_of(0)); }
    const std::uint16_t* get_pixel_array_16() const { return static_cast<const std::uint16_t*>(___array_of(1)); }
    const std::uint32_t* get_pixel_array_32() const { return static_cast<const std::uint32_t*>(___array_of(2)); }
    std::uint8_t* get_pixel_array_8() { return static_cast<std::uint8_t*>(___array_of(0)); }
    std::uint16_t* get_pixel_array_16() { return static_cast<std::uint16_t*>(___array_of(1)); }
    std::uint32_t* get_pixel_array_32() { return static_cast<std::uint32_t*>(___array_of(2)); }

    // ---- Subsets ---------------------------------------------------------------------------------------------------

    /// Lists the 8-connected regions of all but `background` (cut to the depth's bits), by their topmost, then leftmost
    /// pixel: see zarn_subset_s. Rows of any origin but 1538 count from the last in memory. On the calling thread.
    /// Fails with "Failed to create copy of image.", "Memory Allocation Error: Failed to allocate subset." or "Memory
    /// Allocation Error: Failed to allocate subset point list."; the subsets found before stay in the list.
    unsigned int calculate_subset_list(unsigned int background);

    /// Owned by the image; emptied by free(), create(), loads and clear_subset_list(). Other operations leave it as it
    /// is, whatever they do to the pixels. An entry may be null after a failure.
    const zarn_list<zarn_subset_s*>* get_subset_list() const { return &___subsets; }
    void clear_subset_list();

    /// Stretches the values of each subset over the whole range, in double, truncated; one of a single value becomes 0.
    /// Hosts rely on this: the least value is looked for only where no value rises above those before it, so a subset
    /// whose values only rise from point to point is stretched from 4294967295, cut to the depth, and comes out as low
    /// bits of that. Points outside the image are left out. Without subsets: 0 and "Subset list not built.".
    unsigned int normalize_subsets();

    // ---- Distance transform ----------------------------------------------------------------------------------------

    /// Replaces every sample that is not 0 by its Euclidean distance to the nearest pixel beside which the picture, at
    /// 8 bits, changes its value, stretched so that the greatest distance becomes full scale; samples of 0 stay. Pixels
    /// on both sides of a change have a distance of 0, so that a region's own rim becomes 0. Beyond the edge lies a
    /// frame of 0; its distances and those of the 0 samples count for the greatest too. By dead reckoning over 7 x 7
    /// pixels, on one thread, with 20 bytes a pixel. Fails with "Failed to temp resize canvas of image.", "Failed to
    /// create temp copy of image.", "Memory Allocation Error: Failed to allocate dr7 transform object.", "Memory
    /// Allocation Error: Failed to allocate distance array." or "Failed to crop image to original size."; after all but
    /// the first the image keeps its frame of five pixels. An empty image: 0 without a message.
    unsigned int distance_transform();

    // ---- Files -----------------------------------------------------------------------------------------------------

    /// Loads as the RGBA classes do and keeps one component, 0 red to 3 alpha. Up to 32 bits a pixel give 8-bit
    /// samples, up to 64 give 16, more give 32; of FreeImage's bitmaps the ordinary ones 8, those of 16-bit integers
    /// 16, all others 32. Beyond their messages: "Unknown image format. Bits per channel not accepted." and "Invalid
    /// channel parameter.".
    unsigned int load_file(const wchar_t* path, unsigned int channel);
    unsigned int load_file(const void* data, unsigned int size, unsigned int channel);
    unsigned int load_binary(const wchar_t* path);

    /// Loads a file once and makes images[i] from component channels[i] of it, for i below `count`, at `image_type`, or
    /// for a negative one at the depth of the file. When one of them fails, all are freed, and 0 returned; a file that
    /// does not load leaves them as they were.
    static unsigned int load_channels_from_file(const wchar_t* path, zarn_image_channel* images,
                                                const unsigned int* channels, unsigned int count, int image_type);
    static unsigned int load_channels_from_file(const void* data, unsigned int size, zarn_image_channel* images,
                                                const unsigned int* channels, unsigned int count, int image_type);

    // ---- Operations ------------------------------------------------------------------------------------------------

    /// Frees the image, subsets included, where nothing is above 0.
    unsigned int crop_to_pixels(unsigned int& left, unsigned int& top);
    /// The fill is cut to the depth's bits.
    unsigned int resize_canvas(unsigned int width, unsigned int height, unsigned int anchor, unsigned int fill);
    /// The old picture's top-left corner stands at (x, y) of the new canvas, which must hold it there: else "Failed to
    /// zarn_image_channel::resize_canvas(). Invalid size.".
    unsigned int resize_canvas(unsigned int width, unsigned int height, unsigned int x, unsigned int y,
                               unsigned int fill);
    unsigned int box_blur(unsigned int radius);
    unsigned int gaussian_blur(float sigma, unsigned int fast);
    void clear(unsigned int value);

    /// Composites as the RGBA classes do, on one colour and with the opacity alone for a weight. A source of another
    /// depth is converted, as set_image_type() does. There is no callback: ZARN_BLEND_CUSTOM fails with its message.
    unsigned int blit(zarn_image_channel& source, unsigned int source_x, unsigned int source_y, unsigned int width,
                      unsigned int height, float opacity, int x, int y, unsigned int mode);

private:
    // Of the framed image.
    unsigned int ___transform_distances();
    unsigned int ___create_from_rgba(const zarn::rgba_source& source, unsigned int channel, unsigned int image_type);

    zarn_list<zarn_subset_s*> ___subsets;
};
