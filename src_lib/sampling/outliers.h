// Outliers: points of a cloud that belong to no surface, found before a run.
//
// One stray point a million units away makes the grid of a run so large that nothing is left of the surface, and strays
// near a surface grow pieces of their own and make the estimated spacing too large. They are found in two steps. What lies
// far from the rest is found from the points alone; what is left has a spacing, and with that strays near the surface are
// found. With one stray in twenty points the estimated spacing comes out up to a third too large. Estimate it again without
// them, and look a second time: what was near the surface for the first spacing may not be for the second.
//
// The results depend neither on the order of the points nor on the number of workers. Points that aren't finite must have
// been dropped before: dropNonFinitePoints().
#pragma once

#include <cstddef>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class CloudSample;

/// Finds points that lie far from the rest, at any distance.
///
/// Far is what is more than some twenty times the cloud's extent away from its middle, in groups of fewer than 16 different
/// places, or than one in 200 of all points. The extent is that of the middle 28% of the coordinates, so up to a third of
/// the points may be outliers. Larger parts of a scan stay, however far away; clouds of fewer than 64 points stay whole.
/// vPoints: finite, fewer than 2^32.
/// Returns their positions, ascending; none, after a warning, where more than 36% would be outliers, for then there is no
/// bulk.
/// O(n), and O(log n) for each outlier; 24 bytes a point. Uses the pool. Progress: step "SC_far".
std::vector<std::size_t> findFarOutliers(const std::vector<Point3>& vPoints);

/// Finds stray points: those that hardly have others near them and lie in nobody's sheet or line, and those that hover by a
/// cell to some three over a sheet.
///
/// What is alone is judged by its neighbours' own spacing: sparse regions, scan lines, rims, wires and small separate parts
/// stay. What hovers is judged in cells: tips, wires and thin walls over a sheet stay, but of a wall with less than a third
/// of the sheet's points some go. A few points within a spacing of each other count as one. sample: of these points, on a
/// grid whose cells are as large as the estimated spacing. Returns their positions, ascending. After a warning: none, where
/// more than 15% of the points are alone; none that hover, where those are so many. O(n), 2 to 6% of a run for clouds
/// without strays. Uses the pool. Progress: steps "SC_stray", "SC_hover".
std::vector<std::size_t> findStrays(const std::vector<Point3>& vPoints, CloudSample& sample);

/// Removes the points at these positions, ascending ones. The others keep their order. O(n).
void removePoints(const std::vector<std::size_t>& vPositions, std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
