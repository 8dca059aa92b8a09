// The points that are added in gaps.
#pragma once

#include <vector>

#include "CloudSample.h"
#include "gapTriangles.h"
#include "nodePlanes.h"

namespace TARN_KEL {

/// One point for each empty cell that the triangles run through, drawn towards the planes of their corners: the mean of
/// samples half a cell apart. All lie within the bounds and in their cells. By ascending cell. O(n log n) for n samples,
/// about five per added point; uses the pool.
std::vector<Point3> pointsInGaps(const std::vector<GapTriangle>& vTriangle, const NodePlanes& planes,
                                 const CloudSample& sample);

}  // namespace TARN_KEL
