#include "kernels/import_rows.h"

#include <cmath>
#include <type_traits>

#include "kernels/low_bits.h"

namespace zarn {

namespace {

template <class Stored>
constexpr float to_unit = sizeof(Stored) == 1   ? 0.003921569f
                          : sizeof(Stored) == 2 ? 1.5259022e-05f
                                                : 2.3283064e-10f;

// Single precision, except where the source or the format has more bits than a float's mantissa. A float's power stays
// a float.
template <class Format, class Stored>
typename Format::sample import_sample(Stored value) {
    using sample = typename Format::sample;
    using real = std::conditional_t<(sizeof(Stored) > 4 || sizeof(sample) > 2), double, float>;
    constexpr bool is_linear = std::is_floating_point_v<Stored>;
    if constexpr (sizeof(Stored) == 1 && sizeof(sample) == 1) {
        return value;
    } else if constexpr (is_real<Format>) {
        return static_cast<sample>(is_linear ? static_cast<real>(value)
                                             : static_cast<real>(value) * static_cast<real>(to_unit<Stored>));
    } else if constexpr (is_linear) {
        const Stored encoded = std::pow(value, static_cast<Stored>(0.45454544f));
        return low_bits<sample>(static_cast<real>(encoded) * static_cast<real>(Format::full));
    } else {
        return low_bits<sample>(static_cast<real>(value) * static_cast<real>(to_unit<Stored>) *
                                static_cast<real>(Format::full));
    }
}

// How many samples a pixel has in the row, and which of them are red, green, blue and alpha. The sample behind the last
// stands for a full alpha.
template <unsigned Stored, unsigned Red, unsigned Green, unsigned Blue, unsigned Alpha>
struct layout {
    static constexpr unsigned stored = Stored;
    static constexpr unsigned place[4] = {Red, Green, Blue, Alpha};
};
using grey = layout<1, 0, 0, 0, 1>;
using complex = layout<2, 0, 0, 0, 1>;
using colour = layout<3, 0, 1, 2, 3>;
using colour_alpha = layout<4, 0, 1, 2, 3>;
using colour_alpha_bgra = layout<4, 2, 1, 0, 3>;

template <class Format, class Stored, class Layout>
void convert(const void* source, typename Format::sample* pixels, std::uint32_t width, component_choice choice) {
    const auto* from = static_cast<const Stored*>(source);
    typename Format::sample samples[Layout::stored + 1];
    samples[Layout::stored] = static_cast<typename Format::sample>(Format::full);
    for (std::uint32_t x = 0; x < width; ++x, from += Layout::stored, pixels += channels<Format>) {
        for (unsigned i = 0; i < Layout::stored; ++i) samples[i] = import_sample<Format>(from[i]);
        for (unsigned i = 0; i < channels<Format>; ++i) {
            pixels[i] = samples[Layout::place[component_of<Format>(i, choice)]];
        }
    }
}

// By type code. Signed 32-bit samples are read as unsigned ones.
template <class Format>
constexpr import_row<Format> conversions[] = {
    nullptr,
    convert<Format, std::uint8_t, colour_alpha_bgra>,
    convert<Format, std::uint16_t, grey>,
    convert<Format, std::int16_t, grey>,
    convert<Format, std::uint32_t, grey>,
    convert<Format, std::uint32_t, grey>,
    convert<Format, float, grey>,
    convert<Format, double, grey>,
    convert<Format, double, complex>,
    convert<Format, std::uint16_t, colour>,
    convert<Format, std::uint16_t, colour_alpha>,
    convert<Format, float, colour>,
    convert<Format, float, colour_alpha>,
};

} // namespace

template <class Format>
import_row<Format> import_row_for(bitmap_type type) noexcept {
    return conversions<Format>[static_cast<unsigned>(type)];
}

#define ZARN_INSTANTIATE(Format) template import_row<Format> import_row_for<Format>(bitmap_type) noexcept;
ZARN_FOR_EACH_INTEGER_FORMAT(ZARN_INSTANTIATE)
ZARN_INSTANTIATE(colour_real_32)
#undef ZARN_INSTANTIATE

} // namespace zarn
