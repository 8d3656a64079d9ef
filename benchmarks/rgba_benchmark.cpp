// Every operation of the RGBA images, 8 and 16 bits, at 32^2 to 4096^2 pixels, with 1 and 2 threads: nanoseconds per
// pixel and megapixels per second of the source.
//
// An operation that changes the size starts from a fresh copy each time, which is not measured.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <type_traits>

#include <benchmark/benchmark.h>

#include <zarn/zarn.h>

namespace {

// Smooth colour with some noise, and soft blobs of alpha: about a third opaque, a third transparent.
template <class Image>
void draw_picture(Image& image, unsigned side) {
    using pixel_type = std::remove_pointer_t<decltype(image.get_pixel_array())>;
    using sample = decltype(pixel_type::r);
    constexpr unsigned step = static_cast<sample>(~sample{0}) / 255;
    const auto widen = [](unsigned value) { return static_cast<sample>((value & 0xFF) * step); };
    image.create(side, side, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
    pixel_type* pixel = image.get_pixel_array();
    std::uint32_t noise = 1;
    for (unsigned y = 0; y < side; ++y) {
        for (unsigned x = 0; x < side; ++x) {
            noise = noise * 1664525u + 1013904223u;
            const unsigned grain = noise >> 28;
            const int blob = static_cast<int>((x * 5 + (y & 64) * 3) % 768) - 256;
            const auto alpha = static_cast<unsigned>(std::clamp(blob, 0, 255));
            *pixel++ = pixel_type(widen(x * 255 / side / 2 + grain), widen(y * 255 / side / 2 + grain), widen(x ^ y),
                                  widen(alpha));
        }
    }
}

// Times work() alone; prepare() runs before each time. Pausing the benchmark's own clock would cost more than a small
// operation takes.
template <class Prepare, class Work>
void time_each(benchmark::State& state, unsigned side, Prepare prepare, Work work) {
    using clock = std::chrono::steady_clock;
    double seconds = 0.0;
    for (auto _ : state) {
        prepare();
        const clock::time_point start = clock::now();
        work();
        const std::chrono::duration<double> elapsed = clock::now() - start;
        state.SetIterationTime(elapsed.count());
        seconds += elapsed.count();
    }
    const double pixels = static_cast<double>(side) * side * static_cast<double>(state.iterations());
    state.counters["ns_per_px"] = seconds * 1e9 / pixels;
    state.counters["MP/s"] = pixels * 1e-6 / seconds;
}

template <class Image>
using operation = void (*)(Image& image, unsigned side);

template <class Image>
void run_operation(benchmark::State& state, operation<Image> work) {
    const auto side = static_cast<unsigned>(state.range(0));
    zarn_owned<Image> picture, image;
    draw_picture(*picture, side);
    image->set_thread_limit(static_cast<unsigned>(state.range(1)));
    time_each(
        state, side, [&] { image->create(*picture); }, [&] { work(*image, side); });
}

template <class Image>
struct named_operation {
    const char* name;
    operation<Image> work;
};

// One line an operation.
template <class Image>
const named_operation<Image> operations[] = {
    {"clear",
     [](Image& i, unsigned) {
         i.clear({1, 2, 3, 4}, 1);
     }},
    {"clear_colour",
     [](Image& i, unsigned) {
         i.clear({1, 2, 3, 4}, 0);
     }},
    {"exposure", [](Image& i, unsigned) { i.exposure(1.3f); }},
    {"brightness", [](Image& i, unsigned) { i.brightness(0.1f); }},
    {"contrast", [](Image& i, unsigned) { i.contrast(1.25f); }},
    {"gamma", [](Image& i, unsigned) { i.gamma(2.2f); }},
    {"grayscale", [](Image& i, unsigned) { i.grayscale(); }},
    {"negative", [](Image& i, unsigned) { i.negative(1, 0); }},
    {"normalize", [](Image& i, unsigned) { i.normalize(); }},
    {"blend_over",
     [](Image& i, unsigned n) { i.blit(i, 0, 0, n, n, 0.7f, 0, 0, ZARN_BLEND_NORMAL, 0, nullptr, nullptr); }},
    {"crop_center_half", [](Image& i, unsigned n) { i.crop(n / 4, n / 4, n / 2, n / 2); }},
    {"crop_to_pixels",
     [](Image& i, unsigned) {
         unsigned left, top;
         i.crop_to_pixels(left, top);
     }},
    {"pad_eighth", [](Image& i, unsigned n) { i.resize_canvas(n / 8, n / 8, n / 8, n / 8, {}); }},
    {"flip_horizontal", [](Image& i, unsigned) { i.flip_horizontal(); }},
    {"flip_vertical", [](Image& i, unsigned) { i.flip_vertical(); }},
    {"nearest_half", [](Image& i, unsigned n) { i.resample(n / 2, n / 2, 1); }},
    {"nearest_2x", [](Image& i, unsigned n) { i.resample(n * 2, n * 2, 1); }},
    {"area_half", [](Image& i, unsigned n) { i.resample(n / 2, n / 2, 0); }},
    {"area_quarter", [](Image& i, unsigned n) { i.resample(n / 4, n / 4, 0); }},
    {"bspline_2x", [](Image& i, unsigned n) { i.resample(n * 2, n * 2, 2); }},
    {"rotate", [](Image& i, unsigned) { i.rotate(0.3, 0); }},
    {"rotate_feathered", [](Image& i, unsigned) { i.rotate(0.3, 1); }},
    {"gaussian_s2", [](Image& i, unsigned) { i.gaussian_blur(2.0f, 0, 1, 1); }},
    {"gaussian_s10", [](Image& i, unsigned) { i.gaussian_blur(10.0f, 0, 1, 1); }},
    {"fast_gaussian_s10", [](Image& i, unsigned) { i.gaussian_blur(10.0f, 1, 1, 1); }},
    {"box_r8", [](Image& i, unsigned) { i.box_blur(8, 1, 1); }},
    {"sharpen", [](Image& i, unsigned) { i.sharpen(0.5f); }},
    {"expand_all", [](Image& i, unsigned) { i.expand_where_alpha(0, 254, 0); }},
};

// One opaque pixel in the corner fills the whole image: as many passes as the side has pixels.
void expand_from_one_pixel(benchmark::State& state) {
    const auto side = static_cast<unsigned>(state.range(0));
    zarn_owned<zarn_image_8> image;
    const auto prepare = [&] {
        image->create(side, side, ZARN_ORIGIN_UPPER_LEFT, nullptr, 1);
        image->set_pixel(0, 0, {200, 100, 50, 255});
    };
    time_each(state, side, prepare, [&] { image->expand_where_alpha(0, 0, 0); });
}
BENCHMARK(expand_from_one_pixel)->Arg(1024)->Arg(4096)->Unit(benchmark::kMillisecond)->UseManualTime();

void native_file(benchmark::State& state, unsigned compress) {
    const auto side = static_cast<unsigned>(state.range(0));
    zarn_owned<zarn_image_8> image;
    draw_picture(*image, side);
    const std::wstring path = (std::filesystem::temp_directory_path() / "zarn_benchmark.zarn").wstring();
    time_each(
        state, side, [] {},
        [&] {
            image->save_binary(path.c_str(), compress);
            image->load_binary(path.c_str());
        });
    std::filesystem::remove(path);
}
BENCHMARK_CAPTURE(native_file, raw, 0)->Arg(1024)->Arg(4096)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK_CAPTURE(native_file, lz4, 1)->Arg(1024)->Arg(4096)->Unit(benchmark::kMillisecond)->UseManualTime();

template <class Image>
void register_operations(const std::string& format) {
    for (const auto& [name, work] : operations<Image>) {
        benchmark::RegisterBenchmark((format + name).c_str(), run_operation<Image>, work)
            ->ArgNames({"side", "threads"})
            ->ArgsProduct({{32, 256, 1024, 4096}, {1, 2}})
            ->Unit(benchmark::kMicrosecond)
            ->UseManualTime();
    }
}

const bool registered = [] {
    register_operations<zarn_image_8>("rgba_8/");
    register_operations<zarn_image_16>("rgba_16/");
    return true;
}();

} // namespace
