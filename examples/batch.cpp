// Pads and halves every PNG of a folder, with several images in flight and a progress bar.
//
//     batch SOURCE_FOLDER RESULT_FOLDER [IMAGES_IN_FLIGHT]
//
// Objects are independent: each thread here works on an image of its own. Threads multiply: IMAGES_IN_FLIGHT images,
// each with its thread limit, make that many threads in all, so the processors are shared out among the images. Image
// files are decoded and encoded one at a time whatever the number of threads, for DevIL stands behind one lock.

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "example.h"

namespace {

using namespace example;
namespace fs = std::filesystem;

bool work_on(const fs::path& source, const fs::path& result, unsigned thread_limit) {
    zarn_owned<zarn_image_8> image;
    image->set_thread_limit(thread_limit); // outlives the load
    if (!tell(image->load_file(wide(source).c_str()), *image, source.u8string().c_str())) return false;
    const unsigned width = std::max(1u, image->get_width() / 2), height = std::max(1u, image->get_height() / 2);
    return tell(image->expand_where_alpha(16, 127, 1), *image, "padding") &&
           tell(image->resample(width, height, 0), *image, "resampling") &&
           tell(image->save_file(wide(result).c_str(), 2, 0), *image, "saving");
}

void draw_bar(std::size_t done, std::size_t all) {
    constexpr std::size_t width = 40;
    const std::size_t full = done * width / all;
    const std::string bar = std::string(full, '#') + std::string(width - full, '.');
    std::fprintf(stderr, "\r[%s] %zu of %zu%s", bar.c_str(), done, all, done == all ? "\n" : "");
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 3 && argument_count != 4) {
        std::fprintf(stderr, "usage: batch SOURCE_FOLDER RESULT_FOLDER [IMAGES_IN_FLIGHT]\n");
        return 2;
    }
    const fs::path source = fs::u8path(arguments[1]), result = fs::u8path(arguments[2]);
    std::error_code error;
    fs::create_directories(result, error);
    std::vector<fs::path> files;
    for (fs::directory_iterator i(source, error), end; !error && i != end; i.increment(error)) {
        if (i->path().extension() == ".png") files.push_back(i->path());
    }
    if (error || files.empty()) {
        std::fprintf(stderr, "no PNG files in %s\n", arguments[1]);
        return 1;
    }

    const unsigned processors = std::max(1u, std::thread::hardware_concurrency());
    const unsigned wanted =
        argument_count == 4 ? static_cast<unsigned>(std::strtoul(arguments[3], nullptr, 10)) : processors;
    const unsigned in_flight = std::clamp(wanted, 1u, static_cast<unsigned>(files.size()));
    const unsigned thread_limit = std::max(1u, processors / in_flight);
    std::fprintf(stderr, "%u images in flight, %u threads each\n", in_flight, thread_limit);

    const session libraries; // once, from one thread, before the others start
    std::atomic<std::size_t> next{0}, failed{0};
    std::mutex bar_mutex;
    std::size_t done = 0;
    const auto take_files = [&] {
        for (std::size_t i = next++; i < files.size(); i = next++) {
            if (!work_on(files[i], result / files[i].filename(), thread_limit)) ++failed;
            const std::lock_guard<std::mutex> lock(bar_mutex);
            draw_bar(++done, files.size());
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < in_flight; ++i) threads.emplace_back(take_files);
    take_files();
    for (std::thread& thread : threads) thread.join();
    return failed ? 1 : 0;
}
