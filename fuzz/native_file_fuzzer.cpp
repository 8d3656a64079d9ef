// libFuzzer target: the native image format, read from a file that holds the fuzzer's bytes.

#include <cstdint>
#include <cstdio>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include <zarn/zarn.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const int file = memfd_create("fuzz", 0);
    if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) return 0;
    const std::wstring path = L"/proc/self/fd/" + std::to_wstring(file);
    zarn_owned<zarn_image_8> image;
    const unsigned loaded = image->load_binary(path.c_str());
    // Exactly a failed load leaves a message.
    if (loaded == (image->get_error_stack()->get_count() > 0)) __builtin_trap();
    if (image->is_valid()) image->flip_vertical();
    close(file);
    return 0;
}
