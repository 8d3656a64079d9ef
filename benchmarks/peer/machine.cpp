#include "benchmarks/peer/machine.h"

#include <ctime>
#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

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

// Seconds of cores since the machine was started.
struct core_seconds {
    double busy = 0.0;
    double all = 0.0;
};

core_seconds machine_seconds() {
    std::ifstream statistics("/proc/stat");
    std::string word;
    statistics >> word;
    core_seconds sum;
    const auto tick = 1.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
    double ticks = 0.0;
    // user, nice, system, idle, waiting for input and output, two kinds of interrupts, stolen by the host
    for (int column = 0; column < 8 && statistics >> ticks; ++column) {
        sum.all += ticks * tick;
        if (column != 3 && column != 4) sum.busy += ticks * tick;
    }
    return sum;
}

double own_seconds() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

} // namespace

foreign_load::foreign_load() {
    const core_seconds machine = machine_seconds();
    ___foreign = machine.busy - own_seconds();
    ___all = machine.all;
}

double foreign_load::share() const {
    const core_seconds machine = machine_seconds();
    const double all = machine.all - ___all, foreign = machine.busy - own_seconds() - ___foreign;
    return all > 0.0 && foreign > 0.0 ? foreign / all : 0.0;
}

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
