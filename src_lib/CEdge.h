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
/// There is at most one CEdge for a pair of cells. Its mesh owns it, and it outlives its triangles: one of degree 0 is left
/// over and may gain triangles again. vCT holds exactly the alive triangles on it. Which way the surface runs over the edge
/// is only in the corner order of its triangles.
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

    /// Where the edge comes from and goes to as a link of a chain; it must have a direction.
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
    /// Takes the triangle off the edge; it must stand on it. The last triangle moves to its place.
    void checkOut(const CTriangle* pCT);

    /// Degrees: 180 minus the angle between the normals of the two triangles at the low corners of their cells. Above 360 it
    /// is a code: 362.0 for more than two triangles, 363.0 for fewer, 364.0 when a normal can't be formed.
    double getDihedralAngle(const Calc* pCalc) const;
    /// The same at the points of the map, which must have the corners of both triangles.
    double getDihedralAngle(const std::map<VCD, Point3>& mPoints) const;

    /// Triangles of the patch on this edge; their number; the only one, else null.
    void getAdjInPatch(const CPatch* pPatch, std::vector<CTriangle*>& vAdjT) const;
    int getNumPatchTriangles(const CPatch* pPatch) const;
    CTriangle* getUniquePatchTriangle(const CPatch* pPatch) const;
    /// The first other triangle on this edge of the patch of pCT; null after a warning when there is none.
    CTriangle* getAdjInPatch(const CTriangle* pCT) const;
    /// Appends the patches of the triangles in their order, each once. O(n log n).
    void getAdjPatches(std::vector<CPatch*>& vAdjPatches) const;

    // ---- Changing the mesh. The old triangles are killed, the edge itself stays.

    /// Replaces this edge by the other diagonal of the quad of its two triangles, which are searched when null; both keep
    /// the orientation of pCT0 and have no patch. Returns the new edge; null after a warning when there aren't exactly two
    /// triangles or one given is dead. Looks neither at the geometry nor at what stands on the other diagonal. Two triangles
    /// on the same corners are an assertion.
    CEdge* flipEdge(CMesh* pCMesh, CTriangle* pCT0, CTriangle* pCT1);
    /// Takes out a flat triangle whose corner ici lies opposite this edge: kills it and splits each other triangle on the
    /// edge in two at that corner. The new ones take over the patch and are appended. False, and nothing changes, when some
    /// half would turn by more than 90 degrees or has no normal. A triangle alone on the edge is just killed.
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

}  // namespace TARN_KEL
