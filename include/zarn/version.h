// The version of the library, stated here and nowhere else.
#pragma once

#include <zarn/export.h>

#define ZARN_VERSION_MAJOR 0
#define ZARN_VERSION_MINOR 1
#define ZARN_VERSION_PATCH 0

/// The version of these headers as one number that grows: 10203 for 1.2.3.
#define ZARN_VERSION (ZARN_VERSION_MAJOR * 10000 + ZARN_VERSION_MINOR * 100 + ZARN_VERSION_PATCH)

/// The version of the library that runs, as ZARN_VERSION counts it. Before 1.0 a program runs with the minor version
/// that it was compiled with, after it with any of the same major version that is not older.
ZARN_API unsigned int zarn_get_version();
