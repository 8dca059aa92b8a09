// The points that a mesh is fitted to, and what is known of each.
#pragma once

#include <cstddef>
#include <vector>

#include "FitMesh.h"
#include "PointGrid.h"
#include "fitLimits.h"
#include "kel.h"

namespace TARN_KEL {

/// From where points are looked at: a place on the mesh sees those of its own piece, on its own side of the sheet. Walls
/// never mix, however near they are.
struct SurfaceSide {
    Vector3 normal;             ///< of the surface, roughly
    FitIndex piece = NO_INDEX;  ///< of the mesh
};

/// The sides of all vertices of a mesh.
struct VertexSides {
    std::vector<Vector3> vNormal;
    std::vector<FitIndex> vPiece;

    SurfaceSide of(FitIndex vertex) const { return {vNormal[vertex], vPiece[vertex]}; }
    /// Of an edge between two vertices.
    SurfaceSide between(FitIndex a, FitIndex b) const {
        const Vector3 sum = vNormal[a] + vNormal[b];
        return {unitOr(sum, sum), vPiece[a]};
    }
};
/// Pieces are vertices that triangles connect; each is named by one of its vertices.
VertexSides sidesOf(const FitMesh& mesh);

/// The points that take part, in the order of a grid; one entry per point in each list.
struct FitPoints {
    std::vector<Vector3> vPlace;     ///< as measured
    std::vector<Vector3> vSide;      ///< the normal of the nearest vertex of the mesh: tells the two sides of a sheet apart
    std::vector<FitIndex> vPiece;    ///< the piece of the mesh that the point belongs to
    std::vector<FitIndex> vNearest;  ///< the vertex that was the nearest when the fit began

    std::vector<Vector3> vNormal;  ///< of the surface at the point; not rounded at creases
    std::vector<Vector3> vFitted;  ///< where the point would be without noise

    double noise = 0.0;     ///< standard deviation of the noise along the normal, as far as it can be told from detail
    double residual = 0.0;  ///< what is left of it in vFitted
    double radius = 0.0;    ///< of the neighbourhoods that were averaged

    std::size_t size() const { return vPlace.size(); }
    bool isSeenFrom(const SurfaceSide& side, FitIndex point) const {
        return vPiece[point] == side.piece && vNormal[point] * side.normal > OTHER_SIDE;
    }
};

/// The spacing of points: the median of the mean distance to the six nearest, over a sample; 0.0 where there are too few.
/// vPlace: finite, coordinates of at least 0.0. guess: a length of about that size, greater than 0.0.
double spacingOfPoints(const std::vector<Vector3>& vPlace, double guess);

/// Replaces the points of each cell that has many by their mean, so that the cost of what follows doesn't grow with their
/// density; leaves others as they are. The order within a cell counts for the last bits.
/// Coordinates of less than 1e15 cells.
void thinDensePoints(std::vector<Vector3>& vPlace, double cellEdge);

/// The points within `reach` of a vertex of the mesh. Lengths in any one unit, coordinates of at least 0.0. cellEdge: of the
/// grid whose order the points get.
FitPoints selectPoints(std::vector<Vector3> vPlace, const FitMesh& mesh, const VertexSides& sides, double reach,
                       double cellEdge);

}  // namespace TARN_KEL
