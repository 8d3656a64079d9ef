// Plain forms of the transform engine's arithmetic, a pixel at a time.
#pragma once

#include "tests/reference/reference_image.h"

namespace zarn_test {

// What the engine makes of a kept image; outside the turned picture all samples are 0.
reference_image reference_transform(const reference_image& kept, int width, int height, double angle);

} // namespace zarn_test
