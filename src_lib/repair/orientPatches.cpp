// Extraction makes triangles cube by cube, so neighbours may run against each other. Each patch between borders and
// non-manifold edges (MEs) is taken by itself, and its first triangle decides. Breadth first, but a triangle that touches a
// border or an ME waits until nothing else is left: where a patch is ragged, the clean inside has been oriented before the
// walk comes there.
#include "orientPatches.h"

#include <memory>

#include "CMesh.h"
#include "CPatch.h"
#include "flood.h"
#include "handOver.h"

namespace TARN_KEL {

namespace {

/// Takes all that manifold edges connect with pStartT into the patch and lets it agree with pStartT.
void growOriented(CTriangle* pStartT, CPatch& patch) {
    std::vector<CTriangle*> vQueue{pStartT};
    std::vector<CTriangle*> vWaiting;
    pStartT->bVisited = true;
    const auto forEachNext = [&patch](CTriangle* pCT, const auto& offer) {
        patch.add(pCT);
        for (int k = 0; k < 3; ++k) {
            const CEdge* pCE = pCT->getCE(k);
            if (pCE->getDegree() != 2) continue;
            CTriangle* pNeigT = pCE->getUniqueOtherTriangle(pCT);
            if (pNeigT->bVisited) continue;
            if (pNeigT->needFlip(pCT)) pNeigT->flipNNV();
            offer(pNeigT);
        }
    };
    const auto claim = [&vWaiting](CTriangle* pCT) {
        pCT->bVisited = true;
        if (pCT->hasOnlyHalfEdges()) return true;
        vWaiting.push_back(pCT);
        return false;
    };
    while (!vQueue.empty()) {
        floodInOrder(vQueue, forEachNext, claim);
        vQueue.swap(vWaiting);
        vWaiting.clear();
    }
}

}  // namespace

void clearMarks(const std::vector<CTriangle*>& vT) {
    for (CTriangle* pCT : vT)
        pCT->bVisited = false;
}

void orientPatches(CMesh& mesh, const std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches) {
    clearMarks(vT);
    for (CTriangle* pStartT : vT) {
        if (!pStartT->isAlive() || pStartT->bVisited) continue;
        growOriented(pStartT, *handOver(std::make_unique<CPatch>(&mesh, mesh.getCalc()), vPatches));
    }
}

void orientPatches(CMesh& mesh) {
    struct Patches {
        ~Patches() {
            for (const CPatch* pPatch : vPatches)
                delete pPatch;
        }
        std::vector<CPatch*> vPatches;
    } patches;
    std::vector<CTriangle*> vAllCT;
    mesh.getAllTriangles(vAllCT);
    orientPatches(mesh, vAllCT, patches.vPatches);
}

}  // namespace TARN_KEL
