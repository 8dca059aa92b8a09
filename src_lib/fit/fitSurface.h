// A mesh fitted to the points that it was made of: where the surface is, by all points, with sharp edges and without noise.
//
//     points    those near the mesh, each with the side and the piece of the mesh that it belongs to
//     sheets    the noise of the points, the normal of the surface at each, and where it would be without noise
//     mesh      vertices moved to sheets, creases and corners, edges flipped and split
#pragma once

#include <cstddef>
#include <vector>

#include "FitMesh.h"
#include "MeshFitter.h"
#include "kel.h"

namespace TARN_KEL {

/// The fitted mesh, and how it came about. Lengths are in the unit of the points.
struct FittedSurface {
    std::vector<Point3> vVertex;         ///< those that were given in their order, then those created on creases
    std::vector<FitTriangle> vTriangle;  ///< those that were given in their order, flipped or cut, then new ones
    std::size_t numPoints = 0;           ///< that took part
    double spacing = 0.0;                ///< of the points; 0.0: there were too few, and nothing was done
    double noise = 0.0;                  ///< standard deviation of the points along the normal
    double radius = 0.0;                 ///< of the neighbourhoods that were averaged
    FitCounts counts;
};

/// Fits a mesh to points. Points farther than two cells from all vertices don't take part.
///
/// vVertex: finite. vTriangle: three different vertices each; any mesh, but only edges of two triangles that agree in
/// orientation are flipped and split. vPoints: those that aren't finite don't take part. cellEdge: of the grid that the mesh
/// was made on; 0.0: by the edges of the mesh. bNoise: takes noise out.
///
/// Reports under the steps "FT_points" and "FT_rounds". O(n log n). Uses the pool; the result depends neither on the number
/// of workers nor on the order of the points.
FittedSurface fitSurface(const std::vector<Point3>& vVertex, const std::vector<FitTriangle>& vTriangle,
                         const std::vector<Point3>& vPoints, double cellEdge, bool bNoise);

}  // namespace TARN_KEL
