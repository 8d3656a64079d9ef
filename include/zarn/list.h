// zarn_list<T>: the growable array behind every list of the public interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

/// A growable array with public storage. The list owns the array `data`, never what its elements point to.
///
/// Capacity doubles as elements are appended (1, 2, 4, 8, ...). Allocation never throws: a growth that fails leaves the
/// list exactly as it was and reports nothing. Indices are not checked. One list is used by one thread at a time.
///
/// T needs a default constructor, a copy constructor and copy assignment; none may throw.
template <class T>
class zarn_list {
public:
    T* data;               ///< the elements, released with delete[]; null while nothing is allocated
    unsigned int size;     ///< elements allocated (the capacity)
    unsigned int count;    ///< elements in use
    unsigned int reversed; ///< not 0: access by index counts from the end; the storage functions ignore it

    zarn_list()
        : data(nullptr)
        , size(0)
        , count(0)
        , reversed(0) {}
    zarn_list(const zarn_list& other)
        : zarn_list() {
        *this = other;
    }
    ~zarn_list() { clear(); }

    /// Takes capacity and elements of `other`, not its `reversed`. Empty when the allocation fails.
    zarn_list& operator=(const zarn_list& other) {
        if (this == &other) return *this;
        clear();
        if (!other.data) return *this;
        data = allocate(other.size);
        if (!data) return *this;
        size = other.size;
        count = other.count;
        for (unsigned int i = 0; i < count; ++i) data[i] = other.data[i];
        return *this;
    }

    /// The element at i, counted from the end when `reversed` is set. No bounds check.
    T& operator[](unsigned int i) { return data[reversed ? count - i - 1 : i]; }
    const T& operator[](unsigned int i) const { return data[reversed ? count - i - 1 : i]; }
    T& at(unsigned int i) { return (*this)[i]; }
    const T& at(unsigned int i) const { return (*this)[i]; }

    unsigned int get_count() const { return count; }
    T* get_data_pointer() { return data; }
    const T* get_data_pointer() const { return data; }

    /// Releases the array; `reversed` stays.
    void clear() {
        delete[] data;
        data = nullptr;
        size = 0;
        count = 0;
    }

    /// Reallocates to exactly n elements. Below `count` the first n elements stay and `count` becomes n.
    void set_size(unsigned int n) {
        T* fresh = allocate(n);
        if (!fresh) return;
        const unsigned int kept = count < n ? count : n;
        for (unsigned int i = 0; i < kept; ++i) fresh[i] = data[i];
        delete[] data;
        data = fresh;
        size = n;
        count = kept;
    }

    void set_count_to_size() { count = size; }

    /// Appends a copy of x, which may be an element of this list.
    void push_back(const T& x) { insert(count, x); }

    /// Drops the last element; on an empty list nothing happens.
    void pop_back() {
        if (count) --count;
    }

    /// Inserts a copy of x, which may be an element of this list, before raw position i. An i from `count` on moves
    /// nothing and stores at i, or at `count` where i lies outside the allocation; `count` increases by one.
    void insert(unsigned int i, const T& x) {
        const T copy = x;
        if (count >= size && !grow()) return;
        if (i >= size) i = count;
        for (unsigned int j = count; j > i; --j) data[j] = data[j - 1];
        data[i] = copy;
        ++count;
    }

    /// Removes the element at raw position i; an i at or beyond the last element removes the last one.
    void remove(unsigned int i) {
        if (count == 0) return;
        for (unsigned int j = i; j < count - 1; ++j) data[j] = data[j + 1];
        --count;
    }

    /// Gives back the capacity beyond `count`.
    void trim() { set_size(count); }

private:
    static T* allocate(unsigned int n) {
        // A product beyond the address space must fail, not wrap (and not throw, as new[] itself would).
        if (n > PTRDIFF_MAX / sizeof(T)) return nullptr; // NOLINT(bugprone-sizeof-expression): T may be a pointer
        return new (std::nothrow) T[n]();
    }

    bool grow() {
        const unsigned int before = size;
        if (before > 0x7FFFFFFFu) return false;
        set_size(before ? before * 2 : 1);
        return size > before;
    }
};
