#include "SheetPatches.h"

#include <algorithm>

#include "RMesh.h"
#include "flood.h"

namespace TARN_KEL {

namespace {

constexpr SheetPatches::Patch NO_PATCH = ~SheetPatches::Patch{0};

}  // namespace

SheetPatches::SheetPatches(const RMesh& mesh) : vPatch(mesh.vRT.size(), NO_PATCH) {
    const auto forEachNext = [](const RTriangle* pRT, auto&& offer) {
        for (const REdge* pRE : {pRT->pRE12, pRT->pRE02, pRT->pRE01})
            if (RTriangle* pNeigT = pRE->getUniqueOtherTriangle(pRT)) offer(pNeigT);
    };
    const auto claim = [&](const RTriangle* pRT) {
        Patch& patch = vPatch[mesh.poolRT.indexOf(pRT)];
        if (patch != NO_PATCH) return false;
        patch = static_cast<Patch>(vEnd.size());
        return true;
    };
    std::vector<RTriangle*> vReached;
    for (RTriangle* pRT : mesh.vRT) {
        if (!pRT->isAlive() || !claim(pRT)) continue;
        vReached.assign(1, pRT);
        floodInOrder(vReached, forEachNext, claim);
        vT.insert(vT.end(), vReached.begin(), vReached.end());
        vEnd.push_back(vT.size());
    }
}

std::vector<const REdge*> boundaryOf(std::span<RTriangle* const> triangles) {
    std::vector<const REdge*> vBoundary;
    for (const RTriangle* pRT : triangles)
        for (const REdge* pRE : {pRT->pRE12, pRT->pRE02, pRT->pRE01})
            if (pRE->vRT.size() != 2) vBoundary.push_back(pRE);
    std::sort(vBoundary.begin(), vBoundary.end());
    return vBoundary;
}

}  // namespace TARN_KEL
