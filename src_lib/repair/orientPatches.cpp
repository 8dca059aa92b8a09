// Orients the triangles patch by patch. Extraction creates triangles cube by cube, so neighbours may disagree. Each patch
// between borders and non-manifold edges (MEs) is oriented by itself, like its first triangle. The walk is breadth first,
// but a triangle at a border or an ME waits until nothing else is left: so where a patch is ragged, its clean inside has
// been oriented before.
#include "orientPatches.h"

#include <memory>

#include "CMesh.h"
#include "CPatch.h"
#include "flood.h"
#include "handOver.h"
#include "lookUp.h"

namespace TARN_KEL {

namespace {

/// Adds to the patch all triangles that manifold edges connect with pStartT, and turns them to agree with it.
void growOriented(CTriangle* pStartT, CPatch& patch) {
    std::vector<CTriangle*> vQueue{pStartT};
    std::vector<CTriangle*> vWaiting;
    pStartT->bVisited = true;
    LookingUp looking(50000);
    const auto forEachNext = [&](CTriangle* pCT, const auto& offer) {
        looking.step();
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
