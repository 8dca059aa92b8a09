// A mesh fitted to the points that it was made of: where the surface is, by all points, with sharp edges and without noise.
//
//     points    those near the mesh, each with the side and the piece of the mesh that it belongs to
//     sheets    the noise of the points, the normal of the surface at each, and where it would be without noise
//     mesh      vertices moved to sheets, creases and corners, edges flipped and split
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "CrossingUndo.h"
#include "FitMesh.h"
#include "FitPoints.h"
#include "LocalFrame.h"
#include "MeshFitter.h"
#include "kel.h"

namespace TARN_KEL {

/// The fitted mesh, and how it came about. Lengths are in the unit of the points.
struct FittedSurface {
    /// The vertices and triangles that were given, in their order, moved, flipped and cut; then new ones on creases.
    PlacedTriangles placed;
    std::size_t numPoints = 0;  ///< that took part
    double spacing = 0.0;       ///< of the points; 0.0: there were too few, and nothing was done
    double noise = 0.0;         ///< standard deviation of the points along the normal
    double radius = 0.0;        ///< of the neighbourhoods that were averaged
    FitCounts counts;
    /// Pairs of triangles that cross, where no more may than before.
    std::optional<std::size_t> numCrossings;
};

/// A fit of a mesh to points, in two steps: what the points say, and the mesh. Between them it can be seen how noisy the
/// points are.
///
/// Reports under the steps "FT_points" and "FT_rounds". O(n log n). Uses the pool; the result depends neither on the number
/// of workers nor on the order of the points.
class SurfaceFit {
public:
    /// Looks at the points. Those farther than two cells from all vertices don't take part, nor do those that aren't finite.
    ///
    /// vVertex: finite. vTriangle: three different vertices each; any mesh, but only edges of two triangles that agree in
    /// orientation are flipped and split. Both are copied. cellEdge: of the grid that the mesh was made on; 0.0: by the
    /// edges of the mesh. bNoise: takes noise out.
    SurfaceFit(const std::vector<Point3>& vVertex, const std::vector<FitTriangle>& vTriangle, std::span<const Point3> given,
               double cellEdge, bool bNoise);

    /// The standard deviation of the points from the surface over their spacing; 0.0 where they say nothing.
    double noise() const { return points.noise; }
    /// Where the points that take part would be without noise.
    std::vector<Point3> pointsWithoutNoise() const;
    /// Fits the mesh. bNoCrossings: no pair of triangles crosses afterwards that doesn't before. To be called once.
    FittedSurface fit(bool bNoCrossings);

private:
    PlacedTriangles placed(const std::vector<Vector3>& vStart) const;
    void lookAt(std::span<const Point3> given, double extent, bool bNoise);

    FittedSurface result;
    double cell = 0.0;  // edge, in the caller's unit
    LocalFrame frame;
    FitMesh mesh;  // as given, in units of the frame; empty where the points say nothing
    VertexSides sides;
    FitPoints points;
};

}  // namespace TARN_KEL
