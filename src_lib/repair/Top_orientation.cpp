// Which way the triangles face.
//
// Extraction makes triangles cube by cube, so neighbours may run against each other. Three walks over the mesh mend that,
// all of them with queues or stacks of their own, never recursive:
//
// createPatchesOrient() takes each sheet between borders and non-manifold edges (MEs) by itself. The first triangle decides.
// Breadth first, but a triangle that touches a border or an ME waits until nothing else is left: where a sheet is ragged,
// the clean inside has been oriented before the walk comes there.
//
// strategyMST() goes on across MEs. Its queue is ordered by the turn from triangle to triangle, so that a sheet is followed
// as far as it goes before a sharp corner is taken; what comes out is a spanning tree of small turns. At an ME only the two
// triangles next to the current one in a turn round the edge are its continuation:
//
//              \   pos            seen along the edge; pos and neg may continue X,
//               \ /               the others belong to sheets that pass by on their side
//         X -----o----- other
//               / \ .
//             neg
//
// patchGrowing() wants the outer skin. It starts on the far right of the model, facing outward, and at each edge of its
// boundary takes the patch of the triangle met first on its outer side. Its boundary changes by the edges of the patch that
// joins, so the work is linear in all boundaries, up to a logarithm.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "Inspector.h"
#include "Top.h"
#include "freeFunctions.h"
#include "handOver.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MIN_FACING_X = 0.001;  // of a unit normal

/// Takes all that manifold edges connect with pStartT into the patch and lets it agree with pStartT.
void growOriented(CTriangle* pStartT, CPatch& patch) {
    std::vector<CTriangle*> vQueue{pStartT};
    std::vector<CTriangle*> vWaiting;
    pStartT->bVisited = true;
    while (!vQueue.empty()) {
        for (std::size_t i = 0; i < vQueue.size(); ++i) {
            CTriangle* pCT = vQueue[i];
            patch.add(pCT);
            for (int k = 0; k < 3; ++k) {
                const CEdge* pCE = pCT->getCE(k);
                if (pCE->getDegree() != 2) continue;
                CTriangle* pNeigT = pCE->getUniqueOtherTriangle(pCT);
                if (pNeigT->bVisited) continue;
                if (pNeigT->needFlip(pCT)) pNeigT->flipNNV();
                (pNeigT->hasOnlyHalfEdges() ? vQueue : vWaiting).push_back(pNeigT);
                pNeigT->bVisited = true;
            }
        }
        vQueue.swap(vWaiting);
        vWaiting.clear();
    }
}

}  // namespace

// ---- Sheets between MEs

void Top::resetVisited(std::vector<CTriangle*>& vT) {
    for (CTriangle* pCT : vT)
        pCT->bVisited = false;
}

void Top::createPatchesOrient(std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches) {
    ASSEX(vPatches.empty());
    resetVisited(vT);
    for (CTriangle* pStartT : vT) {
        if (!pStartT->isAlive() || pStartT->bVisited) continue;
        growOriented(pStartT, *handOver(std::make_unique<CPatch>(pCMesh, pCalc), vPatches));
    }
}

void Top::orient() {
    struct Sheets {
        ~Sheets() {
            for (const CPatch* pPatch : vPatches)
                delete pPatch;
        }
        std::vector<CPatch*> vPatches;
    } sheets;
    std::vector<CTriangle*> vAllCT;
    pCMesh->getAllTriangles(vAllCT);
    createPatchesOrient(vAllCT, sheets.vPatches);
}

// ---- Across MEs by the smallest turn

void Top::strategyMST(std::set<CEdge*>& sFences) {
    info("", "This is strategyMST");
    std::vector<CTriangle*> vAllCT;
    pCMesh->getAllTriangles(vAllCT);
    CTriangle* pStartT = nullptr;
    for (CTriangle* pCT : vAllCT) {
        if (!pCT->isAlive()) continue;
        pCT->setPatch(nullptr);
        if (pStartT == nullptr) pStartT = pCT;
    }
    ASSEX(pStartT!=NULL);

    mmQueue.clear();  // an exception may have left something
    CPatch mark(pCMesh, pCalc);
    const auto take = [&](CTriangle* pCT) {
        mark.add(pCT);
        for (int i = 0; i < 3; ++i)
            enqueue(pCT, i);
    };
    take(pStartT);
    while (!mmQueue.empty()) {
        const auto [pSrcT, pTrgT] = mmQueue.begin()->second;
        mmQueue.erase(mmQueue.begin());
        if (pTrgT->getPatch() != nullptr) continue;
        if (pSrcT->needFlip(pTrgT)) pTrgT->flipNNV();
        take(pTrgT);
    }

    std::vector<CEdge*> vCE;
    pCMesh->getCEdges(vCE);
    for (CEdge* pCE : vCE)
        if (pCE->vCT.size() == 2 && pCE->vCT[0]->needFlip(pCE->vCT[1])) sFences.insert(pCE);
    out() << "Fences: " << sFences.size() << std::endl;
    for (CTriangle* pCT : vAllCT)
        pCT->setPatch(nullptr);
}

void Top::enqueue(CTriangle* pCT, int ici) {
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
    const Vector3 ownNNV = pCT->getRealNNV(pCMesh, bOwnOK);
    ASSEX(bOwnOK);
    enqueueStep(pCT, pCE->vCT[1], ownNNV, "NO NNV1 (a)");
    if (pCE->vCT.size() > 2) enqueueStep(pCT, pCE->vCT.back(), ownNNV, "NO NNV1");
}

void Top::enqueueStep(CTriangle* pCT, CTriangle* pNeigT, const Vector3& ownNNV, const std::string& missing) {
    if (pNeigT->getPatch() != nullptr) return;
    bool bOK = false;
    const Vector3 nnv = pNeigT->getRealNNV(pCMesh, bOK);
    if (!bOK) {
        warning(KEL_PLACE, missing);
        return;
    }
    const double turn = getAngleDegree(ownNNV, pCT->needFlip(pNeigT) ? -nnv : nnv);
    mmQueue.insert({static_cast<float>(turn), {pCT, pNeigT}});
}

// ---- The outer skin

std::vector<Top::CountT> Top::countAtMaxX(const std::vector<VCD>& vVCD) const {
    std::vector<CTriangle*> vIncT;
    const VCD maxVCD = vVCD.empty() ? 0 : *std::max_element(vVCD.begin(), vVCD.end());
    if (!vVCD.empty()) pCMesh->getIncidentT(maxVCD, vIncT);
    ASSEX(!vIncT.empty());
    std::vector<CountT> vCountT;
    for (CTriangle* pCT : vIncT) {
        int count = -1;
        for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2})
            if (((vcd ^ maxVCD) & CCD_X_BITS) == 0) ++count;
        vCountT.emplace_back(count, pCT);
    }
    return vCountT;
}

CTriangle* Top::firstFacingX(const std::vector<CountT>& vCountT) {
    const auto facesX = [](const CountT& entry) { return std::fabs(entry.second->computeNNVcoarse().x()) >= MIN_FACING_X; };
    const auto it = std::find_if(vCountT.begin(), vCountT.end(), facesX);
    return it == vCountT.end() ? nullptr : it->second;
}

CTriangle* Top::getMaxT(std::vector<CPatch*>& vPatches, bool& bFlip) {
    bFlip = false;
    std::vector<VCD> vVCD;
    for (const CPatch* pPatch : vPatches)
        pCMesh->extractAliveVCD(pPatch->vMemberCT, vVCD);
    std::vector<CountT> vCountT = countAtMaxX(vVCD);
    std::sort(vCountT.begin(), vCountT.end());
    CTriangle* pMaxT = firstFacingX(vCountT);
    if (pMaxT == nullptr)
        warning(KEL_PLACE, "no usable pMaxT");
    else
        bFlip = pMaxT->computeNNVcoarse().x() < 0.0;
    return pMaxT;
}

/// The patch met first in a turn from the patch over an edge of its boundary, agreeing with it there; null when there is
/// none, or no order round the edge.
CPatch* Top::findNextSheet(CEdge* pCE, CPatch* pCurrentPatch) {
    CTriangle* pOwnPatchT = pCE->getUniquePatchTriangle(pCurrentPatch);
    if (pOwnPatchT == nullptr) return nullptr;
    if (!rotx.sortStar(pOwnPatchT, pCE)) {
        static std::atomic_flag bWarned = ATOMIC_FLAG_INIT;
        if (!bWarned.test_and_set()) warning(KEL_PLACE, "!bRotxOK, unique-wrn");
        return nullptr;
    }
    ASSEX(pOwnPatchT==pCE->vCT[0]);
    if (pCE->vCT.size() < 2) return nullptr;
    const CTriangle* pNeigT = pCE->vCT[1];
    CPatch* pForeignPatch = pNeigT->getPatch();
    if (pForeignPatch == nullptr) return nullptr;
    ASSEX(pForeignPatch!=pCurrentPatch);
    ASSEX(!pForeignPatch->vMemberCT.empty());
    const auto isAlike = [&] {
        return pNeigT->getHEDirection2(pCE->v0, pCE->v1) == pOwnPatchT->getHEDirection2(pCE->v0, pCE->v1);
    };
    if (isAlike()) pForeignPatch->flipPatch();
    ASSEX(!isAlike());
    return pForeignPatch;
}

CPatch* Top::patchGrowing(std::vector<CPatch*>& vPatches) {
    Inspector inspector(pCMesh, vPatches);
    out() << "Number of input patches: " << vPatches.size() << std::endl;
    bool bFlip = false;
    CTriangle* pMaxT = getMaxT(vPatches, bFlip);
    if (pMaxT == nullptr) return nullptr;
    CPatch* pCurrentPatch = pMaxT->getPatch();
    ASSEX(pCurrentPatch!=NULL);
    if (bFlip) pCurrentPatch->flipPatch();
    inspector.keepGoodPartForKnownBorder(pCurrentPatch, pMaxT, sBorderCCD);
    pCurrentPatch->setOuterBoundary();

    // The boundary is kept here while the patch grows: joining it anew with each patch would be quadratic. The patch's own
    // list holds what came with the last one.
    std::vector<CEdge*>& vNewCE = pCurrentPatch->vPatchBoundaryCE;
    std::set<CEdge*> sBoundaryCE(vNewCE.begin(), vNewCE.end());
    while (!sBoundaryCE.empty()) {
        CEdge* pCE = *sBoundaryCE.rbegin();
        sBoundaryCE.erase(pCE);
        CPatch* pForeignPatch = findNextSheet(pCE, pCurrentPatch);
        if (pForeignPatch == nullptr) continue;
        pForeignPatch->setOuterBoundary();
        vNewCE.clear();
        pCurrentPatch->assimilate(pForeignPatch, true);
        for (CEdge* pNewCE : vNewCE)
            if (!sBoundaryCE.insert(pNewCE).second) sBoundaryCE.erase(pNewCE);
    }
    vNewCE.clear();
    inspector.killRemovedT();
    return pCurrentPatch;
}

}  // namespace TARN_KEL
