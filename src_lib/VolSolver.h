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
/// A patch is strong when it has vertices that aren't on its boundary, and weak when it has none: a strip. The strong
/// patches are taken for the surface. Weak patches join it where it is open, best fitting first. Weak patches that have no
/// open edge left are bubbles and are killed.
///
/// No public function of the library reaches this class. One solver serves one run: presolveBubbles() once, or its two
/// steps. What it found stays readable until the solver is destroyed. The mesh must outlive the solver and must not be reset
/// meanwhile.
class VolSolver {
public:
    /// The arguments aren't owned. Only the mesh is changed. pVoro: may be null.
    VolSolver(CMesh* pCMesh, Calc* pCalc, Voro* pVoro);
    /// Deletes the patches, the last one first; no triangle refers to them afterwards.
    ~VolSolver();
    VolSolver(const VolSolver&) = delete;
    VolSolver& operator=(const VolSolver&) = delete;

    /// Calls findBubbles(), then killBubbles(). Without strong patches it prints a line and kills nothing; when the strong
    /// patches are open nowhere it kills nothing either. Cost: O(n log n).
    void presolveBubbles();
    /// Cuts the mesh into patches and finds the bubbles. sStrongPatches: the strong patches and those that joined them.
    /// vKillPatches: the bubbles, in the order in which they were found. Draws the strong patches and the others. Nothing in
    /// the mesh is changed but marks and patches.
    void findBubbles();
    /// Kills the patches of vKillPatches and their members.
    void killBubbles();
    /// To be called between these two steps. Counts the edges on the boundaries of vKillPatches by degree, warns of degrees
    /// other than 1, 3 and 4, collects vDanglingVCD and draws the mesh. Kills nothing.
    void integrateDanglingAndKill();

    /// Cuts the mesh into vPatches. Deletes those of a former call and clears what was found.
    void init();
    /// As CMesh::createPatches, but the patches belong to the owner of the list that they are appended to, and the mesh's
    /// own list isn't changed. They must be deleted before the mesh is reset or destroyed. Cost: O(n log n).
    void createPatches(std::set<CEdge*>* pFences, std::vector<CPatch*>& vPatches, std::map<VCD, CPatch*>& mVCD2Patch,
                       std::vector<CEdge*>& vMECE);

    /// Returns whether an alive triangle at the vertex is in one of sStrongPatches. Cost: the triangles there.
    bool isVCDOfStrong(VCD vcd) const;
    /// The same for an edge. Cost: O(n log n) for n triangles on it.
    bool isEdgeOfStrong(CEdge* pCE) const;
    /// For a dangling vertex v opposite edge i of pCT: finds an edge of a strong patch to which it could be connected. v and
    /// the ends of the edges must have bundles.
    /// dist: set to the distance of v from the edge, in the units of the points, where the edge is edge i, or the nearer one
    /// of two; else not changed.
    /// Returns edge i if it is one of a strong patch; else such an edge of the triangle beyond edge i, the nearer one of two
    /// (the second on ties); else null.
    /// Throws (assertion) when an edge is measured whose ends lie at one point.
    CEdge* adaptCE(VCD v, CTriangle* pCT, int i, double& dist);

    CMesh* pCMesh;                      ///< not owned
    Calc* pCalc;                        ///< not owned
    Voro* pVoro;                        ///< not owned, may be null
    std::vector<CPatch*> vPatches;      ///< owned: all patches, in the order of their first triangles
    std::set<CPatch*> sStrongPatches;   ///< of vPatches; by address, used for look-ups only
    std::vector<CPatch*> vKillPatches;  ///< of vPatches: the bubbles
    std::vector<VCD> vDanglingVCD;      ///< ends of border edges of bubbles that are in no strong patch; sorted

private:
    void deletePatches();
    std::vector<CPatch*> sortByStrength();
    std::set<CEdge*> findCurrentBorders() const;
    void joinWeakPatches(const std::vector<CPatch*>& vWeakPatches, const std::set<CEdge*>& sCurrentBorders);
    double distanceTo(const CEdge& edge, VCD vcd) const;
};

}  // namespace TARN_KEL
