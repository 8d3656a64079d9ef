#include "benchmarks/peer/picture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace zarn_bench {

namespace {

// 0..1, spread evenly; the same for the same arguments.
float chance(unsigned x, unsigned y, unsigned purpose) {
    std::uint32_t bits = x * 0x8DA6B343u ^ y * 0xD8163841u ^ purpose * 0xCB1AB31Fu;
    bits ^= bits >> 15;
    bits *= 0x2C1B3C6Du;
    bits ^= bits >> 12;
    bits *= 0x297A2D39u;
    bits ^= bits >> 15;
    return static_cast<float>(bits >> 8) * (1.0f / 16777216.0f);
}

// A smooth surface through random heights on a grid of `cell` pixels.
float hills(unsigned x, unsigned y, unsigned cell, unsigned purpose) {
    const unsigned column = x / cell, row = y / cell;
    const auto ease = [cell](unsigned place) {
        const float t = static_cast<float>(place % cell) / static_cast<float>(cell);
        return t * t * (3.0f - 2.0f * t);
    };
    const float right = ease(x), below = ease(y);
    const auto along = [&](unsigned line) {
        const float left = chance(column, line, purpose);
        return left + (chance(column + 1, line, purpose) - left) * right;
    };
    const float top = along(row);
    return top + (along(row + 1) - top) * below;
}

// One round hole in each cell of a grid, clear of its neighbours.
class holes {
public:
    explicit holes(unsigned side)
        : ___cell(std::clamp(side / 4, 16u, 96u)) {}

    // 0..1
    float alpha(unsigned x, unsigned y) const {
        const unsigned column = x / ___cell, row = y / ___cell;
        const auto cell = static_cast<float>(___cell);
        const float dx = static_cast<float>(x % ___cell) - cell * (0.3f + 0.4f * chance(column, row, 20));
        const float dy = static_cast<float>(y % ___cell) - cell * (0.3f + 0.4f * chance(column, row, 21));
        const float radius = cell * (0.12f + 0.16f * chance(column, row, 22));
        const float rim = cell * 0.025f;
        const float opacity = (std::sqrt(dx * dx + dy * dy) - radius) / rim + 0.5f;
        return std::clamp(opacity, 0.0f, 1.0f);
    }

private:
    unsigned ___cell;
};

template <class Sample>
Sample sample_at(const picture& image, std::size_t sample) {
    Sample value;
    std::memcpy(&value, &image.bytes[sample * sizeof value], sizeof value);
    return value;
}

} // namespace

std::string name_of(const pixel_form& form) {
    std::string name = form.bits == 32 ? "floats" : std::to_string(form.bits) + " bits";
    if (form.channels == 1) name += ", one value";
    return name;
}

double picture::level(std::size_t sample) const {
    if (form.bits == 8) return bytes[sample];
    if (form.bits == 16) return sample_at<std::uint16_t>(*this, sample) / 257.0;
    return std::clamp(sample_at<float>(*this, sample), 0.0f, 1.0f) * 255.0;
}

void picture::set_level(std::size_t sample, double level) {
    if (form.bits == 8) {
        bytes[sample] = static_cast<std::uint8_t>(level + 0.5);
    } else if (form.bits == 16) {
        const auto value = static_cast<std::uint16_t>(level * 257.0 + 0.5);
        std::memcpy(&bytes[sample * sizeof value], &value, sizeof value);
    } else {
        const auto value = static_cast<float>(level / 255.0);
        std::memcpy(&bytes[sample * sizeof value], &value, sizeof value);
    }
}

picture draw_photo(unsigned side, const pixel_form& form) {
    picture image{side, side, form};
    const holes cut(side);
    std::size_t at = 0;
    const auto put = [&image, &at](float value) { image.set_level(at++, static_cast<double>(value) * 255.0); };
    for (unsigned y = 0; y < side; ++y) {
        for (unsigned x = 0; x < side; ++x) {
            const float light = 0.45f * hills(x, y, 180, 3) + 0.2f * hills(x, y, 31, 4) + 0.12f * hills(x, y, 6, 5);
            const float shadow = hills(x, y, 110, 6) > 0.6f ? 0.2f : 0.0f;
            const auto colour = [&](unsigned channel) {
                const float tint = 0.3f * hills(x, y, 240, channel);
                const float grain = 0.02f * (chance(x, y, 10 + channel) - 0.5f);
                return std::clamp(light + tint - shadow + grain, 0.0f, 1.0f);
            };
            if (form.channels == 1) {
                put(colour(1));
                continue;
            }
            for (unsigned channel = 0; channel < 3; ++channel) put(colour(channel));
            put(cut.alpha(x, y));
        }
    }
    return image;
}

picture draw_labels(unsigned side, const pixel_form& form) {
    picture image{side, side, form};
    for (unsigned y = 0; y < side; ++y) {
        for (unsigned x = 0; x < side; ++x) {
            const float height = 0.7f * hills(x, y, 40, 30) + 0.3f * hills(x, y, 9, 31);
            image.set_level(std::size_t{y} * side + x, height > 0.55f ? 200.0 : 0.0);
        }
    }
    return image;
}

alpha_shares measure_alpha(const picture& image) {
    if (image.form.channels < 4) return {};
    std::size_t transparent = 0, partial = 0;
    for (std::size_t pixel = 0; pixel < image.pixels(); ++pixel) {
        const double alpha = image.level(pixel * 4 + 3);
        transparent += alpha <= 0.0;
        partial += alpha > 0.0 && alpha < 255.0;
    }
    const auto all = static_cast<double>(image.pixels());
    return {static_cast<double>(transparent) / all, static_cast<double>(partial) / all};
}

} // namespace zarn_bench
