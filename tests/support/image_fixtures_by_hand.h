// The fixtures of formats that are written byte by byte here: BMP variants, ICO, DDS, PSD, PCX, SGI, RAS.
#pragma once

#include "tests/support/image_fixtures.h"

#include <vector>

namespace zarn_test {

void add_fixtures_by_hand(std::vector<image_fixture>& list);

} // namespace zarn_test
