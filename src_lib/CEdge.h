#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "Calc.h"
#include "SmallPtrList.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;
class CPatch;
class CTriangle;

/// The direction that a chain gives to an edge.
enum EdgeDir { ED_NONE = 0, ED_V0_V1 = 1, ED_V1_V0 = 2 };

/// An edge of the coarse mesh: two cells and the triangles on it, any number of them.
///
/// There is at most one CEdge for a pair of cells. It is owned by its mesh and outlives its triangles: an edge of degree 0
/// is left over, and may gain triangles again. vCT holds exactly the alive triangles on it. The edge knows nothing of
/// orientation: that is in the corner order of its triangles.
class CEdge {
public:
    /// Requires v0<v1.
    CEdge(VCD v0, VCD v1);

    VCD getV0() const { return v0; }
    VCD getV1() const { return v1; }
    bool has(VCD vcd) const { return vcd == v0 || vcd == v1; }
    /// The end that isn't vcd; vcd must be an end.
    VCD getOtherVCD(VCD vcd) const;
    /// The mean of the two vertices.
    Point3 getCenter(const CMesh* pCMesh) const;

    /// Start and end of the edge as a link of a chain; it must have a direction.
    VCD getSource() const;
    VCD getTarget() const;
    void setDirection(EdgeDir direction) { edgeDir = direction; }

    /// 0: left over, 1: border, 2: manifold, above 2: non-manifold (ME).
    int getDegree() const { return static_cast<int>(vCT.size()); }
    /// Appends the triangles.
    void getAliveTriangles(std::vector<CTriangle*>& vAlive) const;
    /// The first two triangles, null where one is missing. True when there are exactly two, without bExactlyTwo at least
    /// two.
    bool getTwoTriangles(CTriangle*& t0, CTriangle*& t1, bool bExactlyTwo) const;
    /// The one triangle other than pCT; null when there is none or more than one.
    CTriangle* getUniqueOtherTriangle(const CTriangle* pCT) const;
    /// The first triangle. None is an assertion with bRequire, else null; a second one is an assertion with bUnique.
    CTriangle* getTriangle(bool bRequire, bool bUnique) const;
    /// A triangle on this edge has exactly the corners a, b, c, in any order.
    bool hasAdjT(VCD a, VCD b, VCD c) const;
    /// Removes the triangle, which must be on the edge, from vCT. The last triangle takes its place.
    void checkOut(const CTriangle* pCT);

    /// 180 minus the angle in degrees between the normals of the two triangles, with corners at the low corners of their
    /// cells. Values above 360 are codes: 362.0 for more than two triangles, 363.0 for fewer, 364.0 without a normal.
    double getDihedralAngle(const Calc* pCalc) const;
    /// The same with corners at the points of the map, which must have them all.
    double getDihedralAngle(const std::map<VCD, Point3>& mPoints) const;

    /// The triangles of the patch on this edge: all of them, their number, the only one (else null).
    void getAdjInPatch(const CPatch* pPatch, std::vector<CTriangle*>& vAdjT) const;
    int getNumPatchTriangles(const CPatch* pPatch) const;
    CTriangle* getUniquePatchTriangle(const CPatch* pPatch) const;
    /// The first other triangle on this edge that belongs to the patch of pCT; null after a warning when there is none.
    CTriangle* getAdjInPatch(const CTriangle* pCT) const;
    /// Appends the patches of the triangles, each once, in the order of the triangles. Cost: O(n log n).
    void getAdjPatches(std::vector<CPatch*>& vAdjPatches) const;

    // ---- Changing the mesh. The old triangles are killed, the edge itself stays.

    /// Replaces this edge by the other diagonal of the quad of its two triangles. The new triangles keep the orientation of
    /// pCT0 and have no patch. Neither the geometry is checked nor whether the other diagonal has triangles already.
    /// pCT0, pCT1: the two triangles; both null: those of the edge.
    /// Returns the new edge; null after a warning when there aren't exactly two triangles or a given one is dead.
    /// Throws on two triangles with the same corners.
    CEdge* flipEdge(CMesh* pCMesh, CTriangle* pCT0, CTriangle* pCT1);
    /// Removes a flat triangle on this edge: kills it and splits each other triangle on the edge in two at its third corner.
    /// A triangle alone on the edge is just killed.
    /// pKillCT, ici: the triangle, and its corner opposite this edge.
    /// vNewT: the new triangles are appended; they take over the patches of the old ones.
    /// Returns false, with nothing changed, when a half has no normal or would turn by more than 90 degrees.
    bool trySplitNeigsKillT(CMesh* pCMesh, CTriangle* pKillCT, int ici, std::vector<CTriangle*>& vNewT);

    VCD v0;
    VCD v1;
    SmallPtrList<CTriangle> vCT;  ///< not owned, in no fixed order
    double cachedValue = -1.0;
    EdgeDir edgeDir = ED_NONE;

private:
    friend class CMesh;
    std::uint32_t nextCE = 0;  ///< link of the mesh's EdgeIndex
};

/// For meshCore.h.
inline const SmallPtrList<CTriangle>& trianglesOn(const CEdge& ce) {
    return ce.vCT;
}

}  // namespace TARN_KEL
