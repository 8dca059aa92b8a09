// Finishing a melted mesh.
//
// Doubles. Patches on the same rim are solved twice: cut at MEs, then also at fences. Between the two the spanning tree
// (strategyMST) lets all triangles agree as far as they can; an edge where two still disagree joins sheets of opposite
// sides, so it bounds a double although it is manifold.
//
// The outer sheet. From a triangle at the far right of the mesh, turned to face outward, the walk goes on at each edge in
// the triangle met first in a turn on the outer side, turning over what disagrees. At an ME this is the next sheet as seen
// from outside; walls inside the model are never reached, nor what lies behind the border that the caller has told:
//
//          outside          seen along an ME: the walk comes from T and goes on in N;
//         T       N         W, a wall inside, stays behind
//      -------o-------
//             |  W
//
// Spikes. A fold of nearly 180 degrees is flipped where another diagonal is flatter. A spike has several such folds at its
// tip, and no flip helps: the tip is taken out, and its triangles are hung on the neighbour that leaves them flattest.
#include "TopMelt.h"

#include <algorithm>
#include <functional>
#include <map>
#include <unordered_set>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "drawings.h"
#include "floodTriangles.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double SPIKE_FOLD = 140.0;     // degrees
constexpr double MAX_FLATTENED = 140.0;  // degrees, an angle that may be left behind anyway
constexpr double MIN_FLATTENING = 15.0;  // degrees, by which the largest angle must fall otherwise
constexpr double NOT_POSSIBLE = 360.0;   // an angle above all others
constexpr int MIN_FOLDS = 2;             // at the tip of a spike

void printDashes() {
    out() << repstr("-", 60) << "\n";
}

void drawIfAsked(const CMesh& mesh, const std::string& filename, const std::vector<CEdge*>& vHighlightCE = {}) {
    drawOnTheWay([&] { drawMesh(filename, mesh, vHighlightCE); });
}

}  // namespace

// ---- Doubles

void TopMelt::finalize2(const std::vector<std::pair<VCD, VCD>>& vFeatures) {
    takeFeatures(vFeatures);
    solvePairs();
    solveFencedPairs();
    deliberateExit(KEL_PLACE);
}

void TopMelt::takeFeatures(const std::vector<std::pair<VCD, VCD>>& vFeatures) {
    unifyDiagonals();
    drawIfAsked(*pCMesh, "unifiedDiagonals.list");
    std::vector<VCD> vVCD;
    vVCD.reserve(2 * vFeatures.size());
    for (const auto& [vcd0, vcd1] : vFeatures)
        vVCD.insert(vVCD.end(), {vcd0, vcd1});
    oneInstance(vVCD);
    sFeatureCCD.insert(vVCD.begin(), vVCD.end());
    flipFeatures();
}

/// The patches between borders, MEs and fences, as getPatchPairs() sorts them.
struct TopMelt::CutMesh {
    std::vector<CPatch*> vPatches, vClosedPatches, vOpenPatches;  // the mesh's
    std::vector<std::pair<CPatch*, CPatch*>> vPatchPairs;
};

TopMelt::CutMesh TopMelt::cutAt(std::set<CEdge*>* pFences) {
    CutMesh cut;
    std::map<VCD, CPatch*> mVCD2Patch;
    std::vector<CEdge*> vMECE;
    pCMesh->createPatches(pFences, cut.vPatches, mVCD2Patch, vMECE);
    getPatchPairs(cut.vPatches, cut.vPatchPairs, cut.vClosedPatches, cut.vOpenPatches);
    return cut;
}

void TopMelt::solvePairs() {
    solvePatchPairs(cutAt(nullptr).vPatchPairs);
}

void TopMelt::solveFencedPairs() {
    printDashes();
    out() << "Calling strategyMST()..." << std::endl;
    std::set<CEdge*> sFences;
    strategyMST(sFences);
    drawIfAsked(*pCMesh, "afterMST.list", {sFences.begin(), sFences.end()});

    const CutMesh cut = cutAt(&sFences);
    out() << "Showing the patches.." << std::endl;
    drawOnTheWay([&cut] { drawPatches(cut.vPatches); });
    printDashes();
    out() << "sumPatches=" << cut.vPatches.size() << "\nvClosedPatches.size()=" << cut.vClosedPatches.size()
          << "\nvOpenPatches.size()=" << cut.vOpenPatches.size() << "\nvPatchPairs.size()=" << cut.vPatchPairs.size()
          << "\n";
    printDashes();
    pCMesh->printStatistics("beforeSolvePatches2");
    drawIfAsked(*pCMesh, "beforeSolvePatches2.list");
    solvePatchPairs(cut.vPatchPairs);
    pCMesh->printStatistics("afterSolvePatches2");
    drawIfAsked(*pCMesh, "afterSolvePatches2.list");
}

// ---- The outer sheet

void TopMelt::meshGrowing(std::vector<CTriangle*>& vT) {
    CTriangle* pMaxCT = sBorderCCD.empty() ? getFlippedMaxT_for_closed_melt(vT) : getFlippedMaxT_for_open_melt(vT);
    ASSEX(pMaxCT!=NULL);
    resetVisited(vT);
    pMaxCT->bVisited = true;
    std::vector<CTriangle*> vStack{pMaxCT};
    while (!vStack.empty()) {
        CTriangle* pCT = vStack.back();
        vStack.pop_back();
        for (int i = 0; i < 3; ++i) {
            CTriangle* pNeigT = findFlippedNeig(pCT, i);
            if (pNeigT == nullptr || pNeigT->bVisited) continue;
            pNeigT->bVisited = true;
            vStack.push_back(pNeigT);
        }
    }
    sortMT(vT.begin(), vT.end());
    for (CTriangle* pCT : vT)
        if (pCT->isAlive() && !pCT->bVisited) pCT->kill(pCMesh);
}

/// The triangle that follows pCT in a turn round the edge; null when there is none. False when the turn has no order.
bool TopMelt::findNextInTurn(CTriangle* pCT, CEdge* pCE, CTriangle*& pNeigT) {
    pNeigT = nullptr;
    if (!rotx.sortStar(pCT, pCE)) return false;
    ASSEX(pCE->vCT[0]==pCT);
    if (pCE->vCT.size() > 1) pNeigT = pCE->vCT[1];
    return true;
}

CTriangle* TopMelt::findFlippedNeig(CTriangle* pCT, int i) {
    CEdge* pCE = pCT->getCEdge(i);
    CTriangle* pNeigT;
    if (!findNextInTurn(pCT, pCE, pNeigT)) drawOnTheWay([&] { drawEdges("rotbug.list", *pCMesh, {pCE}, CRED); });
    if (pNeigT == nullptr) return nullptr;
    if (pCT->needFlip(pNeigT)) pNeigT->flipNNV();
    const bool bBorder = sBorderCCD.count(pCE->v0) != 0 && sBorderCCD.count(pCE->v1) != 0;
    return bBorder ? nullptr : pNeigT;
}

CTriangle* TopMelt::getFlippedMaxT_for_closed_melt(std::vector<CTriangle*>& vT) {
    std::vector<VCD> vVCD;
    pCMesh->extractAliveVCD(vT, vVCD);
    std::vector<CountT> vSumT = countAtMaxX(vVCD);
    ASSEX(!vSumT.empty());
    std::sort(vSumT.begin(), vSumT.end(), std::greater<>());
    CTriangle* pMaxT = firstFacingX(vSumT);
    if (pMaxT == nullptr) return vSumT.front().second;
    if (pMaxT->computeNNVcoarse().x() < 0.0) pMaxT->flipNNV();
    return pMaxT;
}

bool TopMelt::hasBorderVertex(const CTriangle& ct) const {
    return sBorderCCD.count(ct.c0) != 0 || sBorderCCD.count(ct.c1) != 0 || sBorderCCD.count(ct.c2) != 0;
}

CTriangle* TopMelt::getFlippedMaxT_for_open_melt(std::vector<CTriangle*>& vT) {
    ASSEX(!sBorderCCD.empty());
    CTriangle* pStart = getFlippedMaxT_for_closed_melt(vT);
    resetVisited(vT);
    std::unordered_set<const CTriangle*> sSeen{pStart};
    std::vector<CTriangle*> vStack{pStart};
    while (!vStack.empty()) {
        CTriangle* pCT = vStack.back();
        vStack.pop_back();
        if (hasBorderVertex(*pCT)) {
            out() << "has border" << std::endl;
            return pCT;
        }
        for (int i = 0; i < 3; ++i) {
            CTriangle* pNeigT;
            if (!findNextInTurn(pCT, pCT->getCEdge(i), pNeigT) || pNeigT == nullptr) continue;
            if (!sSeen.insert(pNeigT).second) continue;
            if (pCT->needFlip(pNeigT)) pNeigT->flipNNV();
            vStack.push_back(pNeigT);
        }
    }
    return pStart;
}

void TopMelt::getCC(std::vector<std::vector<CTriangle*>>& vvT) {
    std::vector<CTriangle*> vAllCT, vStack;
    pCMesh->getAllTriangles(vAllCT);
    resetVisited(vAllCT);
    AnyEdge cross;
    for (CTriangle* pCT : vAllCT) {
        if (!pCT->isAlive() || pCT->bVisited) continue;
        std::vector<CTriangle*>& vT = vvT.emplace_back();
        floodTriangles(pCT, vStack, cross, [&vT](CTriangle* pReachedT) { vT.push_back(pReachedT); });
    }
}

// ---- Spikes

void TopMelt::flip180new() {
    flipFolds(SPIKE_FOLD);
}

void TopMelt::replaceRemaining180() {
    std::multimap<double, CEdge*> q;
    buildPrioq(q, SPIKE_FOLD);
    std::vector<std::pair<VCD, CEdge*>> vFoldAt;
    vFoldAt.reserve(2 * q.size());
    for (const auto& [angle, pCE] : q)
        vFoldAt.insert(vFoldAt.end(), {{pCE->v0, pCE}, {pCE->v1, pCE}});
    sortMT(vFoldAt.begin(), vFoldAt.end());
    std::vector<CEdge*> vE;
    for (std::size_t i = 0; i < vFoldAt.size();) {
        const VCD vcd = vFoldAt[i].first;
        vE.clear();
        for (; i < vFoldAt.size() && vFoldAt[i].first == vcd; ++i)
            vE.push_back(vFoldAt[i].second);
        if (vE.size() > 1) tryRemoveCCD(vcd, vE, SPIKE_FOLD);
    }
}

/// The side of a triangle opposite the vertex that is to go: its ends in the order of the triangle, and what is behind it.
struct TopMelt::Side {
    VCD ccd1, ccd2;
    Vector3 neigNNV;
};

bool TopMelt::tryRemoveCCD(CCD killCCD, std::vector<CEdge*>& vE, double minAngle) {
    double maxAngle = 0.0;
    if (countFolds(vE, minAngle, maxAngle) < MIN_FOLDS) return false;
    std::vector<CTriangle*> vIncT;
    pCMesh->getIncidentT(killCCD, vIncT);
    std::vector<Side> vSide;
    if (!getSides(killCCD, vIncT, vSide)) return false;
    double bestAngle = NOT_POSSIBLE;
    const CCD bestCCD = findFlattest(killCCD, vSide, bestAngle);
    if (!(bestAngle < MAX_FLATTENED) && !(maxAngle - bestAngle > MIN_FLATTENING)) return false;
    for (std::size_t i = 0; i < vIncT.size(); ++i) {
        const Side& side = vSide[i];
        if (bestCCD != side.ccd1 && bestCCD != side.ccd2) pCMesh->createT(bestCCD, side.ccd1, side.ccd2, 0, 0);
        vIncT[i]->kill(pCMesh);
    }
    return true;
}

/// How many edges have an angle above minAngle between the normals of their triangles; 0 when one of them has none.
int TopMelt::countFolds(const std::vector<CEdge*>& vE, double minAngle, double& maxAngle) const {
    int count = 0;
    for (const CEdge* pCE : vE) {
        CTriangle *pCT0, *pCT1;
        if (!pCE->getTwoTriangles(pCT0, pCT1, true)) return 0;
        bool bOK0 = false, bOK1 = false;
        const Vector3 nnv0 = pCT0->getRealNNV(pCMesh, bOK0), nnv1 = pCT1->getRealNNV(pCMesh, bOK1);
        if (!bOK0 || !bOK1) return 0;
        const double angle = getAngleDegree(nnv0, nnv1);
        maxAngle = std::max(maxAngle, angle);
        if (angle > minAngle) ++count;
    }
    return count;
}

/// One for each triangle at the vertex. False when behind one of them isn't just one triangle, with a normal: then no place
/// for the vertex can be judged.
bool TopMelt::getSides(CCD ccd, const std::vector<CTriangle*>& vIncT, std::vector<Side>& vSide) const {
    for (const CTriangle* pCT : vIncT) {
        const int i = pCT->getICI(ccd);
        const CTriangle* pNeigT = pCT->getCEdge(i)->getUniqueOtherTriangle(pCT);
        if (pNeigT == nullptr) return false;
        bool bOK = false;
        const Vector3 neigNNV = pNeigT->getRealNNV(pCMesh, bOK);
        if (!bOK) return false;
        VCD ccd1, ccd2;
        pCT->getEdgeCCDs(i, ccd1, ccd2);
        vSide.push_back({ccd1, ccd2, neigNNV});
    }
    return true;
}

/// The largest angle over the sides once the vertex is moved to fromCCD; not looked for further once it isn't below enough.
/// iDecisive: the side that said so last. It is asked first, as it will likely say so for the next neighbour, too.
double TopMelt::largestAngle(CCD killCCD, CCD fromCCD, const std::vector<Side>& vSide, double enough,
                             std::size_t& iDecisive) const {
    ASSEX(fromCCD!=killCCD);
    const Point3& from = *pCMesh->getVtx(fromCCD);
    double worst = 0.0;
    for (std::size_t k = 0; k <= vSide.size(); ++k) {
        const std::size_t i = k == 0 ? iDecisive : k - 1;
        const auto& [ccd1, ccd2, neigNNV] = vSide[i];
        if (fromCCD == ccd1 || fromCCD == ccd2) continue;
        ASSEX(fromCCD!=ccd1 && fromCCD!=ccd2 && ccd1!=ccd2);
        bool bOK = false;
        const Vector3 nnv = getNormalVector(from, *pCMesh->getVtx(ccd1), *pCMesh->getVtx(ccd2), bOK);
        worst = std::max(worst, bOK ? getAngleDegree(neigNNV, nnv) : NOT_POSSIBLE);
        if (worst < enough) continue;
        iDecisive = i;
        return worst;
    }
    return worst;
}

/// The neighbour with the smallest largest angle, of equal ones that of the lowest code; bestAngle stays when none is below
/// it.
CCD TopMelt::findFlattest(CCD killCCD, const std::vector<Side>& vSide, double& bestAngle) const {
    std::vector<CCD> vFromCCD;
    for (const Side& side : vSide)
        vFromCCD.insert(vFromCCD.end(), {side.ccd1, side.ccd2});
    oneInstance(vFromCCD);
    CCD bestCCD = killCCD;
    std::size_t iDecisive = 0;
    for (const CCD fromCCD : vFromCCD) {
        const double worst = largestAngle(killCCD, fromCCD, vSide, bestAngle, iDecisive);
        if (!(worst < bestAngle)) continue;
        bestAngle = worst;
        bestCCD = fromCCD;
    }
    return bestCCD;
}

}  // namespace TARN_KEL
