// What the signed distance fields have in common: the one round the rims of a sheet (Component) and that of a hole (Hole).
#pragma once

#include "kel.h"

namespace TARN_KEL {

inline bool haveOppositeSigns(float a, float b) {
    return (a > 0 && b < 0) || (a < 0 && b > 0);
}

/// Where the value is 0 between two points with distances of opposite signs, given by their magnitudes.
template <typename Real>
Point3 zeroBetween(const Point3& a, Real absA, const Point3& b, Real absB) {
    return a + ((b - a) / (absA + absB)) * absA;
}

}  // namespace TARN_KEL
