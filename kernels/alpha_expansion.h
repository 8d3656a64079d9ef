// Growing the colour of opaque pixels into transparent ones.
#pragma once

#include <cstdint>

namespace zarn {

// A set of pixels that is cheap to walk and to clear while it is sparse: one bit a pixel, and one bit for every 64 of
// these words, so that a walk skips 4096 pixels at a time.
class pixel_set {
public:
    static std::uint64_t word_count(std::uint64_t pixels) noexcept;

    // Over `word_count` words that hold 0 and stay the caller's.
    pixel_set(std::uint64_t* words, std::uint64_t pixels) noexcept;

    void insert(std::uint64_t pixel) noexcept;
    bool is_empty() const noexcept { return ___first > ___last; }

    // Calls work(pixel) for every pixel in ascending order. Work may insert into other sets only.
    template <class Work>
    void for_each(Work work) const;

    void clear() noexcept;

private:
    template <class Work>
    void for_each_word(Work work) const;

    std::uint64_t* ___pixels;
    std::uint64_t* ___summary;
    std::uint64_t ___first; // the words of the summary in use
    std::uint64_t ___last;
};

template <class Format>
bool has_alpha_above(const typename Format::sample* pixels, std::uint64_t count, typename Format::sample threshold);

template <class Format>
bool is_opaque(const typename Format::sample* pixels, std::uint64_t count);

// Alpha above the threshold becomes opaque, all other alpha 0.
template <class Format>
void binarise_alpha(typename Format::sample* pixels, std::uint64_t count, typename Format::sample threshold);

// Fills transparent pixels of a binarised image ring by ring, each with the mean colour of its opaque neighbours; at
// most `iterations` rings, 0 for no limit. Filled pixels are opaque in the end. Both sets are empty before and may hold
// anything after. After the first pass, which looks at every pixel, the cost follows the pixels filled.
template <class Format>
void expand_colour(typename Format::sample* pixels, std::uint32_t width, std::uint32_t height, std::uint32_t iterations,
                   pixel_set& filled, pixel_set& fresh);

template <class Format>
void save_alpha(const typename Format::sample* pixels, std::uint64_t count, typename Format::sample* alpha);

template <class Format>
void restore_alpha(typename Format::sample* pixels, std::uint64_t count, const typename Format::sample* alpha);

template <class Format>
void make_opaque(typename Format::sample* pixels, std::uint64_t count);

} // namespace zarn
