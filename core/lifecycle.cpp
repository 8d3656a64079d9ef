#include <zarn/lifecycle.h>
#include <zarn/version.h>

#include <chrono>

#include "core/devil.h"

namespace {

using timer_clock = std::chrono::steady_clock;

double ticks_per_millisecond = 0.0;
timer_clock::rep timer_start_count = 0;

} // namespace

unsigned int zarn_get_version() { return ZARN_VERSION; }

void zarn_initialize() { zarn::devil::start(); }

void zarn_shutdown() { zarn::devil::shut_down(); }

unsigned int is_zarn_initialized() { return zarn::devil::is_started() ? 1u : 0u; }

void zarn_timer_start() {
    using period = timer_clock::period;
    ticks_per_millisecond = static_cast<double>(period::den) / static_cast<double>(period::num) * 0.001;
    timer_start_count = timer_clock::now().time_since_epoch().count();
}

double zarn_timer_get_time() {
    if (ticks_per_millisecond == 0.0) return 0.0;
    const timer_clock::rep elapsed = timer_clock::now().time_since_epoch().count() - timer_start_count;
    return static_cast<double>(elapsed) / ticks_per_millisecond;
}
