// Constants and weights that several steps of a fit share. Lengths in spacings of the points unless they say cells.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

constexpr double FIT_GRID_EDGE = 2.2;  // of the grid of the points; about the radius of most searches
constexpr double OTHER_SIDE = -0.3;    // cosine of a point's normal and that of the surface: beyond, it is of another sheet
constexpr double FOLD = -0.5;          // cosine of the normals of neighbours that no change may make
constexpr double MIN_HEIGHT = 0.2;     // cells; of a triangle that a change makes, unless it was lower before
constexpr double MAX_TO_CORNER = 2.2;  // cells; a reconstruction cuts corners by that much

inline double square(double x) {
    return x * x;
}

/// 1 at distance 0, falling to 0 at the radius.
inline double weightWithin(double sqDistance, double radius) {
    const double t = 1.0 - sqDistance / (radius * radius);
    return t > 0.0 ? t * t : 0.0;
}

/// The upper one of two middle values; 0.0 of none. The values change their order.
inline double medianOf(std::vector<double>& values) {
    if (values.empty()) return 0.0;
    const auto itMiddle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), itMiddle, values.end());
    return *itMiddle;
}

/// The vector divided by its length; the other one where it has none.
inline Vector3 unitOr(const Vector3& v, const Vector3& otherwise) {
    const double length = v.length();
    return length > 0.0 ? v / length : otherwise;
}

}  // namespace TARN_KEL
