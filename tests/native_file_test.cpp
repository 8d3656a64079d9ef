// The native image format and the LZ4 chunk streams in it: exact layouts, damaged files, bounded memory.

#include <algorithm>
#include <memory>
#include <random>

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

byte_vector random_bytes(std::size_t count) {
    byte_vector bytes(count);
    std::mt19937 random(5);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using open_file = std::unique_ptr<std::FILE, file_closer>;

open_file open(const std::filesystem::path& path, const char* mode) {
    return open_file(std::fopen(path.string().c_str(), mode));
}

byte_vector compress(const byte_vector& data, const std::filesystem::path& path) {
    {
        const open_file file = open(path, "wb");
        EXPECT_EQ(zarn_compress_bytes_to_file_lz4(data.data(), data.size(), file.get()), 1u);
    }
    return read_bytes(path);
}

class native_file : public ::testing::Test {
protected:
    temporary_folder folder;
    zarn_owned<zarn_image_8> image;

    unsigned load(const byte_vector& bytes) {
        write_bytes(folder / "file", bytes);
        return image->load_binary((folder / "file").wstring().c_str());
    }

    byte_vector save(const reference_image& picture, unsigned compressed) {
        image_traits<zarn_image_8>::load(*image, picture);
        EXPECT_EQ(image->save_binary((folder / "file").wstring().c_str(), compressed), 1u);
        return read_bytes(folder / "file");
    }
};

} // namespace

TEST_F(native_file, raw_layout) {
    const reference_image picture = random_picture<zarn_image_8>(5, 3, lower_left, alpha_kind::any, 1);
    const byte_vector bytes = save(picture, 0);
    byte_vector expected = header({0, 1537, 5, 3, 1});
    for (const std::uint32_t sample : picture.samples) expected.push_back(static_cast<std::uint8_t>(sample));
    EXPECT_EQ(bytes, expected);
    image->set_thread_limit(5);
    image->crop(9, 9, 9, 9);
    EXPECT_EQ(load(bytes), 1u);
    EXPECT_TRUE(same_picture(picture, *image));
    EXPECT_TRUE(messages(*image).empty());
    EXPECT_EQ(image->get_thread_limit(), 5u);
}

TEST_F(native_file, compressed_layout) {
    const reference_image picture = random_picture<zarn_image_8>(1024, 513, upper_left, alpha_kind::any, 2);
    const byte_vector bytes = save(picture, 1);
    EXPECT_EQ(byte_vector(bytes.begin(), bytes.begin() + 20), header({1000, 1538, 1024, 513, 1}));
    EXPECT_EQ(number_at(bytes, 20, 8), 2u);
    const std::uint64_t first = number_at(bytes, 28, 8);
    EXPECT_GT(first, chunk); // random pixels do not compress
    const std::uint64_t second = number_at(bytes, 36 + first, 8);
    EXPECT_EQ(bytes.size(), 36 + first + 8 + second);
    EXPECT_LE(second, 4096u + 64);
    EXPECT_EQ(load(bytes), 1u);
    EXPECT_TRUE(same_picture(picture, *image));
}

TEST_F(native_file, empty_images) {
    image->free();
    const std::wstring path = (folder / "empty").wstring();
    EXPECT_EQ(image->save_binary(path.c_str(), 0), 1u);
    EXPECT_EQ(read_bytes(path), header({0, 0, 0, 0, 1}));
    EXPECT_EQ(image->load_binary(path.c_str()), 1u);
    EXPECT_EQ(image->is_valid(), 0u);
    // The one chunk of a compressed file without pixels yields no byte, which counts as damage.
    EXPECT_EQ(image->save_binary(path.c_str(), 1), 1u);
    EXPECT_EQ(image->load_binary(path.c_str()), 0u);
    EXPECT_EQ(messages(*image), broken_stream);
}

TEST_F(native_file, refused_files) {
    const auto expect_refused = [this](const byte_vector& bytes, const texts& expected) {
        image->create(3, 3, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
        EXPECT_EQ(load(bytes), 0u);
        EXPECT_EQ(messages(*image), expected);
        EXPECT_EQ(image->is_valid(), 0u);
        EXPECT_EQ(image->get_pixel_array(), nullptr);
        EXPECT_EQ(image->get_width() + image->get_height() + image->get_origin(), 0u);
    };
    expect_refused({}, wrong_type);
    expect_refused({0, 0, 0}, wrong_type);
    for (const std::uint32_t type : {1u, 2u, 7u, 999u, 1001u, 0xFFFFFFFFu}) {
        expect_refused(header({type, 1538, 1, 1, 1, 0xFFFFFFFF}), wrong_type);
    }
    expect_refused(header({0, 1538, 1, 1}), short_file);
    expect_refused(header({0, 1538, 1, 1, 1}), short_file);
    expect_refused(header({0, 1538, 2, 1, 1, 0x01020304}), short_file);
    expect_refused(header({0, 1538, 0xFFFFFFFF, 0xFFFFFFFF, 1, 0}), short_file);
    expect_refused(header({1000, 1538, 0xFFFFFFFF, 0xFFFFFFFF, 1, 1, 0}), broken_stream);
    expect_refused(header({1000, 1538, 1, 1}), broken_stream);
    expect_refused(header({1000, 1538, 60000, 60000, 1, 1, 0, 9, 0, 0, 0}), broken_stream);

    image->create(3, 3, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    EXPECT_EQ(image->load_binary((folder / "nowhere").wstring().c_str()), 0u);
    EXPECT_EQ(messages(*image), no_file);
    for (const wchar_t* path : {static_cast<const wchar_t*>(nullptr), L"", L"/", L"/dev/zero"}) {
        EXPECT_EQ(image->load_binary(path), 0u);
        EXPECT_EQ(messages(*image), no_file);
    }
    image->free();
    for (const wchar_t* path : {static_cast<const wchar_t*>(nullptr), L"", L"/", L"/no/such/folder/file"}) {
        EXPECT_EQ(image->save_binary(path, 0), 0u);
    }
    EXPECT_EQ(messages(*image), texts(4, L"Failed to open file for binary write."));
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
        if (load(bytes)) {
            EXPECT_TRUE(messages(*image).empty());
        } else {
            EXPECT_EQ(messages(*image), broken_stream);
        }
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
        const std::filesystem::path path = folder / "";
        const std::wstring full = path.wstring() + name;
        EXPECT_EQ(image->save_binary(full.c_str(), 1), 1u);
        EXPECT_EQ(image->load_binary(full.c_str()), 1u);
        EXPECT_TRUE(same_picture(picture, *image));
    }
    EXPECT_TRUE(std::filesystem::exists(folder / std::filesystem::u8path("\xC3\xA4\xC3\xB6\xC3\xBC \xC3\x9F.zarn")));
    EXPECT_TRUE(std::filesystem::exists(folder / std::filesystem::u8path("\xF0\x9F\x8E\xA9")));
}

TEST_F(native_file, memory_failures) {
    const byte_vector raw = save(random_picture<zarn_image_8>(8, 8, upper_left, alpha_kind::any, 6), 0);
    const byte_vector packed = save(random_picture<zarn_image_8>(8, 8, upper_left, alpha_kind::any, 6), 1);
    const std::wstring path = (folder / "file").wstring();
    const auto outcome = [&](const byte_vector& bytes, std::int64_t n) {
        write_bytes(folder / "file", bytes);
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
    EXPECT_EQ(messages(*image), texts{L"Compression Error: Failed to compress pixels to file."});
}

TEST_F(native_file, a_full_disk_is_noticed) {
    if (!std::filesystem::exists("/dev/full")) return;
    image->create(8, 8, 0, nullptr, 1);
    EXPECT_EQ(image->save_binary(L"/dev/full", 0), 0u);
    EXPECT_EQ(image->save_binary(L"/dev/full", 1), 0u);
    EXPECT_EQ(messages(*image),
              (texts{L"Failed to write image to file.", L"Compression Error: Failed to compress pixels to file."}));
}

// ---- The free functions --------------------------------------------------------------------------------------------

TEST_F(native_file, streams_of_every_length) {
    for (const std::uint64_t size : {std::uint64_t{1}, chunk - 1, chunk, chunk + 1, 2 * chunk, 2 * chunk + 7}) {
        const byte_vector data = random_bytes(size);
        const byte_vector stream = compress(data, folder / "stream");
        EXPECT_EQ(number_at(stream, 0, 8), (size + chunk - 1) / chunk);

        byte_vector back(size);
        const open_file file = open(folder / "stream", "rb");
        EXPECT_EQ(zarn_decompress_bytes_from_file_lz4(back.data(), size, file.get()), 1u);
        EXPECT_EQ(back, data);

        std::fill(back.begin(), back.end(), std::uint8_t{0});
        const unsigned char* cursor = stream.data();
        EXPECT_EQ(zarn_decompress_bytes_from_memory_lz4(back.data(), size, &cursor), 1u);
        EXPECT_EQ(cursor, stream.data() + stream.size());
        EXPECT_EQ(back, data);
        // One byte of room too few fails, and writes nothing beyond it.
        back[size - 1] = 0x5A;
        cursor = stream.data();
        EXPECT_EQ(zarn_decompress_bytes_from_memory_lz4(back.data(), size - 1, &cursor), 0u);
        EXPECT_EQ(back[size - 1], 0x5A);
    }
    const byte_vector nothing = compress({}, folder / "stream");
    EXPECT_EQ(nothing, (byte_vector{1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(native_file, stream_lengths_are_checked_and_totals_are_not) {
    const auto decode = [this](const byte_vector& stream, std::uint64_t capacity) {
        write_bytes(folder / "stream", stream);
        byte_vector out(capacity);
        const open_file file = open(folder / "stream", "rb");
        return zarn_decompress_bytes_from_file_lz4(out.data(), capacity, file.get());
    };
    const byte_vector block{0x40, 'a', 'b', 'c', 'd'}; // four literals
    const auto stream_of = [&](std::uint64_t chunks, std::uint64_t length) {
        byte_vector stream;
        append(stream, chunks, 8);
        append(stream, length, 8);
        stream.insert(stream.end(), block.begin(), block.end());
        return stream;
    };
    EXPECT_EQ(decode(stream_of(1, 5), 4), 1u);
    EXPECT_EQ(decode(stream_of(1, 5), 400), 1u); // fewer bytes than there is room for
    EXPECT_EQ(decode(stream_of(0, 5), 4), 1u);
    EXPECT_EQ(decode(stream_of(1, 5), 3), 0u);
    EXPECT_EQ(decode(stream_of(2, 5), 8), 0u);
    EXPECT_EQ(decode(stream_of(1, 0), 4), 0u);
    EXPECT_EQ(decode(stream_of(1, 6), 4), 0u);
    EXPECT_EQ(decode(stream_of(1, chunk_bound + 1), 4), 0u);
    EXPECT_EQ(decode(stream_of(1, UINT64_MAX), 4), 0u);
    EXPECT_EQ(decode(stream_of(UINT64_MAX, 5), 8), 0u);
    EXPECT_EQ(decode({}, 4), 0u);

    // From memory the cursor moves past a chunk that does not decode.
    byte_vector broken = stream_of(1, 5);
    broken[16] = 0xF0;
    byte_vector out(4);
    const unsigned char* cursor = broken.data();
    EXPECT_EQ(zarn_decompress_bytes_from_memory_lz4(out.data(), 4, &cursor), 0u);
    EXPECT_EQ(cursor, broken.data() + broken.size());
}

} // namespace zarn_test
