// The spacing of a cloud whose points have no order, and the grid of a run.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "Calc.h"
#include "RunInput.h"
#include "inputPoints.h"
#include "kel.h"

namespace TARN_KEL {

/// Measures the surface that the points lie on, without a search for neighbours.
/// vPoints: all within bounds. Progress: step "CL_eres".
/// Returns the area; none where no two points are more than a few millionths of the longest side apart.
/// Cost: O(n log n), 8 bytes per point; uses the pool.
std::optional<double> measureArea(const std::vector<Point3>& vPoints, const PointBounds& bounds);

/// The cell edge at which hardly any cell of the surface is empty when that many points share the area.
double spacingForArea(double area, std::size_t numPoints);

/// The estimated spacing of the points. When the points nearly coincide there is no surface, and any spacing will do: it is
/// their extent, or 1.0 for an extent of 0.
/// numSharing: how many points share the surface, usually all.
double estimateSpacing(const std::vector<Point3>& vPoints, const PointBounds& bounds, std::size_t numSharing);

/// The spacing of a run.
struct RunSpacing {
    std::optional<double> detected;  ///< none where the input gives a spacing
    double used;                     ///< the edge of a grid cell; makeGrid() refuses what is no length
};
/// The spacing that the input gives, else the estimated one times its factor. numSharing: as for estimateSpacing().
RunSpacing chooseSpacing(const std::vector<Point3>& vPoints, const PointBounds& bounds, std::size_t numSharing,
                         const RunInput& input);

/// The distance that makeGrid() keeps between the points and the sides, in cells.
constexpr double MARGIN_CELLS = 5000.0;

/// Whether a grid of such cells can hold the points, with bits of their coordinates to spare for places within a cell.
bool canBeGridded(const PointBounds& bounds, double spacing);

/// A grid of cubes of edge usedSpacing with a margin of MARGIN_CELLS around the bounds, with as few levels as possible.
/// Throws KelBugException for a spacing that isn't a positive number, for more than 2^21 cells along an axis, and for a
/// spacing that is too small for the precision of the coordinates.
Calc makeGrid(const PointBounds& bounds, double usedSpacing);
/// The same with a corner of a cell at the origin, which may be anywhere. Grids of one spacing and origin have one lattice.
Calc makeGridAt(const Point3& origin, const PointBounds& bounds, double usedSpacing);

}  // namespace TARN_KEL
