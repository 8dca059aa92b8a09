#pragma once

#include <cstddef>
#include <vector>

#include "FitState.h"
#include "countCrossings.h"
#include "kel.h"

namespace TARN_KEL {

/// Triangles and where their vertices are, in the caller's unit.
struct PlacedTriangles {
    std::vector<Point3> vVertex;
    std::vector<FitTriangle> vTriangle;
};

/// Takes back what a fit did around triangles that cross since, so that no pair crosses but those that did before.
///
/// Vertices there go back to their former places, and the flips and splits there aren't done. Where that isn't enough more
/// is taken back around it, at the latest everything.
class CrossingUndo {
public:
    /// before: the mesh without the fit. vHistory: what the fit performed. Both are referred to.
    CrossingUndo(const PlacedTriangles& meshBefore, const std::vector<EdgeChange>& vHistory)
        : before(meshBefore), vChange(vHistory) {}

    /// fitted: the mesh as the fit left it; vertices that it created are behind the others, in their order. vPair: the pairs
    /// that cross in it. Returns how many are left. Cost: where there are pairs, that of countCrossings() in each round; two
    /// or three are usual.
    std::size_t run(PlacedTriangles& fitted, std::vector<CrossingPair> vPair);

private:
    bool isFromBefore(const PlacedTriangles& now, FitIndex triangle) const;
    bool isNew(const PlacedTriangles& now, const CrossingPair& pair) const;
    void markAround(const PlacedTriangles& now, const std::vector<CrossingPair>& vNew, std::size_t numRings);
    void markRings(const PlacedTriangles& now, std::size_t numRings);
    bool isTakenBack(const EdgeChange& change) const;
    PlacedTriangles madeAgain(const std::vector<Point3>& vFitted);

    const PlacedTriangles& before;
    const std::vector<EdgeChange>& vChange;
    std::vector<CrossingPair> vPairBefore;
    std::vector<unsigned char> vBack;  // of the vertices of the fit, those around which nothing is done
    std::vector<FitIndex> vOrigin;     // of each vertex as the mesh is now, its number in the fit
};

}  // namespace TARN_KEL
