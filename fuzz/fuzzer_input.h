// The fuzzer's bytes, taken as numbers one after the other; zeros when they are used up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zarn_fuzz {

class input {
public:
    input(const std::uint8_t* data, std::size_t size)
        : ___data(data)
        , ___left(size) {}

    template <class Number>
    Number take() {
        Number number{};
        const std::size_t bytes = ___left < sizeof number ? ___left : sizeof number;
        if (bytes) std::memcpy(&number, ___data, bytes);
        ___data += bytes;
        ___left -= bytes;
        return number;
    }
    std::uint32_t below(std::uint32_t end) { return take<std::uint32_t>() % end; }
    std::uint32_t between(std::uint32_t first, std::uint32_t last) { return first + below(last - first + 1); }
    // Mostly near the edges of a picture, now and then anything.
    std::uint32_t position(std::uint32_t side) {
        const auto kind = take<std::uint8_t>();
        if (kind < 32) return take<std::uint32_t>();
        return below(2 * side + 3) - (kind < 64 ? side : 0);
    }
    void fill(void* bytes, std::size_t count) {
        auto* const to = static_cast<std::uint8_t*>(bytes);
        for (std::size_t n = 0; n < count; ++n) to[n] = take<std::uint8_t>();
    }

    const std::uint8_t* data() const { return ___data; }
    std::size_t left() const { return ___left; }

private:
    const std::uint8_t* ___data;
    std::size_t ___left;
};

} // namespace zarn_fuzz
