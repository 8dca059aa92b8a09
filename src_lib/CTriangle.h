#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Calc.h"
#include "Incidence.h"
#include "Plane.h"
#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class CPatch;

/// How a pair of corners runs in a triangle: not an edge of it, along its corner order, against it.
enum HalfEdgeDir { HE_NONE = 0, HE_SAME = 1, HE_OPPOSITE = 2 };

/// Where a vertex is taken: at the midpoint of its cell, or at the point of its bundle.
enum VisType { VT_COARSE = 0, VT_REAL = 1 };

/// A triangle of the coarse mesh: three cells in orientation order c0 -> c1 -> c2 -> c0.
///
/// Owned by its mesh. Its corners never change, except that flipNNV swaps two: to change a triangle, kill it and create
/// another one. A killed triangle is in the lists of no edge and of no vertex; its fields stay readable until the mesh is
/// reset or destroyed.
///
/// Edge i is opposite corner i (0, 1, 2). Any other index is an assertion, and so is a code that is no corner where one is
/// expected.
class CTriangle {
public:
    CTriangle(VCD corner0, VCD corner1, VCD corner2) : c0(corner0), c1(corner1), c2(corner2) {}

    // ---- Corners and edges

    VCD getC0() const { return c0; }
    VCD getC1() const { return c1; }
    VCD getC2() const { return c2; }
    VCD getCorner(int i) const;
    bool has(VCD a) const { return a == c0 || a == c1 || a == c2; }
    bool has(VCD a, VCD b) const { return has(a) && has(b); }
    /// The index of a corner.
    int getICI(VCD v) const;
    /// The index, and the code, of the one corner that is neither a nor b.
    int getICI(VCD a, VCD b) const;
    VCD getThirdCCD(VCD a, VCD b) const { return getCorner(getICI(a, b)); }
    /// The two corners behind v in cyclic order.
    void getOtherCCDs(VCD v, VCD& a, VCD& b) const;
    /// The corners by ascending code.
    void getSortedCorners(VCD& c0_, VCD& c1_, VCD& c2_) const;
    /// The edge opposite corner i: pCE12, pCE02, pCE01. Null in a triangle that no mesh made.
    CEdge* getCEdge(int i) const;
    CEdge* getCE(int i) const { return getCEdge(i); }
    /// That edge as a half edge a -> b of this triangle.
    void getEdgeCCDs(int i, VCD& a, VCD& b) const;
    /// HE_SAME when a -> b is a half edge, HE_OPPOSITE when b -> a is one, else HE_NONE.
    int getHEDirection2(VCD a, VCD b) const;

    // ---- Neighbours; the triangle must be one of a mesh

    /// Each edge has exactly two triangles; some edge has exactly one.
    bool hasOnlyHalfEdges() const;
    bool hasBorder() const;
    /// How many of the edges have a degree in [minDegree, maxDegree].
    int countEdges(int minDegree, int maxDegree) const;
    /// Appends the other triangles on the edge opposite corner i.
    void getNeigs(int i, std::vector<CTriangle*>& vNeigs) const;
    /// Whether the two triangles disagree in orientation, judged by the first half edge of this one that they share.
    /// Triangles without a common edge are an assertion.
    bool needFlip(const CTriangle* pOther) const;

    // ---- State

    bool isAlive() const { return bAlive; }
    /// Removes the triangle from the lists of its edges and vertices for good. It must be alive. Cost: O(degree of its
    /// edges).
    void kill(CMesh* pCMesh);
    /// Turns the triangle over: swaps c0 with c1 and pCE12 with pCE02.
    void flipNNV();
    CPatch* getPatch() const { return pPatch; }
    void setPatch(CPatch* p) { pPatch = p; }

    // ---- Geometry at the vertices of the mesh. ok: set to whether the corners give a normal.

    Plane getRealPlane(const CMesh* pCMesh, bool& ok) const;
    Vector3 getRealNNV(const CMesh* pCMesh, bool& ok) const;
    /// The mean of the corners.
    Point3 getRealBaryc(const CMesh* pCMesh) const;
    Point3 getCentroid(const CMesh* pCMesh, VisType visType) const;
    double getArea(const CMesh* pCMesh) const;
    /// Two corners at one point, or three on a line: exactly, without a tolerance.
    bool isDegenerate(const CMesh* pCMesh) const;
    /// The corner opposite the longest edge. Of equally long edges c0-c1 counts first, then c1-c2, then c2-c0.
    int getLargestEdgeICI(const CMesh* pCMesh) const;
    /// Degrees by which the normal would turn if corner i moved to p; 360.0 without a new normal, -1.0 without an old one.
    double getDevIfRepl(const CMesh* pCMesh, int i, const Point3& p) const;
    /// A rough unit normal from the order of the cells along each axis alone; zero when that gives none.
    Vector3 computeNNVcoarse() const;

    VCD c0;
    VCD c1;
    VCD c2;
    VCD vcdCube = ~VCD{0};   ///< key of the dual cube it came from, 0 for what flips and splits make
    CEdge* pCE01 = nullptr;  ///< edges are the mesh's
    CEdge* pCE12 = nullptr;
    CEdge* pCE02 = nullptr;
    CPatch* pPatch = nullptr;  ///< owned by whoever made it
    int cfg = -1;              ///< configuration of that cube, below 256; 0 for a triangle that no extraction made
    bool bVisited = false;     ///< scratch mark of traversals
    bool bAlive = true;

private:
    friend class CMesh;
    struct CornerPoints {
        const Point3 &p0, &p1, &p2;
    };
    CornerPoints pointsOf(const CMesh* pCMesh) const;

    /// Places in the lists of the three vertices; link k belongs to the vertex that was corner k when the triangle was made.
    std::array<IncidenceLink, 3> aLink{};
    /// The mesh's numbers of the vertices at the corners, so that a sweep over all triangles needs no look-up by code.
    std::array<std::uint32_t, 3> aVertex{NO_VERTEX, NO_VERTEX, NO_VERTEX};
    static constexpr std::uint32_t NO_VERTEX = ~std::uint32_t{0};  ///< in a triangle that no mesh made
};

inline VCD CTriangle::getCorner(int i) const {
    if (i == 0) return c0;
    if (i == 1) return c1;
    ASSEX(i==2);
    return c2;
}

inline int CTriangle::getICI(VCD v) const {
    if (v == c0) return 0;
    if (v == c1) return 1;
    ASSEX(v==c2);
    return 2;
}

inline CEdge* CTriangle::getCEdge(int i) const {
    if (i == 0) return pCE12;
    if (i == 1) return pCE02;
    ASSEX(i==2);
    return pCE01;
}

/// For meshCore.h.
inline CEdge* edgeOpposite(const CTriangle& ct, int i) {
    return ct.getCEdge(i);
}

}  // namespace TARN_KEL
