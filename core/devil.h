// The library of the ordinary image formats (DevIL with ILU), and nothing of it that this library does not use.
//
// It holds one current image and one stack of errors per process. A session therefore holds the process-wide lock from
// its first call to its last, and owns the one image that its calls work on.
//
// Built without DevIL, every call fails with error::invalid_extension.
#pragma once

#include <cstdint>
#include <mutex>

namespace zarn::devil {

// Starts the library and its utility layer, each at most once per process, and lets saves replace files.
void start() noexcept;
void shut_down() noexcept;
// Stays true after shut_down().
bool is_started() noexcept;

// What a failed call reported, where it decides a message.
enum class error : std::uint16_t {
    none = 0,
    out_of_memory = 0x0502,
    illegal_operation = 0x0506,
    invalid_parameter = 0x0509,
    could_not_open_file = 0x050A,
    invalid_extension = 0x050B,
    invalid_conversion = 0x0510,
    other = 0xFFFF,
};

// none when calls reach the library; before start() illegal_operation.
error availability() noexcept;

enum class layout : std::uint16_t { rgb = 0x1907, rgba = 0x1908, luminance = 0x1909 };

enum class sample_type : std::uint16_t {
    u8 = 0x1401,
    u16 = 0x1403,
    u32 = 0x1405,
    f32 = 0x1406,
    f64 = 0x140A,
    f16 = 0x140B,
};

// Block compression of DDS files.
enum class dxt : std::uint16_t { dxt1 = 0x0706, dxt3 = 0x0708, dxt5 = 0x070A };

// Images of 2^32 bytes or more are beyond the library's sizes: calls that would make one fail with out_of_memory. Where
// the library is not available, every call fails with the error of availability().
class session {
public:
    session() noexcept;
    ~session();
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    // The extension picks the decoder. Only files that core/image_guard.h accepts may be loaded: damage in others
    // crashes or hangs the decoders.
    error load(const wchar_t* path) noexcept;
    // The contents pick the decoder.
    error load(const void* data, std::uint32_t size) noexcept;

    // Copies packed pixels into the image, origin lower left.
    error texture(std::uint32_t width, std::uint32_t height, layout pixel_layout, sample_type type,
                  const void* pixels) noexcept;

    error convert(layout pixel_layout, sample_type type) noexcept;

    // Which row comes first; codes that the library does not know are left out.
    void register_origin(std::uint32_t origin) noexcept;
    // Holds until the session ends.
    void set_dxt(dxt format) noexcept;
    // Turns the rows over and leaves the origin code.
    void flip() noexcept;

    // The extension picks the encoder; an existing file is replaced.
    error save(const wchar_t* path) noexcept;

    std::uint32_t width() const noexcept;
    std::uint32_t height() const noexcept;
    std::uint32_t origin() const noexcept;
    std::uint32_t bits_per_pixel() const noexcept;
    std::uint32_t channels() const noexcept;
    sample_type type() const noexcept;
    // Packed rows, valid until the next call; null when the image holds fewer than `bytes`.
    const void* data(std::uint64_t bytes) const noexcept;

private:
    void bind() noexcept;

    std::lock_guard<std::mutex> ___lock;
    error ___status;
    [[maybe_unused]] std::uint32_t ___name = 0;
    [[maybe_unused]] std::int32_t ___dxt_before = 0; // 0: not changed
};

} // namespace zarn::devil
