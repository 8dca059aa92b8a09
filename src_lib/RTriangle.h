#pragma once

#include <vector>

#include "Plane.h"
#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

class REdge;
class RMesh;
class RPatch;

/// A triangle of the fine mesh: three vertices in orientation order and the edges between them.
///
/// Created by RMesh::createT alone and owned by the mesh; it stays readable when it is dead. An alive triangle is in the
/// lists of its three edges and of its three vertices, a dead one in none. Only the mesh's own operators change the corners
/// of an alive triangle.
class RTriangle {
public:
    /// The corners belong to the mesh. No edges yet: createT sets them.
    RTriangle(Point3* p0, Point3* p1, Point3* p2);

    bool isAlive() const { return bAlive; }
    /// The patch isn't owned; null when there is none.
    void setPatch(RPatch* pPatch_) { pPatch = pPatch_; }
    RPatch* getPatch() const { return pPatch; }

    // ---- Corners: index 0, 1, 2 in orientation order; any other index, or a point that is no corner, is an assertion ----

    Point3* getCorner(int i) const;
    /// Stores the corner and drops the cached normal; edges and incidence are up to the caller.
    void setCorner(int i, Point3* p);
    /// Index of corner p.
    int getICI(const Point3* p) const;
    /// Index of the one corner that is neither p nor q; these must be two different corners.
    int getICI(const Point3* p, const Point3* q) const;
    /// The one corner that is neither p nor q.
    Point3* getThirdPoint(const Point3* p, const Point3* q) const;
    bool has(const Point3* p) const { return aCorners[0] == p || aCorners[1] == p || aCorners[2] == p; }
    bool has(const Point3* p, const Point3* q) const { return has(p) && has(q); }

    // ---- Edges ----

    /// The edge opposite corner i.
    REdge* getRE(int i) const;
    /// Appends pRE01, pRE12, pRE02.
    void get3RE(std::vector<REdge*>& vRE) const;
    /// Appends the other alive triangles on the edge opposite corner i.
    void getNeigs(int i, std::vector<RTriangle*>& vRT) const;
    /// True when one of the edges has no other triangle.
    bool hasBorder() const;
    /// Index of the corner opposite the longest edge. Of equally long edges c0-c1 counts first, then c1-c2, then c2-c0.
    int getLargestEdgeICI() const;

    // ---- Orientation and normal ----

    /// 1 when a -> b is a half edge of this triangle, 2 when b -> a is one, 0 when the two are no edge of it.
    int getRTriOri(const Point3* a, const Point3* b) const;
    /// Whether the two triangles disagree in orientation: both run the same way along the first edge that they share.
    /// Triangles without a common edge are an assertion.
    bool needFlip(const RTriangle* pOther) const;
    /// Turns the triangle over: swaps corners 0 and 1 with their edges and negates the normal.
    void flipNNV();
    /// The unit normal, computed once and cached; the zero vector and bOK false for a degenerate triangle. After a corner
    /// has moved, call resetNNV.
    const Vector3& getNNV(bool& bOK);
    void resetNNV() { nnv = Vector3(); }

    // ---- Geometry ----

    /// Degrees by which the normal would turn if corner i moved to newPos; 360.0 without a new normal, -1.0 without an old
    /// one.
    /// bCheckCoincide: a newPos at the coordinates of a corner gives 0.0.
    double getDevIfRepl(int i, const Point3& newPos, bool bCheckCoincide) const;
    /// Two corners are the same vertex.
    bool isCombinatoriallyDegenerate() const;
    /// The corners span no area, exactly.
    bool isDegenerate() const;
    /// The plane through the corners; bOK false and a zero normal for a degenerate triangle.
    Plane getPlane(bool& bOK) const;
    Point3 getCentroid() const;
    double getArea() const;

    /// Removes the triangle from its edges and from pRMesh, its own mesh, for good; corners, edges and patch stay readable.
    /// It must be alive. Cost: O(degree of its edges).
    void kill(RMesh* pRMesh);

    Vector3 nnv;  ///< zero: not computed yet
    Point3* aCorners[3];
    REdge* pRE01 = nullptr;
    REdge* pRE12 = nullptr;
    REdge* pRE02 = nullptr;
    RPatch* pPatch = nullptr;
    bool bVisited = false;  ///< scratch mark of traversals
    bool bAlive = true;
};

inline Point3* RTriangle::getCorner(int i) const {
    ASSEX(i>=0 && i<=2);
    return aCorners[i];
}

inline void RTriangle::setCorner(int i, Point3* p) {
    ASSEX(i>=0 && i<=2);
    aCorners[i] = p;
    resetNNV();
}

inline int RTriangle::getICI(const Point3* p) const {
    for (int i = 0; i < 3; ++i)
        if (aCorners[i] == p) return i;
    ASSEX(false);
    return -1;
}

inline REdge* RTriangle::getRE(int i) const {
    switch (i) {
    case 0:
        return pRE12;
    case 1:
        return pRE02;
    case 2:
        return pRE01;
    default:
        ASSEX(false);
        return nullptr;
    }
}

/// For meshCore.h.
inline REdge* edgeOpposite(const RTriangle& rt, int i) {
    return rt.getRE(i);
}

}  // namespace TARN_KEL
