// Start and stop of the image-file libraries, and the process-wide timer.
#pragma once

#include <zarn/export.h>

/// Starts the image-file library and its utility layer, each at most once per process, and lets every later save
/// replace an existing file. Call it once, from one thread, before the first load or save of an ordinary image file;
/// without it those that DevIL serves fail with their "Illegal operation." message. Work on pixels in memory and the
/// native binary format need no start.
ZARN_API void zarn_initialize();

/// Shuts the image-file library down; called once at the end of the process, after the last load and save.
/// is_zarn_initialized() keeps answering 1, and a later zarn_initialize() does not start the libraries again.
ZARN_API void zarn_shutdown();

/// 1 when both libraries have been started, else 0.
ZARN_API unsigned int is_zarn_initialized();

/// Starts the one timer of the process. The timer is not synchronised: start and read it from one thread.
ZARN_API void zarn_timer_start();

/// Milliseconds since the last zarn_timer_start(); not meaningful before the first.
ZARN_API double zarn_timer_get_time();
