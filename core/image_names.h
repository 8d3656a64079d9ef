// How an image class and the things it allocates are called in messages.
#pragma once

namespace zarn {

struct image_names {
    const wchar_t* image_class;               // as in "Failed to zarn_image_8::crop(). Invalid size."
    const wchar_t* record_suffix;             // as in "crop_thread_data_8_s"
    const wchar_t* pixel_array;               // what a geometry operation or a blur fails to allocate
    const wchar_t* pixel_member;              // what create and the loaders fail to allocate
    const wchar_t* member_owner;              // what stands before the member, except in native loads
    const wchar_t* box_scratch;               // the second array of box_blur
    const wchar_t* gaussian_scratch;          // the second array of the box-approximated Gaussian
    const wchar_t* saved_alpha;               // what expand_where_alpha fails to allocate
    const wchar_t* first_vertical_blur_class; // the class in the line of a failed first vertical pass of the
                                              // box-approximated Gaussian
    const wchar_t* blur_class;                // the class in the lines of other failed passes of it
    const wchar_t* flip_array;                // what a flip fails to allocate
};

} // namespace zarn
