// Times every operation beside its peer and writes the report. ./bench builds and runs this.
//
//   zarn_peer_benchmark [--quick] [--only NAME] [--output FILE]

#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/peer/check.h"
#include "benchmarks/peer/counting_allocator.h"
#include "benchmarks/peer/machine.h"
#include "benchmarks/peer/report.h"

namespace {

using namespace zarn_bench;

struct options {
    bool quick = false;
    std::string only; // part of a name; empty for all
    std::string output;
};

constexpr unsigned latency_side = 32;
constexpr unsigned check_side = 256;
const char* const expansion_name = "expand_where_alpha";
const char* const modes_name = "blend_modes";

constexpr subject_matter matters[] = {subject_matter::photo, subject_matter::labels};

picture draw(subject_matter matter, unsigned side, const pixel_form& form) {
    return matter == subject_matter::photo ? draw_photo(side, form) : draw_labels(side, form);
}

options parse(int count, char** arguments) {
    options result;
    for (int n = 1; n < count; ++n) {
        const std::string argument = arguments[n];
        if (argument == "--quick")
            result.quick = true;
        else if (argument == "--only" && n + 1 < count)
            result.only = arguments[++n];
        else if (argument == "--output" && n + 1 < count)
            result.output = arguments[++n];
        else
            throw std::invalid_argument("options: --quick, --only NAME, --output FILE");
    }
    return result;
}

patience patience_for(unsigned side, bool quick) {
    const double shorter = quick ? 0.4 : 1.0;
    if (side <= 256) return {seconds(0.25 * shorter), 20, 2000};
    if (side <= 1024) return {seconds(0.8 * shorter), 9, 200};
    return {seconds(1.6 * shorter), 9, 50}; // a host that lends memory page by page disturbs single calls
}

// Of all modes together.
patience patience_for_modes(unsigned side, bool quick) {
    const double shorter = quick ? 0.4 : 1.0;
    return {seconds((side <= 1024 ? 5.0 : 12.0) * shorter), 3, 100};
}

void tell(const measurement& one) {
    std::fprintf(stderr, "%-18s %-18s %5u^2, %u thread%s: ours %8.3f, peer %8.3f", one.what->name.c_str(),
                 name_of(one.what->form).c_str(), one.side, one.threads, one.threads == 1 ? " " : "s",
                 one.nanoseconds_per_pixel(one.ours), one.nanoseconds_per_pixel(one.peer_plain));
    if (one.peer_alpha.count() > 0)
        std::fprintf(stderr, ", alpha form %8.3f", one.nanoseconds_per_pixel(one.peer_alpha));
    std::fputs(" ns/pixel\n", stderr);
}

results run(const options& wanted) {
    results all;
    all.command = "./bench";
    if (wanted.quick) all.command += " --quick";
    if (!wanted.only.empty()) all.command += " --only " + wanted.only;

    const auto is_wanted = [&wanted](const std::string& name) { return name.find(wanted.only) != std::string::npos; };
    const auto wanted_operations = [&is_wanted](const pixel_form& form, subject_matter matter) {
        std::vector<const operation*> operations;
        for (const operation& one : our_operations(form))
            if (one.matter == matter && is_wanted(one.name)) operations.push_back(&one);
        return operations;
    };
    all.forms = compared_forms();
    std::string names = std::string(expansion_name) + ", " + modes_name;
    bool is_any = is_wanted(expansion_name) || is_wanted(modes_name);
    for (const pixel_form& form : all.forms) {
        for (const operation& one : our_operations(form)) {
            names += ", " + one.name;
            is_any = is_any || is_wanted(one.name);
        }
    }
    if (!is_any) throw std::invalid_argument("no operation is called so; there are " + names);

    for (const pixel_form& form : all.forms) {
        for (const subject_matter matter : matters) {
            const picture small = draw(matter, check_side, form);
            peer other(small);
            for (const operation* one : wanted_operations(form, matter))
                all.pairings.push_back({one, check_pair(*one, small, other)});
        }
    }

    settle_heap();
    const foreign_load others;
    all.sides = wanted.quick ? std::vector<unsigned>{1024} : std::vector<unsigned>{256, 1024, 4096};
    std::vector<unsigned> measured = all.sides;
    if (!wanted.quick) measured.insert(measured.begin(), latency_side);
    for (const pixel_form& form : all.forms) {
        const bool is_first = form == all.forms.front();
        const bool has_modes = form.channels == 4 && form.bits <= 16;
        // What few threads and small images tell, they tell of every form.
        const std::vector<unsigned> thread_counts = has_modes ? std::vector<unsigned>{1, 2} : std::vector<unsigned>{2};
        for (const unsigned side : measured) {
            if (!is_first && side <= small_image) continue;
            const patience limits = patience_for(side, wanted.quick);
            for (const subject_matter matter : matters) {
                const auto operations = wanted_operations(form, matter);
                if (operations.empty()) continue;
                const picture source = draw(matter, side, form);
                if (is_first) all.alpha = measure_alpha(source);
                peer other(source);
                for (const operation* one : operations) {
                    for (const unsigned threads : thread_counts) {
                        all.measurements.push_back(measure(*one, source, other, threads, limits));
                        tell(all.measurements.back());
                    }
                }
            }
            if (has_modes && side > small_image && is_wanted(modes_name))
                all.blends.push_back(
                    measure_blend_modes(draw_photo(side, form), patience_for_modes(side, wanted.quick)));
            if (!is_first || side == latency_side || !is_wanted(expansion_name)) continue;
            for (const unsigned threads : thread_counts)
                for (const expansion& one : measure_expansion(draw_photo(side, form), threads, limits))
                    all.expansions.push_back(one);
        }
    }
    if (!wanted.quick)
        for (const unsigned threads : {1u, 2u})
            for (const yardstick& one : measure_memory(threads, patience_for(4096, false))) all.memory.push_back(one);
    all.foreign_load = others.share();
    return all;
}

} // namespace

int main(int count, char** arguments) {
    try {
        const options wanted = parse(count, arguments);
        const results all = run(wanted);
        if (wanted.output.empty()) {
            write_report(std::cout, all);
            return 0;
        }
        std::ofstream file(wanted.output);
        write_report(file, all);
        file.close();
        if (!file) throw std::runtime_error("the report could not be written");
        write_verdict(std::cout, all);
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
