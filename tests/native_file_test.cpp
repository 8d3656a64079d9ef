// The native image format and the LZ4 chunk streams in it: exact layouts, damaged files, bounded memory.

#include <algorithm>
#include <memory>

#include <gtest/gtest.h>

#include <zarn/binary.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/image_traits.h"
#include "tests/support/temporary_folder.h"

namespace zarn_test {

namespace {

constexpr std::uint64_t chunk = 2097152;
constexpr std::uint64_t chunk_bound = 2105392; // the most bytes a compressed chunk can have

using texts = std::vector<std::wstring>;
const texts no_file{L"Failed to open file for binary read."};
const texts wrong_type{L"Unexpected image type: Failed to load zarn_image_8 from binary."};
const texts short_file{L"Failed to read pixels from file. Unexpected end of file."};
const texts broken_stream{L"Compression Error: Failed to decompress pixels from file."};
const texts not_compressed{L"Compression Error: Failed to compress pixels to file."};
const texts no_memory{L"Memory Allocation Error: Failed to allocate ___pixel_d_array."};

std::uint64_t number_at(const byte_vector& bytes, std::size_t offset, unsigned size) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < size; ++i) value |= std::uint64_t{bytes.at(offset + i)} << (8 * i);
    return value;
}

void append(byte_vector& bytes, std::uint64_t value, unsigned size) {
    for (unsigned i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

byte_vector header(std::initializer_list<std::uint32_t> words) {
    byte_vector bytes;
    for (const std::uint32_t word : words) append(bytes, word, 4);
    return bytes;
}

struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using open_file = std::unique_ptr<std::FILE, file_closer>;

open_file open(const std::filesystem::path& path, const char* mode) {
    return open_file(std::fopen(path.string().c_str(), mode));
}

unsigned decompress(const std::filesystem::path& path, byte_vector& out) {
    const open_file file = open(path, "rb");
    return zarn_decompress_bytes_from_file_lz4(out.data(), out.size(), file.get());
}

class native_file : public ::testing::Test {
protected:
    temporary_folder folder;
    const std::filesystem::path file = folder / "file";
    zarn_owned<zarn_image_8> image;

    unsigned load(const byte_vector& bytes) {
        write_bytes(file, bytes);
        return image->load_binary(file.wstring().c_str());
    }

    byte_vector save(unsigned compressed) {
        EXPECT_EQ(image->save_binary(file.wstring().c_str(), compressed), 1u);
        return read_bytes(file);
    }

    byte_vector save(const reference_image& picture, unsigned compressed) {
        image_traits<zarn_image_8>::load(*image, picture);
        return save(compressed);
    }
};

} // namespace

TEST_F(native_file, layouts) {
    const reference_image small = random_picture<zarn_image_8>(5, 3, lower_left, alpha_kind::any, 1);
    byte_vector expected = header({0, 1537, 5, 3, 1});
    expected.insert(expected.end(), small.samples.begin(), small.samples.end());
    EXPECT_EQ(save(small, 0), expected);
    image->set_thread_limit(5);
    image->crop(9, 9, 9, 9);
    EXPECT_EQ(load(expected), 1u);
    EXPECT_TRUE(same_picture(small, *image));
    EXPECT_TRUE(messages(*image).empty());
    EXPECT_EQ(image->get_thread_limit(), 5u);

    const reference_image large = random_picture<zarn_image_8>(1024, 513, upper_left, alpha_kind::any, 2);
    const byte_vector bytes = save(large, 1);
    EXPECT_EQ(byte_vector(bytes.begin(), bytes.begin() + 20), header({1000, 1538, 1024, 513, 1}));
    EXPECT_EQ(number_at(bytes, 20, 8), 2u);
    const std::uint64_t first = number_at(bytes, 28, 8), second = number_at(bytes, 36 + first, 8);
    EXPECT_GT(first, chunk); // random pixels do not compress
    EXPECT_EQ(bytes.size(), 36 + first + 8 + second);
    EXPECT_EQ(load(bytes), 1u);
    EXPECT_TRUE(same_picture(large, *image));
}

TEST_F(native_file, refused_files) {
    struct refused {
        std::initializer_list<std::uint32_t> words;
        const texts& expected;
    };
    const refused files[] = {
        {{}, wrong_type},
        {{1, 1538, 1, 1, 1, 0xFFFFFFFF}, wrong_type},
        {{1001, 1538, 1, 1, 1, 0xFFFFFFFF}, wrong_type},
        {{0xFFFFFFFF, 1538, 1, 1, 1, 0xFFFFFFFF}, wrong_type},
        {{0, 1538, 1, 1}, short_file},
        {{0, 1538, 2, 1, 1, 0x01020304}, short_file},
        {{0, 1538, 0xFFFFFFFF, 0xFFFFFFFF, 1, 0}, short_file},
        {{1000, 1538, 0xFFFFFFFF, 0xFFFFFFFF, 1, 1, 0}, broken_stream},
        {{1000, 1538, 1, 1}, broken_stream},
        {{1000, 1538, 60000, 60000, 1, 1, 0, 9, 0, 0, 0}, broken_stream},
    };
    for (const refused& one : files) {
        image->create(3, 3, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
        EXPECT_EQ(load(header(one.words)), 0u);
        EXPECT_EQ(messages(*image), one.expected);
        EXPECT_EQ(image->get_pixel_array(), nullptr);
        EXPECT_EQ(image->get_width() + image->get_height() + image->get_origin(), 0u);
    }
    EXPECT_EQ(load({0, 0, 0}), 0u);
    EXPECT_EQ(messages(*image), wrong_type);

    image->create(3, 3, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    for (const wchar_t* path :
         {static_cast<const wchar_t*>(nullptr), L"", L"/", L"/dev/zero", L"/no/such/folder/file"}) {
        EXPECT_EQ(image->load_binary(path), 0u);
        EXPECT_EQ(messages(*image), no_file);
    }
    for (const wchar_t* path : {static_cast<const wchar_t*>(nullptr), L"", L"/", L"/no/such/folder/file"}) {
        EXPECT_EQ(image->save_binary(path, 0), 0u);
        EXPECT_EQ(messages(*image).back(), L"Failed to open file for binary write.");
    }
    EXPECT_EQ(messages(*image).size(), 5u);
}

// Whatever becomes of a compressed file: a message or a picture of the header's size, never more.
TEST_F(native_file, damaged_streams) {
    const reference_image picture = random_picture<zarn_image_8>(61, 37, upper_left, alpha_kind::sparse, 3);
    const byte_vector good = save(picture, 1);
    for (std::size_t length = 20; length < good.size(); length += 1 + length / 16) {
        EXPECT_EQ(load(byte_vector(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length))), 0u);
        EXPECT_EQ(messages(*image), broken_stream) << length;
    }
    random_numbers random(7);
    for (unsigned round = 0; round < 500; ++round) {
        byte_vector bytes = good;
        for (unsigned edit = 0; edit <= round % 4; ++edit) {
            bytes[20 + random.below(static_cast<std::uint32_t>(bytes.size() - 20))] ^=
                static_cast<std::uint8_t>(1u << random.below(8));
        }
        const bool loaded = load(bytes) == 1;
        EXPECT_EQ(messages(*image), loaded ? texts{} : broken_stream);
        EXPECT_EQ(image->get_width(), 61u);
    }
    // What was decoded stays, the rest is transparent black.
    byte_vector two_chunks = save(random_picture<zarn_image_8>(1024, 600, upper_left, alpha_kind::any, 4), 1);
    const zarn_pixel_8_s first = image->get_pixel(0, 0);
    two_chunks.resize(two_chunks.size() - 1);
    EXPECT_EQ(load(two_chunks), 0u);
    EXPECT_EQ(image->get_pixel(0, 0).r, first.r);
    EXPECT_EQ(image->get_pixel(1023, 599).a, 0);
}

TEST_F(native_file, other_chunk_sizes_are_read_and_a_wrong_total_is_not) {
    byte_vector bytes = header({1000, 1538, 2, 2, 1});
    append(bytes, 2, 8);
    for (const char block : {'a', 'b'}) { // two blocks of eight literals each
        append(bytes, 9, 8);
        bytes.push_back(0x80);
        bytes.insert(bytes.end(), 8, static_cast<std::uint8_t>(block));
    }
    EXPECT_EQ(load(bytes), 1u);
    EXPECT_EQ(image->get_pixel(1, 0).a, 'a');
    EXPECT_EQ(image->get_pixel(0, 1).r, 'b');
    bytes[12] = 3; // the header asks for more pixels than the stream holds
    EXPECT_EQ(load(bytes), 0u);
    bytes[12] = 1; // and for fewer
    EXPECT_EQ(load(bytes), 0u);
    EXPECT_EQ(messages(*image), broken_stream);
}

TEST_F(native_file, wide_paths) {
    const reference_image picture = random_picture<zarn_image_8>(4, 4, upper_left, alpha_kind::any, 5);
    image_traits<zarn_image_8>::load(*image, picture);
    // The last as a host with 16-bit text spells it.
    for (const wchar_t* name :
         {L"\u00E4\u00F6\u00FC \u00DF.zarn", L"\u6F22\u5B57\u304B\u306A", L"\U0001F3A8", L"\xD83C\xDFA9"}) {
        const std::wstring full = (folder / "").wstring() + name;
        EXPECT_EQ(image->save_binary(full.c_str(), 1), 1u);
        EXPECT_EQ(image->load_binary(full.c_str()), 1u);
        EXPECT_TRUE(same_picture(picture, *image));
    }
    EXPECT_TRUE(std::filesystem::exists(folder / std::filesystem::u8path("\xC3\xA4\xC3\xB6\xC3\xBC \xC3\x9F.zarn")));
    EXPECT_TRUE(std::filesystem::exists(folder / std::filesystem::u8path("\xF0\x9F\x8E\xA9")));
}

TEST_F(native_file, memory_failures) {
    const reference_image picture = random_picture<zarn_image_8>(8, 8, upper_left, alpha_kind::any, 6);
    const byte_vector raw = save(picture, 0), packed = save(picture, 1);
    const std::wstring path = file.wstring();
    const auto outcome = [&](const byte_vector& bytes, std::int64_t n) {
        write_bytes(file, bytes);
        const allocation_failure failure(n);
        EXPECT_EQ(image->load_binary(path.c_str()), 0u);
        EXPECT_TRUE(failure.happened());
        return messages(*image);
    };
    // The path, the pixels, the decoder's buffer.
    EXPECT_EQ(outcome(raw, 1), no_file);
    EXPECT_EQ(outcome(raw, 2), no_memory);
    EXPECT_EQ(image->is_valid(), 0u);
    EXPECT_EQ(outcome(packed, 2), no_memory);
    EXPECT_EQ(outcome(packed, 3), broken_stream);
    image->create(8, 8, 0, nullptr, 1);
    const allocation_failure failure(2);
    EXPECT_EQ(image->save_binary(path.c_str(), 1), 0u);
    EXPECT_EQ(messages(*image), not_compressed);
}

TEST_F(native_file, a_full_disk_is_noticed) {
    if (!std::filesystem::exists("/dev/full")) return;
    image->create(8, 8, 0, nullptr, 1);
    EXPECT_EQ(image->save_binary(L"/dev/full", 0), 0u);
    EXPECT_EQ(image->save_binary(L"/dev/full", 1), 0u);
    EXPECT_EQ(messages(*image), texts(2, L"Failed to write image to file."));
}

// ---- The free functions --------------------------------------------------------------------------------------------

TEST_F(native_file, streams_of_every_length) {
    random_numbers random(5);
    for (const std::uint64_t size : {std::uint64_t{0}, std::uint64_t{1}, chunk, chunk + 1, 2 * chunk + 7}) {
        byte_vector data(size);
        for (std::uint8_t& byte : data) byte = static_cast<std::uint8_t>(random());
        EXPECT_EQ(zarn_compress_bytes_to_file_lz4(data.data(), size, open(file, "wb").get()), 1u);
        const byte_vector stream = read_bytes(file);
        if (size == 0) {
            EXPECT_EQ(stream, (byte_vector{1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
            continue;
        }
        EXPECT_EQ(number_at(stream, 0, 8), (size + chunk - 1) / chunk);
        byte_vector from_file(size), from_memory(size);
        EXPECT_EQ(decompress(file, from_file), 1u);
        EXPECT_EQ(from_file, data);
        const unsigned char* cursor = stream.data();
        EXPECT_EQ(zarn_decompress_bytes_from_memory_lz4(from_memory.data(), size, &cursor), 1u);
        EXPECT_EQ(cursor, stream.data() + stream.size());
        EXPECT_EQ(from_memory, data);
        // One byte of room too few fails, and writes nothing beyond it.
        from_memory[size - 1] = 0x5A;
        cursor = stream.data();
        EXPECT_EQ(zarn_decompress_bytes_from_memory_lz4(from_memory.data(), size - 1, &cursor), 0u);
        EXPECT_EQ(from_memory[size - 1], 0x5A);
    }
}

TEST_F(native_file, stream_lengths_are_checked_and_totals_are_not) {
    struct row {
        std::uint64_t chunks, length, capacity;
        unsigned result;
    };
    const row rows[] = {
        {1, 5, 4, 1},          {1, 5, 400, 1}, // fewer bytes than there is room for
        {0, 5, 4, 1},          {1, 5, 3, 0},          {2, 5, 8, 0},
        {1, 0, 4, 0},          {1, 6, 4, 0},          {1, chunk_bound + 1, 4, 0},
        {1, UINT64_MAX, 4, 0}, {UINT64_MAX, 5, 8, 0},
    };
    byte_vector stream;
    for (const row& one : rows) {
        stream.clear();
        append(stream, one.chunks, 8);
        append(stream, one.length, 8);
        stream.insert(stream.end(), {0x40, 'a', 'b', 'c', 'd'}); // four literals
        write_bytes(file, stream);
        byte_vector out(one.capacity);
        EXPECT_EQ(decompress(file, out), one.result) << text(one.chunks, one.length, one.capacity);
    }
    byte_vector out(4);
    write_bytes(file, {});
    EXPECT_EQ(decompress(file, out), 0u);

    // From memory the cursor moves past a chunk that does not decode.
    const byte_vector broken = {1, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0xF0, 'a', 'b', 'c', 'd'};
    const unsigned char* cursor = broken.data();
    EXPECT_EQ(zarn_decompress_bytes_from_memory_lz4(out.data(), 4, &cursor), 0u);
    EXPECT_EQ(cursor, broken.data() + broken.size());
}

} // namespace zarn_test
