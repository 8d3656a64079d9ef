#include "benchmarks/peer/blend_modes.h"

#include <iterator>
#include <memory>

#include <zarn/blend.h>

#include "benchmarks/peer/our_operations.h"

namespace zarn_bench {

namespace {

const char* const names[] = {"normal",     "lighten",      "darken",      "multiply",     "average",
                             "add",        "subtract",     "difference",  "negation",     "screen",
                             "exclusion",  "hard light",   "soft light",  "overlay",      "color dodge",
                             "color burn", "linear dodge", "linear burn", "linear light", "vivid light",
                             "pin light",  "hard mix",     "reflect",     "glow",         "phoenix"};
static_assert(std::size(names) == blend_mode_count && blend_mode_count == ZARN_BLEND_REPLACE);

} // namespace

const char* blend_mode_name(unsigned mode) { return names[mode]; }

blend_times measure_blend_modes(const picture& source, const patience& limits) {
    // One subject serves all, a mode at a time: its images are large.
    unsigned mode = 0;
    const std::unique_ptr<subject> one = start_blend(source.form.bits, mode)(source);
    one->set_threads(2);
    std::vector<contender> contenders;
    for (unsigned n = 0; n < blend_mode_count; ++n) {
        const auto prepare = [&one, &mode, n] {
            mode = n;
            one->prepare();
        };
        contenders.push_back({prepare, [&one] { one->run(); }, false});
    }
    return {source.form.bits, source.width, time_in_turn(contenders, limits)};
}

} // namespace zarn_bench
