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

/// A walk over the outside of a mesh. At each edge it goes on to the triangle that comes first in a turn around the edge, on
/// the side that the current triangle faces, and turns it over where the two disagree. All but start() need corners at most
/// one step apart, as extraction makes them (assertion).
class OutwardWalk {
public:
    /// Nothing is owned. sBorder: the vertices of the surface's border; may be empty.
    OutwardWalk(CMesh& mesh, Rotx& rotx, const std::set<CCD>& sBorder);

    /// Walks from borderStart() when there is a border, else from start(), and kills the triangles of vT that the walk
    /// doesn't reach. Each triangle that it goes on to is turned to agree with the one before. Sorts vT by pointer and
    /// leaves marks.
    /// Throws (assertion) when no triangle in vT is alive. Cost: O(n log n).
    void keepReached(std::vector<CTriangle*>& vT);
    /// One step over edge i, opposite corner i. Turns the next triangle over where it disagrees.
    /// Returns the next triangle; null where both ends of the edge lie on the border, and then it is turned all the same.
    /// Returns null, with nothing turned, at a border edge, and after a printed line where two triangles lie in one
    /// direction.
    CTriangle* next(CTriangle* pCT, int i);
    /// Returns a triangle of the outside, turned over to face outward. It is at the vertex with the largest code in vT, so
    /// with the highest x. Of the triangles there whose coarse normal has an x component, it is the one with most corners at
    /// this x, then the youngest. When none has an x component the first of them is returned, and not turned.
    /// Throws (assertion) when no triangle in vT is alive.
    CTriangle* start(const std::vector<CTriangle*>& vT);
    /// Walks from start() to a triangle with a vertex of the border. Unlike next() it goes on over edges of the border, and
    /// it turns over only triangles that it meets for the first time.
    /// Returns that triangle, or start() when it reaches none. Clears the marks in vT.
    /// Throws (assertion) when the set of border vertices is empty. Cost: O(n log n).
    CTriangle* borderStart(const std::vector<CTriangle*>& vT);

private:
    bool findNextInTurn(CTriangle* pCT, CEdge* pCE, CTriangle*& pNeigT);
    bool hasBorderVertex(const CTriangle& ct) const;

    CMesh& mesh;
    Rotx& rotx;
    const std::set<CCD>& sBorder;
};

}  // namespace TARN_KEL
