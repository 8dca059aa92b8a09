// Connected parts of the fine mesh: patches, and the fans around a vertex.
//
// Patches are grown breadth first over edges with two triangles. When they are oriented on the way, each triangle agrees
// with the one through which it was reached first, so on a one-sided part conflicts lie where the fronts meet.
#include <memory>
#include <set>

#include "OrientedFlood.h"
#include "Progress.h"
#include "RMesh.h"
#include "RPatch.h"
#include "handOver.h"
#include "meshCore.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Takes the fan of the lowest triangle in sRest out of it.
std::vector<RTriangle*> takeFan(const Point3* pCenter, std::set<RTriangle*>& sRest) {
    std::vector<RTriangle*> vFan, vStack{*sRest.begin()};
    sRest.erase(sRest.begin());
    const auto forEachNext = [&](RTriangle* pRT, auto&& offer) {
        vFan.push_back(pRT);
        forEachEdgeAt(*pRT, pCenter, [&](const REdge* pRE) {
            ASSEX(pRE->has(pCenter));
            RTriangle *pRT0, *pRT1;
            if (!pRE->getTwoTriangles(pRT0, pRT1, true)) return;
            RTriangle* pNeigT = pRT0 == pRT ? pRT1 : pRT0;
            ASSEX(pNeigT!=pRT);
            offer(pNeigT);
        });
    };
    flood(vStack, forEachNext, [&sRest](RTriangle* pRT) { return sRest.erase(pRT) != 0; });
    return vFan;
}

/// Each edge at the centre belongs to two triangles of the fan.
bool isClosedFan(const Point3* pCenter, const std::vector<RTriangle*>& vFan) {
    std::vector<REdge*> vEdge;
    for (const RTriangle* pRT : vFan)
        forEachEdgeAt(*pRT, pCenter, [&vEdge](REdge* pRE) { vEdge.push_back(pRE); });
    const std::size_t numEntries = vEdge.size();
    oneInstance(vEdge);
    return 2 * vEdge.size() == numEntries;
}

}  // namespace

// ---- Patches ------------------------------------------------------------------------------------------------------------

/// In order of creation, which the patches keep: so none has to sort.
void RMesh::enterInPatches() {
    for (RTriangle* pRT : vRT)
        if (pRT->bAlive && pRT->getPatch() != nullptr) pRT->getPatch()->add(pRT);
}

std::size_t RMesh::createPatchesOrient() {
    ProgressStep progress("RM_cpo", vRT.size());
    deletePatches();
    forgetPatches_MT(vRT);
    OrientedFlood<RTriangle> flood(poolRT);
    for (const RTriangle* pSeed : vRT) {
        if (flood.isTaken(pSeed)) continue;
        RPatch* pPatch = handOver(std::make_unique<RPatch>(this), vPatches);
        flood.apply(flood.takeAllFrom(pSeed, false, [&progress] { progress.advance(); }), pPatch);
    }
    enterInPatches();
    progress.finish();
    return vPatches.size();
}

void RMesh::createPatches(unsigned long maxSize) {
    deletePatches();
    for (RTriangle* pRT : vRT)
        pRT->setPatch(nullptr);
    for (RTriangle* pSeed : vRT) {
        if (!pSeed->bAlive || pSeed->bVisited) continue;
        RPatch* pPatch = handOver(std::make_unique<RPatch>(this), vPatches);
        unsigned long count = 1;
        const auto forEachNext = [&](const RTriangle* pRT, auto&& offer) {
            for (int i = 0; i < 3; ++i) {
                RTriangle* pNeigT = pRT->getRE(i)->getUniqueOtherTriangle(pRT);
                if (pNeigT != nullptr && !pNeigT->bVisited && ++count < maxSize) offer(pNeigT);
            }
        };
        std::vector<RTriangle*> vReached{pSeed};
        floodInOrder(vReached, forEachNext, ClaimUnvisited());
        for (RTriangle* pRT : vReached)
            pRT->setPatch(pPatch);
        pSeed->bVisited = true;  // if no neighbour has come back to it: a later patch must not take it
    }
    enterInPatches();
}

// ---- Fans ---------------------------------------------------------------------------------------------------------------

void RMesh::getUmbrellas(const Point3* pCenter, std::vector<std::vector<RTriangle*>>& vUmbrellas) const {
    std::vector<RTriangle*> vIncT;
    getIncidentT(pCenter, vIncT);
    std::set<RTriangle*> sRest(vIncT.begin(), vIncT.end());
    std::vector<std::vector<RTriangle*>> vFans;
    while (!sRest.empty()) {
        vFans.push_back(takeFan(pCenter, sRest));
        if (isClosedFan(pCenter, vFans.back())) continue;
        warning(KEL_PLACE, "Bad umbrella");
        vFans.assign(1, vIncT);
        break;
    }
    vUmbrellas.insert(vUmbrellas.end(), vFans.begin(), vFans.end());
}

}  // namespace TARN_KEL
