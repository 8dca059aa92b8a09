// The sheet of a melted mesh that faces outward, beside the repair: no public function of the library reaches it.
#pragma once

#include <set>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class CTriangle;
class Rotx;

/// A walk over the outside of a mesh: over each edge to the triangle met first in a turn on the side that the present one
/// faces, turned over to agree with it. Corners must be one step apart at most, as extraction makes them (assertion).
class OutwardWalk {
public:
    /// Nothing is owned. sBorder: the vertices of the surface's border; may be empty.
    OutwardWalk(CMesh& mesh, Rotx& rotx, const std::set<CCD>& sBorder);

    /// Keeps of the triangles in vT what the walk reaches from one that faces outward, kills the others and lets those kept
    /// agree with it. It starts at borderStart() when there is a border, else at start(). Sorts vT by pointer and leaves
    /// marks. Throws (assertion) when no triangle in vT is alive. Cost: O(n log n).
    void keepReached(std::vector<CTriangle*>& vT);
    /// The triangle behind edge i. Null, though turned, where both ends of the edge are of the border; null at a border edge
    /// and where the turn has no order, after a line.
    CTriangle* next(CTriangle* pCT, int i);
    /// A triangle of the outside, turned over to face outward: at the vertex of the largest code in vT, so of the highest x;
    /// of those there the one with most corners at this x, then the youngest, whose coarse normal has an x component. Left
    /// as it is when none has. Throws (assertion) when no triangle in vT is alive.
    CTriangle* start(const std::vector<CTriangle*>& vT);
    /// Walks on from there, over all edges, to a triangle with a vertex of the border, which must have one (assertion); back
    /// to the start when it doesn't come to one. Clears the marks in vT. Cost: O(n log n).
    CTriangle* borderStart(const std::vector<CTriangle*>& vT);

private:
    bool findNextInTurn(CTriangle* pCT, CEdge* pCE, CTriangle*& pNeigT);
    bool hasBorderVertex(const CTriangle& ct) const;

    CMesh& mesh;
    Rotx& rotx;
    const std::set<CCD>& sBorder;
};

}  // namespace TARN_KEL
