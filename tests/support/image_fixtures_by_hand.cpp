// The fixtures of formats that are written byte by byte here: BMP variants, ICO, DDS, PSD, PCX, SGI, RAS.
#include "tests/support/image_fixtures.h"

#include <algorithm>
#include <cstring>

namespace zarn_test {
namespace {

constexpr unsigned int width = fixture_width;
constexpr unsigned int height = fixture_height;
using content = fixture_content;
using bytes_t = std::vector<std::uint8_t>;

struct byte_writer {
    bytes_t data;

    void u8(unsigned int v) { data.push_back(static_cast<std::uint8_t>(v)); }
    void le16(unsigned int v) { u8(v), u8(v >> 8); }
    void le32(unsigned int v) { le16(v), le16(v >> 16); }
    void be16(unsigned int v) { u8(v >> 8), u8(v); }
    void be32(unsigned int v) { be16(v >> 16), be16(v); }
    void text(const char* s) { data.insert(data.end(), s, s + std::strlen(s)); }
    void zeros(std::size_t count) { data.resize(data.size() + count); }
    void append(const bytes_t& other) { data.insert(data.end(), other.begin(), other.end()); }
    void put_be32(std::size_t at, unsigned int v) {
        for (int i = 0; i < 4; ++i) data[at + std::size_t(i)] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
    }
};

// Sample `channel` of the picture: 0 to 3 are red to alpha, 4 is grey.
std::uint8_t sample_of(unsigned int channel, unsigned int x, unsigned int y) {
    const fixture_colour c = fixture_pixel(x, y);
    const std::uint8_t values[5] = {c.r, c.g, c.b, c.a, fixture_grey(x, y)};
    return values[channel];
}

// The first channel and the number of channels of a kind of content.
unsigned int first_channel(content kind) { return kind == content::grey ? 4 : 0; }
unsigned int channel_count(content kind) { return kind == content::grey ? 1 : kind == content::rgb ? 3 : 4; }

// A BMP of 24 or 32 bits, rows from the top or (usual) from the bottom.
bytes_t make_bmp(unsigned int bits, bool top_down) {
    const unsigned int line = (width * bits / 8 + 3) / 4 * 4;
    byte_writer out;
    out.text("BM");
    out.le32(54 + line * height), out.le32(0), out.le32(54);
    out.le32(40), out.le32(width), out.le32(top_down ? 0u - height : height), out.le16(1), out.le16(bits),
        out.zeros(24);
    for (unsigned int row = 0; row < height; ++row) {
        const unsigned int y = top_down ? row : height - 1 - row;
        for (unsigned int x = 0; x < width; ++x) {
            for (unsigned int channel : {2u, 1u, 0u}) out.u8(sample_of(channel, x, y));
            if (bits == 32) out.u8(sample_of(3, x, y));
        }
        out.zeros(line - width * bits / 8);
    }
    return out.data;
}

// An icon of 32 bits: a BMP of twice the height without the file header, then one mask bit for each pixel.
bytes_t make_ico() {
    const bytes_t bmp = make_bmp(32, false);
    byte_writer out;
    out.le16(0), out.le16(1), out.le16(1);
    out.u8(width), out.u8(height), out.le16(0), out.le16(1), out.le16(32);
    out.le32(static_cast<unsigned int>(bmp.size() - 14 + 4 * height)), out.le32(22);
    out.data.insert(out.data.end(), bmp.begin() + 14, bmp.end());
    out.data[22 + 8] = 2 * height;
    out.zeros(4 * height);
    return out.data;
}

// One level of block-compressed texture: each block shows two of the picture's colours in a checkered pattern.
void append_blocks(byte_writer& out, char kind, unsigned int level_width, unsigned int level_height) {
    for (unsigned int y = 0; y < level_height; y += 4) {
        for (unsigned int x = 0; x < level_width; x += 4) {
            if (kind == '3') out.le32(0xfa50fa50), out.le32(0x50fa50fa);
            if (kind == '5') out.u8(255), out.u8(32), out.le16(0x1234), out.le32(0x89abcdef);
            for (unsigned int offset : {0u, 3u}) {
                const fixture_colour c = fixture_pixel(x + offset, y + offset);
                out.le16((c.r / 8u << 11) | (c.g / 4u << 5) | c.b / 8u);
            }
            out.le32(0x1b4e1b4e);
        }
    }
}

// `kind` is '1', '3' or '5' for block compression, 'a' for raw BGRA and 'b' for raw BGR.
bytes_t make_dds(char kind, unsigned int levels, unsigned int faces) {
    const bool blocks = kind <= '9';
    const unsigned int samples = kind == 'b' ? 3 : 4;
    byte_writer out;
    out.text("DDS "), out.le32(124), out.le32(0x1007 | (blocks ? 0x80000 : 8) | (levels > 1 ? 0x20000 : 0));
    out.le32(height), out.le32(width);
    out.le32(blocks ? (width + 3) / 4 * ((height + 3) / 4) * (kind == '1' ? 8 : 16) : width * samples);
    out.le32(0), out.le32(levels > 1 ? levels : 0), out.zeros(44);
    out.le32(32), out.le32(blocks ? 4 : samples == 4 ? 0x41 : 0x40);
    if (blocks)
        out.text("DXT"), out.u8(static_cast<unsigned char>(kind)), out.zeros(20);
    else {
        out.le32(0), out.le32(samples * 8), out.le32(0xff0000), out.le32(0xff00), out.le32(0xff);
        out.le32(samples == 4 ? 0xff000000 : 0);
    }
    out.le32(0x1000 | (levels > 1 ? 0x400008 : 0) | (faces > 1 ? 8 : 0)), out.le32(faces > 1 ? 0xfe00 : 0),
        out.zeros(12);
    for (unsigned int face = 0; face < faces; ++face) {
        for (unsigned int level = 0; level < levels; ++level) {
            const unsigned int w = std::max(width >> level, 1u);
            const unsigned int h = std::max(height >> level, 1u);
            if (blocks) append_blocks(out, kind, w, h);
            for (unsigned int i = 0; !blocks && i < w * h; ++i) {
                for (unsigned int channel : {2u, 1u, 0u})
                    out.u8(sample_of(channel, (i % w) << level, (i / w) << level));
                if (samples == 4) out.u8(sample_of(3, (i % w) << level, (i / w) << level));
            }
        }
    }
    return out.data;
}

// Run-length coding shared by PSD: n below 128 copies n + 1 bytes, above repeats the next byte 257 - n times.
bytes_t pack_bits(const bytes_t& line) {
    byte_writer out;
    for (std::size_t i = 0; i < line.size();) {
        std::size_t run = 1;
        while (run < 128 && i + run < line.size() && line[i + run] == line[i]) ++run;
        if (run > 1) {
            out.u8(static_cast<unsigned int>(257 - run)), out.u8(line[i]);
        } else {
            while (run < 128 && i + run < line.size() &&
                   (i + run + 1 == line.size() || line[i + run] != line[i + run + 1]))
                ++run;
            out.u8(static_cast<unsigned int>(run - 1));
            out.data.insert(out.data.end(), line.begin() + long(i), line.begin() + long(i + run));
        }
        i += run;
    }
    return out.data;
}

bytes_t make_psd(content kind, unsigned int bits, bool packed) {
    const unsigned int channels = channel_count(kind);
    byte_writer out;
    out.text("8BPS"), out.be16(1), out.zeros(6), out.be16(channels), out.be32(height), out.be32(width), out.be16(bits);
    out.be16(kind == content::grey ? 1 : 3), out.be32(0);
    out.be32(28), out.text("8BIM"), out.be16(0x03ed), out.be16(0), out.be32(16); // one resource: the resolution
    out.be32(72 << 16), out.be16(1), out.be16(1), out.be32(72 << 16), out.be16(1), out.be16(1);
    out.be32(0), out.be16(packed ? 1 : 0);
    byte_writer lines;
    for (unsigned int channel = 0; channel < channels; ++channel) {
        for (unsigned int y = 0; y < height; ++y) {
            byte_writer line;
            for (unsigned int x = 0; x < width; ++x) {
                const std::uint8_t v = sample_of(first_channel(kind) + channel, x, y);
                line.u8(v);
                if (bits == 16) line.u8(v);
            }
            const bytes_t coded = packed ? pack_bits(line.data) : line.data;
            if (packed) out.be16(static_cast<unsigned int>(coded.size()));
            lines.append(coded);
        }
    }
    out.append(lines.data);
    return out.data;
}

bytes_t make_pcx(bool palette) {
    const unsigned int planes = palette ? 1 : 3;
    const unsigned int line = (width + 1) / 2 * 2;
    byte_writer out;
    out.u8(10), out.u8(5), out.u8(1), out.u8(8), out.le16(0), out.le16(0), out.le16(width - 1), out.le16(height - 1);
    out.le16(72), out.le16(72), out.zeros(49), out.u8(planes), out.le16(line), out.le16(1), out.zeros(58);
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int plane = 0; plane < planes; ++plane) {
            for (unsigned int x = 0; x < line; ++x) {
                const unsigned int v = sample_of(palette ? 4 : plane, std::min(x, width - 1), y);
                if (v >= 0xc0) out.u8(0xc1);
                out.u8(v);
            }
        }
    }
    if (!palette) return out.data;
    out.u8(12);
    for (unsigned int i = 0; i < 256; ++i)
        for (unsigned int channel = 0; channel < 3; ++channel) out.u8(sample_of(channel, i % 16, i / 16));
    return out.data;
}

bytes_t make_sgi(content kind, bool packed) {
    const unsigned int channels = channel_count(kind);
    byte_writer out;
    out.be16(474), out.u8(packed), out.u8(1), out.be16(channels == 1 ? 2 : 3), out.be16(width), out.be16(height);
    out.be16(channels), out.be32(0), out.be32(255), out.zeros(492);
    if (packed) out.zeros(8u * height * channels);
    for (unsigned int channel = 0; channel < channels; ++channel) {
        for (unsigned int row = 0; row < height; ++row) {
            const std::size_t start = out.data.size();
            if (packed) out.u8(0x80 | width);
            for (unsigned int x = 0; x < width; ++x)
                out.u8(sample_of(first_channel(kind) + channel, x, height - 1 - row));
            if (!packed) continue;
            out.u8(0);
            const std::size_t entry = 512 + 4u * (channel * height + row);
            out.put_be32(entry, static_cast<unsigned int>(start));
            out.put_be32(entry + 4u * height * channels, static_cast<unsigned int>(out.data.size() - start));
        }
    }
    return out.data;
}

bytes_t make_ras(bool palette, bool packed) {
    const unsigned int samples = palette ? 1 : 3;
    const unsigned int line = (width * samples + 1) / 2 * 2;
    byte_writer pixels;
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int i = 0; i < line; ++i) {
            const unsigned int x = std::min(i / samples, width - 1);
            const unsigned int v = sample_of(palette ? 4 : 2 - i % 3, x, y);
            pixels.u8(v);
            if (packed && v == 0x80) pixels.u8(0);
        }
    }
    byte_writer out;
    out.be32(0x59a66a95), out.be32(width), out.be32(height), out.be32(samples * 8),
        out.be32(unsigned(pixels.data.size()));
    out.be32(packed ? 2 : 1), out.be32(palette ? 1 : 0), out.be32(palette ? 768 : 0);
    for (unsigned int i = 0; palette && i < 768; ++i) out.u8(sample_of(i / 256, i % 16, i % 256 / 16));
    out.append(pixels.data);
    return out.data;
}

} // namespace

void add_fixtures_by_hand(std::vector<image_fixture>& list) {
    const auto add = [&list](const char* name, content kind, fixture_sample sample, bool exact, bytes_t bytes) {
        const std::string text = name;
        list.push_back({text, text.substr(0, text.find('_')), kind, sample, exact, std::move(bytes)});
    };
    const auto u8 = fixture_sample::u8;
    const auto u16 = fixture_sample::u16;
    add("bmp_rgb_top_down", content::rgb, u8, true, make_bmp(24, true));
    add("bmp_rgba", content::rgba, u8, true, make_bmp(32, false));
    add("ico_rgba", content::rgba, u8, true, make_ico());
    add("dds_dxt1", content::rgb, u8, false, make_dds('1', 1, 1));
    add("dds_dxt3", content::rgba, u8, false, make_dds('3', 1, 1));
    add("dds_dxt5", content::rgba, u8, false, make_dds('5', 1, 1));
    add("dds_dxt5_mipmaps", content::rgba, u8, false, make_dds('5', 5, 1));
    add("dds_rgb", content::rgb, u8, true, make_dds('b', 1, 1));
    add("dds_rgba", content::rgba, u8, true, make_dds('a', 1, 1));
    add("dds_rgba_mipmaps", content::rgba, u8, true, make_dds('a', 5, 1));
    add("dds_rgba_cubemap", content::rgba, u8, true, make_dds('a', 5, 6));
    for (const char* name : {"psd_grey", "psd_rgb", "psd_rgba"}) {
        const content kind = name[5] == 'r' ? content::grey : name[7] == 'a' ? content::rgba : content::rgb;
        for (bool packed : {false, true}) {
            const std::string start = name, end = packed ? "_rle" : "";
            add((start + end).c_str(), kind, u8, true, make_psd(kind, 8, packed));
            add((start + "_u16" + end).c_str(), kind, u16, true, make_psd(kind, 16, packed));
        }
    }
    add("pcx_palette", content::rgb, u8, true, make_pcx(true));
    add("pcx_rgb", content::rgb, u8, true, make_pcx(false));
    add("sgi_grey", content::grey, u8, true, make_sgi(content::grey, false));
    add("sgi_rgb", content::rgb, u8, true, make_sgi(content::rgb, false));
    add("sgi_rgba_rle", content::rgba, u8, true, make_sgi(content::rgba, true));
    add("ras_palette", content::rgb, u8, true, make_ras(true, false));
    add("ras_rgb", content::rgb, u8, true, make_ras(false, false));
    add("ras_rgb_rle", content::rgb, u8, true, make_ras(false, true));
}

} // namespace zarn_test
