// The mesh cut into patches.
//
// Both ways are a flood with a stack over the alive triangles; a triangle is marked when it is pushed, so it is pushed once.
// They differ in the edges that they cross. Repair cuts the mesh anew in every pass, so the flood does nothing per triangle
// but look at its three edges: what is found at MEs, which are few, goes into plain lists, and these are sorted once at the
// end. A map filled on the way would be asked again and again for the same corners.
#include <iterator>
#include <memory>
#include <unordered_set>
#include <utility>

#include "CMesh.h"
#include "CPatch.h"
#include "handOver.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

/// Adds to the patch what can be reached from a triangle over the edges opposite corner i that cross(pCT, i) lets through.
/// vStack: empty, before and after.
template <typename Cross>
void flood(CTriangle* pStartCT, CPatch& patch, std::vector<CTriangle*>& vStack, Cross&& cross) {
    pStartCT->bVisited = true;
    vStack.push_back(pStartCT);
    while (!vStack.empty()) {
        CTriangle* pCT = vStack.back();
        vStack.pop_back();
        patch.add(pCT);
        for (int i = 0; i < 3; ++i) {
            if (!cross(pCT, i)) continue;
            for (CTriangle* pNeigT : pCT->getCE(i)->vCT) {
                if (pNeigT->bVisited) continue;
                pNeigT->bVisited = true;
                vStack.push_back(pNeigT);
            }
        }
    }
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
    for (const CPatch* pPatch : vPatches)
        delete pPatch;
    vPatches.clear();
}

void CMesh::startPatches() {
    deletePatches();
    for (CTriangle* pCT : vAllCT) {
        if (!pCT->isAlive()) continue;
        pCT->setPatch(nullptr);
        pCT->bVisited = false;
    }
}

CPatch* CMesh::startPatch() {
    return handOver(std::make_unique<CPatch>(this, pCalc), vPatches);
}

void CMesh::createCCPatches() {
    // An edge has to be crossed by the first of its triangles only. Where many meet, asking all of them for all others
    // would take their number squared.
    constexpr int MANY = 16;
    std::unordered_set<const CEdge*> sCrossed;
    const auto cross = [&sCrossed](const CTriangle* pCT, int i) {
        const CEdge* pCE = pCT->getCE(i);
        return pCE->getDegree() <= MANY || sCrossed.insert(pCE).second;
    };
    startPatches();
    std::vector<CTriangle*> vStack;
    for (CTriangle* pCT : vAllCT)
        if (pCT->isAlive() && !pCT->bVisited) flood(pCT, *startPatch(), vStack, cross);
}

void CMesh::createPatches(std::set<CEdge*>* pFences, std::vector<CPatch*>& vOutPatches, std::map<VCD, CPatch*>& mVCD2Patch,
                          std::vector<CEdge*>& vMECE) {
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
    startPatches();
    std::vector<CTriangle*> vStack;
    for (CTriangle* pCT : vAllCT) {
        if (!pCT->isAlive() || pCT->bVisited) continue;
        CPatch* pPatch = startPatch();
        vOutPatches.push_back(pPatch);
        flood(pCT, *pPatch, vStack, cross);
    }
    enterLast(vCornerOffME, mVCD2Patch);
    oneInstanceMT(vMECE);
}

}  // namespace TARN_KEL
