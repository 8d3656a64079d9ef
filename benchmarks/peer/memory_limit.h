// The memory limit: the time in which bytes can be read and written when nothing is computed with them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zarn_bench {

// What an operation must at least move, in bytes for each pixel of its source.
struct traffic {
    double read;
    double written;
    bool in_place; // the bytes written are those read, if any
};

// Reads and writes so many bytes and no more: copies as many as are both read and written, fills or reads the rest;
// in place, changes what it reads. Threads are started and joined in each pass, as an operation of the library does.
class memory_pass {
public:
    memory_pass(const traffic& per_pixel, std::size_t pixels, unsigned threads);

    // Writes to an array that is kept and has been written before.
    void into_kept_array();

    // Writes to an array that is allocated, in large pages where the system gives them, and released again. Not for
    // passes in place.
    void into_new_array();

private:
    struct free_block {
        void operator()(std::uint8_t* block) const;
    };
    using bytes = std::unique_ptr<std::uint8_t[], free_block>;

    static bytes allocate(std::size_t size);
    void run(std::uint8_t* written);

    std::size_t ___read;
    std::size_t ___written;
    bool ___in_place;
    unsigned ___threads;
    bytes ___source;
    bytes ___kept;
};

} // namespace zarn_bench
