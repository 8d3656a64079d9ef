#include "tests/reference/reference_regions.h"

#include <cmath>

namespace zarn_test {

namespace {

// The low bits of a truncated value; 0 where it fits no 64-bit integer.
std::uint32_t low(double value, std::uint32_t full) {
    if (std::isnan(value) || std::fabs(value) >= 9.2e18) return 0;
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(value)) & full;
}

void extend(unsigned value, unsigned& min, unsigned& max) {
    if (value >= min) {
        if (value > max) max = value;
    } else {
        min = value;
    }
}

} // namespace

std::vector<reference_subset> reference_subsets(const std::vector<std::uint8_t>& mask, std::uint32_t width,
                                                std::uint32_t height) {
    const std::uint32_t stride = width + 2;
    std::vector<std::uint8_t> padded(std::size_t{stride} * (height + 2));
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            padded[(y + 1) * stride + x + 1] = mask[y * width + x] ? 255 : 0;
        }
    }
    std::vector<reference_subset> subsets;
    std::vector<zarn_point_s> stack;
    for (std::uint32_t y = 0; y < height + 2; ++y) {
        for (std::uint32_t x = 0; x < stride; ++x) {
            if (padded[y * stride + x] != 255) continue;
            subsets.emplace_back();
            reference_subset& subset = subsets.back();
            stack.emplace_back(x, y);
            while (!stack.empty()) {
                const zarn_point_s p = stack.back();
                stack.pop_back();
                if (padded[p.y * stride + p.x] == 128) continue;
                padded[p.y * stride + p.x] = 128;
                subset.points.emplace_back(p.x - 1, p.y - 1);
                extend(p.x - 1, subset.min_x, subset.max_x);
                extend(p.y - 1, subset.min_y, subset.max_y);
                const zarn_point_s neighbours[] = {{p.x, p.y - 1},     {p.x + 1, p.y - 1}, {p.x + 1, p.y},
                                                   {p.x + 1, p.y + 1}, {p.x, p.y + 1},     {p.x - 1, p.y + 1},
                                                   {p.x - 1, p.y},     {p.x - 1, p.y - 1}};
                for (const zarn_point_s& n : neighbours) {
                    if (padded[n.y * stride + n.x] == 255) stack.push_back(n);
                }
            }
        }
    }
    return subsets;
}

void reference_normalize(const reference_subset& subset, std::vector<std::uint32_t>& samples, std::uint32_t width,
                         std::uint32_t height, std::uint32_t full) {
    std::uint32_t min = 0xFFFFFFFFu, max = 0;
    for (const zarn_point_s& p : subset.points) {
        if (p.x >= width || p.y >= height) continue;
        const std::uint32_t v = samples[p.y * width + p.x];
        if (v > max) {
            max = v;
        } else if (v < min) {
            min = v;
        }
    }
    for (const zarn_point_s& p : subset.points) {
        if (p.x >= width || p.y >= height) continue;
        std::uint32_t& v = samples[p.y * width + p.x];
        const double above = static_cast<double>(v) - static_cast<double>(min & full);
        v = low(above / static_cast<double>((max - min) & full) * static_cast<double>(full), full);
    }
}

std::vector<double> reference_distances(const std::vector<std::uint8_t>& mask, std::int32_t width,
                                        std::int32_t height) {
    struct step {
        int x, y;
        double length;
    };
    const double a = 1.0, b = std::sqrt(2.0), c = std::sqrt(5.0), e = std::sqrt(10.0), f = std::sqrt(13.0);
    const step forward[] = {{-1, -1, b}, {0, -1, a}, {1, -1, b},  {-1, 0, a}, {-1, -2, c}, {1, -2, c},
                            {-2, -1, c}, {2, -1, c}, {-1, -3, e}, {1, -3, e}, {-3, -1, e}, {3, -1, e},
                            {-2, -3, f}, {2, -3, f}, {-3, -2, f}, {3, -2, f}};
    const step backward[] = {{1, 0, a},  {-1, 1, b}, {0, 1, a},  {1, 1, b}, {-2, 1, c}, {2, 1, c},
                             {-1, 2, c}, {1, 2, c},  {-1, 3, e}, {1, 3, e}, {-3, 1, e}, {3, 1, e},
                             {-2, 3, f}, {2, 3, f},  {-3, 2, f}, {3, 2, f}};
    struct point {
        int x = -1, y = -1;
    };
    std::vector<double> d(mask.size(), 1.7014117331926443e38);
    std::vector<point> p(mask.size());
    const auto at = [&](int x, int y) { return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + x; };
    for (int y = 1; y <= height - 2; ++y) {
        for (int x = 1; x <= width - 2; ++x) {
            const std::uint8_t own = mask[at(x, y)];
            if (mask[at(x - 1, y)] == own && mask[at(x + 1, y)] == own && mask[at(x, y - 1)] == own &&
                mask[at(x, y + 1)] == own) {
                continue;
            }
            d[at(x, y)] = 0.0;
            p[at(x, y)].x = x;
            p[at(x, y)].y = y;
        }
    }
    const auto visit = [&](int x, int y, const step(&steps)[16]) {
        for (const step& s : steps) {
            const std::size_t q = at(x + s.x, y + s.y);
            if (!(s.length + d[q] < d[at(x, y)])) continue;
            p[at(x, y)] = p[q];
            const double dx = p[q].x - x, dy = p[q].y - y;
            d[at(x, y)] = std::sqrt(dx * dx + dy * dy);
        }
    };
    for (int y = 3; y <= height - 4; ++y) {
        for (int x = 3; x <= width - 4; ++x) visit(x, y, forward);
    }
    for (int y = height - 4; y >= 3; --y) {
        for (int x = width - 4; x >= 3; --x) visit(x, y, backward);
    }
    for (std::size_t i = 0; i < d.size(); ++i) {
        if (mask[i] == 0) d[i] = -d[i];
    }
    return d;
}

void reference_stretch(const std::vector<double>& distances, std::vector<std::uint32_t>& samples, std::uint32_t full) {
    std::vector<double> plain;
    for (double d : distances) {
        if (d < 0) d = -d;
        plain.push_back(d >= 1073741823.0 || d >= 1.7014117331926443e38 ? 0.0 : d);
    }
    double largest = 0.0;
    for (const double d : plain) {
        if (d > largest) largest = d;
    }
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (samples[i]) samples[i] = low(plain[i] / largest * static_cast<double>(full), full);
    }
}

} // namespace zarn_test
