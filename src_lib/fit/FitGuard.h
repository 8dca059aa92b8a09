#pragma once

#include <cmath>
#include <vector>

#include "FitMesh.h"
#include "FitPoints.h"
#include "PointGrid.h"
#include "TriangleTree.h"
#include "fitLimits.h"
#include "kel.h"

namespace TARN_KEL {

/// Judges changes of a mesh by its shape and by the points, before they are made.
///
/// Two neighbours form a fold when their normals differ by more than some 110 to 120 degrees. A reconstruction has some, so
/// changes aren't asked to leave none, but to make none and to make none sharper.
///
/// Refers to all that it is given. The unit of length is the spacing of the points.
class FitGuard {
public:
    /// sides: of the vertices, kept up to date by the owner. cellEdge: of the grid that the mesh was made on.
    FitGuard(const FitMesh& mesh, const FitPoints& points, const PointGrid& grid, const VertexSides& sides, double cellEdge)
        : fitMesh(mesh), fitPoints(points), pointGrid(grid), vertexSides(sides), cell(cellEdge) {}

    /// No triangle becomes a sliver, turns away from both its former normal and the points, or folds over a neighbour.
    bool mayMove(FitIndex vertex, const Vector3& to) const;
    /// Whether a triangle that takes the place of others faces the way that they did, by their mean normal, or that the
    /// points do.
    bool mayReplace(const TrianglePlaces& t, const Vector3& former, const SurfaceSide& side) const;
    /// Whether a triangle `now` in the place of `then` folds anew over the neighbour over its edge; NO_INDEX: there is none.
    bool foldsOver(FitIndex neighbour, const Vector3& areaNow, const Vector3& areaThen) const;

    /// Whether the normal of a triangle agrees within 60 degrees with one of the four points nearest to it.
    bool agreesWithPoints(const TrianglePlaces& t, const SurfaceSide& side) const;
    /// The distance of a place from the surface that the three nearest points tell of; -1.0 where none are near.
    double distanceToPoints(const Vector3& place, const SurfaceSide& side) const;

    /// Triangles that would face away from the normal, counted twice, and slivers, if the vertex were there.
    int countBad(FitIndex vertex, const Vector3& there, const Vector3& normal) const;
    /// Folds around the vertex if it were there; slivers count by halves.
    double countFolds(FitIndex vertex, const Vector3& there) const;
    /// Whether the move takes the triangles away from a point that they reached, so that it is off them by more than
    /// `distance` and what noise adds: thin tips would shrink.
    bool leavesBare(FitIndex vertex, const Vector3& to, double distance = BARE) const;
    bool isFold(FitIndex t, FitIndex other) const;

private:
    static constexpr double BARE = 0.4;
    /// A triangle at a vertex that moves. Its area vectors as it is and then.
    struct MovedTriangle {
        FitIndex triangle;
        TrianglePlaces then;
        Vector3 former, moved;
    };
    /// The corners of t, one vertex of them moved.
    TrianglePlaces cornersWith(FitIndex t, FitIndex vertex, const Vector3& there) const;
    TrianglePlaces cornersOf(FitIndex t) const { return cornersWith(t, NO_INDEX, {}); }
    bool staysUpright(const MovedTriangle& t) const;
    bool facesAsBefore(const MovedTriangle& t, FitIndex vertex) const;
    bool foldsAnew(const MovedTriangle& t, const std::vector<MovedTriangle>& vStar) const;
    double minHeight() const { return MIN_HEIGHT * cell; }

    const FitMesh& fitMesh;
    const FitPoints& fitPoints;
    const PointGrid& pointGrid;
    const VertexSides& vertexSides;
    double cell;
};

inline Vector3 areaVector(const TrianglePlaces& t) {
    return areaVector(t[0], t[1], t[2]);
}
/// The square of the least height of a triangle; 0.0 for one without extent. area: its area vector.
double sqLeastHeight(const TrianglePlaces& t, const Vector3& area);
inline double leastHeight(const TrianglePlaces& t) {
    return std::sqrt(sqLeastHeight(t, areaVector(t)));
}
/// Whether two neighbours form a fold with the cosine of their normals `now`, which they didn't, or less so, with `then`.
inline bool isNewFold(double now, double then) {
    const double rounded = 1e-9;  // a flat sheet's fold stays what it is, but for the last bits
    return now < FOLD && now < then - rounded;
}

}  // namespace TARN_KEL
