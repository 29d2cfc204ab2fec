// Narrowing a double to a float. A plain conversion of a finite value beyond
// the float range is undefined in C++; here it gives the infinity of its sign.
#pragma once

#include <cfloat>
#include <cmath>

namespace zeva {

inline float floatFromDouble(double v) {
    if (std::isfinite(v) && std::fabs(v) > double{FLT_MAX}) return std::signbit(v) ? -HUGE_VALF : HUGE_VALF;
    return static_cast<float>(v);
}

}  // namespace zeva
