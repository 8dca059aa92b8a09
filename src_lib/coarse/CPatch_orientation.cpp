// Which way a patch faces: its members turned over to agree, and the whole patch turned by its highest vertex.
#include "CMesh.h"
#include "CPatch.h"
#include "geometryFunctions.h"
#include "meshCore.h"
#include "tools.h"

namespace TARN_KEL {

void CPatch::flipPatch() {
    for (CTriangle* pCT : vMemberCT)
        if (pCT->isAlive()) pCT->flipNNV();
}

void CPatch::orientPatch() {
    std::vector<CTriangle*> vTopT;
    pCMesh->getIncidentT(getMaxZCCD(), vTopT);
    if (vTopT.empty()) {
        warning(KEL_PLACE, "reorientation failed");
        return;
    }
    Vector3 sum;
    for (const CTriangle* pCT : vTopT) {
        bool bOK = false;
        const Vector3 nnv =
            getNormalVector(pCalc->getRefPoint(pCT->c0), pCalc->getRefPoint(pCT->c1), pCalc->getRefPoint(pCT->c2), bOK);
        if (bOK) sum = sum + nnv;
    }
    if (sum.z() < 0.0) flipPatch();
}

// An edge of degree 2 may lead out of the patch. What is claimed there is noted, so that its marks can be cleared.
void CPatch::intraOrientation() {
    clearVisited_MT(vMemberCT);
    std::vector<CTriangle*> vOutside, vStack;
    const auto claim = [&](CTriangle* pCT) {
        if (!ClaimUnvisited()(pCT)) return false;
        if (pCT->getPatch() != this) vOutside.push_back(pCT);
        return true;
    };
    const auto forEachNext = [](const CTriangle* pCT, auto&& offer) {
        for (int i = 0; i < 3; ++i) {
            if (pCT->getCE(i)->getDegree() != 2) continue;
            CTriangle* pNeigT = pCT->getCE(i)->getUniqueOtherTriangle(pCT);
            if (!pNeigT->bVisited && pNeigT->needFlip(pCT)) pNeigT->flipNNV();
            offer(pNeigT);
        }
    };
    for (CTriangle* pStartT : vMemberCT) {
        if (!pStartT->isAlive() || !claim(pStartT)) continue;
        vStack.push_back(pStartT);
        flood(vStack, forEachNext, claim);
    }
    clearVisited_MT(vMemberCT);
    clearVisited_MT(vOutside);
    orientPatch();
}

}  // namespace TARN_KEL
