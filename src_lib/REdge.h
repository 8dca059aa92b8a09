#pragma once

#include <vector>

#include "RTriangle.h"
#include "SmallPtrList.h"
#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

class RMesh;

/// An edge of the fine mesh: two vertices and the triangles on it, any number of them.
///
/// There is at most one REdge for a pair of vertices. It is owned by its mesh and outlives its triangles: an edge of degree
/// 0 is dead, and comes alive again with the next triangle on the pair. vRT holds alive triangles only.
class REdge {
public:
    /// The vertices belong to the mesh. Requires p0 < p1 by address.
    REdge(Point3* p0, Point3* p1);

    Point3* getVtx0() const { return pVtx0; }
    Point3* getVtx1() const { return pVtx1; }
    /// i is 0 or 1.
    Point3* getVertex(int i) const;
    bool has(const Point3* p) const { return p == pVtx0 || p == pVtx1; }
    /// The end point that isn't p; p must be one.
    Point3* getOtherPoint(const Point3* p) const;
    /// The mean of the end points.
    Point3 getCenter() const;
    /// The distance of the end points.
    double getLength() const { return (*pVtx1 - *pVtx0).length(); }

    /// Number of alive triangles on the edge: 1 is a border, above 2 is non-manifold.
    int getDegree() const;
    bool isAlive() const;
    /// Appends the alive triangles.
    void getAliveTriangles(std::vector<RTriangle*>& vAlive) const;
    /// The first two alive triangles, null where one is missing. True when there are exactly two, without bExactlyTwo at
    /// least two.
    bool getTwoTriangles(RTriangle*& pRT0, RTriangle*& pRT1, bool bExactlyTwo) const;
    /// The one alive triangle other than pRT; null when there is none or more than one.
    RTriangle* getUniqueOtherTriangle(const RTriangle* pRT) const;
    /// An alive triangle. None is an assertion with bRequire, else null; more than one is an assertion with bUnique.
    RTriangle* getTriangle(bool bRequire, bool bUnique) const;
    /// Two of the triangles have the same three corners. O(d log d) for degree d; no allocation up to 2.
    bool hasDups() const;

    /// Removes the triangle, which must be on the edge, from vRT. The last triangle takes its place.
    void checkOut(const RTriangle* pRT);

    // ---- Operators: they keep the mesh's invariants, and change nothing when they fail ----

    /// Replaces two triangles on the edge by the two on the other diagonal of their quad, oriented as pRT0. This edge is
    /// left without the two.
    /// pRT0, pRT1: the two triangles; both null: those of the edge, if it has exactly two.
    /// Returns the diagonal; null, with nothing changed, when a triangle is missing or dead, when the diagonal is an alive
    /// edge, or when it would make an angle below 0.01 or above 179.99 degrees with a side of the quad at the third corner
    /// of pRT0, or have length 0.
    /// Throws on two triangles with the same corners.
    REdge* tryFlipEdge(RMesh* pMesh, RTriangle* pRT0, RTriangle* pRT1);
    /// Cuts every triangle on the edge in two at pNew, a vertex of pMesh that is no corner of theirs. The edge must be
    /// alive.
    void split(Point3* pNew, RMesh* pMesh);
    /// Removes a sliver on this edge: kills it and cuts the other triangles on the edge in two at its third corner.
    /// pRT, ici: the sliver, and its corner opposite this edge.
    /// vNewT: the new triangles are appended.
    /// Returns false, with nothing changed, when a normal is missing or would turn by more than 90 degrees, or when the cut
    /// would make an edge that exists already.
    bool trySplitNeigsKillT(RMesh* pMesh, RTriangle* pRT, int ici, std::vector<RTriangle*>& vNewT);

    Point3* pVtx0;
    Point3* pVtx1;
    SmallPtrList<RTriangle> vRT;  ///< not owned
};

inline Point3* REdge::getOtherPoint(const Point3* p) const {
    if (p == pVtx0) return pVtx1;
    if (p == pVtx1) return pVtx0;
    ASSEX(false);
    return nullptr;
}

inline int REdge::getDegree() const {
    int degree = 0;
    for (const RTriangle* pRT : vRT)
        degree += pRT->bAlive ? 1 : 0;
    return degree;
}

inline bool REdge::isAlive() const {
    for (const RTriangle* pRT : vRT)
        if (pRT->bAlive) return true;
    return false;
}

/// For meshCore.h.
inline const SmallPtrList<RTriangle>& trianglesOn(const REdge& re) {
    return re.vRT;
}

}  // namespace TARN_KEL
