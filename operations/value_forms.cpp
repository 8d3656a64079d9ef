#include "operations/value_forms.h"

namespace zarn {

namespace {

constexpr image_names channel(const wchar_t* array, const wchar_t* member, const wchar_t* scratch) {
    constexpr const wchar_t* name = L"zarn_image_channel";
    return {name, L"c", array, member, L"zarn_image_channel::", scratch, scratch, array, name, name, array};
}

constexpr image_names grayscale(const wchar_t* array, const wchar_t* member, const wchar_t* scratch,
                                const wchar_t* saved_alpha) {
    constexpr const wchar_t* name = L"zarn_image_grayscale";
    return {name, L"g", array, member, L"zarn_image_grayscale::", scratch, scratch, saved_alpha, name, name, array};
}

} // namespace

const image_names form_names[2 * image_type_count] = {
    channel(L"zarn_uchar_8 array.", L"___pixel_8_d_array.", L"temp_pixel_8_data."),
    channel(L"zarn_uint_16 array.", L"___pixel_16_d_array.", L"temp_pixel_16_data."),
    channel(L"zarn_uint_32 array.", L"___pixel_32_d_array.", L"temp_pixel_32_data."),
    grayscale(L"zarn_grayscale_pixel_8_s array.", L"___pixel_8_d_array.", L"temp_pixel_8_data.",
              L"zarn_uchar_8 array."),
    grayscale(L"zarn_grayscale_pixel_16_s array.", L"___pixel_16_d_array.", L"temp_pixel_16_data.",
              L"zarn_uint_16 array."),
    grayscale(L"zarn_grayscale_pixel_32_s array.", L"___pixel_32_d_array.", L"temp_pixel_32_data.",
              L"zarn_uint_32 array."),
};

} // namespace zarn
