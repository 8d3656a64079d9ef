#include "benchmarks/peer/report.h"

#include <algorithm>
#include <thread>

#include "benchmarks/peer/machine.h"
#include "benchmarks/peer/markdown.h"

namespace zarn_bench {

namespace {

const char* const preamble =
    R"(The operations of the RGBA images, of one-value images (`zarn_image_channel`) and of float images beside OpenCV's
nearest equivalents. This page is written by `./bench`, which installs OpenCV where it is missing (the library itself
never needs it), builds, and times both in one program and one run.

How it is measured:

- The same picture on both sides: photo-like RGBA of the depth, with round transparent holes that have soft rims; of one
  value its green; for regions and distances blobs of one value.
- The sides take turns call by call, every other round in reverse order; each figure is the median. Calls too short for
  the clock are timed in batches. OpenCV runs with the same number of threads, without OpenCL.
- An operation of ours replaces its own pixel array, so its image is restored from the source before each call, outside
  of the measured time; OpenCV's source is rewritten likewise. Where ours builds a new array, OpenCV allocates its
  destination afresh too and releases it within the call, as ours releases its old array. OpenCV keeps its intermediate
  images between calls; ours allocates them each time.
- OpenCV takes alpha for a fourth channel. Where an operation mixes pixels, the *alpha form* keeps invisible colour out
  by OpenCV's own means: premultiply, operate, unpremultiply; for 16 bits, which it has no conversion for, `multiply`
  and `divide` by an image of alpha do that.
- The ratio is OpenCV's time divided by ours: above 1 ours is faster. Bars are the least ratios that the project asks of
  itself, with 2 threads; `/ alpha` tells that a bar is against the alpha form.
- Both cores are awake when a call begins, as in a program that runs one operation after the other.
- Freed arrays of up to 32 MiB stay with the process and are used again, as in any process that has worked on images for
  a while; larger ones are fetched from the system each time, on both sides: ours in large pages, which it asks for.
  A virtual machine whose host takes back free memory pays some ten times as much for pages that are lent anew, in calls
  that chance picks: at 4096² each figure is the median of at least nine.
- Operations marked \* differ in meaning from OpenCV's: see the end of the page.
- Times are nanoseconds per pixel of the source. *1 to 2* is how many times faster ours is with two threads than with
  one. *Peak memory* is the most that is allocated during the call, the image included, as a multiple of the image.

)";

void write_run(std::ostream& out, const results& run) {
    const auto percent = [](double part) { return digits(100.0 * part) + " %"; };
    markdown_table table({"run", ""});
    table.add({"date", today()});
    table.add({"command", "`" + run.command + "`"});
    table.add({"CPU", cpu_model()});
    table.add({"vector unit", widest_vector_unit()});
    table.add({"cores", std::to_string(std::thread::hardware_concurrency())});
    table.add({"compiler", compiler()});
    table.add({"OpenCV", peer::version()});
    table.add({"other load", percent(run.foreign_load) + " of the cores, on average over the run"});
    table.add({"picture", percent(run.alpha.transparent) + " transparent, " + percent(run.alpha.partial) + " partial"});
    table.write(out, 2);
}

const measurement* find(const results& run, const operation* what, unsigned side, unsigned threads) {
    for (const measurement& one : run.measurements)
        if (one.what == what && one.side == side && one.threads == threads) return &one;
    return nullptr;
}

std::string marked_name(const operation& one) { return one.name + (one.difference.empty() ? "" : " \\*"); }

std::string floor_text(const measurement& one) {
    if (one.floor() <= 0.0) return "";
    return digits(one.floor()) + (one.what->floor.against == peer_form::alpha ? " / alpha" : "");
}

std::string verdict(const measurement& one) {
    if (one.floor() <= 0.0) return "";
    return one.meets_floor() ? "yes" : "**no**";
}

void write_size(std::ostream& out, const results& run, const pixel_form& form, unsigned side) {
    const auto belongs = [&form, side](const measurement& one) { return one.side == side && one.what->form == form; };
    const bool has_limit =
        std::any_of(run.measurements.begin(), run.measurements.end(),
                    [belongs](const measurement& one) { return belongs(one) && one.moved.count() > 0; });
    std::vector<std::string> heads = {"operation",   "threads", "ours", "OpenCV", "OpenCV alpha form", "ratio",
                                      "ratio alpha", "bar",     "met",  "1 to 2", "peak memory"};
    if (has_limit) heads.emplace_back("memory limit");
    markdown_table table(std::move(heads));
    for (const measurement& one : run.measurements) {
        if (!belongs(one)) continue;
        const auto time = [&one](seconds t) { return t.count() > 0 ? digits(one.nanoseconds_per_pixel(t)) : ""; };
        const measurement* const alone = one.threads == 2 ? find(run, one.what, side, 1) : nullptr;
        const bool has_alpha_form = one.peer_alpha.count() > 0;
        std::vector<std::string> cells = {marked_name(*one.what),
                                          std::to_string(one.threads),
                                          time(one.ours),
                                          time(one.peer_plain),
                                          time(one.peer_alpha),
                                          digits(one.ratio(peer_form::plain)),
                                          has_alpha_form ? digits(one.ratio(peer_form::alpha)) : "",
                                          floor_text(one),
                                          verdict(one),
                                          alone ? digits(alone->ours / one.ours) : "",
                                          digits(one.peak_memory)};
        if (has_limit) cells.push_back(share(one.moved.count(), one.ours.count()));
        table.add(std::move(cells));
    }
    if (table.is_empty()) return;
    out << "## " << name_of(form) << ", " << size_name(side) << "\n\n";
    table.write(out, 1);
}

void write_memory_shares(std::ostream& out, const results& run) {
    markdown_table table(
        {"operation", "pixels", "threads", "ours", "limit", "share", "limit, new array", "share, new array"});
    for (const measurement& one : run.measurements) {
        if (one.moved.count() <= 0) continue;
        const bool makes_array = one.moved_to_new.count() > 0;
        table.add({one.what->name, name_of(one.what->form), std::to_string(one.threads),
                   digits(one.nanoseconds_per_pixel(one.ours)), digits(one.nanoseconds_per_pixel(one.moved)),
                   share(one.moved.count(), one.ours.count()),
                   makes_array ? digits(one.nanoseconds_per_pixel(one.moved_to_new)) : "",
                   makes_array ? share(one.moved_to_new.count(), one.ours.count()) : ""});
    }
    if (table.is_empty()) return;
    out << "## Memory limit at 4096²\n\n"
           "The *limit* is the time in which as many bytes as the operation must at least read and write are copied,\n"
           "filled, read or changed in place, by `memcpy` and the like, with as many threads, in the same turns as "
           "the\n"
           "operation itself. Nothing is computed; *share* is this time divided by ours. An operation that makes a "
           "new\n"
           "array has to get its pages from the system too: the *new array* columns do the same into a freshly "
           "allocated\n"
           "array, in large pages. Arrays up to 32 MiB are recycled by the C library and cost nothing of the kind.\n\n";
    table.write(out, 1);
}

void write_memory(std::ostream& out, const results& run) {
    if (run.memory.empty()) return;
    out << "What the memory gives, on arrays of 64 MiB:\n\n";
    markdown_table table({"pass", "threads", "ms", "GB/s", "ns per 4 bytes of the array"});
    for (const yardstick& one : run.memory)
        table.add({one.name, std::to_string(one.threads), digits(one.time.count() * 1e3),
                   digits(one.bytes / one.time.count() * 1e-9), digits(one.time.count() * 1e9 / (1 << 24))});
    table.write(out, 1);
}

void write_latency(std::ostream& out, const results& run) {
    markdown_table table({"operation", "size", "threads", "ours, µs", "threads started", "their start and join, µs",
                          "part of ours", "OpenCV, µs", "OpenCV alpha form, µs"});
    const auto microseconds = [](seconds time) { return time.count() > 0 ? digits(time.count() * 1e6) : ""; };
    for (const measurement& one : run.measurements) {
        if (one.side > small_image) continue;
        table.add({one.what->name, size_name(one.side), std::to_string(one.threads), microseconds(one.ours),
                   std::to_string(one.threads_started), microseconds(one.thread_start),
                   share(one.thread_start.count(), one.ours.count()), microseconds(one.peer_plain),
                   microseconds(one.peer_alpha)});
    }
    if (table.is_empty()) return;
    out << "## Latency\n\n"
           "Small images: one call, and what it costs to start and join as many threads as the operation started, "
           "doing\n"
           "nothing, timed in the same turns. OpenCV keeps its threads between calls.\n\n";
    table.write(out, 2);
}

void write_blends(std::ostream& out, const results& run) {
    if (run.blends.empty()) return;
    out << "## Blend modes\n\n"
           "The fixed modes beside one another, 2 threads, opacity 0.7: nanoseconds per pixel and times mode 0. None "
           "is\n"
           "to take more than twice as long as that.\n\n";
    std::vector<std::string> heads = {"mode"};
    for (const blend_times& one : run.blends) {
        heads.push_back(name_of({one.bits, 4}) + ", " + size_name(one.side));
        heads.emplace_back("times mode 0");
    }
    markdown_table table(std::move(heads));
    for (unsigned mode = 0; mode < blend_mode_count; ++mode) {
        std::vector<std::string> cells = {std::to_string(mode) + " " + blend_mode_name(mode)};
        for (const blend_times& one : run.blends) {
            cells.push_back(digits(one.nanoseconds_per_pixel(mode)));
            cells.push_back(digits(one.against_plainest(mode)));
        }
        table.add(std::move(cells));
    }
    table.write(out, 1);
}

void write_expansion(std::ostream& out, const results& run) {
    if (run.expansions.empty()) return;
    out << "## expand_where_alpha\n\n"
           "Has no peer. 8 bits, threshold 254, rings without limit.\n\n";
    markdown_table table(
        {"what is filled", "size", "threads", "filled pixels", "ms", "ns per filled pixel", "peak memory"});
    for (const expansion& one : run.expansions)
        table.add({one.name, size_name(one.side), std::to_string(one.threads), std::to_string(one.filled),
                   digits(one.time.count() * 1e3), digits(one.time.count() * 1e9 / static_cast<double>(one.filled)),
                   digits(one.peak_memory)});
    table.write(out, 2);
}

void write_pairings(std::ostream& out, const results& run) {
    if (run.pairings.empty()) return;
    out << "## What is compared\n\n"
           "Ours gives exact results, skips invisible colour and truncates where it is defined to; OpenCV rounds or "
           "uses\n"
           "fixed point, and its alpha form weights colour by alpha where ours only asks whether a pixel is visible. "
           "The\n"
           "last column is the mean difference of the two results in levels of 255, the larger of that of alpha and "
           "that\n"
           "of colour on opaque pixels, checked before the run.\n\n";
    markdown_table table({"operation", "pixels", "OpenCV", "mean difference"});
    for (const results::pairing& one : run.pairings)
        table.add(
            {marked_name(*one.what), name_of(one.what->form), peer::description(*one.what), digits(one.difference)});
    table.write(out, 3);
    std::vector<std::string> items; // both depths say mostly the same
    for (const results::pairing& one : run.pairings) {
        if (one.what->difference.empty()) continue;
        const std::string item = one.what->name + ": " + one.what->difference;
        if (std::find(items.begin(), items.end(), item) == items.end()) items.push_back(item);
    }
    for (const std::string& item : items) write_item(out, item);
}

} // namespace

void write_verdict(std::ostream& out, const results& run) {
    unsigned set = 0;
    std::vector<std::string> missed;
    for (const measurement& one : run.measurements) {
        if (one.floor() <= 0.0) continue;
        ++set;
        if (one.meets_floor()) continue;
        std::string reason = one.what->bound.empty() ? "" : ". " + one.what->bound;
        if (one.thread_start.count() > 0)
            reason += ". Of its " + digits(one.ours.count() * 1e6) + " µs the start and join of its threads take " +
                      digits(one.thread_start.count() * 1e6) + "; without them the ratio would be " +
                      digits(one.ratio_without_thread_start());
        missed.push_back(one.what->name + ", " + name_of(one.what->form) + ", at " + size_name(one.side) + ": " +
                         digits(one.ratio(one.what->floor.against)) + " of " + floor_text(one) + reason);
    }
    for (const blend_times& one : run.blends) {
        for (unsigned mode = 1; mode < blend_mode_count; ++mode) {
            ++set;
            if (one.against_plainest(mode) <= blend_mode_limit) continue;
            missed.push_back(std::string("blend mode ") + blend_mode_name(mode) + ", " + name_of({one.bits, 4}) +
                             ", at " + size_name(one.side) + ": " + digits(one.against_plainest(mode)) +
                             " times mode 0, of at most " + digits(blend_mode_limit));
        }
    }
    if (!set) return;
    out << set - missed.size() << " of " << set << " bars met." << (missed.empty() ? "" : " Not met:") << "\n\n";
    if (missed.empty()) return;
    for (const std::string& one : missed) write_item(out, one);
    out << '\n';
}

void write_report(std::ostream& out, const results& run) {
    out << "# Performance\n\n" << preamble;
    write_run(out, run);
    write_verdict(out, run);
    for (const pixel_form& form : run.forms)
        for (const unsigned side : run.sides) write_size(out, run, form, side);
    write_blends(out, run);
    write_memory_shares(out, run);
    write_memory(out, run);
    write_latency(out, run);
    write_expansion(out, run);
    write_pairings(out, run);
}

} // namespace zarn_bench
