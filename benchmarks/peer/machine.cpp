#include "benchmarks/peer/machine.h"

#include <ctime>
#include <fstream>

namespace zarn_bench {

namespace {

// The first line of the system's description of the CPU that begins with `key`, what stands after the colon.
std::string cpu_line(const std::string& key) {
    std::ifstream description("/proc/cpuinfo");
    for (std::string line; std::getline(description, line);) {
        const std::size_t colon = line.find(": ");
        if (line.compare(0, key.size(), key) == 0 && colon != std::string::npos) return line.substr(colon + 2);
    }
    return {};
}

} // namespace

std::string today() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d", &parts)};
}

std::string cpu_model() {
    const std::string name = cpu_line("model name");
    if (name.empty()) return "unknown";
    const std::string family = cpu_line("cpu family"), model = cpu_line("model\t");
    return family.empty() ? name : name + ", family " + family + " model " + model;
}

std::string widest_vector_unit() {
    const std::string flags = " " + cpu_line("flags") + " ";
    const struct {
        const char* flag;
        const char* name;
    } units[] = {{" avx512bw ", "AVX-512"}, {" avx2 ", "AVX2"}, {" sse4_2 ", "SSE4"}, {" sse2 ", "SSE2"}};
    for (const auto& unit : units)
        if (flags.find(unit.flag) != std::string::npos) return unit.name;
    return "unknown";
}

std::string compiler() {
#if defined(__clang__)
    return "Clang " + std::to_string(__clang_major__) + "." + std::to_string(__clang_minor__);
#else
    return "GCC " + std::to_string(__GNUC__) + "." + std::to_string(__GNUC_MINOR__);
#endif
}

} // namespace zarn_bench
