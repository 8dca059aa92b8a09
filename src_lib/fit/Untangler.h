#pragma once

#include <cstddef>
#include <vector>

#include "CrossingIndex.h"
#include "FitMesh.h"
#include "countCrossings.h"
#include "kel.h"

namespace TARN_KEL {

/// Moves vertices until no triangles of a mesh pass through each other, as far as moves can do that.
///
/// A vertex of triangles that cross others goes part of the way back to where it was before, or towards the mean of its
/// neighbours, to the place with the fewest crossings; several times over, until none is left or nothing helps. So the
/// number of crossings only falls.
class Untangler {
public:
    /// mesh: referred to. vStart: for each vertex a place where it crossed nothing, or less.
    Untangler(FitMesh& mesh, const std::vector<Vector3>& vStart)
        : fitMesh(mesh), vFormer(vStart), index(mesh.meanEdgeLength()) {}

    /// The pairs that cross of some triangles, which are in ascending order. O(n log n).
    std::vector<CrossingPair> crossingsAmong(const std::vector<FitIndex>& vTriangle) const;
    /// vMovable: the vertices that may move, in ascending order; none of them is a hub. vPair: the pairs that are to be
    /// parted. Returns the number of vertices that moved. O(n) for n triangles where there are pairs, and in proportion to
    /// their number.
    std::size_t untangle(const std::vector<FitIndex>& vMovable, std::vector<CrossingPair> vPair);
    /// The movable vertices of triangles that still cross, as of the last search; in ascending order.
    const std::vector<FitIndex>& verticesLeft() const { return vLeft; }

private:
    void renewCrossings(const std::vector<FitIndex>& vMoved, std::vector<CrossingPair>& vPair) const;
    std::vector<FitIndex> verticesOf(const std::vector<CrossingPair>& vPair) const;
    std::vector<FitIndex> sweep(std::vector<FitIndex> vVertex);
    std::size_t crossingsAt(FitIndex vertex, const Vector3& there) const;
    bool improve(FitIndex vertex);
    TriangleCorners cornersWith(FitIndex t, FitIndex vertex, const Vector3& there) const;

    FitMesh& fitMesh;
    const std::vector<Vector3>& vFormer;
    CrossingIndex index;
    std::vector<FitIndex> vLeft;
};

}  // namespace TARN_KEL
