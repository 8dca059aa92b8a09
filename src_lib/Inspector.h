#pragma once

#include <map>
#include <set>
#include <vector>

#include "Calc.h"
#include "Rotx.h"

namespace TARN_KEL {

class CMesh;
class CPatch;
class CTriangle;

/// Removes from a patch the triangles that can't belong to one sheet with a triangle that is known to be good.
///
/// The good part grows from that triangle over manifold edges, and its members are turned to agree with it. Triangles that
/// it doesn't reach are removed from the patch, have no patch then, and are killed by killRemovedT(). Members must be alive
/// and have the patch as their own. Both ways of growing sort the members by address. Cost: O(n log n).
class Inspector {
public:
    /// Nothing is owned: the mesh and the caller's list of its patches must outlive this object.
    Inspector(CMesh* pCMesh, std::vector<CPatch*>& vPatches);

    /// Returns whether some edge has more than two members of the patch on it. Cost: O(n log n).
    bool isBad(CPatch* pTestPatch) const;
    /// Cuts a bad patch down to the part that grows from pGoodT without coming near itself, and the parts that lie smoothly
    /// against that. A patch that isn't bad is left alone.
    void keepGoodPart(CPatch* pTestPatch, CTriangle* pGoodT);
    /// Cuts the patch down to the part that grows from pGoodT up to the vertices of sBorder. With an empty set that is all
    /// that manifold edges connect with pGoodT. A triangle that is seen first over an edge with one end in sBorder is turned
    /// over where needed, but isn't kept, even if other ways lead to it. Throws (assertion) when a way leads to a triangle
    /// of another patch.
    void keepGoodPartForKnownBorder(CPatch* pTestPatch, CTriangle* pGoodT, const std::set<VCD>& sBorder);
    /// Kills the removed triangles.
    void killRemovedT();

    // ---- Steps of keepGoodPart

    /// Inserts pairs of vertices that lie in one dual cube on different sheets, in both orders: of the two, edges within the
    /// cube connect only one with its highest vertex. Looks at cubes with more than four corners of members; a vertex counts
    /// once for each member.
    void getOppositeMap(std::multimap<VCD, VCD>& mmOpposite, const CPatch* pTestPatch) const;
    /// Keeps the part that grows from pGoodT without triangles that have a corner opposite to a corner taken before; then
    /// calls giveBack() for the rest.
    void splitFromT(const std::multimap<VCD, VCD>& mmOpposite, CPatch* pTestPatch, CTriangle* pGoodT);
    /// Moves connected parts of vT back to the patch if they fold against it by at most 160 degrees everywhere and by at
    /// most 120 on average. The triangles of vT must have no patch. Sorts vT by pointer.
    void giveBack(std::vector<CTriangle*>& vT, CPatch* pTestPatch) const;

    CMesh* pCMesh;
    Calc* pCalc;
    std::vector<CPatch*>* pvPatches;
    Rotx rotx;
    std::vector<CTriangle*> vRemovedT;  ///< the removed triangles, not owned

private:
    bool liesSmoothly(const std::vector<CTriangle*>& vPiece, const CPatch* pTestPatch) const;
};

}  // namespace TARN_KEL
