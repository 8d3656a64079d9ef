// libFuzzer target: chunk streams of LZ4. What is compressed comes back as it was; what the fuzzer's bytes claim to be
// is read within its bounds.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include <zarn/binary.h>

namespace {

struct closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using owned_file = std::unique_ptr<std::FILE, closer>;

owned_file file_of(const std::uint8_t* data, std::size_t size) {
    owned_file file(std::tmpfile());
    if (file && (std::fwrite(data, 1, size, file.get()) != size || std::fseek(file.get(), 0, SEEK_SET))) file.reset();
    return file;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t capacity = (data[0] | data[1] << 8) + std::size_t{1};
    data += 2;
    size -= 2;
    std::vector<std::uint8_t> result(capacity);
    if (const owned_file file = file_of(data, size))
        zarn_decompress_bytes_from_file_lz4(result.data(), capacity, file.get());

    const owned_file file(std::tmpfile());
    if (!file) return 0;
    if (!zarn_compress_bytes_to_file_lz4(data, size, file.get())) __builtin_trap();
    std::vector<std::uint8_t> stream(static_cast<std::size_t>(std::ftell(file.get()))), back(size + 1);
    std::rewind(file.get());
    if (std::fread(stream.data(), 1, stream.size(), file.get()) != stream.size()) __builtin_trap();
    const unsigned char* cursor = stream.data();
    const unsigned came_back = zarn_decompress_bytes_from_memory_lz4(back.data(), size, &cursor);
    if (size && (!came_back || std::memcmp(back.data(), data, size) != 0)) __builtin_trap();
    return 0;
}
