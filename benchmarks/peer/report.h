// Everything a run has measured, written as a Markdown page.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "benchmarks/peer/alpha_expansion.h"
#include "benchmarks/peer/blend_modes.h"
#include "benchmarks/peer/measurement.h"

namespace zarn_bench {

struct results {
    std::string command;
    std::vector<pixel_form> forms; // of the comparison, in order
    std::vector<unsigned> sides;   // the same
    alpha_shares alpha;            // of the largest picture
    double foreign_load = 0.0;     // share of the machine that others used during the run
    std::vector<yardstick> memory;
    std::vector<measurement> measurements;
    std::vector<blend_times> blends;
    std::vector<expansion> expansions;
    struct pairing {
        const operation* what;
        double difference;
    };
    std::vector<pairing> pairings;
};

void write_report(std::ostream& out, const results& run);

// How many bars were met, and which were not.
void write_verdict(std::ostream& out, const results& run);

} // namespace zarn_bench
