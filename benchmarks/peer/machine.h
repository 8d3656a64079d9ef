// Where and with what a run was made. Names neither the host nor a path.
#pragma once

#include <string>

namespace zarn_bench {

std::string today();              // as in 2024-01-31
std::string cpu_model();          // as the system words it
std::string widest_vector_unit(); // of the CPU, as in "AVX-512"
std::string compiler();

} // namespace zarn_bench
