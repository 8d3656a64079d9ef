// The byte guard: sound files of every format pass, the damage that is known to break a decoder does not.

#include <algorithm>
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

namespace {

std::size_t gif_palette_size(unsigned flags) { return flags & 0x80 ? std::size_t{6} << (flags & 7) : 0; }

// Where the first frame is described, and where the size of its codes stands, with the codes behind it.
std::size_t gif_frame(const bytes_t& gif) {
    std::size_t at = 13 + gif_palette_size(gif[10]);
    while (gif.at(at) == '!')
        for (at += 2; gif.at(at++) != 0;) at += gif[at - 1];
    return at;
}
std::size_t gif_codes(const bytes_t& gif) { return gif_frame(gif) + 10 + gif_palette_size(gif[gif_frame(gif) + 9]); }

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
        {"exr_rgb_f16", "rows above the first",
         [](bytes_t& b) {
             put(b, find(b, "box2i") + 14, {0xff, 0xff, 0xff, 0xff});
             --b[find(b, "box2i") + 22];
         },
         freeimage},
        {"exr_rgb_f16", "rows that were not written",
         [](bytes_t& b) {
             std::size_t table = 0; // one offset, of what follows it
             while (b[table] + 256u * b[table + 1] != table + 8 || b[table + 2] != 0) ++table;
             put(b, table, {0, 0});
         },
         freeimage},
        {"psd_rgb_rle", "cut in its rows", cut_by(1)},
        {"psd_rgb_rle", "cut in its rows", cut_by(1), freeimage},
        {"psd_rgb_u16_rle", "a packed row beyond its line", edit(68 + 2 * 3 * 17, {127}), freeimage},
        {"psd_rgb_u16_rle", "a palette for 16 bits", edit(25, {2}), freeimage},
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
        {"bmp_palette_rle", "a jump over pixels",
         [](bytes_t& b) {
             put(b, b[10] + 256u * b[11], {0, 2});
         }},
        {"bmp_palette_rle", "an early end",
         [](bytes_t& b) {
             put(b, b[10] + 256u * b[11], {0, 1});
         }},
        {"sgi_grey", "signed samples", edit(12, {0x80})},
        {"pcx_palette", "a version before palettes", edit(1, {2})},
        {"tga_palette", "palette entries of 16 bits", edit(7, {16})},
        {"ras_rgb", "raw rows of 32 bits", [](bytes_t& b) { b.resize(b.size() * 2), put(b, 15, {32}); }},
        {"gif_palette", "a code before its string",
         [](bytes_t& b) {
             put(b, gif_codes(b) + 3, {0xff, 0xff});
         }},
        {"gif_palette", "data that ends early",
         [](bytes_t& b) {
             put(b, gif_codes(b) + 1, {1});
             put(b, gif_codes(b) + 3, {0});
         }},
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

// ---- Parts of files that no fixture holds --------------------------------------------------------------------------

namespace {

bytes_t number(std::uint64_t value, unsigned size, bool big_endian) {
    bytes_t bytes(size);
    for (unsigned i = 0; i < size; ++i)
        bytes[big_endian ? size - 1 - i : i] = static_cast<std::uint8_t>(value >> 8 * i);
    return bytes;
}
void add(bytes_t& to, const bytes_t& more) { to.insert(to.end(), more.begin(), more.end()); }

struct exif_entry {
    unsigned id, type, count, value;
};

bytes_t directory_of(const std::vector<exif_entry>& entries, unsigned next, bool big_endian) {
    bytes_t bytes = number(entries.size(), 2, big_endian);
    for (const exif_entry& e : entries) {
        add(bytes, number(e.id, 2, big_endian));
        add(bytes, number(e.type, 2, big_endian));
        add(bytes, number(e.count, 4, big_endian));
        add(bytes, number(e.value, 4, big_endian));
    }
    add(bytes, number(next, 4, big_endian));
    return bytes;
}

// A directory at 8, the bytes of `rest` behind it.
bytes_t exif_of(const std::vector<exif_entry>& entries, unsigned next, const bytes_t& rest, bool big_endian) {
    bytes_t bytes = big_endian ? bytes_t{'M', 'M', 0, 42} : bytes_t{'I', 'I', 42, 0};
    add(bytes, number(8, 4, big_endian));
    add(bytes, directory_of(entries, next, big_endian));
    add(bytes, rest);
    return bytes;
}

// The fixture with one resource in place of its own.
bytes_t psd_with(unsigned id, const bytes_t& contents) {
    bytes_t psd = image_fixture_named("psd_rgb").bytes, section = text("8BIM");
    const std::size_t old = 4 + static_cast<std::size_t>(psd[32] << 8 | psd[33]);
    add(section, number(id, 2, true));
    add(section, {0, 0});
    add(section, number(contents.size(), 4, true));
    add(section, contents);
    if (contents.size() % 2) section.push_back(0);
    bytes_t length = number(section.size(), 4, true);
    add(length, section);
    psd.erase(psd.begin() + 30, psd.begin() + 30 + static_cast<std::ptrdiff_t>(old));
    psd.insert(psd.begin() + 30, length.begin(), length.end());
    return psd;
}

} // namespace

TEST(image_guard, follows_camera_notes_inside_psd) {
    const bytes_t third = psd_with(0x0423, bytes_t(4)); // FreeImage stops at any
    EXPECT_EQ(judge(third, L"a.psd", image_decoder::freeimage), guard_verdict::damaged);
    EXPECT_EQ(judge(third, L"a.psd", image_decoder::devil), guard_verdict::accepted);
    const auto judge_notes = [](const bytes_t& notes) {
        return judge(psd_with(0x0422, notes), L"a.psd", image_decoder::freeimage);
    };
    for (const bool big_endian : {false, true}) {
        const auto notes = [big_endian](const std::vector<exif_entry>& entries, unsigned next = 0,
                                        const bytes_t& rest = bytes_t(64)) {
            return exif_of(entries, next, rest, big_endian);
        };
        EXPECT_EQ(judge_notes(notes({{0x0112, 3, 1, 1}})), guard_verdict::accepted);
        EXPECT_EQ(judge_notes(notes({{0x8769, 4, 1, 0x7fffffff}})), guard_verdict::accepted); // not followed
        EXPECT_EQ(judge_notes(notes({{0x8769, 4, 1, 8}})), guard_verdict::damaged) << "a directory inside of itself";
        bytes_t far = notes({{0x0112, 3, 1, 1}});
        far[big_endian ? 6 : 5] = 0x7f;
        EXPECT_EQ(judge_notes(far), guard_verdict::damaged) << "a first directory beyond the end";
        // Two entries, so that what follows the directory is at 38: a maker's name and note.
        bytes_t canon = text("Canon");
        canon.resize(8);
        for (const unsigned type : {3u, 1u}) {
            bytes_t rest = canon;
            add(rest, directory_of({{0x0001, type, 0, 0}}, 0, big_endian));
            rest.resize(100);
            EXPECT_EQ(judge_notes(notes({{0x010f, 2, 6, 38}, {0x927c, 7, 40, 46}}, 0, rest)),
                      type == 3 ? guard_verdict::accepted : guard_verdict::damaged);
        }
        bytes_t fuji = text("FUJIFILM");
        add(fuji, number(12, 4, big_endian));
        fuji.resize(100);
        EXPECT_EQ(judge_notes(notes({{0x927c, 7, 40, 26}}, 0, fuji)), guard_verdict::accepted);
        EXPECT_EQ(judge_notes(notes({{0x927c, 7, 40, 26}}, 0, bytes_t(41))), guard_verdict::accepted);
        // A second directory, at 26, names a thumbnail.
        bytes_t thumbnail = directory_of({{0x0201, 4, 1, 60}, {0x0202, 4, 1, 20}}, 0, big_endian);
        thumbnail.resize(80);
        EXPECT_EQ(judge_notes(notes({{0x0112, 3, 1, 1}}, 26, thumbnail)), guard_verdict::damaged) << "no JPEG";
    }
    EXPECT_EQ(judge(psd_with(0x040c, bytes_t(27)), L"a.psd", image_decoder::freeimage), guard_verdict::damaged);
    EXPECT_EQ(judge(psd_with(0x03ed, bytes_t(16)), L"a.psd", image_decoder::freeimage), guard_verdict::accepted);
    for (const unsigned id : {0x03e8u, 0x03edu, 0x03efu, 0x040au, 0x040du})
        EXPECT_EQ(judge(psd_with(id, bytes_t(6)), L"a.psd", image_decoder::freeimage), guard_verdict::damaged);
}

// Sound pictures that one of the decoders stops the process at, or never ends with.
TEST(image_guard, knows_which_tiff_a_decoder_survives) {
    constexpr auto good = guard_verdict::accepted, bad = guard_verdict::damaged;
    struct {
        unsigned bits, samples, coding, colours, planes, row_type, strip_bytes; // row_type 0: without rows of a strip
        guard_verdict devil, freeimage;
        unsigned sample_format = 1;
    } const pictures[] = {
        {1, 1, 1, 1, 2, 3, 8, good, bad},       // planes of pixels that are parts of bytes
        {4, 1, 1, 3, 2, 3, 32, good, bad},      //
        {8, 3, 1, 2, 2, 3, 64, good, good},     //
        {4, 4, 1, 3, 1, 3, 128, good, bad},     // several samples in a byte
        {4, 1, 1, 3, 1, 3, 32, good, good},     //
        {32, 4, 1, 5, 1, 3, 1024, good, bad},   // CMYK in floats
        {16, 4, 1, 5, 1, 3, 512, good, good},   //
        {16, 4, 1, 5, 1, 3, 512, good, bad, 3}, //
        {8, 3, 5, 2, 1, 0, 99, bad, good},      // LZW without rows of a strip
        {8, 3, 5, 2, 1, 4, 99, good, good},     //
        {8, 3, 5, 2, 1, 2, 99, bad, good},      // as text
        {8, 4, 5, 2, 1, 0, 99, good, good},     // left to the TIFF library
        {8, 3, 5, 2, 2, 0, 99, good, good},     //
        {4, 1, 5, 3, 1, 0, 99, good, good},     //
        {8, 1, 1, 1, 1, 0, 64, good, good},     // which puts the rows in
        {8, 1, 1, 1, 1, 0, 63, bad, good},      // but for a strip of another length,
        {8, 1, 1, 1, 1, 0, 128, bad, good},     //
        {16, 1, 1, 1, 2, 0, 128, bad, good},    // or of planes
        {8, 1, 32773, 1, 1, 0, 64, bad, good},  //
    };
    for (const auto& p : pictures) {
        std::vector<exif_entry> entries = {{256, 3, 1, 8},        {257, 3, 1, 8},         {258, 3, 1, p.bits},
                                           {259, 3, 1, p.coding}, {262, 3, 1, p.colours}, {273, 4, 1, 200},
                                           {277, 3, 1, p.samples}};
        if (p.row_type) entries.push_back({278, p.row_type, 1, 8});
        entries.push_back({279, 4, 1, p.strip_bytes});
        entries.push_back({284, 3, 1, p.planes});
        entries.push_back({339, 3, 1, p.sample_format});
        const bytes_t file = exif_of(entries, 0, bytes_t(2000), false);
        SCOPED_TRACE(&p - pictures);
        EXPECT_EQ(judge(file, L"a.TIF", image_decoder::devil), p.devil);
        EXPECT_EQ(judge(file, L"a.tif", image_decoder::freeimage), p.freeimage);
    }
    // Of two entries the first counts.
    const std::vector<exif_entry> twice = {{256, 3, 1, 8},   {257, 3, 1, 8}, {258, 3, 1, 8}, {259, 3, 1, 5},
                                           {273, 4, 1, 200}, {278, 2, 1, 8}, {278, 3, 1, 8}};
    EXPECT_EQ(judge(exif_of(twice, 0, bytes_t(2000), false), L"a.TIF", image_decoder::devil), bad);
}

TEST(image_guard, walks_animations) {
    struct chunk {
        const char* name;
        bytes_t data;
    };
    const auto animation = [](const std::vector<chunk>& chunks) {
        bytes_t bytes = text("\x8aMNG\r\n\x1a\n");
        for (const chunk& c : chunks) {
            add(bytes, number(c.data.size(), 4, true));
            add(bytes, text(c.name));
            add(bytes, c.data);
            add(bytes, bytes_t(4)); // checksum
        }
        return judge(bytes, L"a.mng");
    };
    const bytes_t sides = {0, 0, 0, 4, 0, 0, 0, 3, 0, 0, 0, 0}, endless = {0, 0x7f, 0, 0, 0};
    const bytes_t many_sides = {0, 0x10, 0, 0, 0, 0x10, 0, 0};
    const bytes_t for_ever = {3, 0, 0, 0, 0, 0, 0x7f, 0, 0, 0};
    EXPECT_EQ(animation({{"MHDR", sides}, {"IHDR", sides}, {"MEND", {}}}), guard_verdict::accepted);
    EXPECT_EQ(animation({{"MHDR", sides}, {"IHDR", sides}}), guard_verdict::damaged) << "no end";
    EXPECT_EQ(animation({{"MHDR", many_sides}, {"MEND", {}}}), guard_verdict::damaged) << "sides beyond its pixels";
    EXPECT_EQ(animation({{"LOOP", endless}, {"ENDL", {}}, {"MEND", {}}}), guard_verdict::damaged) << "nothing shown";
    EXPECT_EQ(animation({{"LOOP", endless}, {"IHDR", sides}, {"ENDL", {}}, {"MEND", {}}}), guard_verdict::accepted);
    EXPECT_EQ(animation({{"TERM", for_ever}, {"FRAM", {}}, {"MEND", {}}}), guard_verdict::damaged) << "own delays";
    EXPECT_EQ(animation({{"TERM", for_ever}, {"MEND", {}}}), guard_verdict::accepted);

    // A second frame, with or without a palette of its own, under the first or in its place.
    const bytes_t gif = image_fixture_named("gif_palette").bytes;
    const auto frame = static_cast<std::ptrdiff_t>(gif_frame(gif));
    for (const bool has_palette : {false, true}) {
        for (const unsigned disposal : {1u, 2u}) {
            bytes_t second(gif.begin() + frame, gif.begin() + frame + 10);
            second[9] = static_cast<std::uint8_t>(has_palette ? 0x80 : 0);
            if (has_palette) add(second, bytes_t(6));
            second.insert(second.end(), gif.begin() + static_cast<std::ptrdiff_t>(gif_codes(gif)), gif.end());
            bytes_t bytes(gif.begin(), gif.end() - 1);
            add(bytes, {'!', 0xf9, 4, static_cast<std::uint8_t>(disposal << 2), 0, 0, 0, 0});
            add(bytes, second);
            const bool is_fatal = has_palette && disposal == 1;
            EXPECT_EQ(judge(bytes, L"a.gif"), is_fatal ? guard_verdict::damaged : guard_verdict::accepted);
        }
    }
}

TEST(image_guard, measures_every_texture_code) {
    struct code {
        bytes_t letters;
        unsigned bytes; // of a block of 4 x 4, or a pixel
        bool blocks;
    };
    const code codes[] = {{text("DXT1"), 8, true},    {text("DXT2"), 16, true},   {text("ATI1"), 8, true},
                          {text("ATI2"), 16, true},   {text("RXGB"), 16, true},   {{36, 0, 0, 0}, 8, false},
                          {{111, 0, 0, 0}, 2, false}, {{112, 0, 0, 0}, 4, false}, {{113, 0, 0, 0}, 8, false},
                          {{114, 0, 0, 0}, 4, false}, {{115, 0, 0, 0}, 8, false}, {{116, 0, 0, 0}, 16, false}};
    for (const code& c : codes) {
        bytes_t dds = text("DDS ");
        dds.resize(128);
        dds[12] = 6; // height
        dds[16] = 5;
        dds[76] = 32;
        dds[80] = 4;
        std::copy(c.letters.begin(), c.letters.end(), dds.begin() + 84);
        dds.resize(128 + c.bytes * (c.blocks ? 4 : 30));
        EXPECT_EQ(judge(dds, L"a.dds"), guard_verdict::accepted) << int{c.letters[0]};
        bytes_t volume = dds; // whose slices are not whole blocks high
        volume[24] = 2;
        volume[114] = 0x20;
        volume.resize(128 + 2 * (dds.size() - 128));
        const bool is_fatal = c.letters[0] == 'A';
        EXPECT_EQ(judge(volume, L"a.dds"), is_fatal ? guard_verdict::damaged : guard_verdict::accepted);
        volume[12] = 4;
        EXPECT_EQ(judge(volume, L"a.dds"), guard_verdict::accepted) << int{c.letters[0]};
        dds.pop_back();
        EXPECT_EQ(judge(dds, L"a.dds"), guard_verdict::damaged) << int{c.letters[0]};
    }
    for (const unsigned kind : {0x40u, 0x20000u}) { // of ten bits a sample: colours, and grey
        bytes_t dds = text("DDS ");
        dds.resize(128 + 4);
        put(dds, 12, {1, 0, 0, 0, 1});
        put(dds, 76, {32, 0, 0, 0, kind & 0xff, 0, kind >> 16});
        put(dds, 88, {32, 0, 0, 0, 0xff, 3, 0, 0, 0, 0xfc, 0x0f, 0, 0, 0, 0xf0, 0x3f, 0, 0, 0, 0xc0});
        EXPECT_EQ(judge(dds, L"a.dds"), kind == 0x40 ? guard_verdict::accepted : guard_verdict::damaged);
    }
}

TEST(image_guard, measures_old_bitmaps_and_icons) {
    bytes_t bitmap = text("BM");
    bitmap.resize(26 + 12 * 3 - 3); // 3 x 3 pixels of 24 bits in rows of 12 bytes, the last without its padding
    put(bitmap, 10, {26, 0, 0, 0, 12, 0, 0, 0, 3, 0, 3, 0, 1, 0, 24});
    EXPECT_EQ(judge(bitmap, L"a.bmp"), guard_verdict::accepted);
    bitmap.pop_back();
    EXPECT_EQ(judge(bitmap, L"a.bmp"), guard_verdict::damaged);

    // Two colours for 4 bits: the index 2 names none.
    bytes_t icon = {0, 0, 1, 0, 1, 0};
    icon.resize(22 + 40 + 2 * 4 + 4 + 4);
    put(icon, 18, {22});
    put(icon, 22, {40, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 4});
    put(icon, 54, {2});
    for (const unsigned indices : {0x10u, 0x20u}) {
        put(icon, 70, {indices});
        EXPECT_EQ(judge(icon, L"a.ico"), indices == 0x10 ? guard_verdict::accepted : guard_verdict::damaged);
    }
    for (const char* const fixture : {"png_rgba", "png_rgb", "png_palette"}) { // the decoder fails without alpha
        bytes_t with_png = {0, 0, 1, 0, 1, 0};
        with_png.resize(22);
        put(with_png, 18, {22});
        add(with_png, image_fixture_named(fixture).bytes);
        EXPECT_EQ(judge(with_png, L"a.ico"),
                  fixture == std::string("png_rgba") ? guard_verdict::accepted : guard_verdict::damaged);
    }
}

} // namespace zarn_test
