// Planes through the neighbours of points.
#pragma once

#include <cstddef>
#include <vector>

#include "FitPoints.h"
#include "Neighbourhoods.h"

namespace TARN_KEL {

/// The plane through the neighbours of a point.
struct PointPlane {
    Vector3 normal, centre;
    double sqSpread = 0.0;  // mean square of the distance of the neighbours from it
};

/// The planes through the neighbours within a radius, at most that of the neighbourhoods. Where these are too few or on a
/// line, the normal is that of the side and the spread is beyond all others. O(pairs of neighbours), uses the pool.
std::vector<PointPlane> planesOf(const FitPoints& points, const Neighbourhoods& near, double radius);

}  // namespace TARN_KEL
