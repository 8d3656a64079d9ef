// Arrays that are allocated without throwing and released by their owner.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>

namespace zarn {

template <class T>
using owned_array = std::unique_ptr<T[]>;

// Null when memory is short or the bytes exceed the address space. Elements are default-initialised: records clear
// themselves, plain numbers hold anything.
template <class T>
owned_array<T> allocate_array(std::uint64_t count) noexcept {
    // new[] itself would throw on such a count, even in its non-throwing form.
    if (count > static_cast<std::uint64_t>(PTRDIFF_MAX) / sizeof(T)) return nullptr;
    return owned_array<T>(new (std::nothrow) T[static_cast<std::size_t>(count)]);
}

} // namespace zarn
