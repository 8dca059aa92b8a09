// The points that a mesh is fitted to, and what is known of each.
#pragma once

#include <cstddef>
#include <vector>

#include "FitMesh.h"
#include "PointGrid.h"
#include "kel.h"

namespace TARN_KEL {

/// The points that take part, in the order of a grid; one entry per point in each list.
struct FitPoints {
    std::vector<Vector3> vPlace;   ///< as measured
    std::vector<Vector3> vSide;    ///< the normal of the nearest vertex of the mesh: tells the two sides of a sheet apart
    std::vector<FitIndex> vPiece;  ///< the piece of the mesh that the point belongs to

    std::vector<Vector3> vNormal;  ///< of the surface at the point; not rounded at creases
    std::vector<Vector3> vFitted;  ///< where the point would be without noise

    double noise = 0.0;     ///< standard deviation of the noise along the normal, as far as it can be told from detail
    double residual = 0.0;  ///< what is left of it in vFitted
    double radius = 0.0;    ///< of the neighbourhoods that were averaged

    std::size_t size() const { return vPlace.size(); }
};

/// The spacing of points: the median of the mean distance to the six nearest, over a sample; 0.0 where there are too few.
/// vPlace: finite, coordinates of at least 0.0. guess: a length of about that size, greater than 0.0.
double spacingOfPoints(const std::vector<Vector3>& vPlace, double guess);

/// Replaces points that lie many to a cell by the mean point of each cell, so that the cost of what follows doesn't grow
/// with their density; leaves others as they are. The order within a cell counts for the last bits.
void thinDensePoints(std::vector<Vector3>& vPlace, double cellEdge);

/// The points within `reach` of a vertex of the mesh. vNormal: of the vertices. Lengths in any one unit, coordinates of at
/// least 0.0. cellEdge: of the grid whose order the points get.
FitPoints selectPoints(const std::vector<Vector3>& vPlace, const FitMesh& mesh, const std::vector<Vector3>& vNormal,
                       double reach, double cellEdge);

}  // namespace TARN_KEL
