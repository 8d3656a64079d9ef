#include "operations/devil_load.h"

#include <cstring>
#include <filesystem>
#include <type_traits>

#include "core/image_state.h"
#include "core/platform/files.h"
#include "core/platform/native_path.h"
#include "core/psd_alpha.h"
#include "operations/devil_messages.h"
#include "operations/image_file_types.h"
#include "operations/lifecycle.h"

namespace zarn {

namespace {

// Whether something that is no directory stands at a path that did not open: a decoder must not try it again, for a
// pipe or a device could keep it waiting for ever, and a file would go past the guard.
bool is_unreadable(const wchar_t* path) noexcept {
    const native_path native(path);
    if (!native.get()) return native.is_lost();
    try {
        std::error_code ignored;
        const std::filesystem::file_status status = std::filesystem::status(native.get(), ignored);
        return std::filesystem::exists(status) && !std::filesystem::is_directory(status);
    } catch (...) {
        return true; // no memory for the path
    }
}

bool holds_light(devil::sample_type type, std::uint32_t bits_per_pixel) noexcept {
    constexpr std::uint32_t colours = 3;
    switch (type) {
    case devil::sample_type::f16:
        return bits_per_pixel >= colours * 16;
    case devil::sample_type::f32:
        return bits_per_pixel >= colours * 32;
    case devil::sample_type::f64:
        return bits_per_pixel >= colours * 64;
    default:
        return false;
    }
}

bool is_available(image_state& image) noexcept {
    const devil::error unusable = devil::availability();
    if (unusable != devil::error::none) fail_devil(image, devil_call::load, unusable);
    return unusable == devil::error::none;
}

} // namespace

devil_load::devil_load(image_state& image, const wchar_t* path) noexcept {
    if (!is_available(image)) return;
    ___file.reset(open_file(path, file_access::read));
    if (___file) {
        ___bytes.emplace(___file.get());
        if (!is_fit(image, path)) return;
    } else if (is_unreadable(path)) {
        fail_devil(image, devil_call::load, devil::error::could_not_open_file);
        return;
    }
    ___session.emplace();
    keep_session(image, ___session->load(path));
}

devil_load::devil_load(image_state& image, const void* data, unsigned int size) noexcept {
    if (!is_available(image)) return;
    if (data && size > 0) {
        ___bytes.emplace(data, size);
        if (!is_fit(image, nullptr)) return;
    }
    ___session.emplace();
    keep_session(image, ___session->load(data, size));
}

bool devil_load::is_fit(image_state& image, const wchar_t* path) noexcept {
    switch (guard_image(*___bytes, image_decoder::devil, path)) {
    case guard_verdict::accepted:
        return true;
    case guard_verdict::refused_type:
        fail_devil(image, devil_call::load, devil::error::invalid_extension);
        return false;
    default:
        fail_devil(image, devil_call::load, L"Damaged file.");
        return false;
    }
}

void devil_load::keep_session(image_state& image, devil::error load_error) noexcept {
    if (load_error != devil::error::none) {
        fail_devil(image, devil_call::load, load_error);
        return;
    }
    ___bits_per_pixel = ___session->bits_per_pixel();
    ___components = ___session->channels();
    const devil::sample_type type = ___session->type();
    ___is_real = type == devil::sample_type::f16 || type == devil::sample_type::f32 || type == devil::sample_type::f64;
    ___is_linear = holds_light(type, ___bits_per_pixel);
    ___loaded = true;
}

// Puts the alpha of the file into a picture that DevIL decoded from it, where that is known to be wrong.
template <class Format>
void devil_load::restore_psd_alpha(image_state& image, component_choice choice) noexcept {
    using sample = sample_of<Format>;
    if constexpr (std::is_integral_v<sample>) {
        psd_plane plane{};
        if (!___bytes || !find_raw_psd_alpha(*___bytes, plane)) return;
        if (plane.width != image.width || plane.height != image.height) return;
        std::uint64_t offset = plane.offset;
        for (std::uint32_t y = 0; y < image.height; ++y) {
            const std::uint64_t row = memory_row(y, image.height, is_lower_left(image));
            sample* pixel = samples<Format>(image) + row * image.width * channels<Format>;
            for (std::uint32_t x = 0; x < image.width; ++x, pixel += channels<Format>, offset += plane.sample_bytes) {
                const std::uint32_t deep =
                    plane.sample_bytes == 1 ? ___bytes->u8(offset) * 257u : ___bytes->be16(offset);
                const auto alpha = static_cast<sample>(sizeof(sample) == 1   ? deep >> 8
                                                       : sizeof(sample) == 2 ? deep
                                                                             : deep * 65537u);
                for (unsigned i = 0; i < channels<Format>; ++i) {
                    if (component_of<Format>(i, choice) == 3) pixel[i] = alpha;
                }
            }
        }
    }
}

const float* devil_load::floats(image_state& image) noexcept {
    devil::session& session = *___session;
    const devil::error convert_error = session.convert(devil::layout::rgba, devil::sample_type::f32);
    if (convert_error != devil::error::none) {
        fail_devil(image, devil_call::convert, convert_error);
        return nullptr;
    }
    const std::uint64_t count = static_cast<std::uint64_t>(session.width()) * session.height();
    return static_cast<const float*>(session.data(count * 4 * sizeof(float)));
}

void devil_load::restore_alpha(float* row, std::uint32_t y) noexcept {
    psd_plane plane{};
    if (!___bytes || !find_raw_psd_alpha(*___bytes, plane)) return;
    if (plane.width != ___session->width() || plane.height != ___session->height()) return;
    std::uint64_t offset = plane.offset + std::uint64_t{y} * plane.width * plane.sample_bytes;
    for (std::uint32_t x = 0; x < plane.width; ++x, offset += plane.sample_bytes) {
        row[x * std::uint64_t{4} + 3] = plane.sample_bytes == 1 ? static_cast<float>(___bytes->u8(offset)) / 255.0f
                                                                : static_cast<float>(___bytes->be16(offset)) / 65535.0f;
    }
}

template <class Format>
unsigned int devil_load::store(image_state& image, component_choice choice) noexcept {
    using sample = sample_of<Format>;
    constexpr unsigned components = 4;
    devil::session& session = *___session;
    const devil::error convert_error = session.convert(devil::layout::rgba, devil_type<Format>());
    if (convert_error != devil::error::none) return fail_devil(image, devil_call::convert, convert_error);
    const std::uint64_t count = static_cast<std::uint64_t>(session.width()) * session.height();
    const auto* from = static_cast<const sample*>(session.data(count * components * sizeof(sample)));
    if (!from || !allocate_contents(image, session.width(), session.height(), session.origin(), pixel_bytes<Format>))
        return 0;
    auto* to = samples<Format>(image);
    if constexpr (channels<Format> == components) {
        std::memcpy(to, from, static_cast<std::size_t>(count * pixel_bytes<Format>));
    } else {
        for (std::uint64_t i = 0; i < count; ++i, from += components, to += channels<Format>) {
            for (unsigned s = 0; s < channels<Format>; ++s) to[s] = from[component_of<Format>(s, choice)];
        }
    }
    restore_psd_alpha<Format>(image, choice);
    return 1;
}

#define ZARN_INSTANTIATE(Format)                                                                                       \
    template unsigned int devil_load::store<Format>(image_state&, component_choice) noexcept;
ZARN_FOR_EACH_INTEGER_FORMAT(ZARN_INSTANTIATE)
#undef ZARN_INSTANTIATE

} // namespace zarn
