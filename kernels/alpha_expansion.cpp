#include "kernels/alpha_expansion.h"

#include <algorithm>
#include <utility>

#include "kernels/pixel_format.h"
#include "kernels/store.h"

namespace zarn {

namespace {

constexpr std::uint64_t word_bits = 64;

std::uint64_t words_for(std::uint64_t bits) noexcept { return (bits + word_bits - 1) / word_bits; }

unsigned lowest_bit(std::uint64_t word) noexcept {
#if defined(__GNUC__)
    return static_cast<unsigned>(__builtin_ctzll(word));
#else
    unsigned bit = 0;
    while (!((word >> bit) & 1)) ++bit;
    return bit;
#endif
}

template <class Work>
void for_each_bit(std::uint64_t word, std::uint64_t base, Work work) {
    for (; word; word &= word - 1) work(base + lowest_bit(word));
}

} // namespace

std::uint64_t pixel_set::word_count(std::uint64_t pixels) noexcept {
    return words_for(pixels) + words_for(words_for(pixels));
}

pixel_set::pixel_set(std::uint64_t* words, std::uint64_t pixels) noexcept
    : ___pixels(words)
    , ___summary(words + words_for(pixels))
    , ___first(UINT64_MAX)
    , ___last(0) {}

void pixel_set::insert(std::uint64_t pixel) noexcept {
    const std::uint64_t word = pixel / word_bits;
    const std::uint64_t summary = word / word_bits;
    ___pixels[word] |= std::uint64_t{1} << (pixel % word_bits);
    ___summary[summary] |= std::uint64_t{1} << (word % word_bits);
    ___first = std::min(___first, summary);
    ___last = std::max(___last, summary);
}

template <class Work>
void pixel_set::for_each_word(Work work) const {
    if (is_empty()) return;
    for (std::uint64_t i = ___first; i <= ___last; ++i) for_each_bit(___summary[i], i * word_bits, work);
}

template <class Work>
void pixel_set::for_each(Work work) const {
    for_each_word([&](std::uint64_t word) { for_each_bit(___pixels[word], word * word_bits, work); });
}

void pixel_set::clear() noexcept {
    for_each_word([this](std::uint64_t word) { ___pixels[word] = 0; });
    if (!is_empty()) std::fill(___summary + ___first, ___summary + ___last + 1, 0);
    ___first = UINT64_MAX;
    ___last = 0;
}

namespace {

template <class Format>
class expansion {
public:
    using sample = typename Format::sample;

    expansion(sample* pixels, std::uint32_t width, std::uint32_t height)
        : ___pixels(pixels)
        , ___width(width)
        , ___height(height) {}

    void set_alpha(std::uint64_t pixel, sample alpha) { at(pixel)[Format::colours] = alpha; }

    // Fills every transparent pixel that has opaque neighbours; calls work(pixel) for each.
    template <class Work>
    void fill_all(Work work) {
        std::uint64_t pixel = 0;
        for (std::uint32_t y = 0; y < ___height; ++y) {
            for (std::uint32_t x = 0; x < ___width; ++x, ++pixel) {
                if (fill(pixel, x, y)) work(pixel);
            }
        }
    }

    // The same for the pixels around `pixel`.
    template <class Work>
    void fill_around(std::uint64_t pixel, Work work) {
        const auto x = static_cast<std::uint32_t>(pixel % ___width);
        const auto y = static_cast<std::uint32_t>(pixel / ___width);
        visit(pixel, x, y, x + 1 < ___width, y + 1 < ___height,
              [&](std::uint64_t neighbour, std::uint32_t at_x, std::uint32_t at_y) {
                  if (fill(neighbour, at_x, at_y)) work(neighbour);
              });
    }

private:
    sample* at(std::uint64_t pixel) const { return ___pixels + pixel * channels<Format>; }

    // Fills a transparent pixel from its opaque neighbours and marks it; false when it stays as it is. The last column
    // never serves as a right neighbour, the last row never as a lower one.
    bool fill(std::uint64_t pixel, std::uint32_t x, std::uint32_t y) {
        sample* const out = at(pixel);
        if (out[Format::colours] != sample(0)) return false;
        sum_of<Format> sums[Format::colours] = {};
        std::uint64_t sources = 0;
        visit(pixel, x, y, x + std::uint64_t{2} < ___width, y + std::uint64_t{2} < ___height,
              [&](std::uint64_t neighbour, std::uint32_t, std::uint32_t) {
                  const sample* const from = at(neighbour);
                  if (number(from[Format::colours]) != Format::full) return;
                  for (unsigned c = 0; c < Format::colours; ++c) sums[c] += number(from[c]);
                  ++sources;
              });
        if (!sources) return false;
        for (unsigned c = 0; c < Format::colours; ++c) out[c] = stored_mean<Format>(sums[c], sources);
        out[Format::colours] = static_cast<sample>(Format::fill_marker);
        return true;
    }

    // Calls work(neighbour, x, y) for the pixels around one.
    template <class Work>
    void visit(std::uint64_t pixel, std::uint32_t x, std::uint32_t y, bool right, bool below, Work work) const {
        const std::uint64_t width = ___width;
        const bool left = x > 0;
        if (y > 0) {
            if (left) work(pixel - width - 1, x - 1, y - 1);
            work(pixel - width, x, y - 1);
            if (right) work(pixel - width + 1, x + 1, y - 1);
        }
        if (left) work(pixel - 1, x - 1, y);
        if (right) work(pixel + 1, x + 1, y);
        if (below) {
            if (left) work(pixel + width - 1, x - 1, y + 1);
            work(pixel + width, x, y + 1);
            if (right) work(pixel + width + 1, x + 1, y + 1);
        }
    }

    sample* ___pixels;
    std::uint32_t ___width;
    std::uint32_t ___height;
};

template <class Format, class Work>
void for_each_alpha(typename Format::sample* pixels, std::uint64_t count, Work work) {
    for (std::uint64_t i = 0; i < count; ++i) work(pixels[i * channels<Format> + Format::colours]);
}

} // namespace

template <class Format>
bool has_alpha_above(const typename Format::sample* pixels, std::uint64_t count, typename Format::sample threshold) {
    for (std::uint64_t i = 0; i < count; ++i) {
        if (pixels[i * channels<Format> + Format::colours] > threshold) return true;
    }
    return false;
}

template <class Format>
bool is_opaque(const typename Format::sample* pixels, std::uint64_t count) {
    if constexpr (Format::has_alpha) {
        const auto* alpha = pixels + Format::colours;
        for (std::uint64_t i = 0; i < count; ++i, alpha += channels<Format>) {
            if (!(number(*alpha) >= Format::full)) return false;
        }
    }
    return true;
}

template <class Format>
void binarise_alpha(typename Format::sample* pixels, std::uint64_t count, typename Format::sample threshold) {
    using sample = typename Format::sample;
    const auto opaque = static_cast<sample>(Format::full);
    for_each_alpha<Format>(pixels, count, [=](sample& alpha) { alpha = alpha > threshold ? opaque : sample(0); });
}

template <class Format>
void expand_colour(typename Format::sample* pixels, std::uint32_t width, std::uint32_t height, std::uint32_t iterations,
                   pixel_set& filled, pixel_set& fresh) {
    expansion<Format> image(pixels, width, height);
    const auto keep = [&](std::uint64_t pixel) { fresh.insert(pixel); };
    image.fill_all(keep);
    // A pixel that could not be filled before can be only when a neighbour has become opaque.
    for (std::uint32_t pass = 1; !fresh.is_empty(); ++pass) {
        fresh.for_each(
            [&](std::uint64_t pixel) { image.set_alpha(pixel, static_cast<typename Format::sample>(Format::full)); });
        if (pass == iterations) return;
        std::swap(filled, fresh);
        fresh.clear();
        filled.for_each([&](std::uint64_t pixel) { image.fill_around(pixel, keep); });
    }
}

template <class Format>
void save_alpha(const typename Format::sample* pixels, std::uint64_t count, typename Format::sample* alpha) {
    for (std::uint64_t i = 0; i < count; ++i) alpha[i] = pixels[i * channels<Format> + Format::colours];
}

template <class Format>
void restore_alpha(typename Format::sample* pixels, std::uint64_t count, const typename Format::sample* alpha) {
    for (std::uint64_t i = 0; i < count; ++i) pixels[i * channels<Format> + Format::colours] = alpha[i];
}

template <class Format>
void make_opaque(typename Format::sample* pixels, std::uint64_t count) {
    for_each_alpha<Format>(pixels, count, [](typename Format::sample& alpha) {
        alpha = static_cast<typename Format::sample>(Format::full);
    });
}

#define ZARN_INSTANTIATE(format)                                                                                       \
    template bool has_alpha_above<format>(const format::sample*, std::uint64_t, format::sample);                       \
    template bool is_opaque<format>(const format::sample*, std::uint64_t);                                             \
    template void binarise_alpha<format>(format::sample*, std::uint64_t, format::sample);                              \
    template void expand_colour<format>(format::sample*, std::uint32_t, std::uint32_t, std::uint32_t, pixel_set&,      \
                                        pixel_set&);                                                                   \
    template void save_alpha<format>(const format::sample*, std::uint64_t, format::sample*);                           \
    template void restore_alpha<format>(format::sample*, std::uint64_t, const format::sample*);                        \
    template void make_opaque<format>(format::sample*, std::uint64_t);
ZARN_FOR_EACH_FORMAT(ZARN_INSTANTIATE)

} // namespace zarn
