#include "channel/subset_list.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#include "core/platform/memory.h"
#include "kernels/low_bits.h"
#include "kernels/pixel_format.h"

// A region is filled depth first. The order of its points is defined by a stack onto which every visited pixel pushes
// its open neighbours, clockwise from above, and from which visited pixels are dropped as they come up. That is the
// order of a walk that goes on to the first open neighbour counter-clockwise from the upper left and, where there is
// none, back along its own path to the last pixel that still has one. Such a walk is remembered in a byte a move.

namespace zarn {

namespace {

constexpr std::uint8_t open = 255; // foreground that no walk has reached
constexpr std::uint8_t visited = 128;
constexpr std::uint8_t open_bit = 64; // set in open pixels only

// Bytes from which page faults count.
constexpr std::uint64_t large_block = 4u << 20;

template <class T>
owned_array<T> allocate_large(std::uint64_t count) noexcept {
    owned_array<T> array = allocate_array<T>(count);
    if (array && count * sizeof(T) >= large_block) advise_large_pages(array.get(), count * sizeof(T));
    return array;
}

// A byte of a trace: a direction, or one undone on the way back.
constexpr std::uint8_t going_back = 8;
constexpr int move_x[16] = {-1, -1, -1, 0, 1, 1, 1, 0, 1, 1, 1, 0, -1, -1, -1, 0};
constexpr int move_y[16] = {-1, 0, 1, 1, 1, 0, -1, -1, 1, 0, -1, -1, -1, 0, 1, 1};

// Directions are numbered as they are tried.
struct step {
    std::uint8_t* to; // null when no neighbour is open
    std::uint8_t direction;
};

inline step next_step(std::uint8_t* pixel, std::ptrdiff_t stride) noexcept {
    std::uint8_t* const above = pixel - stride;
    std::uint8_t* const below = pixel + stride;
    if (above[-1] == open) return {above - 1, 0};
    if (pixel[-1] == open) return {pixel - 1, 1};
    if (below[-1] == open) return {below - 1, 2};
    if (below[0] == open) return {below, 3};
    if (below[1] == open) return {below + 1, 4};
    if (pixel[1] == open) return {pixel + 1, 5};
    if (above[1] == open) return {above + 1, 6};
    if (above[0] == open) return {above, 7};
    return {nullptr, 0};
}

// Whether a pixel visited some time ago has an open neighbour: three loads, which would wait for bytes just written.
inline bool has_open(const std::uint8_t* pixel, std::ptrdiff_t stride) noexcept {
    constexpr std::uint8_t three[4] = {open_bit, open_bit, open_bit, 0};
    std::uint32_t above, middle, below, mask;
    std::memcpy(&above, pixel - stride - 1, 4);
    std::memcpy(&middle, pixel - 1, 4);
    std::memcpy(&below, pixel + stride - 1, 4);
    std::memcpy(&mask, three, 4);
    return ((above | middle | below) & mask) != 0;
}

struct walked {
    std::uint64_t pixels; // of the region
    std::uint64_t moves;  // bytes of the trace, fewer than twice the pixels
};

// Marks a region from its first pixel on and traces the moves. `path` has room for a byte a pixel.
walked walk(std::uint8_t* pixel, std::ptrdiff_t stride, std::uint8_t* trace, std::uint8_t* path) noexcept {
    std::ptrdiff_t offsets[8];
    for (int i = 0; i < 8; ++i) offsets[i] = move_y[i] * stride + move_x[i];
    std::uint8_t* move = trace;
    std::uint8_t* top = path;
    std::uint64_t pixels = 1;
    for (;;) {
        *pixel = visited;
        step next = next_step(pixel, stride);
        if (!next.to) {
            do {
                if (top == path) return {pixels, static_cast<std::uint64_t>(move - trace)};
                const std::uint8_t direction = *--top;
                *move++ = going_back | direction;
                pixel -= offsets[direction];
            } while (!has_open(pixel, stride));
            next = next_step(pixel, stride);
        }
        *top++ = next.direction;
        *move++ = next.direction;
        pixel = next.to;
        ++pixels;
    }
}

// The points of a walk that begins at `at`. False when memory is short; the subset is then as it was.
bool take_points(const std::uint8_t* trace, const walked& length, zarn_point_s at, zarn_subset_s& subset) noexcept {
    if (length.pixels > std::numeric_limits<unsigned int>::max()) return false;
    if (length.pixels > static_cast<std::uint64_t>(PTRDIFF_MAX) / sizeof(zarn_point_s)) return false;
    // The list releases its array with delete[]; an array of plain records is its bytes, and as bytes it can have large
    // pages before the first of them is touched.
    static_assert(std::is_trivially_destructible_v<zarn_point_s>);
    const auto bytes = static_cast<std::size_t>(length.pixels * sizeof(zarn_point_s));
    void* const memory = ::operator new[](bytes, std::nothrow);
    if (!memory) return false;
    if (bytes >= large_block) advise_large_pages(memory, bytes);

    // Column and row stand in one number, a move is one addition.
    std::uint64_t moves[16];
    for (int i = 0; i < 16; ++i) moves[i] = static_cast<std::uint64_t>(move_y[i] * (std::int64_t{1} << 32) + move_x[i]);
    std::uint64_t position = std::uint64_t{at.y} << 32 | at.x;

    auto* point = static_cast<zarn_point_s*>(memory);
    ::new (static_cast<void*>(point)) zarn_point_s(at);
    unsigned int min_x = at.x, max_x = 0, max_y = 0; // the first pixel lowers both minima
    const std::uint8_t* const end = trace + length.moves;
    for (const std::uint8_t* move = trace; move != end; ++move) {
        position += moves[*move];
        if (*move & going_back) continue;
        const auto x = static_cast<unsigned int>(position & 0xFFFFFFFF);
        const auto y = static_cast<unsigned int>(position >> 32);
        ::new (static_cast<void*>(++point)) zarn_point_s(x, y);
        // A value that lowers the minimum is not tried against the maximum: the bounds are defined so. No row lowers
        // its minimum, for the walk begins in the top one.
        const bool lowers = x < min_x;
        min_x = lowers ? x : min_x;
        max_x = !lowers && x > max_x ? x : max_x;
        max_y = std::max(max_y, y);
    }
    subset.min_x = min_x;
    subset.max_x = max_x;
    subset.min_y = at.y;
    subset.max_y = max_y;
    subset.points->data = static_cast<zarn_point_s*>(memory);
    subset.points->size = subset.points->count = static_cast<unsigned int>(length.pixels);
    return true;
}

// 255 where a sample is foreground; returns how many are.
template <class Sample>
std::uint64_t mask_row(const Sample* samples, std::uint32_t width, Sample background, std::uint8_t* mask) noexcept {
    std::uint64_t total = 0;
    for (std::uint32_t x = 0; x < width;) {
        const std::uint32_t end = x + std::min(255u, width - x);
        std::uint8_t count = 0; // a byte, so that as many pixels as bytes fit a vector
        for (; x < end; ++x) {
            const auto value = static_cast<std::uint8_t>(samples[x] == background ? 0 : 255);
            mask[x] = value;
            count = static_cast<std::uint8_t>(count - value); // minus 255 is plus 1
        }
        total += count;
    }
    return total;
}

} // namespace

bool region_mask::allocate(std::uint32_t width, std::uint32_t height) noexcept {
    // One byte more than the border needs: windows are read as four bytes. In wide images rows lie an odd number of
    // cache lines apart: a walk goes up and down a lot, and at a distance near a power of two the rows would compete
    // for the same few places in the cache.
    std::uint64_t stride = std::uint64_t{width} + 3;
    if (stride > 1024) stride = (((stride + 63) / 64) | 1) * 64;
    const std::uint64_t rows = std::uint64_t{height} + 2;
    ___bytes = nullptr;
    ___width = width;
    ___height = height;
    ___stride = stride;
    ___foreground = 0;
    if (stride > static_cast<std::uint64_t>(PTRDIFF_MAX) / rows) return false;
    ___bytes = allocate_large<std::uint8_t>(stride * rows);
    return ___bytes != nullptr;
}

template <class Sample>
void region_mask::fill(const Sample* samples, bool lower_left, std::uint32_t background) noexcept {
    std::uint8_t* row = ___bytes.get();
    std::memset(row, 0, ___stride);
    ___foreground = 0;
    for (std::uint32_t y = 0; y < ___height; ++y) {
        row += ___stride;
        row[0] = 0;
        const std::uint64_t line = std::uint64_t{memory_row(y, ___height, lower_left)} * ___width;
        ___foreground += mask_row(samples + line, ___width, static_cast<Sample>(background), row + 1);
        std::memset(row + 1 + ___width, 0, ___stride - 1 - ___width);
    }
    std::memset(row + ___stride, 0, ___stride);
}

template void region_mask::fill<std::uint8_t>(const std::uint8_t*, bool, std::uint32_t) noexcept;
template void region_mask::fill<std::uint16_t>(const std::uint16_t*, bool, std::uint32_t) noexcept;
template void region_mask::fill<std::uint32_t>(const std::uint32_t*, bool, std::uint32_t) noexcept;

void clear_subsets(zarn_list<zarn_subset_s*>& subsets) noexcept {
    for (unsigned int i = 0; i < subsets.count; ++i) {
        if (!subsets.data[i]) continue;
        subsets.data[i]->free();
        delete subsets.data[i];
    }
    subsets.clear();
}

subset_result build_subsets(region_mask& mask, zarn_list<zarn_subset_s*>& subsets) noexcept {
    // Large enough for any region of this mask; memory that no walk reaches is never touched.
    const owned_array<std::uint8_t> trace = allocate_large<std::uint8_t>(mask.foreground() * 2);
    const owned_array<std::uint8_t> path = allocate_large<std::uint8_t>(mask.foreground());
    if (!trace || !path) return subset_result::no_points;

    const std::uint64_t stride = mask.stride();
    for (std::uint32_t y = 0; y < mask.height(); ++y) {
        std::uint8_t* const row = mask.bytes() + stride * (std::uint64_t{y} + 1) + 1;
        for (std::uint32_t x = 0; x < mask.width(); ++x) {
            auto* const seed = static_cast<std::uint8_t*>(std::memchr(row + x, open, mask.width() - x));
            if (!seed) break;
            x = static_cast<std::uint32_t>(seed - row);

            const unsigned int before = subsets.count;
            subsets.push_back(nullptr);
            if (subsets.count == before) return subset_result::no_subset;
            auto* const subset = new (std::nothrow) zarn_subset_s;
            if (!subset) return subset_result::no_subset;
            subsets.data[before] = subset;
            subset->points = new (std::nothrow) zarn_list<zarn_point_s>;
            if (!subset->points) return subset_result::no_points;

            const walked length = walk(seed, static_cast<std::ptrdiff_t>(stride), trace.get(), path.get());
            if (!take_points(trace.get(), length, zarn_point_s(x, y), *subset)) return subset_result::no_points;
        }
    }
    subsets.trim();
    return subset_result::done;
}

template <class Sample>
void normalize_subsets(const zarn_list<zarn_subset_s*>& subsets, Sample* samples, std::uint32_t width,
                       std::uint32_t height, bool lower_left) noexcept {
    constexpr auto full = static_cast<double>(std::numeric_limits<Sample>::max());
    for (unsigned int i = 0; i < subsets.count; ++i) {
        const zarn_subset_s* const subset = subsets.data[i];
        if (!subset || !subset->points) continue;
        const auto for_each_sample = [&](auto&& visit) {
            const zarn_point_s* const end = subset->points->data + subset->points->count;
            for (const zarn_point_s* p = subset->points->data; p != end; ++p) {
                if (p->x >= width || p->y >= height) continue;
                visit(samples[std::uint64_t{memory_row(p->y, height, lower_left)} * width + p->x]);
            }
        };

        std::uint32_t low = 0xFFFFFFFFu, high = 0;
        for_each_sample([&](Sample value) {
            // A value that raises the maximum is not tried against the minimum: the stretch is defined so.
            if (value > high) {
                high = value;
            } else if (value < low) {
                low = value;
            }
        });
        const auto from = static_cast<double>(static_cast<Sample>(low));
        const auto range = static_cast<double>(static_cast<Sample>(high - low));
        for_each_sample(
            [&](Sample& value) { value = low_bits<Sample>((static_cast<double>(value) - from) / range * full); });
    }
}

template void normalize_subsets(const zarn_list<zarn_subset_s*>&, std::uint8_t*, std::uint32_t, std::uint32_t,
                                bool) noexcept;
template void normalize_subsets(const zarn_list<zarn_subset_s*>&, std::uint16_t*, std::uint32_t, std::uint32_t,
                                bool) noexcept;
template void normalize_subsets(const zarn_list<zarn_subset_s*>&, std::uint32_t*, std::uint32_t, std::uint32_t,
                                bool) noexcept;

} // namespace zarn
