#include <zarn/points.h>

zarn_fpoint_s operator-(const zarn_fpoint_s& a, const zarn_fpoint_s& b) { return {a.x - b.x, a.y - b.y}; }
zarn_fpoint_s operator+(const zarn_fpoint_s& a, const zarn_fpoint_s& b) { return {a.x + b.x, a.y + b.y}; }
zarn_fpoint_s operator*(const zarn_fpoint_s& p, float f) { return {p.x * f, p.y * f}; }
zarn_fpoint_s operator*(float f, const zarn_fpoint_s& p) { return {p.x * f, p.y * f}; }
bool operator==(const zarn_point_s& a, const zarn_fpoint_s& b) { return zarn_fpoint_s(a) == b; }
