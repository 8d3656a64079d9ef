#include <zarn/subset.h>

zarn_subset_s::zarn_subset_s()
    : min_x(0xFFFFFFFFu)
    , max_x(0)
    , min_y(0xFFFFFFFFu)
    , max_y(0)
    , points(nullptr) {}

void zarn_subset_s::free() {
    delete points; // the list releases its array
    *this = zarn_subset_s();
}
