#include "operations/frame.h"

#include <cstring>

#include "core/error_stack.h"

namespace zarn {

void fail_record_allocation(image_state& image, const wchar_t* record) noexcept {
    push_error(image.errors, {L"Memory Allocation Error: Failed to allocate ", record, L"_thread_data_",
                              image.names->record_suffix, L"_s."});
}

operation_bands::operation_bands(image_state& image, const wchar_t* record, std::uint32_t first, std::uint32_t last,
                                 std::uint32_t count) noexcept {
    if (image.workers) ___bands = row_bands(first, last, count);
    if (!___bands) fail_record_allocation(image, record);
}

namespace {

void* allocate_replacement(image_state& image, std::uint64_t count, std::uint64_t bytes_per_pixel,
                           const wchar_t* array_name) noexcept {
    void* pixels = allocate_pixels(count, bytes_per_pixel);
    if (!pixels) fail_allocation(image, array_name ? array_name : image.names->pixel_array);
    return pixels;
}

} // namespace

replacement::replacement(image_state& image, std::uint32_t width, std::uint32_t height, std::uint64_t bytes_per_pixel,
                         const wchar_t* record, std::uint32_t count, std::uint32_t first_row,
                         const wchar_t* array_name) noexcept
    : ___image(image)
    , ___pixels(allocate_replacement(image, static_cast<std::uint64_t>(width) * height, bytes_per_pixel, array_name))
    , ___width(width)
    , ___height(height)
    , ___bytes_per_pixel(bytes_per_pixel)
    , ___first_row(first_row) {
    if (___pixels) ___bands = operation_bands(image, record, first_row, first_row + height, count);
}

geometry_job replacement::job() const noexcept {
    return {___image.pixels, ___pixels, ___image.width, ___image.height, ___width, ___height, is_lower_left(___image)};
}

void replacement::install(std::uint32_t ran_until, row_order order) noexcept {
    const std::uint64_t row_bytes = ___width * ___bytes_per_pixel;
    const bool turned = order == row_order::picture && is_lower_left(___image);
    for (std::uint32_t row = ran_until - ___first_row; row < ___height; ++row) {
        const std::uint64_t at = memory_row(row, ___height, turned);
        std::memset(static_cast<char*>(___pixels) + at * row_bytes, 0, static_cast<std::size_t>(row_bytes));
    }
    install_pixels(___image, ___pixels, ___width, ___height);
    ___pixels = nullptr;
}

} // namespace zarn
