#include "core/image_state.h"

#include <cstddef>
#include <new>

#include "core/error_stack.h"
#include "core/platform/memory.h"
#include "core/thread_pool.h"

namespace zarn {

void make_workers(image_state& image) noexcept { image.workers = new (std::nothrow) zarn_thread_pool; }

void release_workers(image_state& image) noexcept {
    delete image.workers;
    image.workers = nullptr;
}

void set_thread_limit(image_state& image, std::uint32_t limit) noexcept {
    if (image.workers) image.workers->set_thread_limit(limit);
}

std::uint32_t thread_limit(const image_state& image) noexcept {
    return image.workers ? image.workers->get_thread_limit() : 0;
}

namespace {

void release_array(image_state& image) noexcept {
    if (!image.borrowed) release_pixel_array(image.pixels);
    image.pixels = nullptr;
    image.capacity = 0;
    image.borrowed = false;
}

} // namespace

void release_pixels(image_state& image) noexcept {
    release_array(image);
    image.origin = image.width = image.height = 0;
}

void free_image(image_state& image) noexcept {
    release_pixels(image);
    clear_errors(image.errors);
}

void take_image(image_state& image, image_state& source) noexcept {
    free_image(image);
    image.pixels = source.pixels;
    image.capacity = source.capacity;
    image.origin = source.origin;
    image.width = source.width;
    image.height = source.height;
    image.borrowed = source.borrowed;
    take_errors(image.errors, source.errors);
    source.pixels = nullptr;
    source.capacity = 0;
    source.borrowed = false;
    source.origin = source.width = source.height = 0;
}

void* allocate_pixels(std::uint64_t count, std::uint64_t pixel_bytes) noexcept {
    if (count > static_cast<std::uint64_t>(PTRDIFF_MAX) / pixel_bytes) return nullptr;
    const auto bytes = static_cast<std::size_t>(count * pixel_bytes);
    void* const pixels = ::operator new[](bytes, std::nothrow);
    if (pixels) advise_large_pages(pixels, bytes);
    return pixels;
}

// Every pixel record is trivially destructible, so delete[] of its array is nothing but this call.
void release_pixel_array(void* pixels) noexcept { ::operator delete[](pixels); }

void install_pixels(image_state& image, void* pixels, std::uint32_t width, std::uint32_t height) noexcept {
    release_array(image);
    image.pixels = pixels;
    image.width = width;
    image.height = height;
}

unsigned int fail(image_state& image, const wchar_t* message) noexcept {
    push_error(image.errors, {message});
    return 0;
}

unsigned int fail_allocation(image_state& image, const wchar_t* what, const wchar_t* what_end) noexcept {
    push_error(image.errors, {L"Memory Allocation Error: Failed to allocate ", what, what_end});
    return 0;
}

unsigned int fail_method(image_state& image, const wchar_t* method_and_reason) noexcept {
    push_error(image.errors, {L"Failed to ", image.names->image_class, L"::", method_and_reason});
    return 0;
}

} // namespace zarn
