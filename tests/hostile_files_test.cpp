// Damaged image files of every format, loaded in child processes: none may crash, hang or take memory without bound.

#include <algorithm>
#include <cctype>
#include <csignal>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <zarn/image_8.h>
#include <zarn/lifecycle.h>
#include <zarn/owned.h>

#include "tests/support/image_fixtures.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    #define ZARN_TEST_SANITIZED
#elif defined(__has_feature)
    #if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
        #define ZARN_TEST_SANITIZED
    #endif
#endif

extern "C" void __gcov_dump() __attribute__((weak)); // where coverage is counted: _exit() would drop the child's share

namespace zarn_test {

namespace {

#ifdef ZARN_TEST_SANITIZED
constexpr unsigned files_per_format = 60;
constexpr bool sanitized = true;
#else
constexpr unsigned files_per_format = 2000;
constexpr bool sanitized = false;
#endif

constexpr unsigned seconds_per_file = 10;
constexpr rlim_t memory_limit = rlim_t{4} << 30;
constexpr unsigned most_failures = 5; // of a format: more tell nothing new

const std::vector<std::string> formats = {"bmp", "dds", "exr", "gif", "hdr", "ico", "jpg", "pcx", "pgm",
                                          "png", "ppm", "psd", "ras", "sgi", "tga", "tif", "wbmp"};

struct attack {
    const image_fixture* fixture;
    std::vector<std::uint8_t> bytes;
    bool upper_case; // the extension: all formats go to DevIL then
};

// TIFF says in tagged entries what bytes replaced at random seldom hit: some entries of the first directory get another
// tag, type, count or value. Little-endian files, as fixtures are.
void change_entries(std::vector<std::uint8_t>& tiff, std::mt19937& random) {
    constexpr std::uint32_t tags[] = {256, 257, 258, 259, 262, 273, 277, 278, 279, 284, 322, 324, 338, 339, 60000};
    constexpr std::uint32_t values[] = {0, 1, 2, 3, 4, 5, 6, 8, 12, 16, 24, 32, 64, 32773, 65535, 0xFFFFFFFF};
    const auto below = [&random](std::size_t count) { return static_cast<std::uint32_t>(random() % count); };
    const auto any_of = [&below](const auto& choices) { return choices[below(std::size(choices))]; };
    const auto put = [&tiff](std::size_t at, std::uint32_t value, unsigned size) {
        for (unsigned i = 0; i < size; ++i) tiff.at(at + i) = static_cast<std::uint8_t>(value >> 8 * i);
    };
    const std::size_t directory = tiff.at(4) | tiff.at(5) << 8 | tiff.at(6) << 16;
    const unsigned count = tiff.at(directory) | tiff.at(directory + 1) << 8;
    for (unsigned edits = 1 + below(3); edits > 0; --edits) {
        const std::size_t entry = directory + 2 + 12 * below(count);
        switch (below(4)) {
        case 0:
            put(entry, any_of(tags), 2);
            break;
        case 1:
            put(entry + 2, below(14), 2);
            break;
        case 2:
            put(entry + 4, below(6), 4);
            break;
        default:
            put(entry + 8, any_of(values), 4);
        }
    }
}

// The `index`-th damaged file of a format, always the same: a fifth is cut, the others have 1 to 12 bytes replaced, in
// every second one near the start.
attack make_attack(const std::vector<const image_fixture*>& fixtures, unsigned index) {
    std::mt19937 random(index * 7919u + static_cast<unsigned>(fixtures[0]->extension[0]) * 31u + 1u);
    const auto below = [&random](std::size_t count) { return static_cast<std::size_t>(random()) % count; };
    attack result{fixtures[index % fixtures.size()], {}, below(4) == 0};
    result.bytes = result.fixture->bytes;
    if (below(5) == 0) {
        result.bytes.resize(below(result.bytes.size()));
        return result;
    }
    if (result.fixture->extension == "tif" && below(2) == 0) {
        change_entries(result.bytes, random);
        return result;
    }
    const std::size_t reach = below(2) == 0 ? std::min<std::size_t>(result.bytes.size(), 64) : result.bytes.size();
    for (std::size_t edits = 1 + below(12); edits > 0; --edits) {
        const std::uint8_t extremes[4] = {0, 1, 0x7f, 0xff};
        const std::size_t at = below(reach);
        result.bytes[at] = below(4) == 0 ? extremes[below(4)] : static_cast<std::uint8_t>(random());
    }
    return result;
}

// Loads the picture and reads all of it. False when an image that loaded has no pixels.
bool load_and_read(zarn_image_8& image, unsigned int loaded) {
    unsigned int sum = 0;
    const std::uint64_t count = std::uint64_t{image.get_width()} * image.get_height();
    for (std::uint64_t i = 0; i < count && image.get_pixel_array(); ++i) sum += image.get_pixel_array()[i].r;
    volatile unsigned int result = sum; // so that the reading stays
    (void)result;
    return loaded == 0 || (count > 0 && image.get_pixel_array());
}

// What a child does until it is through, or dies: `progress` names the file it is at.
[[noreturn]] void attack_from(const std::vector<const image_fixture*>& fixtures, volatile unsigned* progress,
                              const std::filesystem::path& stem) {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    if (!sanitized) { // a sanitizer reserves address space by the terabyte, and reports to the standard error
        const rlimit bound{memory_limit, memory_limit};
        setrlimit(RLIMIT_AS, &bound);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    }
    zarn_initialize();
    zarn_owned<zarn_image_8> image;
    for (; *progress < files_per_format; *progress = *progress + 1) {
        const attack file = make_attack(fixtures, *progress);
        std::string extension = "." + file.fixture->extension;
        if (file.upper_case)
            for (char& c : extension) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        const std::filesystem::path path = stem.string() + extension;
        if (!write_bytes(path, file.bytes)) _exit(3);
        const itimerval limit{{0, 0}, {seconds_per_file, 0}};
        setitimer(ITIMER_REAL, &limit, nullptr);
        if (!load_and_read(*image, image->load_file(path.wstring().c_str()))) _exit(2);
        const auto size = static_cast<unsigned int>(file.bytes.size());
        if (*progress % 3 == 0 && !load_and_read(*image, image->load_file(file.bytes.data(), size))) _exit(2);
        std::filesystem::remove(path);
    }
    if (__gcov_dump) __gcov_dump();
    _exit(0);
}

std::string describe(int status) {
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) return "hangs";
    if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
    return "exit code " + std::to_string(WEXITSTATUS(status));
}

class hostile_files : public ::testing::TestWithParam<std::string> {};

} // namespace

TEST_P(hostile_files, neither_crash_nor_hang) {
    std::vector<const image_fixture*> fixtures;
    for (const image_fixture& fixture : image_fixtures())
        if (fixture.extension == GetParam()) fixtures.push_back(&fixture);
    ASSERT_FALSE(fixtures.empty());

    void* shared = mmap(nullptr, sizeof(unsigned), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto* progress = static_cast<volatile unsigned*>(shared);
    const std::filesystem::path stem =
        std::filesystem::temp_directory_path() / ("zarn_hostile_" + std::to_string(getpid()));
    unsigned failures = 0;
    // A child goes through the files; after one that kills it, the next child goes on behind it.
    for (*progress = 0; *progress < files_per_format && failures < most_failures; *progress = *progress + 1) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) attack_from(fixtures, progress, stem);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) break;
        ++failures;
        const attack file = make_attack(fixtures, *progress);
        ADD_FAILURE() << GetParam() << " file " << *progress << " (from " << file.fixture->name
                      << (file.upper_case ? ", upper case): " : "): ") << describe(status);
    }
    munmap(shared, sizeof(unsigned));
}

INSTANTIATE_TEST_SUITE_P(formats, hostile_files, ::testing::ValuesIn(formats),
                         [](const auto& format) { return format.param; });

TEST(hostile_file_formats, are_those_of_the_fixtures) {
    std::set<std::string> known;
    for (const image_fixture& fixture : image_fixtures()) known.insert(fixture.extension);
    EXPECT_EQ(known, std::set<std::string>(formats.begin(), formats.end()));
}

} // namespace zarn_test
