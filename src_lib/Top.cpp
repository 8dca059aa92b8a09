// Calls the passes on a coarse mesh under the names of Top.
#include "Top.h"

#include "CMesh.h"
#include "Chain.h"
#include "Holex.h"
#include "Voro.h"
#include "borders.h"
#include "coarseCaps.h"
#include "coarseFlips.h"
#include "completeCubes.h"
#include "degenerate.h"
#include "degree3.h"
#include "degree3Chains.h"
#include "featureFlips.h"
#include "meshCore.h"
#include "orientPatches.h"
#include "outerSkin.h"
#include "patchGroups.h"
#include "patchPairs.h"
#include "repairMesh.h"
#include "roughBorders.h"
#include "separateVertices.h"
#include "squares.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double BAD_FOLD = 150.0;  // degrees

template <typename T>
void append(std::vector<T>& vOut, const std::vector<T>& v) {
    vOut.insert(vOut.end(), v.begin(), v.end());
}

}  // namespace

Top::Top(CMesh* pCMesh_, Calc* pCalc_) : pCMesh(pCMesh_), pCalc(pCalc_) {}

// ---- The sequences

ExtractAgain Top::meshAgainOf(Voro* pVoro) {
    return [this, pVoro](VCCD& vKeys) -> CMesh& {
        pCMesh = pVoro->meshAgain(vKeys);
        return *pCMesh;
    };
}

void Top::finalizeReconstructedMesh(Voro* pVoro) {
    repairReconstructedMesh(*pCMesh, meshAgainOf(pVoro));
}

void Top::finalizeHoleMesh(Voro* pVoro) {
    repairHoleMesh(*pCMesh, meshAgainOf(pVoro));
}

void Top::finalizeOneMelted(Voro* pVoro) {
    repairMeltedMesh(*pCMesh, meshAgainOf(pVoro));
}

// ---- Their passes

void Top::unifyDiagonals() {
    TARN_KEL::unifyDiagonals(*pCMesh);
}

void Top::killDegenerate() {
    TARN_KEL::killDegenerate(*pCMesh);
}

void Top::cbsComplete(Voro* pVoro) {
    completeCubes(*pCMesh, meshAgainOf(pVoro));
}

void Top::getBordersKillDeg1nn(std::vector<CEdge*>& vBorderCE) {
    append(vBorderCE, killHangersGetBorder(*pCMesh));
}

void Top::integrateCCD(CEdge* pBorderCE) {
    foldEar(*pCMesh, pBorderCE);
}

void Top::killTinyBorderPatches(int maxNumT) {
    killTinyPatches(*pCMesh, maxNumT);
}

void Top::oneCoordTriplePerCCD() {
    separateVertices(*pCMesh, random);
}

int Top::removeTinyBorderPatches(std::vector<CPatch*>& vPatches) {
    return killBorderlikePatches(vPatches);
}

void Top::removeBorderTrianglesAtME() {
    killBorderTrianglesAtMEs(*pCMesh);
}

void Top::pruneCases() {
    pruneFlatCorners(*pCMesh);
}

void Top::fillHoles(Voro*) {
    info("", "Top::fillHoles() calls Holex - experimental");
    std::vector<Point3> vNothing;
    Holex(pCMesh, pCalc).run(vNothing);
}

// ---- Patch pairs

bool Top::patchPairSolving(bool bCareful) {
    return solvePatchPairsOnce(*pCMesh, bCareful);
}

void Top::getPatchPairs(std::vector<CPatch*>& vPatches, std::vector<std::pair<CPatch*, CPatch*>>& vPatchPairs,
                        std::vector<CPatch*>& vClosedPatches, std::vector<CPatch*>& vOpenPatches) {
    const PatchPairs pairs = pairPatches(vPatches);
    append(vPatchPairs, pairs.vPairs);
    append(vClosedPatches, pairs.vClosed);
    append(vOpenPatches, pairs.vOpen);
}

bool Top::solveOnePatchPair(CPatch* pPatch0, CPatch* pPatch1, double meshArea) {
    return solvePatchPair(pPatch0, pPatch1, meshArea);
}

bool Top::simplifyClosedPatches(std::vector<CPatch*>& vClosedPatches, bool bCareful) {
    return TARN_KEL::simplifyClosedPatches(vClosedPatches, bCareful);
}

void Top::killBoundaryPatches(std::vector<CPatch*>& vPatches) {
    killPatchesAtBorder(vPatches);
}

void Top::solvePatchPairsFrac(std::vector<CPatch*>& vPatches) {
    solvePatchGroups(*pCMesh, vPatches);
}

bool Top::frac_createCluster(CPatch* pStartPatch, std::vector<CPatch*>& vCluster) {
    growWholeCluster(pStartPatch, vCluster);
    return true;
}

bool Top::frac_solvePatchCluster(std::vector<CPatch*>& vCluster, double meshArea) {
    return solvePatchCluster(vCluster, meshArea);
}

// ---- Orientation

void Top::createPatchesOrient(std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches) {
    ASSEX(vPatches.empty());
    orientPatches(*pCMesh, vT, vPatches);
}

void Top::orient() {
    orientPatches(*pCMesh);
}

void Top::resetVisited(std::vector<CTriangle*>& vT) {
    clearVisited_MT(vT);
}

void Top::strategyMST(std::set<CEdge*>& sFences) {
    info("", "This is strategyMST");
    mmQueue.clear();
    const std::vector<CEdge*> vFenceCE = orientByTurns(*pCMesh, rotx);
    sFences.insert(vFenceCE.begin(), vFenceCE.end());
    out() << "Fences: " << sFences.size() << std::endl;
}

void Top::enqueue(CTriangle* pCT, int ici) {
    enqueueTurns(*pCMesh, rotx, pCT, ici, mmQueue);
}

CPatch* Top::patchGrowing(std::vector<CPatch*>& vPatches) {
    return growOuterSkin(*pCMesh, rotx, vPatches, sBorderCCD);
}

CTriangle* Top::getMaxT(std::vector<CPatch*>& vPatches, bool& bFlip) {
    const OuterTriangle outer = findOuterTriangle(*pCMesh, vPatches);
    bFlip = outer.bFlip;
    return outer.pCT;
}

// ---- Degree three

void Top::repairDeg3() {
    thinFlaps(*pCMesh);
}

bool Top::tryRepairEvilDeg3(CEdge* pCE, const std::vector<CTriangle*>& vT) {
    return killFlapTriangle(*pCMesh, pCE, vT);
}

bool Top::deleteAroundEvilDeg3(CEdge* pCE, std::vector<CEdge*>& vNext) {
    return !eatAtEnds(*pCMesh, pCE, vNext).empty();
}

void Top::completeDeg3ChainsAndRemoveT() {
    cutOffAtChains(*pCMesh);
}

bool Top::tryClose(Chain* pChain, std::vector<CEdge*>& vSolution) {
    return closeChain(*pChain, vSolution);
}

bool Top::tryKillT(Chain* pChain, std::vector<CEdge*>& vSolution) {
    return killWithinRing(*pCMesh, *pChain, vSolution);
}

bool Top::bfs(std::size_t maxNumT, std::vector<CTriangle*>& vStack, std::set<CEdge*>& sFences,
              std::vector<CTriangle*>& vGroup) {
    vGroup = floodWithin(maxNumT, vStack, sFences);
    return !vGroup.empty();
}

void Top::createMap(std::vector<CEdge*>& vCE, std::multimap<VCD, CEdge*>& mmVCD2CE) const {
    enterUnderEnds(vCE, mmVCD2CE);
}

// ---- Simplification and flips

void Top::simplifyAndSmooth() {
    simplifyAndFlip(*pCMesh);
}

bool Top::simplify(int passNo, double maxLen, SimplifyMode mode) {
    return simplifyCoarse(*pCMesh, passNo, maxLen, mode);
}

bool Top::killSingle(CEdge* pCE, int iKill, double maxSq, std::multimap<double, CEdge*>& prioq) {
    return collapseOntoEnd(*pCMesh, pCE, iKill, maxSq, prioq);
}

bool Top::killMid(CEdge* pCE, const Point3& M, double maxSq, std::multimap<double, CEdge*>& prioq) {
    return collapseToMiddle(*pCMesh, pCE, M, maxSq, prioq);
}

void Top::collapseSmallEdges() {
    TARN_KEL::collapseSmallEdges(*pCMesh);
}

void Top::edgeFlips(double angleDeg) {
    flipByEnergy(*pCMesh, angleDeg);
}

void Top::getEdgesForOptimization(double angleDeg, std::vector<CEdge*>& vE) {
    appendFoldedEdges(*pCMesh, angleDeg, vE);
}

void Top::buildPrioq(std::multimap<double, CEdge*>& q, double minAngle) {
    enterFolds(*pCMesh, minAngle, q);
}

void Top::flipBadAngles() {
    flipFolds(*pCMesh, BAD_FOLD);
}

int Top::flipExtremeCaps(bool bKill) {
    return flipCaps(*pCMesh, bKill, sBorderCCD);
}

void Top::flipFeatures() {
    flipOntoFeatures(*pCMesh, sFeatureCCD, sBorderCCD);
}

bool Top::canFlip(VCD ccd0, VCD ccd1, VCD alt0, VCD alt1) {
    return TARN_KEL::canFlip(*pCMesh, sBorderCCD, ccd0, ccd1, alt0, alt1);
}

int Top::countCollinearConnectors(VCD ccd0, VCD ccd1) {
    return TARN_KEL::countCollinearConnectors(*pCMesh, sFeatureCCD, ccd0, ccd1);
}

}  // namespace TARN_KEL
