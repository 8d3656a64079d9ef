#include "core/freeimage.h"

#include <utility>

#include "core/platform/native_path.h"

#ifdef ZARN_WITH_FREEIMAGE
    #ifdef _WIN32
        #include <windows.h> // before FreeImage.h, which else declares its types again
    #endif
    #include <FreeImage.h>
#endif

namespace zarn::freeimage {

bitmap::bitmap(bitmap&& other) noexcept
    : ___handle(std::exchange(other.___handle, nullptr)) {}

bitmap& bitmap::operator=(bitmap&& other) noexcept {
    std::swap(___handle, other.___handle);
    return *this;
}

#ifdef ZARN_WITH_FREEIMAGE

namespace {

static_assert(static_cast<int>(file_format::tiff) == FIF_TIFF && static_cast<int>(file_format::psd) == FIF_PSD);
static_assert(static_cast<int>(file_format::hdr) == FIF_HDR && static_cast<int>(file_format::exr) == FIF_EXR);
static_assert(exr_half_samples == EXR_PIZ && exr_float_samples == (EXR_PIZ | EXR_FLOAT));
static_assert(static_cast<int>(bitmap_type::standard) == FIT_BITMAP);
static_assert(static_cast<int>(bitmap_type::grey_u16) == FIT_UINT16);
static_assert(static_cast<int>(bitmap_type::grey_i16) == FIT_INT16);
static_assert(static_cast<int>(bitmap_type::grey_u32) == FIT_UINT32);
static_assert(static_cast<int>(bitmap_type::grey_i32) == FIT_INT32);
static_assert(static_cast<int>(bitmap_type::grey_f32) == FIT_FLOAT);
static_assert(static_cast<int>(bitmap_type::grey_f64) == FIT_DOUBLE);
static_assert(static_cast<int>(bitmap_type::complex_f64) == FIT_COMPLEX);
static_assert(static_cast<int>(bitmap_type::rgb_u16) == FIT_RGB16);
static_assert(static_cast<int>(bitmap_type::rgba_u16) == FIT_RGBA16);
static_assert(static_cast<int>(bitmap_type::rgb_f32) == FIT_RGBF);
static_assert(static_cast<int>(bitmap_type::rgba_f32) == FIT_RGBAF);
static_assert(FI_RGBA_BLUE == 0 && FI_RGBA_GREEN == 1 && FI_RGBA_RED == 2 && FI_RGBA_ALPHA == 3);

FIBITMAP* library_bitmap(void* handle) noexcept { return static_cast<FIBITMAP*>(handle); }

// The library is C++ inside, and some of it lets std::bad_alloc through.
template <class Result, class Call>
Result guarded(Result on_failure, Call call) noexcept {
    try {
        return call();
    } catch (...) {
        return on_failure;
    }
}

int bits_of(bitmap_type type) noexcept {
    switch (type) {
    case bitmap_type::rgb_f32:
        return 96;
    case bitmap_type::rgba_f32:
        return 128;
    default:
        return 32;
    }
}

} // namespace

bitmap::~bitmap() {
    if (___handle) FreeImage_Unload(library_bitmap(___handle));
}

bitmap bitmap::load(file_format format, const wchar_t* path, content wanted) noexcept {
    const native_path native(path);
    if (!native.get()) return {};
    const auto library_format = static_cast<FREE_IMAGE_FORMAT>(format);
    const int flags = wanted == content::header ? FIF_LOAD_NOPIXELS : 0;
    // The wide form does nothing outside Windows.
    return bitmap(guarded(static_cast<FIBITMAP*>(nullptr), [&] {
    #ifdef _WIN32
        return FreeImage_LoadU(library_format, native.get(), flags);
    #else
        return FreeImage_Load(library_format, native.get(), flags);
    #endif
    }));
}

bitmap bitmap::allocate(bitmap_type type, std::uint32_t width, std::uint32_t height) noexcept {
    if (width > INT32_MAX || height > INT32_MAX) return {};
    return bitmap(guarded(static_cast<FIBITMAP*>(nullptr), [&] {
        return FreeImage_AllocateT(static_cast<FREE_IMAGE_TYPE>(type), static_cast<int>(width),
                                   static_cast<int>(height), bits_of(type), 0, 0, 0);
    }));
}

bitmap_type bitmap::type() const noexcept {
    const int type = FreeImage_GetImageType(library_bitmap(___handle));
    return type > FIT_UNKNOWN && type <= FIT_RGBAF ? static_cast<bitmap_type>(type) : bitmap_type::unknown;
}

std::uint32_t bitmap::width() const noexcept { return FreeImage_GetWidth(library_bitmap(___handle)); }
std::uint32_t bitmap::height() const noexcept { return FreeImage_GetHeight(library_bitmap(___handle)); }
std::uint32_t bitmap::bits_per_pixel() const noexcept { return FreeImage_GetBPP(library_bitmap(___handle)); }
bool bitmap::is_top_down() const noexcept { return FreeImage_GetInfoHeader(library_bitmap(___handle))->biHeight < 1; }

const void* bitmap::row(std::uint32_t y) const noexcept {
    return FreeImage_GetScanLine(library_bitmap(___handle), static_cast<int>(y));
}
void* bitmap::row(std::uint32_t y) noexcept {
    return FreeImage_GetScanLine(library_bitmap(___handle), static_cast<int>(y));
}

bitmap bitmap::to_32_bits() const noexcept {
    return bitmap(
        guarded(static_cast<FIBITMAP*>(nullptr), [&] { return FreeImage_ConvertTo32Bits(library_bitmap(___handle)); }));
}

bool bitmap::save(file_format format, const wchar_t* path, int flags) const noexcept {
    const native_path native(path);
    if (!native.get()) return false;
    const auto library_format = static_cast<FREE_IMAGE_FORMAT>(format);
    return guarded(false, [&] {
    #ifdef _WIN32
        return FreeImage_SaveU(library_format, library_bitmap(___handle), native.get(), flags) != 0;
    #else
        return FreeImage_Save(library_format, library_bitmap(___handle), native.get(), flags) != 0;
    #endif
    });
}

#else

bitmap::~bitmap() = default;
bitmap bitmap::load(file_format, const wchar_t*, content) noexcept { return {}; }
bitmap bitmap::allocate(bitmap_type, std::uint32_t, std::uint32_t) noexcept { return {}; }
bitmap_type bitmap::type() const noexcept { return bitmap_type::unknown; }
std::uint32_t bitmap::width() const noexcept { return 0; }
std::uint32_t bitmap::height() const noexcept { return 0; }
std::uint32_t bitmap::bits_per_pixel() const noexcept { return 0; }
bool bitmap::is_top_down() const noexcept { return false; }
const void* bitmap::row(std::uint32_t) const noexcept { return nullptr; }
void* bitmap::row(std::uint32_t) noexcept { return nullptr; }
bitmap bitmap::to_32_bits() const noexcept { return {}; }
bool bitmap::save(file_format, const wchar_t*, int) const noexcept { return false; }

#endif

} // namespace zarn::freeimage
