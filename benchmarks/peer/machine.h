// Where and with what a run was made. Names neither the host nor a path.
#pragma once

#include <string>

namespace zarn_bench {

std::string today();              // as in 2024-01-31
std::string cpu_model();          // as the system words it
std::string widest_vector_unit(); // of the CPU, as in "AVX-512"
std::string compiler();

// How much of the machine others used since it was made.
class foreign_load {
public:
    foreign_load();
    double share() const; // of all cores, 0..1

private:
    double ___foreign; // seconds of cores
    double ___all;
};

} // namespace zarn_bench
