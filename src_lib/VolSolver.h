#pragma once

#include <map>
#include <set>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class CPatch;
class CTriangle;
class Voro;

/// Kills the inner sheets of a coarse mesh in which many patches meet.
///
/// A patch is strong when it has vertices that aren't on its boundary, and weak when it has none: a strip. The strong ones
/// are taken for the surface. Weak ones join it where it is open, best fitting first; those that are left at no open edge
/// are bubbles, and they are killed.
///
/// No public function of the library reaches this class. One solver serves one run: presolveBubbles() once, or its two
/// steps. What it found stays readable until the solver goes. The mesh must outlive the solver and must not be reset
/// meanwhile.
class VolSolver {
public:
    /// The arguments stay the caller's. Only the mesh is changed; pVoro may be null.
    VolSolver(CMesh* pCMesh, Calc* pCalc, Voro* pVoro);
    /// Frees the patches, the last one first; no triangle refers to them afterwards.
    ~VolSolver();
    VolSolver(const VolSolver&) = delete;
    VolSolver& operator=(const VolSolver&) = delete;

    /// findBubbles(), then killBubbles(). A mesh without strong patches stays as it is, after a line that says so; one whose
    /// strong patches are nowhere open stays as it is, too. Cost: O(n log n).
    void presolveBubbles();
    /// Cuts the mesh anew and decides: sStrongPatches are the strong patches and those that joined, vKillPatches the
    /// bubbles, in the order in which they lost. Draws both kinds. The mesh isn't changed but for marks and patches.
    void findBubbles();
    /// Kills the patches of vKillPatches and their members.
    void killBubbles();
    /// Between these two steps: counts the edges on the boundaries of vKillPatches by degree, warns of degrees other than 1,
    /// 3 and 4, collects vDanglingVCD and draws the mesh. Kills nothing. Finds nothing on patches that are dead.
    void integrateDanglingAndKill();

    /// Cuts the mesh into vPatches, which replace those of a former call and what was found about them.
    void init();
    /// As CMesh::createPatches, but the patches belong to whoever owns the list that they are appended to, and the mesh's
    /// own list stays as it is. They must be deleted before the mesh is reset or dies. Cost: O(n log n).
    void createPatches(std::set<CEdge*>* pFences, std::vector<CPatch*>& vPatches, std::map<VCD, CPatch*>& mVCD2Patch,
                       std::vector<CEdge*>& vMECE);

    /// Returns whether an alive triangle at the vertex is in one of sStrongPatches. Cost: the triangles there.
    bool isVCDOfStrong(VCD vcd) const;
    /// The same for an edge. Cost: O(n log n) for n triangles on it.
    bool isEdgeOfStrong(CEdge* pCE) const;
    /// Returns the edge to which the vertex v, which hangs at edge i of pCT, should be tied: that edge if it is one of a
    /// strong patch, else such an edge of the triangle beyond, the nearer one of two (the second on ties); else null. v and
    /// the ends of the edges must have bundles.
    /// dist: becomes the distance to v, in the units of the points, in the first case and in the case of two; else it stays.
    /// Throws (assertion) where an edge is measured whose ends lie at one point.
    CEdge* adaptCE(VCD v, CTriangle* pCT, int i, double& dist);

    CMesh* pCMesh;                      ///< not owned
    Calc* pCalc;                        ///< not owned
    Voro* pVoro;                        ///< not owned, may be null
    std::vector<CPatch*> vPatches;      ///< owned: all patches, in the order of their first triangles
    std::set<CPatch*> sStrongPatches;   ///< of vPatches; by address, only ever asked for membership
    std::vector<CPatch*> vKillPatches;  ///< of vPatches: weak ones that lost
    std::vector<VCD> vDanglingVCD;      ///< ends of border edges of lost patches that no strong patch holds; sorted

private:
    void deletePatches();
    std::vector<CPatch*> sortByStrength();
    std::set<CEdge*> findCurrentBorders() const;
    void joinWeakPatches(const std::vector<CPatch*>& vWeakPatches, const std::set<CEdge*>& sCurrentBorders);
    double distanceTo(const CEdge& edge, VCD vcd) const;
};

}  // namespace TARN_KEL
