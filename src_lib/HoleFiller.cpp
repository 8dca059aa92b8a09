// Closes holes by ears, round by round.
//
// Where border loops touch in a vertex v, four border edges meet there, and nothing tells which two belong together. Each
// side of v has a fan of triangles with two of the edges. A triangle across one of the two gaps between the fans closes that
// gap:
//
//        a       c               a ----- c
//         \     /                 \     /           a and b are the far ends of the edges of one fan, c and d those of the
//   fan 0  \   /  fan 1      fan 0 \   /  fan 1     other one. Where a is nearer to c and b to d, the gap of a and c is
//           \ /                     \ /             closed; where a is nearer to d and b to c, that of b and c, if both
//            v                       v              are much nearer. Where a and b are nearer to the same end, the fans
//           / \                     / \             don't lie side by side and nothing is done.
//          /   \                   /   \ .
//         b     d                 b     d
//
// A mesh of a million triangles may have thousands of holes. A loop must not turn the whole sheet to suit its walk, as it
// may do with the small mesh of one hole. So the patches are oriented once; each walk starts on an edge in the direction
// that fits its triangle, and a loop turns only the triangles of its ring.
#include "HoleFiller.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <set>
#include <utility>

#include "CMesh.h"
#include "fillChain.h"
#include "flood.h"
#include "freeFunctions.h"
#include "handOver.h"
#include "orientPatches.h"
#include "runs.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int IDLE_ROUNDS = 2;        // so many rounds without a new triangle end the run
constexpr double MUCH_NEARER = 20.0;  // degrees

void requireBorder(const CEdge* pCE) {
    ASSEX(pCE->getDegree()==1);
}

/// The walk of a loop leaves this end of a border edge when it runs against the edge's triangle.
bool isOutgoing(const std::pair<const VCD, CEdge*>& entry) {
    const auto& [vcd, pCE] = entry;
    return pCE->getTriangle(true, false)->getHEDirection2(vcd, pCE->getOtherVCD(vcd)) == HE_OPPOSITE;
}

/// Reorders the entries of each vertex: outgoing ones first.
EdgesByEnd outgoingFirst(const EdgesByEnd& mmVCD2CE) {
    EdgesByEnd mm;
    for (const bool bOutgoing : {true, false})
        for (const auto& entry : mmVCD2CE)
            if (isOutgoing(entry) == bOutgoing) mm.insert(entry);
    return mm;
}

using Fans = std::array<std::vector<CTriangle*>, 2>;

/// The triangles at the vertex that are connected there with its last one, and the others.
Fans fansAt(const CMesh* pCMesh, VCD vcd) {
    std::vector<CTriangle*> vIncT;
    pCMesh->getIncidentT(vcd, vIncT);
    Fans fans;
    if (vIncT.empty()) return fans;
    std::set<CTriangle*> sReached{vIncT.back()};
    std::vector<CTriangle*> vStack{vIncT.back()};
    const auto forEachNext = [](const CTriangle* pCT, const auto& offer) {
        std::vector<CTriangle*> vNeigs;
        for (int i = 0; i < 3; ++i)
            pCT->getNeigs(i, vNeigs);
        for (CTriangle* pNeigT : vNeigs)
            offer(pNeigT);
    };
    flood(vStack, forEachNext, [&](CTriangle* pCT) { return pCT->has(vcd) && sReached.insert(pCT).second; });
    for (CTriangle* pCT : vIncT)
        fans[sReached.count(pCT) != 0 ? 0 : 1].push_back(pCT);
    return fans;
}

bool hasEdge(const std::vector<CTriangle*>& vT, const CEdge* pCE) {
    return std::any_of(vT.begin(), vT.end(), [pCE](const CTriangle* pCT) { return pCT->has(pCE->v0, pCE->v1); });
}

/// The border edges of each fan at the vertex; warns unless each fan has two.
std::array<std::vector<CEdge*>, 2> bordersOfFans(const CMesh* pCMesh, VCD vcd, const EdgesByEnd& mmVCD2CE) {
    const auto [vGroup0, vGroup1] = fansAt(pCMesh, vcd);
    if (vGroup0.empty() || vGroup1.empty()) {
        warning(KEL_PLACE, "empty groups");
        out() << "vGroup0=" << vGroup0.size() << ", vGroup1=" << vGroup1.size() << std::endl;
    }
    const std::size_t num = mmVCD2CE.count(vcd);
    if (num != 4) {
        warning(KEL_PLACE, "Distance is " + toString(num));
        return {};
    }
    std::array<std::vector<CEdge*>, 2> avCE;
    for (auto [it, itEnd] = mmVCD2CE.equal_range(vcd); it != itEnd; ++it) {
        const bool bGroup0 = hasEdge(vGroup0, it->second);
        const bool bGroup1 = hasEdge(vGroup1, it->second);
        ASSEX((bGroup0==true && bGroup1==false) || (bGroup0==false && bGroup1==true));
        avCE[bGroup0 ? 0 : 1].push_back(it->second);
    }
    if (avCE[0].size() != 2 || avCE[1].size() != 2)
        warning(KEL_PLACE, "vCE0.size()=" + toString(avCE[0].size()) + ", vCE1.size()=" + toString(avCE[1].size()));
    return avCE;
}

/// The edge of vCE0 whose gap to the first edge of vCE1 is to be closed; null when both are nearer to the same one.
CEdge* nearerOf(const CMesh* pCMesh, VCD vcd, const std::vector<CEdge*>& vCE0, const std::vector<CEdge*>& vCE1) {
    const auto direction = [&](const CEdge* pCE) {
        return normalize(*pCMesh->getVtx(pCE->getOtherVCD(vcd)) - *pCMesh->getVtx(vcd));
    };
    const Vector3 a = direction(vCE0[0]), b = direction(vCE0[1]), c = direction(vCE1[0]), d = direction(vCE1[1]);
    const double d1 = getAngleDegree(a, c) - getAngleDegree(a, d);
    const double d2 = getAngleDegree(b, d) - getAngleDegree(b, c);
    if ((d1 < 0.0 && d2 > 0.0) || (d1 > 0.0 && d2 < 0.0)) return nullptr;
    return vCE0[d1 > MUCH_NEARER && d2 > MUCH_NEARER ? 1 : 0];
}

void fillBetween(CMesh* pCMesh, VCD vcd, CEdge* pKillCE0, CEdge* pKillCE1, EdgesByEnd& mmVCD2CE) {
    const CTriangle* pNeigT = pKillCE0->getTriangle(true, true);
    std::vector<CTriangle*> vIncT;
    pCMesh->getIncidentT(vcd, vIncT);
    const VCD farVCD0 = pKillCE0->getOtherVCD(vcd), farVCD1 = pKillCE1->getOtherVCD(vcd);
    CTriangle* pCT = pCMesh->createT(vcd, farVCD0, farVCD1, vIncT.front()->vcdCube, 0);
    if (pCT->needFlip(pNeigT)) pCT->flipNNV();
    ASSEX(pKillCE0->getDegree()==2);
    ASSEX(pKillCE1->getDegree()==2);
    eraseBothEntries(mmVCD2CE, pKillCE0);
    eraseBothEntries(mmVCD2CE, pKillCE1);
    CEdge* pThirdCE = pCMesh->getEdge(farVCD0, farVCD1);
    if (pThirdCE->getDegree() == 1)
        enterBothEnds(mmVCD2CE, {pThirdCE});
    else
        eraseBothEntries(mmVCD2CE, pThirdCE);  // the triangle has closed a border of three edges
}

}  // namespace

HoleFiller::HoleFiller(CMesh* pMesh, Calc* pGrid) : pCMesh(pMesh), pCalc(pGrid) {}

HoleFiller::~HoleFiller() {
    for (const Loop* pLoop : vLoops)
        delete pLoop;
}

void HoleFiller::run() {
    orientPatches(*pCMesh);
    std::vector<CEdge*> vCE;
    pCMesh->getDegN(1, vCE);
    for (int numIdle = 0; numIdle < IDLE_ROUNDS;) {
        createLoopsStrategy(vCE);
        numIdle = fillLoops() ? 0 : numIdle + 1;
        vCE.clear();
        dropLoops(vCE);
    }
}

bool HoleFiller::fillLoops() {
    bool bProgress = false;
    for (Loop* pLoop : vLoops) {
        if (!pLoop->isClosed()) {
            warning(KEL_PLACE, "Open loop, impossible");
            continue;
        }
        if (pLoop->fill() && !pLoop->vFillT.empty()) bProgress = true;
    }
    return bProgress;
}

void HoleFiller::dropLoops(std::vector<CEdge*>& vRemainingCE) {
    while (!vLoops.empty()) {
        const std::unique_ptr<Loop> pLoop(vLoops.back());
        vLoops.pop_back();
        pLoop->getRemainingBorders(vRemainingCE);
        pLoop->getOpenFillCE(vRemainingCE);
    }
}

void HoleFiller::createLoopsStrategy(const std::vector<CEdge*>& vCE) {
    for (const CEdge* pCE : vCE)
        requireBorder(pCE);
    EdgesByEnd mmVCD2CE;
    enterBothEnds(mmVCD2CE, vCE);
    std::vector<VCD> vMultiVCD;  // ascending
    const auto vertexOf = [](const auto& entry) { return entry.first; };
    forEachRun(mmVCD2CE.begin(), mmVCD2CE.end(), vertexOf, [&vMultiVCD](auto first, auto end) {
        if (std::distance(first, end) > 2) vMultiVCD.push_back(first->first);
    });
    for (const VCD vcd : vMultiVCD)
        solveMultiVCD(vcd, mmVCD2CE);
    for (const auto& [vcd, pCE] : mmVCD2CE)
        requireBorder(pCE);

    mmVCD2CE = outgoingFirst(mmVCD2CE);
    while (!mmVCD2CE.empty())
        handOver(std::make_unique<Loop>(mmVCD2CE, pCalc, pCMesh, LR_RING), vLoops);
}

void HoleFiller::solveMultiVCD(VCD vcd, EdgesByEnd& mmVCD2CE) {
    const auto [vCE0, vCE1] = bordersOfFans(pCMesh, vcd, mmVCD2CE);
    if (vCE0.size() != 2 || vCE1.size() != 2) return;
    if (CEdge* const pCE0 = nearerOf(pCMesh, vcd, vCE0, vCE1)) fillBetween(pCMesh, vcd, pCE0, vCE1[0], mmVCD2CE);
}

void HoleFiller::showLoops(const std::string& filename) const {
    TARN_KEL::showLoops(vLoops, pCalc, filename);
}

}  // namespace TARN_KEL
