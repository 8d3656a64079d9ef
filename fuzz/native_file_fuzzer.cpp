// libFuzzer target: the native image format in every class, read from a file that holds the fuzzer's bytes, and from
// memory where a class reads from there. The first byte chooses the class.

#include <cstdint>
#include <cstdio>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include <zarn/zarn.h>

namespace {

// Exactly a failed load leaves a message, and what is loaded can be worked on.
template <class Image>
void check(Image& image, unsigned loaded) {
    if (loaded == (image.get_error_stack()->get_count() > 0)) __builtin_trap();
    if (image.is_valid()) image.flip_vertical();
}

template <class Image>
void load_from_file(const wchar_t* path) {
    zarn_owned<Image> image;
    check(*image, image->load_binary(path));
}

void load_from_memory(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return; // a size of 0 is one that is not known
    zarn_owned<zarn_image_real_16> image;
    check(*image, image->load_binary(data, static_cast<unsigned>(size)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const unsigned which = data[0] % 8;
    ++data;
    --size;
    if (which == 7) {
        load_from_memory(data, size);
        return 0;
    }
    const int file = memfd_create("fuzz", 0);
    if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) return 0;
    const std::wstring path = L"/proc/self/fd/" + std::to_wstring(file);
    using load = void (*)(const wchar_t*);
    constexpr load loads[] = {load_from_file<zarn_image_8>,         load_from_file<zarn_image_16>,
                              load_from_file<zarn_image_8_16>,      load_from_file<zarn_image_channel>,
                              load_from_file<zarn_image_grayscale>, load_from_file<zarn_image_real_32>,
                              load_from_file<zarn_image_real_16>};
    loads[which](path.c_str());
    close(file);
    return 0;
}
