// Grows the outer skin of a model. It starts on the far right, facing outward, and at each edge of its boundary takes over
// the patch of the triangle that comes first on its outer side. The boundary changes by the edges of the patch that joins.
#include "outerSkin.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "Inspector.h"
#include "Rotx.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MIN_FACING_X = 0.001;  // of a unit normal

/// The patch that comes first in a turn around a boundary edge of the current patch. It is turned over where it disagrees
/// there. Null when there is none, and where two triangles lie in the same direction.
CPatch* findNextSheet(Rotx& rotx, CEdge* pCE, CPatch* pCurrentPatch) {
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

}  // namespace

std::vector<CountT> countAtMaxX(const CMesh& mesh, const std::vector<VCD>& vVCD) {
    std::vector<CTriangle*> vIncT;
    const VCD maxVCD = vVCD.empty() ? 0 : *std::max_element(vVCD.begin(), vVCD.end());
    if (!vVCD.empty()) mesh.getIncidentT(maxVCD, vIncT);
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

CTriangle* firstFacingX(const std::vector<CountT>& vCountT) {
    const auto facesX = [](const CountT& entry) { return std::fabs(entry.second->computeNNVcoarse().x()) >= MIN_FACING_X; };
    const auto it = std::find_if(vCountT.begin(), vCountT.end(), facesX);
    return it == vCountT.end() ? nullptr : it->second;
}

OuterTriangle findOuterTriangle(const CMesh& mesh, const std::vector<CPatch*>& vPatches) {
    std::vector<VCD> vVCD;
    for (const CPatch* pPatch : vPatches)
        mesh.extractAliveVCD(pPatch->vMemberCT, vVCD);
    std::vector<CountT> vCountT = countAtMaxX(mesh, vVCD);
    std::sort(vCountT.begin(), vCountT.end());
    CTriangle* pMaxT = firstFacingX(vCountT);
    if (pMaxT == nullptr) warning(KEL_PLACE, "no usable pMaxT");
    return {pMaxT, pMaxT != nullptr && pMaxT->computeNNVcoarse().x() < 0.0};
}

CPatch* growOuterSkin(CMesh& mesh, Rotx& rotx, std::vector<CPatch*>& vPatches, const std::set<VCD>& sBorder) {
    Inspector inspector(&mesh, vPatches);
    out() << "Number of input patches: " << vPatches.size() << std::endl;
    const auto [pMaxT, bFlip] = findOuterTriangle(mesh, vPatches);
    if (pMaxT == nullptr) return nullptr;
    CPatch* pCurrentPatch = pMaxT->getPatch();
    ASSEX(pCurrentPatch!=NULL);
    if (bFlip) pCurrentPatch->flipPatch();
    inspector.keepGoodPartForKnownBorder(pCurrentPatch, pMaxT, sBorder);
    pCurrentPatch->setOuterBoundary();

    // The boundary is kept here while the patch grows: to join it again with each patch would be quadratic. The patch's own
    // list only holds what came with the last one.
    std::vector<CEdge*>& vNewCE = pCurrentPatch->vPatchBoundaryCE;
    std::set<CEdge*> sBoundaryCE(vNewCE.begin(), vNewCE.end());
    while (!sBoundaryCE.empty()) {
        CEdge* pCE = *sBoundaryCE.rbegin();
        sBoundaryCE.erase(pCE);
        CPatch* pForeignPatch = findNextSheet(rotx, pCE, pCurrentPatch);
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
