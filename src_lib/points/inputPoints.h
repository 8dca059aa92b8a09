// The bounds of input points, and the treatment of coordinates that aren't finite.
#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// An axis-aligned box, empty by default.
struct PointBounds {
    static constexpr double UNSET = std::numeric_limits<double>::max();
    std::array<double, 3> low{UNSET, UNSET, UNSET};
    std::array<double, 3> high{-UNSET, -UNSET, -UNSET};

    /// The longest of the three sides.
    double largestExtent() const;
    /// The box with all sides moved outwards by the margin.
    PointBounds widened(double margin) const;
};

/// The bounds of the points. Throws KelBugException for no points. O(n).
PointBounds boundsOf(const std::vector<Point3>& vPoints);

/// Removes the points of a scan that have a coordinate that isn't finite. Returns how many there were. O(n).
std::size_t dropNonFinitePoints(std::vector<Point3>& vPoints);

/// Moves all corners of each triangle with a coordinate that isn't finite to one point of the soup. The rasteriser leaves
/// such flat triangles out and counts them.
/// vCorners: three per triangle; the last triangle may be incomplete.
/// Cost: O(n).
void flattenNonFiniteTriangles(std::vector<Point3>& vCorners);

}  // namespace TARN_KEL
