#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Random.h"
#include "Rotx.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class CPatch;
class CTriangle;
class Chain;
class Voro;

/// What Top::simplify tries on an edge: to collapse it to its midpoint, or else onto one of its ends; one of these alone.
enum SimplifyMode { SM_MID_THEN_SINGLE = 0, SM_SINGLE = 1, SM_MID = 2 };

/// Repairs a coarse mesh as the extractor made it until the fine mesh can be built from it: no degenerate triangles, one
/// diagonal a square, no thin double sheets and bubbles, no ragged pieces at borders, few non-manifold edges (MEs), the
/// triangles of a sheet oriented alike. MEs that no rule resolves stay.
///
/// A fixed sequence of passes over one mesh, each of them a simple local rule. A pass walks a list taken at its start and
/// asks each element again when its turn comes, so what it makes itself is not visited. What can't be repaired is left; only
/// broken invariants fail (assertions). Passes cost O(n log n) unless one says more.
///
/// A run must be open on the thread for the finalisers, cbsComplete and patchPairSolving: they report progress. An object
/// lives for one run and keeps nothing between passes but the mesh. The marks on triangles are scratch: a pass may leave
/// any.
class Top {
public:
    /// Neither is owned; both must outlive this object.
    Top(CMesh* pCMesh, Calc* pCalc);

    // ---- The sequences. pVoro: the one that made the mesh, in a state to extract again; not owned.

    /// The whole repair for a point cloud.
    void finalizeReconstructedMesh(Voro* pVoro);
    /// The same for a hole mesh.
    void finalizeHoleMesh(Voro* pVoro);
    /// The repair for melted input.
    void finalizeOneMelted(Voro* pVoro);

    // ---- Their passes

    /// Squares of four cells in a grid plane with two triangles on one diagonal, while the crossing one is, or was, an edge
    /// of the mesh: the crossing one stays, with a triangle on either side. New ones that are degenerate are treated at
    /// once.
    void unifyDiagonals();
    /// Takes flat triangles out: splits their neighbours, or else moves one of their corners. Where neither can be done it
    /// warns and leaves the triangle.
    void killDegenerate();
    /// Extracts again with the dual cubes at borders and at edges of degree 4 completed, then averages the added vertices
    /// and unifies the diagonals. All pointers to triangles and edges are void afterwards.
    void cbsComplete(Voro* pVoro);
    /// Kills the border triangles whose two other edges are MEs; appends the border edges of the others, in key order.
    void getBordersKillDeg1nn(std::vector<CEdge*>& vBorderCE);
    /// Folds a triangle with two border edges, whose third is an ME, into the other triangles there; kills one that stands
    /// alone. Anything else stays, and an edge without exactly one triangle is passed over.
    void integrateCCD(CEdge* pBorderCE);
    /// Kills pieces of at most maxNumT triangles that have a long border for their size. A piece goes as far as manifold
    /// edges lead.
    void killTinyBorderPatches(int maxNumT);
    /// Moves vertices that lie exactly where another one does by less than a hundredth of a cell edge, all but the one of
    /// the lowest code. Warns, and leaves them, where the coordinates are too large for so small a step.
    void oneCoordTriplePerCCD();

    // ---- Passes beside the sequences

    /// Kills patches that consist of border more or less; returns and prints how many.
    int removeTinyBorderPatches(std::vector<CPatch*>& vPatches);
    /// Kills border triangles at MEs, the smallest first, as long as the edge is an ME. O(d^2) at an edge of degree d.
    void removeBorderTrianglesAtME();
    /// Kills triangles with an edge of degree below 2 that the flat corners made (8 configurations of a dual cube).
    void pruneCases();
    /// Says so and runs Holex, an experiment that ends the process with exit status 0.
    [[noreturn]] void fillHoles(Voro* pVoro);

    // ---- Patch pairs: sheets with the same rim. Patches are not owned.

    /// Cuts the mesh into patches, kills the smaller one of each pair on the same rim where it is small, splits or kills
    /// closed patches. True when it killed one of a pair or split one; then another pass may find more, and a finite number
    /// of passes ends with false. bCareful: closed patches that hang on other sheets on both sides stay.
    bool patchPairSolving(bool bCareful);
    /// Sets the boundaries, sorts vPatches by them, then by age, and appends to the lists: neighbours in this order with
    /// equal boundaries as a pair, the rest as closed (no boundary) or open. Of three on one rim the pairs (1, 2) and (2, 3)
    /// are made, and 3 is open as well. Dead ones are in no list.
    void getPatchPairs(std::vector<CPatch*>& vPatches, std::vector<std::pair<CPatch*, CPatch*>>& vPatchPairs,
                       std::vector<CPatch*>& vClosedPatches, std::vector<CPatch*>& vOpenPatches);
    /// Kills the one with fewer triangles, the second when equal, if both are small or the two cover at most a tenth of the
    /// mesh. True when it did. A patch that is dead counts as smallest.
    bool solveOnePatchPair(CPatch* pPatch0, CPatch* pPatch1, double meshArea);
    /// Splits the closed ones among the patches, small ones first, and kills tiny ones without an ME. Sorts the list. True
    /// when one was split.
    bool simplifyClosedPatches(std::vector<CPatch*>& vClosedPatches, bool bCareful);
    /// Kills the patches that have a border edge, each with a warning.
    void killBoundaryPatches(std::vector<CPatch*>& vPatches);

    /// Another solver, for sheets that MEs have cut into several patches: looks for two groups of patches with the same rim
    /// among those that hang together. Prints what it does. Each patch costs the size of the group it hangs together with,
    /// as far as that is searched, and of what it is joined with in the end.
    void solvePatchPairsFrac(std::vector<CPatch*>& vPatches);
    /// Appends the start patch, which must be alive, and what hangs on it over MEs, but at each edge the largest sheet. Sets
    /// their boundaries. Always true.
    bool frac_createCluster(CPatch* pStartPatch, std::vector<CPatch*>& vCluster);
    /// Looks for two groups among the patches whose union is closed, merges each and solves the pair. True when a patch was
    /// killed. The boundaries must be set. False for more than 12 patches: the search takes 3^n steps for n.
    bool frac_solvePatchCluster(std::vector<CPatch*>& vCluster, double meshArea);

    // ---- Orientation

    /// Cuts the triangles of vT into patches at borders and MEs and lets the members of each agree with its first one in vT.
    /// Those that touch a border or an ME come last; a sheet with one side only keeps edges of disagreement. vPatches must
    /// be empty and gets the patches, which are the caller's then. Goes on to triangles outside vT unless they are marked.
    void createPatchesOrient(std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches);
    /// The same for all triangles; no patch is left.
    void orient();
    void resetVisited(std::vector<CTriangle*>& vT);

    // Orientation across MEs, for melted input. Corners must be within one step of each other, as extraction makes them.

    /// Orients what hangs together with the first alive triangle, sharp turns last: at an ME a sheet goes on in the next
    /// triangle on either side. Inserts the edges of two triangles that still disagree into sFences, those of components
    /// that it doesn't reach included. No triangle has a patch afterwards. The mesh must have an alive triangle, the first
    /// one with a normal (assertions).
    void strategyMST(std::set<CEdge*>& sFences);
    /// Puts the steps from a triangle over its edge opposite corner ici into mmQueue: to the next triangles on both sides
    /// that have no patch. The triangle must have one, and a normal.
    void enqueue(CTriangle* pCT, int ici);
    /// Grows a patch to the outer skin of the model: from the sheet of getMaxT(), facing outward, over its boundary to the
    /// sheet met next in a turn on that side. Returns that one of the patches, with what it took over, which is dead then;
    /// null after a warning when nothing faces along x. The other patches stay. Kills those members of the first sheet that
    /// manifold edges don't connect with its start, and what lies behind vertices of sBorderCCD. Each triangle must have its
    /// patch in vPatches.
    CPatch* patchGrowing(std::vector<CPatch*>& vPatches);
    /// A triangle of the outside: at the vertex of the largest code, so of the highest x; of those there the one with fewest
    /// corners at this x, then the oldest, whose coarse normal has an x component. bFlip: it points inward. Null after a
    /// warning when there is none; no alive triangle at all is an assertion.
    CTriangle* getMaxT(std::vector<CPatch*>& vPatches, bool& bFlip);

    // ---- Degree three: edges on which a sheet ends in the middle of another one. Triangles are killed, none is made.

    /// Thins out the flaps that can be told by the border that runs into the edge at an end. Other edges keep their three
    /// triangles.
    void repairDeg3();
    /// vT: the triangles on the edge, smallest first. Kills the first that is no part of a sheet: one with fewer than two
    /// neighbours over manifold edges, or else with fewer than two that aren't ears, which have two border edges; the last
    /// such ear goes along. True when it killed.
    bool tryRepairEvilDeg3(CEdge* pCE, const std::vector<CTriangle*>& vT);
    /// At each end of the edge where exactly one border edge ends, kills its triangle, as long as the edge has degree 3.
    /// Appends the edges of the killed triangles that have degree 3 then. True when it killed.
    bool deleteAroundEvilDeg3(CEdge* pCE, std::vector<CEdge*>& vNext);

    /// Another way, for flaps whose edges of degree 3 form chains: closes each chain over edges of the mesh and kills the
    /// small piece that the ring cuts off.
    void completeDeg3ChainsAndRemoveT();
    /// Appends one or two edges that close the chain, of any degree above 0. True also for a closed chain. False when there
    /// are none, and for an open chain with an edge of degree 0 or 2.
    bool tryClose(Chain* pChain, std::vector<CEdge*>& vSolution);
    /// Kills the first piece within the ring of the chain and vSolution that has a triangle on every edge of the chain and
    /// no more triangles than the chain has edges; for a chain of one edge, the one triangle that is the ring. True when it
    /// killed.
    bool tryKillT(Chain* pChain, std::vector<CEdge*>& vSolution);
    /// Floods from the triangles on the stack, which must be alive, over the edges that aren't in sFences. vGroup becomes
    /// what was reached, in pointer order. False when that is nothing, or more than maxNumT triangles: both lists are empty
    /// then.
    bool bfs(std::size_t maxNumT, std::vector<CTriangle*>& vStack, std::set<CEdge*>& sFences,
             std::vector<CTriangle*>& vGroup);
    /// Sorts the list, each edge once, and enters the edges under both their ends.
    void createMap(std::vector<CEdge*>& vCE, std::multimap<VCD, CEdge*>& mmVCD2CE) const;

    // ---- Simplification and flips, by the geometry at the vertices: beside the sequences, for who wants a smoother coarse
    // ---- mesh. Every corner must have a bundle. The topology must be sound: no two triangles on the same corners.

    /// The whole recipe: flips, short edges collapsed, flips.
    void simplifyAndSmooth();
    /// Collapses edges shorter than maxLen, the shortest first, where no normal around turns by more than 5 degrees.
    /// Vertices of border edges stay where they are. maxLen in the cloud's unit; DBL_MAX: edges of any length. Returns
    /// whether another pass is worth it: after more than 10 collapses, in pass 0 after any. O(n log n); prints how many.
    bool simplify(int passNo, double maxLen, SimplifyMode mode);
    /// Collapses the edge onto one of its ends; iKill 0: v0 goes, 1: v1, another one is an assertion, and so is an end
    /// without triangles. False, and nothing changes, when a normal would turn by more than 5 degrees or triangles would be
    /// there twice. Enters the edges at the end that is left under their squared length where that is below maxSq.
    bool killSingle(CEdge* pCE, int iKill, double maxSq, std::multimap<double, CEdge*>& prioq);
    /// The same to the middle of the edge, which is M. Triangles may be there twice afterwards (CMesh::killDups).
    bool killMid(CEdge* pCE, const Point3& M, double maxSq, std::multimap<double, CEdge*>& prioq);
    /// Collapses all edges shorter than a third of a cell edge to their midpoints, whatever turns.
    void collapseSmallEdges();

    /// Flips edges whose triangles meet at angleDeg degrees or more, the largest gain of EdgeEnergy first, as long as it
    /// gains more than 0.01. Edges that come by a flip wait for another call.
    void edgeFlips(double angleDeg);
    /// Appends the edges of degree 2 whose triangles meet at angleDeg degrees or more, in key order; after a warning those
    /// with a degenerate triangle are left out. O(n).
    void getEdgesForOptimization(double angleDeg, std::vector<CEdge*>& vE);
    /// Enters the edges with two triangles that meet at more than minAngle degrees under that angle: 0 is flat, 180 folded
    /// back. Equal angles are in order of creation.
    void buildPrioq(std::multimap<double, CEdge*>& q, double minAngle);
    /// Flips edges folded by more than 150 degrees, the sharpest first, where the fold falls by 5 degrees or more.
    void flipBadAngles();
    /// Flips the edges opposite angles of 179 degrees and more where canFlip(). bKill: where it can't be, one of the other
    /// two edges is collapsed onto an end. Returns the number of changes. O(n).
    int flipExtremeCaps(bool bKill);
    /// Three times: flips edges so that vertices of sFeatureCCD in neighbouring cells are joined, unless the edge itself
    /// joins two of them and goes on a feature line straighter. O(n) for the triangles at such vertices.
    void flipFeatures();
    /// The edge ccd0-ccd1 can become alt0-alt1: that is no edge, the four differ, alt0 and alt1 aren't in sBorderCCD, and
    /// the two new normals differ by less than 120 degrees. ccd0 above ccd1 is a warning and false.
    bool canFlip(VCD ccd0, VCD ccd1, VCD alt0, VCD alt1);
    /// How many edges to vertices of sFeatureCCD go on the line of the two, which must be in it, straight within 0.2 degrees
    /// at either end. Such vertices at one place are an assertion.
    int countCollinearConnectors(VCD ccd0, VCD ccd1);

    CMesh* pCMesh;
    Calc* pCalc;
    std::set<CCD> sFeatureCCD;  ///< vertices on feature lines
    std::set<CCD> sBorderCCD;   ///< vertices at which walks stop
    Rotx rotx{pCMesh, true};
    /// Steps of strategyMST: degrees of turn, from a triangle with a patch to the next. Empty before and after it.
    std::multimap<float, std::pair<CTriangle*, CTriangle*>> mmQueue;

protected:
    /// flipBadAngles with another limit in degrees.
    void flipFolds(double minAngle);
    /// solveOnePatchPair for each pair; true when one was solved.
    bool solvePatchPairs(const std::vector<std::pair<CPatch*, CPatch*>>& vPatchPairs);

    /// A triangle at a vertex, and how many of its other corners lie at the x of that one.
    using CountT = std::pair<int, CTriangle*>;
    /// All triangles at the largest of the codes, so at the highest x of them; none there is an assertion.
    std::vector<CountT> countAtMaxX(const std::vector<VCD>& vVCD) const;
    /// The first one whose coarse normal has an x component; null when there is none.
    static CTriangle* firstFacingX(const std::vector<CountT>& vCountT);

private:
    void finalizeUnified(Voro* pVoro);
    void solvePatchPairsCarefully();
    void integrateBorders(const std::vector<CEdge*>& vBorderCE);
    void refreshPatches();
    void unifyDiagonal(CEdge* pDiagonalCE);
    bool splitOrMove(CTriangle* pCT, int ici);
    void enqueueStep(CTriangle* pCT, CTriangle* pNeigT, const Vector3& ownNNV, const std::string& missing);
    CPatch* findNextSheet(CEdge* pCE, CPatch* pCurrentPatch);
    bool tryCollapse(CEdge* pCE, SimplifyMode mode, double maxSq, std::multimap<double, CEdge*>& prioq);
    bool keepsNormals(VCD vcd, VCD otherEnd, const Point3& target) const;
    void enterShortEdgesAt(VCD vcd, double maxSq, std::multimap<double, CEdge*>& prioq) const;
    double foldAngle(VCD v0, VCD v1, VCD a, VCD b) const;
    void tryFlipFold(const CEdge& edge, double angle, CTriangle* pCT0, CTriangle* pCT1);
    bool collapseCap(CTriangle* pCT, VCD altVCD);
    void joinFeatureAt(CTriangle* pCT, VCD ccd0);
    int countCollinearAt(VCD ccdA, VCD ccdB) const;

    Random random;  // of oneCoordTriplePerCCD
};

}  // namespace TARN_KEL
