// The mesh cut into patches.
//
// Both ways are a flood over the alive triangles. They differ in the edges that they cross. Repair cuts the mesh again in
// every pass, so the flood does nothing per triangle but look at its three edges: what is found at MEs, which are few, is
// appended to plain lists, and these are sorted once at the end. A map filled on the way would be asked again and again for
// the same corners.
#include <iterator>
#include <memory>
#include <utility>

#include "CMesh.h"
#include "CPatch.h"
#include "floodTriangles.h"
#include "handOver.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

/// Adds to the patch what can be reached from a triangle over the edges for which cross(triangle, i) is true.
template <typename Cross>
void fillPatch(CTriangle* pStartCT, CPatch& patch, std::vector<CTriangle*>& vStack, Cross&& cross) {
    floodTriangles(pStartCT, vStack, cross, [&patch](CTriangle* pCT) { patch.add(pCT); });
}

/// Enters pairs into a map; of equal corners the last pair stays.
void enterLast(std::vector<std::pair<VCD, CPatch*>>& vPair, std::map<VCD, CPatch*>& mVCD2Patch) {
    sortByFirstMT(vPair);
    auto itHint = mVCD2Patch.end();
    for (const auto& [vcd, pPatch] : vPair)
        itHint = std::next(mVCD2Patch.insert_or_assign(itHint, vcd, pPatch));
}

}  // namespace

void CMesh::deletePatches() {
    deleteAll(vPatches);
}

CPatch* CMesh::startPatch(std::vector<CPatch*>& vOwnerPatches) {
    return handOver(std::make_unique<CPatch>(this, pCalc), vOwnerPatches);
}

void CMesh::createCCPatches() {
    AnyEdge cross;
    deletePatches();
    forgetPatches(vAllCT);
    std::vector<CTriangle*> vStack;
    for (CTriangle* pCT : vAllCT)
        if (pCT->isAlive() && !pCT->bVisited) fillPatch(pCT, *startPatch(vPatches), vStack, cross);
}

void CMesh::createPatches(std::set<CEdge*>* pFences, std::vector<CPatch*>& vOutPatches, std::map<VCD, CPatch*>& mVCD2Patch,
                          std::vector<CEdge*>& vMECE) {
    deletePatches();
    forgetPatches(vAllCT);
    cutUnvisited(pFences, vPatches, mVCD2Patch, vMECE);
    vOutPatches.insert(vOutPatches.end(), vPatches.begin(), vPatches.end());
}

void CMesh::cutUnvisited(const std::set<CEdge*>* pFences, std::vector<CPatch*>& vOwnerPatches,
                         std::map<VCD, CPatch*>& mVCD2Patch, std::vector<CEdge*>& vMECE) {
    std::vector<std::pair<VCD, CPatch*>> vCornerOffME;
    const auto cross = [&](const CTriangle* pCT, int i) {
        CEdge* pCE = pCT->getCE(i);
        const int degree = pCE->getDegree();
        if (degree > 2) {
            vMECE.push_back(pCE);
            vCornerOffME.emplace_back(pCT->getCorner(i), pCT->getPatch());
        }
        return degree == 2 && (pFences == nullptr || pFences->count(pCE) == 0);
    };
    std::vector<CTriangle*> vStack;
    for (CTriangle* pCT : vAllCT)
        if (pCT->isAlive() && !pCT->bVisited) fillPatch(pCT, *startPatch(vOwnerPatches), vStack, cross);
    enterLast(vCornerOffME, mVCD2Patch);
    oneInstanceMT(vMECE);
}

}  // namespace TARN_KEL
