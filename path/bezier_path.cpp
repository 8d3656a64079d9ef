// Life cycle of a path.
#include <zarn/bezier_path.h>

zarn_bezier_path::zarn_bezier_path()
    : ___closed(0) {}

zarn_bezier_path::~zarn_bezier_path() = default;

zarn_bezier_path::zarn_bezier_path(const zarn_bezier_path& other)
    : zarn_bezier_path() {
    copy(other, 1);
}

zarn_bezier_path& zarn_bezier_path::operator=(const zarn_bezier_path& other) {
    copy(other, 1);
    return *this;
}

void zarn_bezier_path::copy(const zarn_bezier_path& other, int with_vertices) {
    if (!with_vertices) ___vertices.clear();
    if (this == &other) return;
    ___knots = other.___knots;
    const bool complete = ___knots.count == other.___knots.count;
    ___closed = complete ? other.___closed : 0;
    if (!complete) {
        ___vertices.clear();
    } else if (with_vertices) {
        ___vertices = other.___vertices;
    }
}

void zarn_bezier_path::free() {
    ___knots.clear();
    ___vertices.clear();
    ___closed = 0;
}
