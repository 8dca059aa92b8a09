// Closes a hole by ears, always where it is narrowest.
//
//        p ---- n            The corner c between its neighbours p and n has the smallest angle, so (p, c, n) is created.
//       / \    /:            The border now runs from p to n, and the angles at both have become smaller: they are entered
//      /   \  / :            in the queue again. Their former entries are stale, and so is the key of every corner whose
//     /     \/  :            surroundings have changed. So a corner is judged again when it comes up: if its key has grown
//            c               it is put back, else it is cut.
//
// The angle alone can't tell inside from outside. The normals at the corner can: seen from where they point, a convex corner
// turns left. New triangles count among them. So a cap can grow out of a border whose own triangles are upright on it, and
// a corner between two sheets that turn away from each other waits until the rest of the border has been closed.
#include "Loop.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <memory>
#include <optional>

#include "CEdge.h"
#include "CMesh.h"
#include "flood.h"
#include "handOver.h"
#include "lazyQueue.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

// Degrees.
constexpr double FOLDED = 45.0;           // between the normals at both neighbours: the corner waits
constexpr double WAITING = 100.0;         // what that adds to its key
constexpr double OUTWARD_TURN = 250.0;    // a border that turns away from the hole by more isn't filled
constexpr double INWARD_TURN = -200.0;    // one that turns towards it by more is a hole, whatever the area says
constexpr double COUNTS_AS_HOLE = 175.0;  // area of ears below this angle counts for the hole
constexpr double COUNTS_AGAINST = 185.0;  // above this against it

}  // namespace

int Loop::getSeqNum() {
    static std::atomic<int> seqNum{0};
    return seqNum++;
}

// ---- The border ---------------------------------------------------------------------------------------------------------

Loop::Loop(EdgesByEnd& mmVCD2CE, Calc* pGrid, CMesh* pMesh, LoopReach loopReach)
    : pCalc(pGrid), pCMesh(pMesh), label(getSeqNum()), reach(loopReach) {
    bClosed = orientChainAndAjacentT(mmVCD2CE);
    if (bClosed) orientIncidentT();
}

Loop::~Loop() {
    dropEntries();
}

bool Loop::orientChainAndAjacentT(EdgesByEnd& mmVCD2CE) {
    const std::size_t begin = vCE.size();  // not 0 when another border was walked before
    walk(mmVCD2CE);
    turnChainT(begin);
    return vCE.back()->getTarget() == vCE[begin]->getSource();
}

void Loop::walk(EdgesByEnd& mmVCD2CE) {
    ASSEX(!mmVCD2CE.empty());
    VCD at = mmVCD2CE.begin()->first;
    for (auto it = mmVCD2CE.lower_bound(at); it != mmVCD2CE.end() && it->first == at; it = mmVCD2CE.lower_bound(at)) {
        CEdge* pCE = it->second;
        const int degree = pCE->getDegree();
        ASSEX(degree>0);
        if (degree != 1) sThickCE.insert(pCE);
        ASSEX_AS("false", pCE->v0 == at || pCE->v1 == at);  // keys of the map are ends of the edges
        pCE->setDirection(pCE->v0 == at ? ED_V0_V1 : ED_V1_V0);
        vCE.push_back(pCE);
        eraseBothEntries(mmVCD2CE, pCE);
        at = pCE->getOtherVCD(at);
    }
}

void Loop::turnChainT(std::size_t begin) {
    for (std::size_t i = begin; i < vCE.size(); ++i) {
        const CEdge* pCE = vCE[i];
        if (pCE->getDegree() != 1) continue;
        CTriangle* pCT = pCE->getTriangle(true, true);
        if (pCT->getHEDirection2(pCE->getSource(), pCE->getTarget()) != HE_OPPOSITE) pCT->flipNNV();
        sOrientedT.insert(pCT);
    }
    sChainT = sOrientedT;
}

void Loop::orientIncidentT() {
    std::vector<VCD> vBorderVCD;
    for (const CEdge* pCE : vCE)
        vBorderVCD.push_back(pCE->getSource());
    oneInstance(vBorderVCD);
    const auto isOnBorder = [&](VCD vcd) { return std::binary_search(vBorderVCD.begin(), vBorderVCD.end(), vcd); };
    const auto isWithinReach = [&](const CTriangle* pCT) {
        return reach == LR_COMPONENT || isOnBorder(pCT->c0) || isOnBorder(pCT->c1) || isOnBorder(pCT->c2);
    };
    std::set<const CEdge*> sCrossedME;  // the first triangle that comes to an edge turns all the others on it
    const auto turnNeigs = [&](const CTriangle* pCT, const auto& offer) {
        for (int i = 0; i < 3; ++i) {
            const CEdge* pCE = pCT->getCE(i);
            if (pCE->getDegree() > 2 && (reach == LR_RING || !sCrossedME.insert(pCE).second)) continue;
            for (CTriangle* pNeigT : pCE->vCT)
                if (offer(pNeigT) && pNeigT->getHEDirection2(pCE->v0, pCE->v1) == pCT->getHEDirection2(pCE->v0, pCE->v1))
                    pNeigT->flipNNV();
        }
    };
    std::vector<CTriangle*> vStack(sOrientedT.begin(), sOrientedT.end());
    flood(vStack, turnNeigs, [&](CTriangle* pCT) { return isWithinReach(pCT) && sOrientedT.insert(pCT).second; });
}

// ---- Cutting ears -------------------------------------------------------------------------------------------------------

bool Loop::fill() {
    sOrientedT.clear();
    turnChainT(0);
    if (bClosed) orientIncidentT();
    initPrioq();
    double turn = 0.0;
    for (const auto& [angle, pAE] : mmPrioq)
        if (!(angle > 360.0)) turn += angle - 180.0;
    if (turn > OUTWARD_TURN) return false;
    while (triangulate()) {
    }
    if (!(turn > INWARD_TURN) || !(signedArea < 0.0)) return true;
    for (CTriangle* pCT : vFillT)
        pCT->kill(pCMesh);
    vFillT.clear();
    return false;
}

void Loop::initPrioq() {
    ASSEX(!vCE.empty());
    std::vector<AngleEntry*> vTmpAE;
    for (std::size_t i = 0; i < vCE.size(); ++i) {
        const CEdge *pCE = vCE[i], *pPrevCE = vCE[i == 0 ? vCE.size() - 1 : i - 1];
        const bool bBothBorder = pCE->getDegree() == 1 && pPrevCE->getDegree() == 1;
        const VCD vcd = pCE->getSource();
        Point3* pVtx = pCMesh->getVtx(vcd);
        AngleEntry* pAE = handOver(std::make_unique<AngleEntry>(pCMesh, vcd, pVtx, nullptr, nullptr, bBothBorder), vAllAE);
        vTmpAE.push_back(pAE);
        mVtxAE[pVtx] = pAE;
    }
    ASSEX(!vTmpAE.empty());
    numAE = static_cast<int>(vTmpAE.size());
    for (std::size_t i = 0; i < vTmpAE.size(); ++i) {
        AngleEntry* pAE = vTmpAE[i];
        AngleEntry* pPrevAE = vTmpAE[i == 0 ? vTmpAE.size() - 1 : i - 1];
        AngleEntry* pNextAE = vTmpAE[i + 1 == vTmpAE.size() ? 0 : i + 1];
        ASSEX(pPrevAE!=pAE);
        ASSEX(pNextAE!=pAE);
        pAE->setPrevAE(pPrevAE);
        pAE->setNextAE(pNextAE);
        pAE->expectGrowthOnly();
    }
    for (AngleEntry* pAE : vTmpAE)
        enqueueIfConvex(pAE);
}

void Loop::enqueueIfConvex(AngleEntry* pAE) {
    AngleEntryState state = AES_NONE;
    const double angle = pAE->getBorderAngle(true, state);
    if (state == AES_CONVEX) mmPrioq.emplace(angle, pAE);
}

AngleEntry* Loop::getMinAngleEntry() {
    const auto judge = [](AngleEntry* pAE) -> std::optional<double> {
        if (!pAE->isAlive()) return std::nullopt;
        AngleEntryState state = AES_NONE;
        const double angle = pAE->getBorderAngle(true, state);
        if (state != AES_CONVEX) return std::nullopt;
        return pAE->getPrevNextDihedral() > FOLDED ? angle + WAITING : angle;
    };
    const auto next = takeLazily(mmPrioq, judge);
    return next ? next->second : nullptr;
}

bool Loop::triangulate() {
    if (numAE < 3) return false;
    AngleEntry* pAE = getMinAngleEntry();
    if (pAE == nullptr) return false;
    AngleEntryState state = AES_NONE;
    const double angle = pAE->getBorderAngle(false, state);
    if (state != AES_CONVEX) return false;
    AngleEntry *pPrevAE = pAE->getPrevAE(), *pNextAE = pAE->getNextAE();
    ASSEX(pAE!=pPrevAE && pAE!=pNextAE && pPrevAE!=pNextAE);
    ASSEX(pNextAE->getPrevAE()==pAE);
    ASSEX(pPrevAE->getNextAE()==pAE);

    pAE->kill();
    --numAE;
    CTriangle* pCT = pCMesh->createT(pPrevAE->getOwnVCD(), pAE->getOwnVCD(), pNextAE->getOwnVCD(), 0, 0);
    vFillT.push_back(pCT);
    const double area = pCT->getArea(pCMesh);
    if (COUNTS_AS_HOLE > angle) signedArea += area;
    if (angle > COUNTS_AGAINST) signedArea -= area;

    pNextAE->setPrevAE(pPrevAE);
    pPrevAE->setNextAE(pNextAE);
    enqueueIfConvex(pPrevAE);
    enqueueIfConvex(pNextAE);
    return true;
}

void Loop::dropEntries() {
    mmPrioq.clear();
    mVtxAE.clear();
    for (const AngleEntry* pAE : vAllAE)
        delete pAE;
    vAllAE.clear();
}

void Loop::carryOver(CMesh* pTarget) {
    dropEntries();
    for (std::set<CTriangle*>* pSet : {&sOrientedT, &sChainT})
        pSet->clear();
    sThickCE.clear();
    for (CTriangle*& pCT : vFillT)
        pCT = pTarget->createT(pCT->c0, pCT->c1, pCT->c2, 0, 0);
    for (CEdge*& pCE : vCE) {
        pCE = pTarget->getEdge(pCE->v0, pCE->v1);
        ASSEX(pCE!=NULL);
    }
    // Edges of a chain have the directions of the chain, which may be walked the other way.
    if (vCE.size() > 1 && vCE[0]->getTarget() != vCE[1]->getSource()) std::reverse(vCE.begin(), vCE.end());
    pCMesh = pTarget;
}

// ---- Reading ------------------------------------------------------------------------------------------------------------

bool Loop::hasBorderVCD(VCD vcd) const {
    return std::any_of(vCE.begin(), vCE.end(), [vcd](const CEdge* pCE) { return pCE->has(vcd); });
}

void Loop::getVecCE(std::vector<CEdge*>& vOut) const {
    vOut.insert(vOut.end(), vCE.begin(), vCE.end());
}

void Loop::getFillT(std::vector<CTriangle*>& vOut) const {
    vOut.insert(vOut.end(), vFillT.begin(), vFillT.end());
}

void Loop::getRemainingBorders(std::vector<CEdge*>& vOut) const {
    std::copy_if(vCE.begin(), vCE.end(), std::back_inserter(vOut), [](const CEdge* pCE) { return pCE->getDegree() == 1; });
}

void Loop::getOpenFillCE(std::vector<CEdge*>& vOut) const {
    for (const CTriangle* pCT : vFillT)
        for (int i = 0; i < 3; ++i)
            if (pCT->getCE(i)->getDegree() == 1) vOut.push_back(pCT->getCE(i));
}

}  // namespace TARN_KEL
