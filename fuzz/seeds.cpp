// Writes the fuzzers' seeds: fuzz_seeds FOLDER. What the library itself saves reaches far deeper than bytes that a
// fuzzer has to guess.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <zarn/zarn.h>

namespace {

namespace fs = std::filesystem;
using bytes = std::vector<char>;

bytes contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// One folder of seeds, one number per seed.
class seed_folder {
public:
    explicit seed_folder(const fs::path& path)
        : ___path(path) {
        fs::create_directories(path);
    }
    void add(const bytes& head, const bytes& rest = {}) {
        std::ofstream file(___path / ("seed_" + std::to_string(___count++)), std::ios::binary);
        file.write(head.data(), static_cast<std::streamsize>(head.size()));
        file.write(rest.data(), static_cast<std::streamsize>(rest.size()));
        if (!file.flush()) failed = true;
    }
    static inline bool failed = false;

private:
    fs::path ___path;
    unsigned ___count = 0;
};

zarn_owned<zarn_image_8> picture() {
    zarn_owned<zarn_image_8> image;
    image->create(19, 7, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    for (unsigned y = 0; y < 7; ++y) {
        for (unsigned x = 0; x < 19; ++x) {
            const auto shade = [=](unsigned step) { return static_cast<std::uint8_t>((x * step + y * 31) & 255); };
            image->set_pixel(x, y, {shade(3), shade(14), shade(15), static_cast<std::uint8_t>(y % 3 ? 255 : 80)});
        }
    }
    return image;
}

// Native files of every class, packed and not, behind the byte that chooses the class.
class native_seeds {
public:
    explicit native_seeds(const fs::path& folder)
        : ___folder(folder)
        , ___file(folder / "native") {}
    ~native_seeds() { fs::remove(___file); }

    template <class Image>
    void add(Image& image, char which) {
        for (const unsigned packed : {0u, 1u}) {
            if (!image.save_binary(___file.wstring().c_str(), packed)) seed_folder::failed = true;
            ___folder.add({which}, contents(___file));
        }
    }

private:
    seed_folder ___folder;
    fs::path ___file;
};

void write_native_seeds(const fs::path& folder) {
    native_seeds seeds(folder);
    zarn_owned<zarn_image_8> image = picture();
    seeds.add(*image, 0);
    zarn_owned<zarn_image_8_16> either;
    for (const unsigned type : {0u, 1u}) {
        either->create(*image, type);
        seeds.add(*either, 2);
    }
    zarn_owned<zarn_image_16> deep;
    deep->create(19, 7, either->get_origin(), either->get_pixel_array_16(), 1);
    seeds.add(*deep, 1);
    for (const unsigned type : {0u, 1u, 2u}) {
        zarn_owned<zarn_image_channel> channel;
        channel->create(*image, 1, type);
        seeds.add(*channel, 3);
        zarn_owned<zarn_image_grayscale> grey;
        grey->create(*image, 0, 3, type);
        seeds.add(*grey, 4);
    }
    zarn_owned<zarn_image_real_32> real;
    real->create(*image);
    zarn_owned<zarn_image_real_16> half;
    half->create(*image);
    for (unsigned round = 0; round < 2; ++round) {
        seeds.add(*real, 5);
        seeds.add(*half, 6);
        seeds.add(*half, 7);
        real->convert_to_grayscale(0.25f, 0.5f, 0.25f);
        half->convert_to_grayscale(half_float::half(0.25f), half_float::half(0.5f), half_float::half(0.25f));
    }
}

void write_stream_seeds(const fs::path& folder) {
    seed_folder seeds(folder);
    for (const std::size_t length : {0u, 1u, 100u, 3000u}) {
        bytes plain(length);
        for (std::size_t n = 0; n < length; ++n) plain[n] = static_cast<char>(n * n / 64);
        const fs::path path = folder / "stream";
        std::FILE* const file = std::fopen(path.c_str(), "wb");
        if (!file || !zarn_compress_bytes_to_file_lz4(plain.data(), length, file)) seed_folder::failed = true;
        if (file) std::fclose(file);
        const bytes capacity{static_cast<char>((length - 1) & 255), static_cast<char>((length - 1) >> 8)};
        seeds.add(capacity, contents(path));
        fs::remove(path);
        seeds.add(capacity, plain);
    }
}

// All that matters is that every class, operation and kind of edit is there.
void write_operation_seeds(const fs::path& folder) {
    seed_folder operations(folder / "operation_fuzzer");
    bytes pixels;
    for (unsigned n = 0; n < 700; ++n) pixels.push_back(static_cast<char>(n % 5 ? n * n / 32 : n % 2 ? 255 : 0));
    for (char operation = 0; operation < 64; ++operation) {
        for (char which = 0; which < 10; ++which) operations.add({which, operation, 1, 37, 5}, pixels);
    }
    const auto number = [](bytes& to, std::uint32_t value) {
        for (unsigned n = 0; n < 4; ++n) to.push_back(static_cast<char>(value >> (8 * n) & 255));
    };
    seed_folder vectors(folder / "vector_fuzzer"), arguments(folder / "arguments_fuzzer"),
        paths(folder / "path_fuzzer");
    for (std::uint32_t operation = 0; operation < 36; ++operation) {
        for (const std::uint32_t depth : {0u, 1u}) {
            bytes head;
            for (const std::uint32_t value : {depth, 40u, 6u, operation, 1u}) number(head, value);
            vectors.add(head, pixels);
        }
        bytes head;
        for (std::uint32_t n = 0; n < 12; ++n) number(head, operation + 5 * n);
        arguments.add(head, pixels);
        paths.add(head, pixels);
    }
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const fs::path folder = arguments[1];
    write_native_seeds(folder / "native_file_fuzzer");
    write_stream_seeds(folder / "lz4_stream_fuzzer");
    write_operation_seeds(folder);
    if (seed_folder::failed) std::fprintf(stderr, "some seeds could not be written\n");
    return seed_folder::failed;
}
