// Takes a picture from file to filtered file: loads it, resamples, turns, blurs, sharpens, grows colour into its
// transparent parts, and saves every step as PNG and the last in the native format, raw and compressed.
//
//     zarn_demo PICTURE OUTPUT_FOLDER

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <locale>
#include <string>

#include <zarn/zarn.h>

namespace {

[[noreturn]] void give_up(const std::wstring& what, const zarn_image_8& image) {
    std::fprintf(stderr, "failed: %ls\n", what.c_str());
    const zarn_list<wchar_t*>& messages = *image.get_error_stack();
    for (unsigned i = 0; i < messages.get_count(); ++i) std::fprintf(stderr, "  %ls\n", messages[i]);
    std::exit(1);
}

// Runs one step and prints what it was, how long it took and what came out of it.
void step(zarn_image_8& image, const std::wstring& what, const std::function<unsigned()>& work) {
    zarn_timer_start();
    const unsigned done = work();
    const double milliseconds = zarn_timer_get_time();
    if (!done) give_up(what, image);
    std::printf("%-46ls %9.2f ms   %u x %u\n", what.c_str(), milliseconds, image.get_width(), image.get_height());
}

} // namespace

int main(int argument_count, char** arguments) {
    // Paths and messages are UTF-8, whatever the system's setting.
    std::locale::global(std::locale("C.UTF-8"));
    if (argument_count != 3) {
        std::fprintf(stderr, "usage: zarn_demo PICTURE OUTPUT_FOLDER\n");
        return 2;
    }
    const std::filesystem::path source = std::filesystem::u8path(arguments[1]);
    const std::filesystem::path folder = std::filesystem::u8path(arguments[2]);
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);

    zarn_initialize();
    zarn_owned<zarn_image_8> picture;
    zarn_image_8& image = *picture;
    unsigned number = 0;
    const auto save_png = [&](const wchar_t* name) {
        const std::wstring file = std::to_wstring(++number) + L"_" + name + L".png";
        step(image, L"  save " + file, [&] { return image.save_file((folder / file).wstring().c_str(), 2, 0); });
    };

    step(image, L"load " + source.filename().wstring(), [&] { return image.load_file(source.wstring().c_str()); });
    const unsigned width = image.get_width(), height = image.get_height();

    step(image, L"resample to 3/4, area average",
         [&] { return image.resample(std::max(1u, width * 3 / 4), std::max(1u, height * 3 / 4), 0); });
    save_png(L"resampled");

    step(image, L"rotate by 0.3 rad", [&] { return image.rotate(0.3, 0); });
    step(image, L"crop to visible pixels", [&] {
        unsigned left = 0, top = 0;
        return image.crop_to_pixels(left, top);
    });
    save_png(L"rotated");

    zarn_owned<zarn_image_8> turned;
    turned->create(image);
    step(image, L"Gaussian blur, sigma 2", [&] { return image.gaussian_blur(2.0f, 0, 1, 1); });
    save_png(L"gaussian_blur");
    step(image, L"back to the turned picture", [&] { return image.create(*turned); });
    step(image, L"box-approximated Gaussian, sigma 8", [&] { return image.gaussian_blur(8.0f, 1, 1, 1); });
    save_png(L"fast_gaussian_blur");
    step(image, L"back to the turned picture", [&] { return image.create(*turned); });

    step(image, L"sharpen by 0.15", [&] {
        image.sharpen(0.15f);
        return image.get_error_stack()->get_count() == 0 ? 1u : 0u;
    });
    save_png(L"sharpened");

    step(image, L"canvas with a margin of 16", [&] { return image.resize_canvas(16, 16, 16, 16, zarn_pixel_8_s()); });
    step(image, L"grow colour where alpha is below half", [&] { return image.expand_where_alpha(0, 127, 0); });
    save_png(L"expanded");

    const std::wstring raw = (folder / L"expanded.zarn").wstring();
    const std::wstring packed = (folder / L"expanded_lz4.zarn").wstring();
    step(image, L"  save expanded.zarn (native, raw)", [&] { return image.save_binary(raw.c_str(), 0); });
    step(image, L"  save expanded_lz4.zarn (native, LZ4)", [&] { return image.save_binary(packed.c_str(), 1); });
    step(image, L"  load expanded_lz4.zarn", [&] { return image.load_binary(packed.c_str()); });
    zarn_shutdown();
    return 0;
}
