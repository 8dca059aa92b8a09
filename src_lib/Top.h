#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Random.h"
#include "Rotx.h"
#include "coarseCollapses.h"
#include "completeCubes.h"
#include "orientByTurns.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class CPatch;
class CTriangle;
class Chain;
class Voro;

/// The passes on a coarse mesh under one name, for callers who work on plain pointers. The library itself calls the
/// functions behind them, which are named here and documented in their headers.
///
/// An object keeps nothing between passes but its fields. Neither the mesh nor the grid, which is that of the mesh, is
/// owned. The finalisers, cbsComplete and patchPairSolving report progress.
class Top {
public:
    Top(CMesh* pCMesh, Calc* pCalc);

    // ---- The sequences (repairMesh.h). pVoro: the one that made the mesh; not owned.

    void finalizeReconstructedMesh(Voro* pVoro);  ///< repairReconstructedMesh()
    void finalizeHoleMesh(Voro* pVoro);           ///< repairHoleMesh()
    void finalizeOneMelted(Voro* pVoro);          ///< repairMeltedMesh()

    // ---- Their passes

    void unifyDiagonals();                                        ///< unifyDiagonals() in squares.h
    void killDegenerate();                                        ///< killDegenerate() in degenerate.h
    void cbsComplete(Voro* pVoro);                                ///< completeCubes() in completeCubes.h
    void getBordersKillDeg1nn(std::vector<CEdge*>& vBorderCE);    ///< appends killHangersGetBorder() in borders.h
    void integrateCCD(CEdge* pBorderCE);                          ///< foldEar() in borders.h
    void killTinyBorderPatches(int maxNumT);                      ///< killTinyPatches() in borders.h
    void oneCoordTriplePerCCD();                                  ///< separateVertices() in separateVertices.h
    int removeTinyBorderPatches(std::vector<CPatch*>& vPatches);  ///< killBorderlikePatches() in roughBorders.h
    void removeBorderTrianglesAtME();                             ///< killBorderTrianglesAtMEs() in roughBorders.h
    void pruneCases();                                            ///< pruneFlatCorners() in roughBorders.h
    /// Says so and runs Holex, an experiment that ends the process with exit status 0.
    [[noreturn]] void fillHoles(Voro* pVoro);

    // ---- Patch pairs (patchPairs.h; groups in patchGroups.h). Patches are not owned.

    bool patchPairSolving(bool bCareful);  ///< solvePatchPairsOnce()
    /// Appends what pairPatches() finds to the lists.
    void getPatchPairs(std::vector<CPatch*>& vPatches, std::vector<std::pair<CPatch*, CPatch*>>& vPatchPairs,
                       std::vector<CPatch*>& vClosedPatches, std::vector<CPatch*>& vOpenPatches);
    bool solveOnePatchPair(CPatch* pPatch0, CPatch* pPatch1, double meshArea);  ///< solvePatchPair()
    bool simplifyClosedPatches(std::vector<CPatch*>& vClosedPatches, bool bCareful);
    void killBoundaryPatches(std::vector<CPatch*>& vPatches);  ///< killPatchesAtBorder() in roughBorders.h
    void solvePatchPairsFrac(std::vector<CPatch*>& vPatches);  ///< solvePatchGroups()
    bool frac_createCluster(CPatch* pStartPatch, std::vector<CPatch*>& vCluster);  ///< growWholeCluster(); always true
    bool frac_solvePatchCluster(std::vector<CPatch*>& vCluster, double meshArea);  ///< solvePatchCluster()

    // ---- Orientation: of patches (orientPatches.h), across MEs (orientByTurns.h), of the outer skin (outerSkin.h)

    /// orientPatches(). vPatches must be empty (assertion) and gets the patches, which are the caller's then.
    void createPatchesOrient(std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches);
    void orient();  ///< orientPatches() of all triangles
    void resetVisited(std::vector<CTriangle*>& vT);
    void strategyMST(std::set<CEdge*>& sFences);                      ///< inserts and counts the edges of orientByTurns()
    void enqueue(CTriangle* pCT, int ici);                            ///< enqueueTurns() into mmQueue
    CPatch* patchGrowing(std::vector<CPatch*>& vPatches);             ///< growOuterSkin() up to sBorderCCD
    CTriangle* getMaxT(std::vector<CPatch*>& vPatches, bool& bFlip);  ///< findOuterTriangle()

    // ---- Edges of degree three (degree3.h), and chains of them (degree3Chains.h)

    void repairDeg3();                                                      ///< thinFlaps()
    bool tryRepairEvilDeg3(CEdge* pCE, const std::vector<CTriangle*>& vT);  ///< killFlapTriangle()
    bool deleteAroundEvilDeg3(CEdge* pCE, std::vector<CEdge*>& vNext);      ///< eatAtEnds(); true when it killed
    void completeDeg3ChainsAndRemoveT();                                    ///< cutOffAtChains()
    bool tryClose(Chain* pChain, std::vector<CEdge*>& vSolution);           ///< closeChain()
    bool tryKillT(Chain* pChain, std::vector<CEdge*>& vSolution);           ///< killWithinRing()
    /// vGroup becomes what floodWithin() reaches. False when that is nothing, or more than maxNumT triangles.
    bool bfs(std::size_t maxNumT, std::vector<CTriangle*>& vStack, std::set<CEdge*>& sFences,
             std::vector<CTriangle*>& vGroup);
    void createMap(std::vector<CEdge*>& vCE, std::multimap<VCD, CEdge*>& mmVCD2CE) const;  ///< enterUnderEnds()

    // ---- Simplification (coarseCollapses.h, coarseCaps.h) and flips (coarseFlips.h, featureFlips.h)

    void simplifyAndSmooth();                                     ///< simplifyAndFlip()
    bool simplify(int passNo, double maxLen, SimplifyMode mode);  ///< simplifyCoarse()
    /// collapseOntoEnd()
    bool killSingle(CEdge* pCE, int iKill, double maxSq, std::multimap<double, CEdge*>& prioq);
    /// collapseToMiddle()
    bool killMid(CEdge* pCE, const Point3& M, double maxSq, std::multimap<double, CEdge*>& prioq);
    void collapseSmallEdges();
    void edgeFlips(double angleDeg);                                         ///< flipByEnergy()
    void getEdgesForOptimization(double angleDeg, std::vector<CEdge*>& vE);  ///< appendFoldedEdges()
    void buildPrioq(std::multimap<double, CEdge*>& q, double minAngle);      ///< enterFolds()
    void flipBadAngles();                                                    ///< flipFolds() from 150 degrees on
    int flipExtremeCaps(bool bKill);                                         ///< flipCaps()
    void flipFeatures();                                                     ///< flipOntoFeatures()
    bool canFlip(VCD ccd0, VCD ccd1, VCD alt0, VCD alt1);                    ///< canFlip() beside sBorderCCD
    int countCollinearConnectors(VCD ccd0, VCD ccd1);                        ///< of sFeatureCCD

    CMesh* pCMesh;              ///< not owned; that of the Voro after cbsComplete and the sequences
    Calc* pCalc;                ///< not owned; must be that of the mesh, which the passes ask for it
    std::set<CCD> sFeatureCCD;  ///< vertices on feature lines
    std::set<CCD> sBorderCCD;   ///< vertices at which walks stop
    Rotx rotx{pCMesh, true};
    TurnQueue mmQueue;  ///< of enqueue()

private:
    ExtractAgain meshAgainOf(Voro* pVoro);

    Random random;  // of oneCoordTriplePerCCD
};

}  // namespace TARN_KEL
