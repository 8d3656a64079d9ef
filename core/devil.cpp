#include "core/devil.h"

#include <algorithm>
#include <atomic>
#include <cwchar>

#include "core/platform/native_path.h"

#ifdef ZARN_WITH_DEVIL
    #if defined(_WIN32) && !defined(_UNICODE)
        #define _UNICODE // paths are wide
    #endif
    #include <IL/il.h>
    #include <IL/ilu.h>
#endif

namespace zarn::devil {

namespace {

std::mutex library_lock;
std::atomic<bool> image_library_started{false};
std::atomic<bool> image_utility_started{false};

} // namespace

bool is_started() noexcept { return image_library_started && image_utility_started; }

session::session() noexcept
    : ___lock(library_lock)
    , ___status(availability()) {
    if (___status == error::none) bind();
}

#ifdef ZARN_WITH_DEVIL

namespace {

static_assert(static_cast<int>(error::out_of_memory) == IL_OUT_OF_MEMORY);
static_assert(static_cast<int>(error::illegal_operation) == IL_ILLEGAL_OPERATION);
static_assert(static_cast<int>(error::invalid_parameter) == IL_INVALID_PARAM);
static_assert(static_cast<int>(error::could_not_open_file) == IL_COULD_NOT_OPEN_FILE);
static_assert(static_cast<int>(error::invalid_extension) == IL_INVALID_EXTENSION);
static_assert(static_cast<int>(error::invalid_conversion) == IL_INVALID_CONVERSION);
static_assert(static_cast<int>(layout::rgb) == IL_RGB && static_cast<int>(layout::rgba) == IL_RGBA);
static_assert(static_cast<int>(layout::luminance) == IL_LUMINANCE);
static_assert(static_cast<int>(sample_type::u8) == IL_UNSIGNED_BYTE);
static_assert(static_cast<int>(sample_type::u16) == IL_UNSIGNED_SHORT);
static_assert(static_cast<int>(sample_type::u32) == IL_UNSIGNED_INT);
static_assert(static_cast<int>(sample_type::f32) == IL_FLOAT && static_cast<int>(sample_type::f64) == IL_DOUBLE);
static_assert(static_cast<int>(sample_type::f16) == IL_HALF);
static_assert(static_cast<int>(dxt::dxt1) == IL_DXT1 && static_cast<int>(dxt::dxt3) == IL_DXT3);
static_assert(static_cast<int>(dxt::dxt5) == IL_DXT5);

constexpr std::uint64_t size_limit = std::uint64_t{1} << 32;

// Successful calls leave errors behind, so the stack is emptied before a call whose error matters.
void forget_errors() noexcept {
    constexpr int deepest_stack = 32;
    for (int i = 0; i < deepest_stack && ilGetError() != IL_NO_ERROR; ++i) {}
}

error newest_error() noexcept {
    switch (const ILenum code = ilGetError()) {
    case IL_OUT_OF_MEMORY:
    case IL_ILLEGAL_OPERATION:
    case IL_INVALID_PARAM:
    case IL_COULD_NOT_OPEN_FILE:
    case IL_INVALID_EXTENSION:
    case IL_INVALID_CONVERSION:
        return static_cast<error>(code);
    default:
        return error::other;
    }
}

template <class Call>
error run(Call call) noexcept {
    forget_errors();
    return call() ? error::none : newest_error();
}

std::uint64_t integer(ILenum what) noexcept { return static_cast<ILuint>(ilGetInteger(what)); }

std::uint64_t pixels() noexcept { return integer(IL_IMAGE_WIDTH) * integer(IL_IMAGE_HEIGHT); }

unsigned samples_of(std::uint64_t pixel_layout) noexcept {
    switch (pixel_layout) {
    case IL_COLOUR_INDEX:
    case IL_ALPHA:
    case IL_LUMINANCE:
        return 1;
    case IL_LUMINANCE_ALPHA:
        return 2;
    case IL_RGB:
    case IL_BGR:
        return 3;
    case IL_RGBA:
    case IL_BGRA:
        return 4;
    default:
        return 0;
    }
}

unsigned bytes_of(std::uint64_t type) noexcept {
    switch (type) {
    case IL_BYTE:
    case IL_UNSIGNED_BYTE:
        return 1;
    case IL_SHORT:
    case IL_UNSIGNED_SHORT:
    case IL_HALF:
        return 2;
    case IL_INT:
    case IL_UNSIGNED_INT:
    case IL_FLOAT:
        return 4;
    case IL_DOUBLE:
        return 8;
    default:
        return 0;
    }
}

// The library's conversions read a palette wherever a pixel points.
bool points_into_its_palette() noexcept {
    if (integer(IL_IMAGE_FORMAT) != IL_COLOUR_INDEX) return true;
    if (integer(IL_IMAGE_TYPE) != IL_UNSIGNED_BYTE) return false;
    const std::uint64_t colours = integer(IL_PALETTE_NUM_COLS);
    const ILubyte* const indices = ilGetData();
    return colours > 255 || std::all_of(indices, indices + pixels(), [=](ILubyte index) { return index < colours; });
}

// Some decoders announce more than they hold (16 bits in SGI), and the library's conversions trust the announcement.
bool holds_what_it_announces() noexcept {
    const std::uint64_t pixel_bytes = integer(IL_IMAGE_BYTES_PER_PIXEL);
    return pixel_bytes > 0 && ilGetData() &&
           pixel_bytes == std::uint64_t{samples_of(integer(IL_IMAGE_FORMAT))} * bytes_of(integer(IL_IMAGE_TYPE)) &&
           (pixels() * pixel_bytes >= size_limit ||
            (integer(IL_IMAGE_SIZE_OF_DATA) >= pixels() * pixel_bytes && points_into_its_palette()));
}

bool is_radiance_path(const wchar_t* path) noexcept {
    const std::size_t length = path ? std::wcslen(path) : 0;
    if (length < 4) return false;
    const wchar_t* ending = path + length - 4;
    return ending[0] == L'.' && (ending[1] | 0x20) == L'h' && (ending[2] | 0x20) == L'd' && (ending[3] | 0x20) == L'r';
}

template <class Call>
error run_load(Call call) noexcept {
    const error result = run(call);
    return result == error::none && !holds_what_it_announces() ? error::other : result;
}

} // namespace

void start() noexcept {
    const std::lock_guard<std::mutex> lock(library_lock);
    if (!image_library_started) {
        ilInit();
        image_library_started = true;
    }
    if (!image_utility_started) {
        iluInit();
        image_utility_started = true;
    }
    ilEnable(IL_FILE_OVERWRITE);
}

void shut_down() noexcept {
    const std::lock_guard<std::mutex> lock(library_lock);
    ilShutDown();
}

error availability() noexcept { return is_started() ? error::none : error::illegal_operation; }

void session::bind() noexcept {
    ILuint name = 0;
    ilGenImages(1, &name);
    // After a shutdown the first name is that of the default image, which nobody can delete.
    if (name == 0) ilGenImages(1, &name);
    ___name = name;
    ilBindImage(name);
}

session::~session() {
    if (___status != error::none) return;
    if (___dxt_before != 0) ilSetInteger(IL_DXTC_FORMAT, ___dxt_before);
    const ILuint name = ___name;
    ilDeleteImages(1, &name);
}

error session::load(const wchar_t* path) noexcept {
    if (___status != error::none) return ___status;
    const native_path native(path);
    if (native.is_lost()) return error::could_not_open_file;
    return run_load([&] { return ilLoadImage(native.get()); });
}

error session::load(const void* data, std::uint32_t size) noexcept {
    if (___status != error::none) return ___status;
    return run_load([&] { return ilLoadL(IL_TYPE_UNKNOWN, data, size); });
}

error session::texture(std::uint32_t width, std::uint32_t height, layout pixel_layout, sample_type type,
                       const void* pixels) noexcept {
    if (___status != error::none) return ___status;
    const auto wanted = static_cast<ILenum>(pixel_layout);
    const auto samples = static_cast<ILubyte>(samples_of(wanted));
    const std::uint64_t count = static_cast<std::uint64_t>(width) * height;
    // Each factor by itself, so that the product cannot wrap.
    if (count >= size_limit || count * samples * bytes_of(static_cast<ILenum>(type)) >= size_limit) {
        return error::out_of_memory;
    }
    return run([&] {
        return ilTexImage(width, height, 1, samples, wanted, static_cast<ILenum>(type), const_cast<void*>(pixels));
    });
}

error session::convert(layout pixel_layout, sample_type type) noexcept {
    if (___status != error::none) return ___status;
    const auto wanted = static_cast<ILenum>(pixel_layout);
    const auto wanted_type = static_cast<ILenum>(type);
    const std::uint64_t bytes_after = static_cast<std::uint64_t>(samples_of(wanted)) * bytes_of(wanted_type);
    const std::uint64_t count = pixels();
    if (count >= size_limit || count * bytes_after >= size_limit ||
        count * integer(IL_IMAGE_BYTES_PER_PIXEL) >= size_limit) {
        return error::out_of_memory;
    }
    return run([&] { return ilConvertImage(wanted, wanted_type); });
}

void session::register_origin(std::uint32_t origin) noexcept {
    if (___status == error::none) ilRegisterOrigin(origin);
}

void session::set_dxt(dxt format) noexcept {
    if (___status != error::none) return;
    if (___dxt_before == 0) ___dxt_before = ilGetInteger(IL_DXTC_FORMAT);
    ilSetInteger(IL_DXTC_FORMAT, static_cast<ILint>(format));
}

void session::flip() noexcept {
    if (___status == error::none) iluFlipImage();
}

error session::save(const wchar_t* path) noexcept {
    if (___status != error::none) return ___status;
    // Its encoder turns the image into three floats a pixel.
    if (is_radiance_path(path) && pixels() * 12 >= size_limit) return error::out_of_memory;
    const native_path native(path);
    if (native.is_lost()) return error::could_not_open_file;
    return run([&] { return ilSaveImage(native.get()); });
}

std::uint32_t session::width() const noexcept { return static_cast<std::uint32_t>(integer(IL_IMAGE_WIDTH)); }
std::uint32_t session::height() const noexcept { return static_cast<std::uint32_t>(integer(IL_IMAGE_HEIGHT)); }
std::uint32_t session::origin() const noexcept { return static_cast<std::uint32_t>(integer(IL_IMAGE_ORIGIN)); }
std::uint32_t session::channels() const noexcept { return static_cast<std::uint32_t>(integer(IL_IMAGE_CHANNELS)); }
std::uint32_t session::bits_per_pixel() const noexcept {
    return static_cast<std::uint32_t>(integer(IL_IMAGE_BITS_PER_PIXEL));
}
sample_type session::type() const noexcept { return static_cast<sample_type>(integer(IL_IMAGE_TYPE)); }
const void* session::data(std::uint64_t bytes) const noexcept {
    return integer(IL_IMAGE_SIZE_OF_DATA) >= bytes ? ilGetData() : nullptr;
}

#else

void start() noexcept { image_library_started = image_utility_started = true; }
void shut_down() noexcept {}

error availability() noexcept { return error::invalid_extension; }

void session::bind() noexcept {}
session::~session() = default;

error session::load(const wchar_t*) noexcept { return ___status; }
error session::load(const void*, std::uint32_t) noexcept { return ___status; }
error session::texture(std::uint32_t, std::uint32_t, layout, sample_type, const void*) noexcept { return ___status; }
error session::convert(layout, sample_type) noexcept { return ___status; }
void session::register_origin(std::uint32_t) noexcept {}
void session::set_dxt(dxt) noexcept {}
void session::flip() noexcept {}
error session::save(const wchar_t*) noexcept { return ___status; }
std::uint32_t session::width() const noexcept { return 0; }
std::uint32_t session::height() const noexcept { return 0; }
std::uint32_t session::origin() const noexcept { return 0; }
std::uint32_t session::bits_per_pixel() const noexcept { return 0; }
std::uint32_t session::channels() const noexcept { return 0; }
sample_type session::type() const noexcept { return sample_type::u8; }
const void* session::data(std::uint64_t) const noexcept { return nullptr; }

#endif

} // namespace zarn::devil
