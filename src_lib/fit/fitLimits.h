// Constants and weights that several steps of a fit share. Lengths in spacings of the points unless they say cells.
#pragma once

#include "kel.h"

namespace TARN_KEL {

constexpr double FIT_GRID_EDGE = 2.2;  // of the grid of the points; about the radius of most searches
constexpr double OTHER_SIDE = -0.3;    // cosine of a point's normal and that of the surface: beyond, it is of another sheet
constexpr double FOLD = -0.5;          // cosine of the normals of neighbours that no change may make
constexpr double LEAST_HEIGHT = 0.05;  // cells; of a triangle at a vertex that moves
constexpr double NEW_HEIGHT = 0.2;     // cells; of a triangle that takes the place of others

/// 1 at distance 0, falling to 0 at the radius.
inline double weightWithin(double sqDistance, double radius) {
    const double t = 1.0 - sqDistance / (radius * radius);
    return t > 0.0 ? t * t : 0.0;
}

/// The vector divided by its length; the other one where it has none.
inline Vector3 unitOr(const Vector3& v, const Vector3& otherwise) {
    const double length = v.length();
    return length > 0.0 ? v / length : otherwise;
}

}  // namespace TARN_KEL
