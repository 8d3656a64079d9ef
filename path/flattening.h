// Segments of a path as polylines.
#pragma once

#include <cstdint>
#include <utility>

#include <zarn/bezier_path.h>

#include "core/curve_flattening.h"

namespace zarn {

constexpr std::uint8_t corner_state = 3;

cubic_curve segment_curve(const zarn_bezier_knot_s& from, const zarn_bezier_knot_s& to) noexcept;

inline bool is_straight(const zarn_bezier_knot_s& from, const zarn_bezier_knot_s& to) noexcept {
    return from.state == corner_state && to.state == corner_state;
}

// Puts `fresh` in the place of a list's elements and leaves the former ones to it.
template <class T>
void exchange_elements(zarn_list<T>& list, zarn_list<T>& fresh) noexcept {
    std::swap(list.data, fresh.data);
    std::swap(list.size, fresh.size);
    std::swap(list.count, fresh.count);
}

// False when there is no memory; the list is unchanged then.
template <class T>
bool append(zarn_list<T>& list, const T& element) noexcept {
    const unsigned int before = list.count;
    list.push_back(element);
    return list.count > before;
}

} // namespace zarn
