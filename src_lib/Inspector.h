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

/// Takes out of a patch what can't belong to one sheet with a triangle that is known to be good.
///
/// The good part grows from that triangle over manifold edges, and its members are turned to agree with it. What it doesn't
/// reach leaves the patch, has no patch then, and is killed by killRemovedT(). Members must be alive and have the patch as
/// their own. Both ways of growing sort the members by address; cost O(n log n).
class Inspector {
public:
    /// Nothing is owned: the mesh and the caller's list of its patches must outlive this object.
    Inspector(CMesh* pCMesh, std::vector<CPatch*>& vPatches);

    /// Returns whether some edge has more than two members of the patch on it. Cost: O(n log n).
    bool isBad(CPatch* pTestPatch) const;
    /// Leaves a patch that isn't bad alone; else cuts it down to what grows from pGoodT without coming near itself, and what
    /// lies smoothly against that.
    void keepGoodPart(CPatch* pTestPatch, CTriangle* pGoodT);
    /// Cuts the patch down to what grows from pGoodT up to the vertices of sBorder. With an empty set that is all that
    /// manifold edges connect with pGoodT. A triangle that is seen first over an edge with one end in sBorder is turned over
    /// where needed, but isn't kept, though other ways may lead to it. Throws (assertion) when a way leads to a triangle of
    /// another patch.
    void keepGoodPartForKnownBorder(CPatch* pTestPatch, CTriangle* pGoodT, const std::set<VCD>& sBorder);
    /// Kills the removed triangles.
    void killRemovedT();

    // ---- Steps of keepGoodPart

    /// Inserts pairs of vertices, both ways round, that lie in one dual cube on different sheets: one that edges within the
    /// cube join with its highest one, and one that they don't. Looks at cubes that have more than four corners of members,
    /// a vertex counted once a member.
    void getOppositeMap(std::multimap<VCD, VCD>& mmOpposite, const CPatch* pTestPatch) const;
    /// Keeps the part that grows from pGoodT and never takes a triangle with a corner that is the opposite of an earlier
    /// one's; then giveBack() on the rest.
    void splitFromT(const std::multimap<VCD, VCD>& mmOpposite, CPatch* pTestPatch, CTriangle* pGoodT);
    /// Moves those connected pieces of vT back to the patch that fold against it nowhere by more than 160 degrees and by 120
    /// at most in the mean. The triangles of vT must have no patch. Sorts vT by pointer.
    void giveBack(std::vector<CTriangle*>& vT, CPatch* pTestPatch) const;

    CMesh* pCMesh;
    Calc* pCalc;
    std::vector<CPatch*>* pvPatches;
    Rotx rotx;
    std::vector<CTriangle*> vRemovedT;  ///< the triangles decided to be removed, not owned

private:
    bool liesSmoothly(const std::vector<CTriangle*>& vPiece, const CPatch* pTestPatch) const;
};

}  // namespace TARN_KEL
