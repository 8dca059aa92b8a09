// The walk starts from a triangle at the far right of the mesh, turned to face outward. At each edge it goes on to the
// triangle that comes first in a turn on the outer side, and turns that over where the two disagree. At an ME this is the
// next sheet as seen from outside. Walls inside the model are never reached, nor what lies behind the caller's border:
//
//          outside          seen along an ME: the walk comes from T and goes on in N;
//         T       N         W, a wall inside, stays behind
//      -------o-------
//             |  W
#include "outwardWalk.h"

#include <algorithm>
#include <functional>
#include <unordered_set>
#include <utility>

#include "CMesh.h"
#include "Rotx.h"
#include "drawings.h"
#include "flood.h"
#include "meshCore.h"
#include "outerSkin.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

OutwardWalk::OutwardWalk(CMesh& mesh_, Rotx& rotx_, const std::set<CCD>& sBorder_)
    : mesh(mesh_), rotx(rotx_), sBorder(sBorder_) {}

void OutwardWalk::keepReached(std::vector<CTriangle*>& vT) {
    CTriangle* pMaxCT = sBorder.empty() ? start(vT) : borderStart(vT);
    ASSEX(pMaxCT!=NULL);
    clearVisited_MT(vT);
    pMaxCT->bVisited = true;
    std::vector<CTriangle*> vStack{pMaxCT};
    const auto forEachNext = [this](CTriangle* pCT, const auto& offer) {
        for (int i = 0; i < 3; ++i)
            offer(next(pCT, i));
    };
    flood(vStack, forEachNext, [](CTriangle* pCT) { return pCT != nullptr && !std::exchange(pCT->bVisited, true); });
    sortMT(vT.begin(), vT.end());
    for (CTriangle* pCT : vT)
        if (pCT->isAlive() && !pCT->bVisited) pCT->kill(&mesh);
}

// The triangle that follows pCT in a turn around the edge; null when there is none. False when the turn has no order.
bool OutwardWalk::findNextInTurn(CTriangle* pCT, CEdge* pCE, CTriangle*& pNeigT) {
    pNeigT = nullptr;
    if (!rotx.sortStar(pCT, pCE)) return false;
    ASSEX(pCE->vCT[0]==pCT);
    if (pCE->vCT.size() > 1) pNeigT = pCE->vCT[1];
    return true;
}

CTriangle* OutwardWalk::next(CTriangle* pCT, int i) {
    CEdge* pCE = pCT->getCEdge(i);
    CTriangle* pNeigT;
    if (!findNextInTurn(pCT, pCE, pNeigT)) drawOnTheWay([&] { drawEdges("rotbug.list", mesh, {pCE}, CRED); });
    if (pNeigT == nullptr) return nullptr;
    if (pCT->needFlip(pNeigT)) pNeigT->flipNNV();
    const bool bBorder = sBorder.count(pCE->v0) != 0 && sBorder.count(pCE->v1) != 0;
    return bBorder ? nullptr : pNeigT;
}

CTriangle* OutwardWalk::start(const std::vector<CTriangle*>& vT) {
    std::vector<VCD> vVCD;
    mesh.extractAliveVCD(vT, vVCD);
    std::vector<CountT> vSumT = countAtMaxX(mesh, vVCD);
    ASSEX(!vSumT.empty());
    std::sort(vSumT.begin(), vSumT.end(), std::greater<>());
    CTriangle* pMaxT = firstFacingX(vSumT);
    if (pMaxT == nullptr) return vSumT.front().second;
    if (pMaxT->computeNNVcoarse().x() < 0.0) pMaxT->flipNNV();
    return pMaxT;
}

bool OutwardWalk::hasBorderVertex(const CTriangle& ct) const {
    return sBorder.count(ct.c0) != 0 || sBorder.count(ct.c1) != 0 || sBorder.count(ct.c2) != 0;
}

CTriangle* OutwardWalk::borderStart(const std::vector<CTriangle*>& vT) {
    const std::set<CCD>& sBorderCCD = sBorder;
    ASSEX(!sBorderCCD.empty());
    CTriangle* pStart = start(vT);
    clearVisited_MT(vT);
    std::unordered_set<const CTriangle*> sSeen{pStart};
    std::vector<CTriangle*> vStack{pStart};
    CTriangle* pFound = nullptr;
    const auto forEachNext = [&](CTriangle* pCT, const auto& offer) {
        if (pFound == nullptr && hasBorderVertex(*pCT)) {
            out() << "has border" << std::endl;
            pFound = pCT;
        }
        if (pFound != nullptr) return;
        for (int i = 0; i < 3; ++i) {
            CTriangle* pNeigT;
            if (!findNextInTurn(pCT, pCT->getCEdge(i), pNeigT) || pNeigT == nullptr) continue;
            if (sSeen.count(pNeigT) == 0 && pCT->needFlip(pNeigT)) pNeigT->flipNNV();
            offer(pNeigT);
        }
    };
    flood(vStack, forEachNext, [&sSeen](const CTriangle* pCT) { return sSeen.insert(pCT).second; });
    return pFound != nullptr ? pFound : pStart;
}

}  // namespace TARN_KEL
