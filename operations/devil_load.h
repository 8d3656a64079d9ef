// Loading of a picture by DevIL: looked over first, taken out in the format that suits it.
#pragma once

#include <cstdint>
#include <optional>

#include <zarn/detail/image_state.h>

#include "core/devil.h"
#include "core/image_guard.h"
#include "core/native_file.h"
#include "kernels/import_rows.h"

namespace zarn {

// Holds DevIL, and with it the process-wide lock, from the load until it goes.
class devil_load {
public:
    // Tests false, with the messages pushed on the image's stack, when there is no picture.
    devil_load(image_state& image, const wchar_t* path) noexcept;
    // The block must outlive this object.
    devil_load(image_state& image, const void* data, unsigned int size) noexcept;

    explicit operator bool() const noexcept { return ___loaded; }

    // Of the picture as it lay in the file.
    std::uint32_t bits_per_pixel() const noexcept { return ___bits_per_pixel; }
    // Colour samples that stand for light, as those of high-range pictures do.
    bool is_linear() const noexcept { return ___is_linear; }

    // Samples of the file that are real numbers.
    bool is_real() const noexcept { return ___is_real; }
    std::uint32_t components() const noexcept { return ___components; }

    // Converts the picture into floats, red, green, blue and alpha, once: valid while this object lives. Null, with the
    // message pushed, on failure.
    const float* floats(image_state& image) noexcept;
    std::uint32_t width() const noexcept { return ___session->width(); }
    std::uint32_t height() const noexcept { return ___session->height(); }
    std::uint32_t origin() const noexcept { return ___session->origin(); }
    // Puts the file's own alpha into a row of floats(), by picture row, where DevIL's is known to be wrong.
    void restore_alpha(float* row, std::uint32_t y) noexcept;

    // Converts the picture into the format, once, and makes it the contents of an empty image. Formats without three
    // colours take the chosen components.
    template <class Format>
    unsigned int store(image_state& image, component_choice choice = {}) noexcept;

private:
    bool is_fit(image_state& image, const wchar_t* path) noexcept;
    void keep_session(image_state& image, devil::error load_error) noexcept;
    template <class Format>
    void restore_psd_alpha(image_state& image, component_choice choice) noexcept;

    // The file stays open, so that what the guard saw is what a part of it is read from later.
    owned_file ___file;
    std::optional<byte_source> ___bytes; // none where there is nothing to look at
    std::optional<devil::session> ___session;
    std::uint32_t ___bits_per_pixel = 0;
    std::uint32_t ___components = 0;
    bool ___is_real = false;
    bool ___is_linear = false;
    bool ___loaded = false;
};

} // namespace zarn
