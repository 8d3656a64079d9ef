#include "tests/reference/reference_real.h"

#include <algorithm>
#include <cmath>

#include "tests/reference/reference_colour.h"

namespace zarn_test {

void real_by_integers(real_picture& picture, float scale, const std::function<void(reference_image&)>& work) {
    reference_image integers;
    integers.colours = picture.colours();
    integers.origin = upper_left;
    integers.full = 4294967295u;
    integers = integers.blank(picture.width, picture.height);
    const auto scale_of = [&](std::size_t i) {
        return (integers.is_colour(i) ? static_cast<double>(scale) : 1.0) / static_cast<double>(integers.full);
    };
    for (std::size_t i = 0; i < integers.samples.size(); ++i)
        integers.samples[i] = static_cast<std::uint32_t>(static_cast<double>(picture.samples[i]) / scale_of(i) + 0.5);
    work(integers);
    picture = picture.blank(integers.width, integers.height);
    for (std::size_t i = 0; i < picture.samples.size(); ++i)
        picture.samples[i] = picture.stored(integers.samples[i] * scale_of(i));
}

void real_move(real_picture& picture, const std::function<void(reference_image&)>& move, const float* fill) {
    reference_image numbers; // of each pixel its number, counted from 1, and whether it is visible
    numbers.colours = 1;
    numbers.origin = upper_left;
    numbers = numbers.blank(picture.width, picture.height);
    for (std::uint32_t i = 0; i < numbers.samples.size() / 2; ++i) {
        numbers.samples[2 * i] = i + 1;
        numbers.samples[2 * i + 1] = picture.visible(picture.samples.data() + i * picture.stride()) ? 1 : 0;
    }
    move(numbers);
    const real_picture before = picture;
    picture = picture.blank(numbers.width, numbers.height);
    for (std::uint32_t i = 0; i < numbers.samples.size() / 2; ++i) {
        const std::uint32_t number = numbers.samples[2 * i];
        const float* from = number ? before.samples.data() + (number - 1) * before.stride() : fill;
        std::copy_n(from, picture.stride(), picture.samples.data() + i * picture.stride());
    }
}

// ---- Grading -------------------------------------------------------------------------------------------------------

namespace {

float leveled(float v, const float* levels) {
    const float in_low = clamped_real(levels[0]), in_high = std::max(levels[0], levels[1]);
    const float out_low = clamped_real(levels[2]), out_high = std::max(levels[2], levels[3]);
    if (!(v > in_low)) v = in_low;
    if (v >= in_high) v = in_high;
    return (v - in_low) * (1.0f / (in_high - in_low)) * (out_high - out_low) + out_low;
}

// Of the six sectors, the two dominant channels and the two others; one that stands alone is named twice.
constexpr unsigned dominant[6][2] = {{0, 0}, {0, 1}, {1, 1}, {1, 2}, {2, 2}, {0, 2}};
constexpr unsigned others[6][2] = {{1, 2}, {2, 2}, {0, 2}, {0, 0}, {0, 1}, {1, 1}};

void mix_sectors(float* rgb, const float* percents, bool to_grey) {
    for (unsigned sector = 0; sector < 6; ++sector) {
        const unsigned first = dominant[sector][0], second = dominant[sector][1];
        const auto is_dominant = [&](unsigned c) { return c == first || c == second; };
        const float most = std::max(rgb[others[sector][0]], rgb[others[sector][1]]);
        const float d = std::min(rgb[first], rgb[second]) - most;
        if (!(d > 0.0001f)) continue;
        const float weight = percents[sector] * 0.01f;
        const float change = weight >= 1.0f ? (weight - 1.0f) * d : -((1.0f - weight) * d);
        for (unsigned c = 0; c < 3; ++c)
            if (is_dominant(c) || (weight < 0.0f && to_grey)) rgb[c] += change;
        if (!(weight < 0.0f) || to_grey) continue;
        const float ceiling = std::min(rgb[first], rgb[second]);
        for (unsigned c = 0; c < 3; ++c)
            if (!is_dominant(c) && rgb[c] > ceiling) rgb[c] = ceiling;
    }
}

void turn_hue(float* rgb, const float* hue_and_saturation) {
    float saturation = hue_and_saturation[1];
    if (saturation >= 100.0f) saturation = 100.0f;
    if (!(saturation > -100.0f)) saturation = -100.0f;
    const float s = (saturation + 100.0f) * 0.01f;
    const float h = static_cast<float>(static_cast<double>(hue_and_saturation[0]) * 0.017453292519943295);
    const float c = std::cos(h) * s, w = std::sin(h) * s, r = rgb[0], g = rgb[1], b = rgb[2];
    rgb[0] = (0.299f + 0.701f * c + 0.168f * w) * r + (0.587f - 0.587f * c + 0.330f * w) * g +
             (0.114f - 0.114f * c - 0.497f * w) * b;
    rgb[1] = (0.299f - 0.299f * c - 0.328f * w) * r + (0.587f + 0.413f * c + 0.035f * w) * g +
             (0.114f - 0.114f * c + 0.292f * w) * b;
    rgb[2] = (0.299f - 0.300f * c + 1.250f * w) * r + (0.587f - 0.588f * c - 1.050f * w) * g +
             (0.114f + 0.886f * c - 0.203f * w) * b;
}

bool is_grey(const float* rgb) { return rgb[0] == rgb[1] && rgb[1] == rgb[2]; }

} // namespace

void real_grade(real_picture& picture, const real_stages& stages) {
    if (picture.is_grey) {
        if (stages.levels && !stages.weights)
            picture.change_colours([&](float v) { return leveled(v, stages.levels); });
        return;
    }
    picture.change_pixels([&](float* rgb) {
        for (unsigned c = 0; c < 3; ++c) {
            if (stages.channels) rgb[c] = clamped_real(rgb[c] * stages.channels[c]);
            if (stages.levels) rgb[c] = leveled(rgb[c], stages.levels);
        }
        const bool whole = stages.weights ? !is_grey(rgb) : stages.turn != nullptr;
        if (stages.weights && whole) mix_sectors(rgb, stages.weights, false);
        if (stages.turn && whole) turn_hue(rgb, stages.turn);
        for (unsigned c = 0; c < 3; ++c)
            rgb[c] = picture.stored(static_cast<double>(whole ? clamped_real(rgb[c]) : rgb[c]));
    });
}

void real_to_grey(real_picture& picture, const real_stages& stages) {
    if (picture.is_grey) return;
    real_picture greys{picture.width, picture.height, true, {}, picture.is_half};
    picture.change_pixels([&](float* rgb) {
        const float* const w = stages.channels;
        if (stages.levels) std::transform(rgb, rgb + 3, rgb, [&](float v) { return leveled(v, stages.levels); });
        float value = w ? w[0] * rgb[0] + w[1] * rgb[1] + w[2] * rgb[2] : rgb[0];
        if (!w && !is_grey(rgb)) {
            mix_sectors(rgb, stages.weights, true);
            value = clamped_real(std::max({rgb[0], rgb[1], rgb[2]}));
        }
        greys.samples.insert(greys.samples.end(), {greys.stored(static_cast<double>(value)), rgb[3]});
    });
    picture = greys;
}

void real_to_rgba(real_picture& picture) {
    if (!picture.is_grey) return;
    real_picture colours{picture.width, picture.height, false, {}, picture.is_half};
    picture.change_pixels([&](const float* p) {
        colours.samples.insert(colours.samples.end(), {p[0], p[0], p[0], p[1]});
    });
    picture = colours;
}

void real_normalize(real_picture& picture, float low, float high) {
    const auto hsl_of = [&](const float* p) {
        return picture.is_grey ? reference_rgb_to_hsl(p[0], p[0], p[0]) : reference_rgb_to_hsl(p[0], p[1], p[2]);
    };
    float least = 1.0f, greatest = 0.0f;
    picture.change_pixels([&](const float* p) {
        if (!picture.visible(p)) return;
        const float lightness = hsl_of(p).lightness;
        if (lightness < least) least = lightness;
        if (lightness > greatest) greatest = lightness;
    });
    if (!(least < greatest)) return;
    picture.change_pixels([&](float* p) {
        if (!picture.visible(p)) return;
        reference_hsl colour = hsl_of(p);
        colour.lightness = low + (colour.lightness - least) / (greatest - least) * (high - low);
        float rgb[3];
        reference_hsl_to_rgb(colour, rgb);
        for (unsigned c = 0; c < picture.colours(); ++c)
            p[c] = picture.stored(static_cast<double>(clamped_real(rgb[c])));
    });
}

// ---- Compositing ---------------------------------------------------------------------------------------------------

namespace {

// Above half of `by` screened, below it multiplied.
float multiplied_or_screened(float by, float d, float s) {
    return by < 0.5f ? 2.0f * s * d : 1.0f - 2.0f * (1.0f - s) * (1.0f - d);
}
float added(float d, float s) { return std::min(s + d, 1.0f); }
float subtracted(float d, float s) { return s + d >= 1.0f ? s + d - 1.0f : 0.0f; }
float softened(float d, float s) {
    const float soft = d / 2 + 0.25f;
    return s < 0.5f ? 2.0f * soft * s : 1.0f - 2.0f * (1.0f - soft) * (1.0f - s);
}
float burned(float s, float by) { return std::max(1.0f + (s - 1.0f) / by, 0.0f); }
float reflected(float d, float s) { return s >= 1.0f ? 1.0f : std::min(d * d / (1.0f - s), 1.0f); }
float linear_light(float d, float s) { return d < 0.5f ? subtracted(2.0f * d, s) : added(2.0f * (d - 0.5f), s); }
float vivid_light(float d, float s) {
    if (d <= 0.0f) return 0.0f;
    if (d < 0.5f) return burned(s, 2.0f * d);
    return d >= 1.0f ? 1.0f : std::min(s / (2.0f - 2.0f * d), 1.0f);
}

// By their codes.
constexpr float (*blends[25])(float, float) = {
    [](float, float s) { return s; },
    [](float d, float s) { return std::max(d, s); },
    [](float d, float s) { return std::min(d, s); },
    [](float d, float s) { return s * d; },
    [](float d, float s) { return (s + d) / 2; },
    added,
    subtracted,
    [](float d, float s) { return std::fabs(d - s); },
    [](float d, float s) { return 1.0f - std::fabs(1.0f - s - d); },
    [](float d, float s) { return 1.0f - (1.0f - s) * (1.0f - d); },
    [](float d, float s) { return s + d - 2.0f * s * d; },
    [](float d, float s) { return multiplied_or_screened(s, d, s); },
    softened,
    [](float d, float s) { return multiplied_or_screened(d, d, s); },
    [](float d, float s) { return d >= 1.0f ? 1.0f : std::min(s / (1.0f - d), 1.0f); },
    [](float d, float s) { return d <= 0.0f ? 0.0f : burned(s, d); },
    added,
    subtracted,
    linear_light,
    vivid_light,
    [](float d, float s) { return d < 0.5f ? std::min(s, 2.0f * d) : std::max(s, 2.0f * d - 1.0f); },
    [](float d, float s) { return vivid_light(d, s) < 0.5f ? 0.0f : 1.0f; },
    reflected,
    [](float d, float s) { return reflected(s, d); },
    [](float d, float s) { return 1.0f - std::fabs(d - s); },
};

} // namespace

void real_blit(real_picture& destination, real_picture source, const reference_blit_call& call,
               const std::function<void(float, float*, const float*)>& custom) {
    const unsigned colours = destination.colours();
    const auto at = [](real_picture& of, std::uint64_t x, std::uint64_t y) { return of.at(x, y); };
    each_drawn_pixel(destination, source, call, at, [&](float* d, const float* raw) {
        const float alpha = raw[source.colours()], weight = alpha * static_cast<float>(call.opacity);
        float s[3] = {raw[0], raw[source.is_grey ? 0 : 1], raw[source.is_grey ? 0 : 2]};
        if (destination.is_grey && !source.is_grey) s[0] = 0.299f * s[0] + 0.587f * s[1] + 0.114f * s[2];
        if (call.mode == 25 || call.flags == 0) d[colours] = call.mode == 25 ? alpha : std::max(d[colours], alpha);
        if (call.mode == 26) custom(weight, d, raw);
        for (unsigned c = 0; call.mode <= 25 && c < colours; ++c) {
            const float mixed =
                call.mode == 25 ? s[c] : d[c] * (1.0f - weight) + blends[call.mode](d[c], s[c]) * weight;
            d[c] = destination.stored(static_cast<double>(mixed));
        }
    });
}

void real_sharpen(real_picture& picture, float amount, std::uint32_t thread_limit) {
    if (picture.width < 3 || picture.height < 3) return;
    const real_picture before = picture;
    const std::uint32_t bands = std::min(thread_limit, picture.height), rows = (picture.height - 2) / bands;
    for (std::uint32_t band = 0; band < bands; ++band) {
        const std::uint32_t first = 1 + band * rows;
        const std::uint32_t last = band + 1 == bands ? picture.height - 1 : first + rows;
        for (std::uint32_t i = first * picture.width; i < last * picture.width; ++i) {
            const std::uint32_t x = i % picture.width, y = i / picture.width;
            if (x == 0 || x == picture.width - 1) continue;
            for (unsigned c = 0; c < picture.colours(); ++c) {
                float sum = 0.0f;
                for (const unsigned tap : {1u, 3u, 4u, 5u, 7u}) { // none at the corners
                    const std::uint32_t v = y + tap / 3 - 1;
                    sum += (tap == 4 ? 4 * amount + 1 : -amount) *
                           (v < first || v >= last ? before : picture).at(x + tap % 3 - 1, v)[c];
                }
                picture.at(x, y)[c] = picture.stored(static_cast<double>(clamped_real(sum)));
            }
        }
    }
}

void real_gaussian_2(real_picture& picture, float sigma, bool blur_colour, bool blur_alpha) {
    const real_picture before = picture;
    const int radius = static_cast<int>(std::ceil(3.0f * std::min(sigma, 250.0f)));
    const int width = static_cast<int>(picture.width), height = static_cast<int>(picture.height);
    const unsigned colours = picture.colours();
    const auto at = [](auto& from, int x, int y) {
        return from.at(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
    };
    for (int i = 0; i < width * height; ++i) {
        double sums[4] = {}, all = 0.0;
        for (int dy = -radius; dy <= radius; ++dy) {
            for (int dx = -radius; dx <= radius; ++dx) {
                const float* p =
                    at(before, std::clamp(i % width + dx, 0, width - 1), std::clamp(i / width + dy, 0, height - 1));
                const double s = static_cast<double>(sigma), weight = std::exp(-(dx * dx + dy * dy) / (2.0 * s * s));
                const double share = weight * static_cast<double>(p[colours]);
                all += weight;
                sums[colours] += share;
                for (unsigned c = 0; c < colours && share != 0.0; ++c) sums[c] += share * static_cast<double>(p[c]);
            }
        }
        float* out = at(picture, i % width, i / width);
        for (unsigned c = 0; c < colours && blur_colour && sums[colours] != 0.0; ++c)
            out[c] = picture.stored(sums[c] / sums[colours]);
        if (blur_alpha) out[colours] = picture.stored(sums[colours] / all);
    }
}

} // namespace zarn_test
