// Orients the mesh across non-manifold edges.
//
// A queue of steps is ordered by the turn from triangle to triangle, so that a sheet is followed as far as it extends before
// a sharp corner is crossed; the result is a spanning tree of small turns. At an ME only the two triangles next to the
// current one in a turn around the edge may continue it:
//
//              \   pos            seen along the edge; pos and neg may continue X,
//               \ /               the others belong to sheets that pass by on their side
//         X -----o----- other
//               / \ .
//             neg
#include "orientByTurns.h"

#include <string>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "Rotx.h"
#include "geometryFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

void enqueueStep(CMesh& mesh, CTriangle* pCT, CTriangle* pNeigT, const Vector3& ownNNV, const std::string& missing,
                 TurnQueue& mmQueue) {
    if (pNeigT->getPatch() != nullptr) return;
    bool bOK = false;
    const Vector3 nnv = pNeigT->getRealNNV(&mesh, bOK);
    if (!bOK) {
        warning(KEL_PLACE, missing);
        return;
    }
    const double turn = getAngleDegree(ownNNV, pCT->needFlip(pNeigT) ? -nnv : nnv);
    mmQueue.insert({static_cast<float>(turn), {pCT, pNeigT}});
}

/// The first alive triangle, after all triangles have lost their patches.
CTriangle* firstWithoutPatches(const std::vector<CTriangle*>& vAllCT) {
    CTriangle* pStartT = nullptr;
    for (CTriangle* pCT : vAllCT) {
        if (!pCT->isAlive()) continue;
        pCT->setPatch(nullptr);
        if (pStartT == nullptr) pStartT = pCT;
    }
    ASSEX(pStartT!=NULL);
    return pStartT;
}

}  // namespace

std::vector<CEdge*> orientByTurns(CMesh& mesh, Rotx& rotx) {
    std::vector<CTriangle*> vAllCT;
    mesh.getAllTriangles(vAllCT);
    TurnQueue mmQueue;
    CPatch mark(&mesh, mesh.getCalc());
    const auto take = [&](CTriangle* pCT) {
        mark.add(pCT);
        for (int i = 0; i < 3; ++i)
            enqueueTurns(mesh, rotx, pCT, i, mmQueue);
    };
    take(firstWithoutPatches(vAllCT));
    while (!mmQueue.empty()) {
        const auto [pSrcT, pTrgT] = mmQueue.begin()->second;
        mmQueue.erase(mmQueue.begin());
        if (pTrgT->getPatch() != nullptr) continue;
        if (pSrcT->needFlip(pTrgT)) pTrgT->flipNNV();
        take(pTrgT);
    }

    std::vector<CEdge*> vFenceCE;
    mesh.getCEdges(vFenceCE);
    std::erase_if(vFenceCE, [](const CEdge* pCE) { return pCE->vCT.size() != 2 || !pCE->vCT[0]->needFlip(pCE->vCT[1]); });
    for (CTriangle* pCT : vAllCT)
        pCT->setPatch(nullptr);
    return vFenceCE;
}

void enqueueTurns(CMesh& mesh, Rotx& rotx, CTriangle* pCT, int ici, TurnQueue& mmQueue) {
    ASSEX(pCT!=NULL && pCT->isAlive());
    ASSEX(pCT->getPatch()!=NULL);
    CEdge* pCE = pCT->getCEdge(ici);
    if (pCE->vCT.size() == 1) return;
    if (pCE->vCT.size() == 2) {
        if (pCE->vCT[0] != pCT) std::swap(pCE->vCT[0], pCE->vCT[1]);
        ASSEX(pCE->vCT[0]==pCT);
    } else {
        if (!rotx.sortStar(pCT, pCE)) {
            warning(KEL_PLACE, "Rotx failed!");
            return;
        }
        ASSEX(pCE->vCT.size()>1 && pCE->vCT[0]==pCT);
    }
    bool bOwnOK = false;
    const Vector3 ownNNV = pCT->getRealNNV(&mesh, bOwnOK);
    ASSEX(bOwnOK);
    enqueueStep(mesh, pCT, pCE->vCT[1], ownNNV, "NO NNV1 (a)", mmQueue);
    if (pCE->vCT.size() > 2) enqueueStep(mesh, pCT, pCE->vCT.back(), ownNNV, "NO NNV1", mmQueue);
}

}  // namespace TARN_KEL
