// Makes the gallery of the documentation: a picture per operation, a chart of all blend modes, and the page that shows
// them with the calls that made them. tools/gallery runs it.
//
//     gallery PICTURES RESULTS DOCS
//
// reads the sample pictures and the results of the other examples, writes DOCS/gallery.md and DOCS/pictures/*.jpg.

#include <cstring>
#include <string>

#include <zarn/image_real_16.h>
#include <zarn/rt_transform.h>

#include "example.h"
#include "letters.h"

namespace {

using namespace example;
namespace fs = std::filesystem;

struct gallery {
    fs::path pictures, results, docs;
    zarn_owned<zarn_image_8> planet; // 256 pixels wide
    zarn_owned<zarn_image_8> atlas, ground;
    zarn_owned<zarn_image_real_32> sunset; // linear
    std::FILE* page = nullptr;
    unsigned column = 0;
    bool sound = true;

    bool load(const fs::path& file, zarn_image_8& image) const {
        return tell(image.load_file(wide(file).c_str()), image, file.u8string().c_str());
    }

    // Over squares of two greys, for JPEG files know no alpha.
    void save(zarn_image_8& picture, const std::string& name) {
        zarn_owned<zarn_image_8> sheet;
        sheet->create(picture.get_width(), picture.get_height(), ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
        for (unsigned y = 0; y < sheet->get_height(); ++y) {
            for (unsigned x = 0; x < sheet->get_width(); ++x) {
                const std::uint8_t grey = (x / 8 + y / 8) % 2 ? 222 : 250;
                sheet->set_pixel(x, y, {grey, grey, grey, 255});
            }
        }
        const fs::path file = docs / "pictures" / (name + ".jpg");
        sound = tell(lay(picture, 0, 0, *sheet), *sheet, "compositing") &&
                tell(sheet->save_file(wide(file).c_str(), 1, 0), *sheet, name.c_str()) && sound;
    }

    void section(const char* title, const char* text) {
        std::fprintf(page, "\n\n## %s\n\n%s\n", title, text);
        column = 0;
    }

    // A picture and its caption: the call that made it, or words.
    void plate(const std::string& name, const char* code, zarn_image_8& picture) {
        save(picture, name);
        if (column == 0) std::fprintf(page, "\n| | | |\n|---|---|---|");
        const char* const mark = std::strchr(code, '(') ? "`" : ""; // the others are words
        std::fprintf(page, "%s![%s](pictures/%s.jpg)<br>%s%s%s |", column % 3 ? " " : "\n| ", name.c_str(),
                     name.c_str(), mark, code, mark);
        ++column;
    }
};

// Runs code on a copy of a picture that is called `image` there; the code is the caption.
#define ZARN_PLATE(source, name, ...)                                                                                  \
    {                                                                                                                  \
        zarn_owned<zarn_image_8> held;                                                                                 \
        zarn_image_8& image = *held;                                                                                   \
        image.create(source);                                                                                          \
        __VA_ARGS__;                                                                                                   \
        g.sound = tell(image.get_error_stack()->get_count() == 0, image, name) && g.sound;                             \
        g.plate(name, #__VA_ARGS__, image);                                                                            \
    }

void show_geometry(gallery& g) {
    g.section("Geometry", "Squares show through where a picture is transparent.");
    zarn_image_8& planet = *g.planet;
    g.plate("original", "the sample, 256 x 166", planet);
    ZARN_PLATE(planet, "crop", image.crop(60, 30, 130, 110))
    ZARN_PLATE(planet, "crop_to_pixels", unsigned left, top; image.crop_to_pixels(left, top))
    ZARN_PLATE(planet, "resize_canvas", image.resize_canvas(8, 8, 8, 8, zarn_pixel_8_s(40, 60, 110, 255)))
    ZARN_PLATE(planet, "flip_horizontal", image.flip_horizontal())
    ZARN_PLATE(planet, "flip_vertical", image.flip_vertical())
    ZARN_PLATE(planet, "rotate", image.rotate(0.5, 0))
    ZARN_PLATE(planet, "nearest", image.crop(56, 40, 32, 20), image.resample(256, 160, 1))
    ZARN_PLATE(planet, "bspline", image.crop(56, 40, 32, 20), image.resample(256, 160, 2))
}

void show_filters(gallery& g) {
    g.section("Filters",
              "Sharpening aside, none of them mixes the colour of invisible pixels into visible ones. Blurring alpha "
              "alone uncovers the colour that invisible pixels hold, black here: pad first.");
    zarn_image_8& planet = *g.planet;
    ZARN_PLATE(planet, "gaussian_blur", image.gaussian_blur(3.0f, 0, 1, 1))
    ZARN_PLATE(planet, "gaussian_blur_fast", image.gaussian_blur(10.0f, 1, 1, 1))
    ZARN_PLATE(planet, "gaussian_blur_colour", image.gaussian_blur(10.0f, 1, 1, 0))
    ZARN_PLATE(planet, "gaussian_blur_alpha", image.gaussian_blur(10.0f, 1, 0, 1))
    ZARN_PLATE(planet, "box_blur", image.box_blur(6, 1, 1))
    ZARN_PLATE(planet, "sharpen", image.sharpen(0.25f))
    g.plate("atlas", "the sample atlas, 192 x 192", *g.atlas);
    ZARN_PLATE(*g.atlas, "expand_where_alpha_ring", image.expand_where_alpha(6, 127, 0))
    ZARN_PLATE(*g.atlas, "expand_where_alpha", image.expand_where_alpha(0, 127, 0))
}

void show_tone(gallery& g) {
    g.section("Tone", "Alpha stays, except where `negative` is asked to invert it.");
    zarn_image_8& planet = *g.planet;
    ZARN_PLATE(planet, "exposure", image.exposure(1.6f))
    ZARN_PLATE(planet, "brightness", image.brightness(0.25f))
    ZARN_PLATE(planet, "contrast", image.contrast(1.8f))
    ZARN_PLATE(planet, "gamma", image.gamma(2.2f))
    ZARN_PLATE(planet, "grayscale", image.grayscale())
    ZARN_PLATE(planet, "negative", image.negative(1, 0))
    ZARN_PLATE(planet, "normalize_before", image.contrast(0.3f))
    ZARN_PLATE(planet, "normalize", image.contrast(0.3f), image.normalize())
    ZARN_PLATE(planet, "clear", image.clear(zarn_pixel_8_s(40, 60, 110, 255), 0))
}

void show_compositing(gallery& g) {
    g.section("Compositing", "The planet on a ground, with each of the 27 blend modes of `blit`. The callback of "
                             "`custom` takes the source where its red lies above its blue by more than 85.");
    static const char* const modes[] = {
        "normal",      "lighten",    "darken",       "multiply",    "average",      "add",         "subtract",
        "difference",  "negation",   "screen",       "exclusion",   "hard_light",   "soft_light",  "overlay",
        "color_dodge", "color_burn", "linear_dodge", "linear_burn", "linear_light", "vivid_light", "pin_light",
        "hard_mix",    "reflect",    "glow",         "phoenix",     "replace",      "custom"};
    constexpr unsigned columns = 6, width = 134, height = 104, line = 12;
    zarn_owned<zarn_image_8> chart, source, ground;
    chart->create(columns * width, 5 * (height + line), ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    chart->clear({255, 255, 255, 255}, 1);
    source->create(*g.planet);
    source->resample(128, 83, 0);
    ground->create(*g.ground);
    ground->resample(128, 128, 0);
    ground->crop(0, 12, 128, height - 4);
    for (unsigned mode = 0; mode <= ZARN_BLEND_CUSTOM; ++mode) {
        zarn_owned<zarn_image_8> tile;
        tile->create(*ground);
        tile->blit(
            *source, 0, 0, 128, 83, 1.0f, 0, 8, mode, 1,
            [](float, const zarn_pixel_8_s& d, const zarn_pixel_8_s& s, zarn_pixel_8_s& result, void*) {
                result = s.r > s.b + 85 ? s : d;
                result.a = d.a;
            },
            nullptr);
        const unsigned x = mode % columns * width, y = mode / columns * (height + line);
        lay(*tile, static_cast<int>(x), static_cast<int>(y), *chart);
        write(modes[mode], x, y + height, {20, 20, 20, 255}, *chart);
    }
    g.save(*chart, "blend_modes");
    std::fprintf(g.page, "\n![All blend modes](pictures/blend_modes.jpg)");
}

// Runs code on a copy of the linear picture.
#define ZARN_REAL_PLATE(name, ...)                                                                                     \
    {                                                                                                                  \
        zarn_owned<zarn_image_real_32> held;                                                                           \
        zarn_image_real_32& image = *held;                                                                             \
        image.create(*g.sunset);                                                                                       \
        __VA_ARGS__;                                                                                                   \
        show_real(g, name, #__VA_ARGS__, image);                                                                       \
    }

void show_real(gallery& g, const char* name, const char* code, zarn_image_real_32& image) {
    zarn_owned<zarn_image_8> picture;
    picture->create(image.get_width(), image.get_height(), ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    const auto byte = [](float v) {
        return static_cast<std::uint8_t>(v > 0.0f ? v < 1.0f ? v * 255.0f : 255.0f : 0.0f);
    };
    for (unsigned y = 0; y < image.get_height(); ++y) {
        for (unsigned x = 0; x < image.get_width(); ++x) {
            const float* const p = image.get_pixel(x, y);
            picture->set_pixel(
                x, y,
                {byte(p[0]), byte(image.is_grayscale() ? p[0] : p[1]), byte(image.is_grayscale() ? p[0] : p[2]), 255});
        }
    }
    g.sound = tell(image.get_error_stack()->get_count() == 0, image, name) && g.sound;
    g.plate(name, code, *picture);
}

void show_grading(gallery& g) {
    g.section("Floats: grading and colour spaces", "From one linear picture, whose sun is some 60 times as bright as "
                                                   "white. The first plate shows it encoded, all others start from "
                                                   "that one.");
    ZARN_REAL_PLATE("sRGB", image.convert_to_sRGB_space())
    g.sunset->convert_to_sRGB_space();
    ZARN_REAL_PLATE("linear", image.convert_to_linear_space())
    ZARN_REAL_PLATE("gaussian_blur_2", image.gaussian_blur_2(4.0f, 1, 1))
    ZARN_REAL_PLATE("adjust_color", image.adjust_color(0.8f, 1.0f, 1.3f))
    ZARN_REAL_PLATE("adjust_color_ex", image.adjust_color_ex(180, 150, 100, 100, 40, 100))
    ZARN_REAL_PLATE("hue_saturation", image.hue_saturation(120, 30))
    ZARN_REAL_PLATE("adjust_levels", const float in[] = {0.2f, 0.7f}, out[] = {0.0f, 1.0f};
                    image.adjust_levels(in, out))
    ZARN_REAL_PLATE("brightness_2", image.brightness_2(0.4f))
    ZARN_REAL_PLATE("contrast_2", image.contrast_2(0.8f))
    ZARN_REAL_PLATE("grey_weighted", image.convert_to_grayscale(0.299f, 0.587f, 0.114f))
    ZARN_REAL_PLATE("grey_sectors", image.convert_to_grayscale_ex(160, 120, 100, 100, 30, 100))
    ZARN_REAL_PLATE("rotate_by_90", image.rotate_by_90(1), image.resample(100, 160, 0))
}

void show_values(gallery& g) {
    g.section("Single values", "Height maps, label images and masks.");
    zarn_owned<zarn_image_8> picture;
    const auto show = [&](const char* name, const char* code, zarn_image_channel& values, unsigned size) {
        values.set_image_type(0);
        values.resample(size, size, 0);
        picture->create(size, size, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
        for (unsigned y = 0; y < size; ++y) {
            for (unsigned x = 0; x < size; ++x) {
                const std::uint8_t v = values.get_pixel_8(x, y);
                picture->set_pixel(x, y, {v, v, v, 255});
            }
        }
        g.sound = tell(values.get_error_stack()->get_count() == 0, values, name) && g.sound;
        g.plate(name, code, *picture);
    };
    const std::wstring labels = wide(g.pictures / "labels.png"), heights = wide(g.pictures / "height.png");
    zarn_owned<zarn_image_channel> image;
    image->load_file(labels.c_str(), 0);
    show("labels", "the sample labels", *image, 192);
    image->load_file(labels.c_str(), 0);
    image->distance_transform();
    show("distance_transform", "image.distance_transform()", *image, 192);

    // Values that differ within each region, by their distance and the height map, for the subsets to stretch.
    zarn_owned<zarn_image_channel> bumps;
    bumps->load_file(heights.c_str(), 0);
    bumps->resample(512, 512, 0);
    image->load_file(labels.c_str(), 0);
    for (unsigned y = 0; y < 512; ++y) {
        for (unsigned x = 0; x < 512; ++x) {
            const unsigned label = image->get_pixel_8(x, y);
            if (label) image->set_pixel_8(x, y, static_cast<std::uint8_t>(label / 4 + bumps->get_pixel_8(x, y) / 4));
        }
    }
    zarn_owned<zarn_image_channel> stretched;
    stretched->create(*image, 0);
    show("subsets", "the same regions, with bumps of low contrast", *image, 192);
    stretched->calculate_subset_list(0);
    stretched->normalize_subsets();
    show("normalize_subsets", "image.calculate_subset_list(0); image.normalize_subsets()", *stretched, 192);

    zarn_owned<zarn_image_8> height_picture;
    g.sound = g.load(g.pictures / "height.png", *height_picture) && g.sound;
    zarn_owned<zarn_image_grayscale> map;
    zarn_owned<zarn_image_16> normals;
    zarn_owned<zarn_image_8_16> shallow;
    map->create(*height_picture, 0, 3, 1);
    map->gaussian_blur(0.8f, 0, 1, 0);
    map->convert_to_normals(2.0f, 1, 0, nullptr, *normals);
    shallow->create(*normals, 0);
    picture->create(256, 256, shallow->get_origin(), shallow->get_pixel_array_8(), 1);
    height_picture->resample(192, 192, 0);
    g.plate("heights", "the sample heights", *height_picture);
    picture->resample(192, 192, 0);
    g.plate("convert_to_normals",
            "image.gaussian_blur(0.8f, 0, 1, 0); image.convert_to_normals(2.0f, 1, 0, nullptr, normals)", *picture);
}

void show_paths(gallery& g) {
    g.section("Paths", "Drawn with anti-aliasing into images of integers.");
    const auto draw = [&](const char* name, const char* code, std::uint8_t stroke, int even_odd) {
        zarn_owned<zarn_image_8> picture;
        picture->create(192, 192, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
        picture->clear({250, 246, 236, 255}, 1);
        zarn_bezier_path star;
        for (const int corner : {0, 2, 4, 1, 3, 0}) {
            zarn_fpoint_s point(0.0f, -84.0f);
            point.rotate(static_cast<float>(corner) * 1.2566371f);
            star.push_knot({96.0f + point.x, 100.0f + point.y}, 1, stroke == 1 ? 1 : 3);
        }
        star.build_vertex_list(2.0);
        g.sound = star.rasterize_to_image_existing(stroke, 5.0, zarn_pixel_8_s(40, 60, 110, 255), even_odd, *picture) &&
                  g.sound;
        g.plate(name, code, *picture);
    };
    draw("path_fill", "path.rasterize_to_image_existing(0, 0.0, colour, 0, image)", 0, 0);
    draw("path_even_odd", "path.rasterize_to_image_existing(0, 0.0, colour, 1, image)", 0, 1);
    draw("path_stroke", "path.rasterize_to_image_existing(1, 5.0, colour, 0, image)", 1, 0);
}

void show_engine(gallery& g) {
    g.section("Scaling and turning under the user's hand",
              "`zarn_rt_transform`: each step is made from the kept picture, so that a drag of a thousand steps loses "
              "nothing.");
    const auto step = [&](const char* name, const char* code, int width, int height, double angle) {
        zarn_owned<zarn_image_8> image;
        image->create(*g.planet);
        zarn_rt_transform engine;
        engine.set_thread_limit(2);
        unsigned done = engine.checkin_image(*image);
        for (int drag = 1; drag <= 20; ++drag) {
            done = done && engine.transform(width * drag / 20, height * drag / 20, angle * drag / 20);
        }
        g.sound = done && g.sound;
        g.plate(name, code, *image);
    };
    step("engine_scale", "engine.transform(200, 230, 0.0)", 200, 230, 0.0);
    step("engine_turn", "engine.transform(230, 120, 0.6)", 230, 120, 0.6);
    step("engine_mirror", "engine.transform(-180, 150, 2.6)", -180, 150, 2.6);
}

// Results of the examples side by side, for the README.
void make_strip(gallery& g) {
    constexpr unsigned side = 200, gap = 6;
    const char* const names[] = {"padded.png", "sheet.png", "graded.png", "distance.png", "decal.png"};
    zarn_owned<zarn_image_8> strip;
    strip->create(5 * side + 4 * gap, side, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    strip->clear({255, 255, 255, 255}, 1);
    int x = 0;
    for (const char* const name : names) {
        zarn_owned<zarn_image_8> picture;
        g.sound = g.load(g.results / name, *picture) && g.sound;
        // The square on the left of sheets, the one on the right of the sky, where its sun is.
        const unsigned width = picture->get_width(), height = picture->get_height();
        picture->crop(std::strcmp(name, "graded.png") ? 0 : width - height, 0, height, height);
        picture->resample(side, side, 0);
        lay(*picture, x, 0, *strip);
        x += static_cast<int>(side + gap);
    }
    g.save(*strip, "strip");
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 4) {
        std::fprintf(stderr, "usage: gallery PICTURES RESULTS DOCS\n");
        return 2;
    }
    const session libraries;
    gallery g;
    g.pictures = fs::u8path(arguments[1]);
    g.results = fs::u8path(arguments[2]);
    g.docs = fs::u8path(arguments[3]);
    g.page = std::fopen((g.docs / "gallery.md").string().c_str(), "w");
    if (!g.page || !g.load(g.pictures / "sample.png", *g.planet) || !g.load(g.pictures / "atlas.png", *g.atlas) ||
        !g.load(g.results / "padded.png", *g.ground) ||
        !tell(g.sunset->load_file(wide(g.pictures / "sunset.exr").c_str(), 0, 1), *g.sunset, "loading the sky"))
        return 1;
    g.planet->resample(256, 166, 0);
    g.atlas->resample(192, 192, 0);
    g.sunset->resample(256, 160, 0);
    std::fprintf(g.page,
                 "# Gallery\n\nMade by `tools/gallery` from the pictures in [examples/pictures](../examples/pictures); "
                 "the captions are the calls that made the plates.");
    show_geometry(g);
    show_filters(g);
    show_tone(g);
    show_compositing(g);
    show_grading(g);
    show_values(g);
    show_paths(g);
    show_engine(g);
    std::fprintf(g.page, "\n");
    make_strip(g);
    return std::fclose(g.page) == 0 && g.sound ? 0 : 1;
}
