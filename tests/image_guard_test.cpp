// The byte guard: sound files of every format pass, the damage that is known to break a decoder does not.

#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/image_guard.h"
#include "tests/support/image_fixtures.h"

namespace zarn {

// Shown by name in a failed expectation.
static void PrintTo(guard_verdict verdict, std::ostream* out) {
    const char* names[] = {"accepted", "refused_type", "damaged"};
    *out << names[static_cast<int>(verdict)];
}

} // namespace zarn

namespace zarn_test {

namespace {

using zarn::guard_verdict;
using zarn::image_decoder;
using bytes_t = std::vector<std::uint8_t>;

guard_verdict judge(const bytes_t& bytes, const wchar_t* path = nullptr, image_decoder decoder = image_decoder::devil) {
    zarn::byte_source source(bytes.data(), bytes.size());
    return zarn::guard_image(source, decoder, path);
}

guard_verdict judge_file(const bytes_t& bytes, const wchar_t* path, image_decoder decoder) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
    EXPECT_EQ(bytes.empty() ? 0 : std::fwrite(bytes.data(), 1, bytes.size(), file.get()), bytes.size());
    EXPECT_EQ(std::fflush(file.get()), 0);
    zarn::byte_source source(file.get());
    return zarn::guard_image(source, decoder, path);
}

bool is_for_freeimage(const std::string& extension) {
    return extension == "psd" || extension == "tif" || extension == "hdr" || extension == "exr";
}

std::wstring path_of(const image_fixture& fixture, bool upper_case) {
    std::wstring path = L"folder.x/picture.";
    for (const char c : fixture.extension) path += static_cast<wchar_t>(upper_case ? std::toupper(c) : c);
    return path;
}

void put(bytes_t& bytes, std::size_t offset, std::initializer_list<unsigned int> values) {
    for (const unsigned int v : values) bytes.at(offset++) = static_cast<std::uint8_t>(v);
}

std::size_t find(const bytes_t& bytes, const std::string& text) {
    const std::string all(bytes.begin(), bytes.end());
    EXPECT_NE(all.find(text), std::string::npos) << text;
    return all.find(text);
}

bytes_t text(const std::string& s) { return {s.begin(), s.end()}; }

} // namespace

// A file is read through a window; what a block of memory says is the reference.
TEST(image_guard, accepts_sound_files_and_judges_files_and_memory_alike) {
    for (const image_fixture& fixture : image_fixtures()) {
        SCOPED_TRACE(fixture.name);
        EXPECT_EQ(judge(fixture.bytes), guard_verdict::accepted) << "by content";
        const std::wstring path = path_of(fixture, false), loud_path = path_of(fixture, true);
        EXPECT_EQ(judge_file(fixture.bytes, loud_path.c_str(), image_decoder::devil), guard_verdict::accepted);
        if (is_for_freeimage(fixture.extension)) {
            EXPECT_EQ(judge_file(fixture.bytes, path.c_str(), image_decoder::freeimage), guard_verdict::accepted);
        }
        for (std::size_t size = fixture.bytes.size(), step = 1 + size / 23; size > step; size -= step) {
            const bytes_t cut(fixture.bytes.begin(), fixture.bytes.begin() + static_cast<std::ptrdiff_t>(size));
            const guard_verdict verdict = judge_file(cut, path.c_str(), image_decoder::devil);
            EXPECT_EQ(judge(cut, path.c_str()), verdict) << "cut to " << size;
            if (size == fixture.bytes.size()) {
                EXPECT_EQ(verdict, guard_verdict::accepted);
            }
        }
    }
}

TEST(image_guard, finds_the_format_as_the_decoder_does) {
    const bytes_t& png = image_fixture_named("png_rgb").bytes;
    const bytes_t cut(png.begin(), png.begin() + 40);
    EXPECT_EQ(judge(png, L"a.tga"), guard_verdict::damaged); // a known extension decides
    EXPECT_EQ(judge(png, L"a.dat"), guard_verdict::accepted);
    EXPECT_EQ(judge(cut, L"a.dat"), guard_verdict::damaged);
    EXPECT_EQ(judge(cut, L"png"), guard_verdict::damaged);
    EXPECT_EQ(judge(text("just a text"), L"a.txt"), guard_verdict::accepted); // no decoder knows it
    EXPECT_EQ(judge(bytes_t{}), guard_verdict::accepted);
    EXPECT_EQ(judge(png, L"nodotexr", image_decoder::freeimage), guard_verdict::damaged);
    const bytes_t xpm = text("/* XPM */\nstatic char * a[] = {\"1 1 1 1\",\". c #000000\",\".\"};\n");
    EXPECT_EQ(judge(xpm), guard_verdict::refused_type);
    EXPECT_EQ(judge(xpm, L"a.XPM"), guard_verdict::refused_type);
    EXPECT_EQ(judge(xpm, L"a.png"), guard_verdict::damaged);
}

// Formats that no fixture stands for: the smallest sound file of each, which nothing can be cut from.
TEST(image_guard, measures_rare_formats) {
    struct part {
        std::size_t offset;
        std::vector<unsigned int> values;
    };
    struct rare {
        const wchar_t* path;
        std::size_t size;
        std::vector<part> parts;
    };
    const rare files[] = {
        {L"a.ftx", 12 + 2 * 3 * 4, {{0, {2, 0, 0, 0, 3}}}},
        {L"a.lif", 44 + 2 * 3 + 1024, {{16, {2, 0, 0, 0, 3}}}},
        {L"a.pxr", 1024 + 2 * 3 * 3, {{416, {3, 0, 2}}, {424, {14}}}},
        {L"a.pix", 10 + 2 * 4, {{1, {2, 0, 3}}, {9, {24, 5}}, {14, {1}}}},
        {L"a.wal", 100 + 64 + 16 + 4 + 1, {{32, {8, 0,   0, 0, 8, 0,   0, 0, 100, 0,  0,
                                                 0, 164, 0, 0, 0, 180, 0, 0, 0,   184}}}},
        {L"a.dpx",
         2048 + 2 * 3 * 3,
         {{0, {'S', 'D', 'P', 'X'}}, {775, {2, 0, 0, 0, 3}}, {800, {50}}, {803, {8}}, {810, {8}}}},
        {L"a.vtf",
         64 + 2 * 2 * 4,
         {{0, {'V', 'T', 'F'}}, {12, {64, 0, 0, 0, 2, 0, 2}}, {24, {1}}, {52, {12}}, {56, {1}}}},
    };
    for (const rare& file : files) {
        bytes_t bytes(file.size);
        for (const part& p : file.parts)
            for (std::size_t i = 0; i < p.values.size(); ++i)
                bytes[p.offset + i] = static_cast<std::uint8_t>(p.values[i]);
        EXPECT_EQ(judge(bytes, file.path), guard_verdict::accepted) << std::filesystem::path(file.path);
        bytes.pop_back();
        EXPECT_EQ(judge(bytes, file.path), guard_verdict::damaged) << std::filesystem::path(file.path);
    }
    std::string fits;
    for (const char* line : {"SIMPLE  = T", "BITPIX  =   16", "NAXIS   = 2", "NAXIS1  = 3", "NAXIS2  =    5", "END"})
        fits += line + std::string(80 - std::strlen(line), ' ');
    fits.resize(2880 + 3 * 5 * 2, ' ');
    EXPECT_EQ(judge(text(fits), L"a.fits"), guard_verdict::accepted);
    EXPECT_EQ(judge(text(fits.substr(1)), L"a.fits"), guard_verdict::damaged);
    fits[3 * 80] = 'X'; // without NAXIS1
    EXPECT_EQ(judge(text(fits), L"a.fits"), guard_verdict::damaged);
}

TEST(image_guard, refuses_damage) {
    struct damage {
        const char* fixture;
        const char* what;
        std::function<void(bytes_t&)> apply;
        image_decoder decoder = image_decoder::devil;
    };
    const auto cut_by = [](std::size_t count) { return [count](bytes_t& b) { b.resize(b.size() - count); }; };
    const auto cut_to = [](std::size_t size) { return [size](bytes_t& b) { b.resize(size); }; };
    const auto edit = [](std::size_t offset, std::initializer_list<unsigned int> values) {
        return [offset, v = std::vector<unsigned int>(values)](bytes_t& b) {
            for (std::size_t i = 0; i < v.size(); ++i) b.at(offset + i) = static_cast<std::uint8_t>(v[i]);
        };
    };
    constexpr image_decoder freeimage = image_decoder::freeimage;
    const damage damages[] = {
        {"png_rgb", "cut before its pixels", cut_to(45)},
        {"png_rgb", "without its end", cut_by(12)},
        {"png_rgb", "a chunk longer than the file", edit(33, {0x10, 0, 0, 0})},
        {"png_rgb", "sides beyond its pixels", edit(16, {0, 0, 0x7f, 0, 0, 0, 0x7f, 0})},
        {"exr_rgb_f16", "cut in its header", cut_to(180), freeimage},
        {"exr_rgb_f16", "an attribute of another size", [](bytes_t& b) { put(b, find(b, "box2i") + 6, {17}); },
         freeimage},
        {"exr_rgb_f16", "a huge window", [](bytes_t& b) { put(b, find(b, "box2i") + 20, {1}); }, freeimage},
        {"exr_rgb_f16", "an unknown coding", [](bytes_t& b) { put(b, find(b, "compression") + 28, {77}); }, freeimage},
        {"psd_rgb_rle", "cut in its rows", cut_by(1)},
        {"psd_rgb_rle", "cut in its rows", cut_by(1), freeimage},
        {"psd_rgb_u16_rle", "a packed row beyond its line", edit(68 + 2 * 3 * 17, {127}), freeimage},
        {"psd_rgb", "a resource beyond its section", edit(42, {0, 1}), freeimage},
        {"psd_rgb", "sides beyond its pixels", edit(14, {0, 0, 0x70})},
        {"pgm_grey", "short by a byte", cut_by(1)},
        {"pgm_grey", "a tab behind the maximum", [](bytes_t& b) { put(b, find(b, "255") + 3, {'\t'}); }},
        {"pgm_grey", "16 bits", [](bytes_t& b) { put(b, find(b, "255") + 2, {'6'}); }},
        {"ppm_rgb_text", "a number too many on a line",
         [](bytes_t& b) {
             b.insert(b.end() - 2, {' ', '1', ' ', '2'});
         }},
        {"dds_dxt1", "sides beyond its blocks", edit(12, {25})},
        {"dds_dxt5", "fewer bytes than its blocks", edit(20, {1, 0})},
        {"dds_rgba", "cut", cut_by(1)},
        {"dds_rgba_cubemap", "a missing face", edit(113, {0x7e})},
        {"bmp_rgb", "a data offset beyond the file", edit(10, {0, 0, 1})},
        {"bmp_rgb", "cut", cut_by(4)},
        {"bmp_rgb", "sides that overflow", edit(18, {0, 0, 1, 0, 0, 0, 1, 0})},
        {"bmp_palette", "a palette of millions", edit(46, {0, 0, 1})},
        {"ico_rgba", "another header", edit(22, {0})},
        {"ico_rgba", "cut", cut_by(1)},
        {"gif_palette", "a frame beyond the screen", [](bytes_t& b) { put(b, 6, {22}); }},
        {"gif_palette", "cut", cut_by(20)},
        {"hdr_rgbe", "a long axis name",
         [](bytes_t& b) {
             put(b, find(b, "+X"), {'X', 'X'});
         }},
        {"hdr_rgbe", "cut", cut_by(1), freeimage},
        {"sgi_rgba_rle", "a row of too many", [](bytes_t& b) { put(b, b.size() - 25, {0xff}); }},
        {"sgi_rgb", "16 bits", edit(3, {2})},
        {"ras_rgb", "sides beyond its pixels", edit(4, {0, 0, 1})},
        {"tga_rgb", "cut", cut_by(40)},
        {"tga_rgba_rle", "cut", cut_to(400)},
        {"tga_palette", "no palette", edit(5, {0, 0})},
        {"pcx_rgb", "sides beyond its pixels", edit(8, {0, 0x40, 0, 0x40})},
        {"wbmp_white", "sides beyond its pixels", edit(2, {0x8f, 0x7f})},
        {"jpg_rgb", "sides beyond its pixels",
         [](bytes_t& b) {
             put(b, find(b, "\xff\xc0") + 5, {0xff, 0, 0xff, 0});
         }},
        {"tif_rgb_raw", "strips beyond the file",
         [](bytes_t& b) {
             put(b, find(b, "\x11\x01\x04") + 8, {0, 0, 1});
         }},
        {"tif_rgb_raw", "cut", cut_by(30), freeimage},
    };
    for (const damage& d : damages) {
        const image_fixture& fixture = image_fixture_named(d.fixture);
        bytes_t bytes = fixture.bytes;
        d.apply(bytes);
        const std::wstring path = path_of(fixture, false);
        EXPECT_EQ(judge(bytes, path.c_str(), d.decoder), guard_verdict::damaged) << d.fixture << ", " << d.what;
    }
}

} // namespace zarn_test
